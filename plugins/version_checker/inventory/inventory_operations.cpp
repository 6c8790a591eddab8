// Which update elements apply to this machine, and which of the operating systems that catalogues
// know runs on it.
#include "plugins/version_checker/inventory/inventory_operations.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <utility>

#include "plugins/version_checker/inventory/properties.h"
#include "rules/folded_text.h"
#include "rules/log_texts.h"
#include "rules/names.h"
#include "rules/system_codes.h"
#include "rules/version_items.h"

using namespace NQRXHSK20;
namespace svc::checker {

namespace {

// As text.find(needle), but looks for the character in the middle of the needle: the marks at its
// ends stand all over a list of types.
bool Contains(std::string_view text, std::string_view needle) {
  if (needle.empty()) return true;
  const std::size_t middle = needle.size() / 2;
  for (std::size_t at = text.find(needle[middle], middle); at != std::string_view::npos;
       at = text.find(needle[middle], at + 1)) {
    if (text.substr(at - middle).starts_with(needle)) return true;
  }
  return false;
}

// As PropertyContains for each, to the same log entries.
TInstanceList Select(TInstanceList instances, std::string_view property, std::string needle) {
  rules::FoldCase(needle);
  // Most machine types are digits alone, which folding leaves as they are.
  const bool hasLetters =
      std::any_of(needle.begin(), needle.end(), [](char c) { return c >= 'a' && c <= 'z'; });
  TPropertyReader reader;
  TKnownTexts<bool> known;
  std::string folded;
  const auto applies = [&](const TInstanceHandle& instance) {
    LogTrace(rules::kTests);
    const TSharedText text = reader.Look(instance, property);
    return known.Get(text, [&] {
      if (!hasLetters) return Contains(text, needle);
      folded = text.View();
      rules::FoldCase(folded);
      return Contains(folded, needle);
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
  return Contains(text, needle);
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

namespace {

void ReadInstance(const TInstanceHandle& instance, rules::TOperatingSystem& system) {
  TInventoryOperations::GetPropertyValue(instance, rules::kSystemVersion, system.version);
  boost::shared_ptr<ICIMProperty> property;
  instance->GetProperty(property, rules::kSystemType, CIMContext());
  system.type = static_cast<std::uint16_t>(property->Value(CIMContext()));
  TInventoryOperations::GetPropertyValue(instance, rules::kSystemBuild, system.buildID);
  TInventoryOperations::GetPropertyValue(instance, rules::kSystemPlatform, system.hardwarePlatform);
}

}  // namespace

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
