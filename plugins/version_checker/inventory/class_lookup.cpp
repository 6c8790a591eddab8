#include "plugins/version_checker/inventory/class_lookup.h"

#include "host/hskcore/schema_helper.h"

using namespace NQRXHSK20;

const CIMContext& PluginContext() {
  static const CIMContext context = {
      {TCIMSchemaHelper::kContextName, TCIMValue(TCIMSchemaHelper::kPluginNSPName)}};
  return context;
}

bool FindClass(boost::shared_ptr<ICIMClass>& cimClass, const TNamespaceHandle& cimNamespace,
               std::string_view className, const CIMContext& context) {
  try {
    cimNamespace->GetClass(cimClass, className, context);
  } catch (const THSKException& exception) {
    return exception.GetStatusCode() != THSKStatusCode::kClassNotFound;
  }
  return true;
}

void AppendInstances(TInstanceList& instances, const boost::shared_ptr<ICIMClass>& cimClass,
                     const CIMContext& context) {
  cimClass->EnumerateInstances(TAddToVectorCallback<ICIMInstance>(instances), true, context);
}
