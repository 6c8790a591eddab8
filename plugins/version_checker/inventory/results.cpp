// Delivering result records.
#include "plugins/version_checker/contents/sv_plugin.h"
#include "plugins/version_checker/inventory/class_lookup.h"
#include "plugins/version_checker/inventory/trace.h"
#include "rules/log_texts.h"
#include "rules/names.h"

using namespace NQRXHSK20;
namespace rules = svc::rules;

void TSVPluginCallbacks::DeliverInstance(TNamespaceHandle results, std::string type,
                                         std::string name, TSharedText installedVersion,
                                         TSharedText catalogueVersion) {
  LogTrace("In DeliverInstance");
  boost::shared_ptr<ICIMClass> resultClass;
  if (!FindClass(resultClass, results, rules::kResultClass, PluginContext())) {
    LogError(rules::kNoResultClass);
    return;
  }
  TInstanceHandle record;
  resultClass->CreateInstance(record, CIMContext());
  record->SetPropertyValue(rules::kResultType, TCIMValue(std::move(type)), CIMContext());
  record->SetPropertyValue(rules::kResultName, TCIMValue(std::move(name)), CIMContext());
  record->SetPropertyValue(rules::kResultInstalled, TCIMValue(std::move(installedVersion)),
                           CIMContext());
  record->SetPropertyValue(rules::kResultOffered, TCIMValue(std::move(catalogueVersion)),
                           CIMContext());
  record->Commit(CIMContext());
}
