// Which update elements apply to this machine, and which of the operating systems that catalogues
// know runs on it.
#include "plugins/version_checker/inventory/inventory_operations.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <utility>

#include "host/hskcore/root_object.h"
#include "plugins/version_checker/inventory/properties.h"
#include "rules/folded_text.h"
#include "rules/log_texts.h"
#include "rules/names.h"
#include "rules/system_codes.h"
#include "rules/version_items.h"

using namespace NQRXHSK20;
namespace svc::checker {

namespace {

// Looks for one text in many others and passes over most of their characters: the marks around a
// machine type tell it how far it may go on.
class TSearch {
 public:
  // Borrows the needle.
  explicit TSearch(std::string_view needle)
      : isEmpty(needle.empty()), searcher(needle.begin(), needle.end()) {}
  bool IsIn(std::string_view text) const {
    return isEmpty || searcher(text.begin(), text.end()).first != text.end();
  }

 private:
  bool isEmpty;
  std::boyer_moore_horspool_searcher<std::string_view::const_iterator> searcher;
};

// As PropertyContains for each, to the same log entries.
TInstanceList Select(TInstanceList instances, std::string_view property, std::string needle) {
  rules::FoldCase(needle);
  // Most machine types are digits alone, which folding leaves as they are.
  const bool hasLetters =
      std::any_of(needle.begin(), needle.end(), [](char c) { return c >= 'a' && c <= 'z'; });
  const TSearch search(needle);
  TPropertyReader reader;
  TKnownTexts<bool> known;
  std::string folded;
  const bool isTraced = TRootObject::GetCoreLogger().IsLogged(kLogTrace);
  const auto applies = [&](const TInstanceHandle& instance) {
    if (isTraced) LogTrace(rules::kTests);
    const TSharedText text = reader.Look(instance, property);
    return known.Get(text, [&] {
      if (!hasLetters) return search.IsIn(text);
      folded = text.View();
      rules::FoldCase(folded);
      return search.IsIn(folded);
    });
  };
  // Kept where they are: a copy would count each of them up, and down again.
  std::erase_if(instances, [&](const TInstanceHandle& instance) { return !applies(instance); });
  return instances;
}

}  // namespace

bool TInventoryOperations::PropertyContains(TInstanceHandle instance, std::string_view property,
                                            std::string needle) {
  LogTrace(rules::kTests);
  std::string text;
  rules::FoldCase(GetPropertyValue(std::move(instance), property, text));
  rules::FoldCase(needle);
  return text.find(needle) != std::string::npos;
}

TInstanceList TInventoryOperations::MatchMachineInstances(const std::string& machineType,
                                                          TInstanceList instances) {
  LogTrace(rules::kSelectsMachine);
  // The marks keep a type from matching a longer one that contains it.
  return Select(std::move(instances), rules::kUpdateMachineTypes, rules::Marked(machineType));
}

TInstanceList TInventoryOperations::MatchOSInstances(const std::string& osType,
                                                     TInstanceList instances) {
  LogTrace(rules::kSelectsSystem);
  return Select(std::move(instances), rules::kUpdateSystems, osType);
}

static void ReadInstance(const TInstanceHandle& instance, rules::TOperatingSystem& system) {
  TInventoryOperations::GetPropertyValue(instance, rules::kSystemVersion, system.version);
  boost::shared_ptr<ICIMProperty> property;
  instance->GetProperty(property, rules::kSystemType, CIMContext());
  system.type = static_cast<std::uint16_t>(property->Value(CIMContext()));
  TInventoryOperations::GetPropertyValue(instance, rules::kSystemBuild, system.buildID);
  TInventoryOperations::GetPropertyValue(instance, rules::kSystemPlatform, system.hardwarePlatform);
}

std::string TInventoryOperations::getOSType(const TNamespaceHandle& inventory) {
  LogTrace("In getOSType");
  boost::shared_ptr<ICIMClass> systemClass;
  if (!FindClass(systemClass, inventory, rules::kSystemClass, PluginContext())) return "";
  TInstanceList instances;
  AppendInstances(instances, systemClass, CIMContext());
  rules::TOperatingSystem system;
  // Deliberate: see "The last instance wins" in docs/one-query.md.
  for (const TInstanceHandle& instance : instances) ReadInstance(instance, system);
  return rules::CodeOf(system);
}

// What leaves a query: records, log entries and messages.

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

static void Log(int level, std::string_view message) {
  TRootObject::GetCoreLogger().Log(level, message);
}

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
