// What leaves a query: records, log entries and messages.
#include "plugins/version_checker/inventory/reporting.h"

#include <cstdio>
#include <string>
#include <utility>

#include "host/hskcore/root_object.h"
#include "plugins/version_checker/inventory/inventory_operations.h"
#include "plugins/version_checker/inventory/properties.h"
#include "rules/log_texts.h"
#include "rules/names.h"

using namespace NQRXHSK20;

namespace svc::checker {

// Deliberate: see "The class of records is looked up for each" in docs/one-query.md.
void TInventoryOperations::DeliverInstance(TNamespaceHandle results, std::string type,
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

namespace {

void Log(int level, std::string_view message) { TRootObject::GetCoreLogger().Log(level, message); }

}  // namespace

void LogError(std::string_view message) { Log(kLogError, message); }
void LogWarning(std::string_view message) { Log(kLogWarning, message); }
void LogProgress(std::string_view message) { Log(kLogProgress, message); }
void LogTrace(std::string_view message) { Log(kLogTrace, message); }

void LogJoined(int level, std::initializer_list<std::string_view> pieces) {
  ILogger& logger = TRootObject::GetCoreLogger();
  if (!logger.IsLogged(level)) return;
  std::string message;
  for (const std::string_view piece : pieces) message += piece;
  logger.Log(level, message);
}

void PrintMessage(std::string_view text) {
  std::printf("\n%.*s\n", static_cast<int>(text.size()), text.data());
  std::fflush(stdout);
}

}  // namespace svc::checker
