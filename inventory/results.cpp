// Delivering result records.
#include "inventory/class_lookup.h"
#include "inventory/trace.h"
#include "plugin/contents/sv_plugin.h"

using namespace NQRXHSK20;

void TSVPluginCallbacks::DeliverInstance(TNamespaceHandle results, std::string type,
                                         std::string name, std::string installedVersion,
                                         std::string catalogueVersion) {
  LogTrace("In DeliverInstance");
  boost::shared_ptr<ICIMClass> resultClass;
  if (!FindClass(resultClass, results, "QRXSG_SVResult", PluginContext())) {
    LogError("QRXSG_SVResult not found");
    return;
  }
  TInstanceHandle record;
  resultClass->CreateInstance(record, CIMContext());
  record->SetPropertyValue("Type", TCIMValue(std::move(type)), CIMContext());
  record->SetPropertyValue("Name", TCIMValue(std::move(name)), CIMContext());
  record->SetPropertyValue("InstalledVersion", TCIMValue(std::move(installedVersion)),
                           CIMContext());
  record->SetPropertyValue("SVVersion", TCIMValue(std::move(catalogueVersion)), CIMContext());
  record->Commit(CIMContext());
}
