// Checks of the machine types and operating systems that an element is for.
#include <algorithm>

#include "rules/names.h"
#include "rules/system_codes.h"
#include "rules/version_items.h"
#include "svcheck/author/ascii_text.h"
#include "svcheck/author/checks.h"

namespace svc::catalogue {

namespace {

using rules::kSystemCodes;

constexpr std::string_view kMachineTypes = rules::kUpdateMachineTypes;
constexpr std::string_view kSystems = rules::kUpdateSystems;

bool NamesSystem(const std::string& entry) {
  return std::any_of(kSystemCodes.begin(), kSystemCodes.end(), [&](const auto& code) {
    return Mentions(entry, code.code) || Mentions(entry, code.family);
  });
}

bool NamesSystemExactly(const std::string& entry) {
  return std::any_of(kSystemCodes.begin(), kSystemCodes.end(), [&](const auto& code) {
    return Contains(entry, code.code) || Contains(entry, code.family);
  });
}

bool HasMarks(const std::string& entry) { return !rules::MarkedItems(entry).empty(); }

}  // namespace

void CheckMachineTypesMissing(const TUpdate& update, TTell& tell) {
  if (update.Values(kMachineTypes).empty()) tell.Of(update, kMachineTypes);
}

void CheckMachineTypeMarks(const TUpdate& update, TTell& tell) {
  for (const std::string& entry : update.Values(kMachineTypes)) {
    if (!HasMarks(entry)) tell.Of(update, kMachineTypes, Quoted(entry));
  }
}

void CheckMachineTypeUnreachable(const TUpdate& update, TTell& tell) {
  for (const std::string& type : *update.machineTypes) {
    const bool hasBlank = std::any_of(type.begin(), type.end(), report::IsBlank);
    if (type.empty() || hasBlank) tell.Of(update, kMachineTypes, Quoted(rules::Marked(type)));
  }
}

void CheckDriversWithoutSystem(const TUpdate& update, TTell& tell) {
  if (!update.drivers->empty() && update.Values(kSystems).empty()) tell.Of(update, kSystems);
}

void CheckSystemsMissing(const TUpdate& update, TTell& tell) {
  if (update.drivers->empty() && update.Values(kSystems).empty()) tell.Of(update, kSystems);
}

void CheckSystemUnknown(const TUpdate& update, TTell& tell) {
  for (const std::string& entry : update.Values(kSystems)) {
    if (!NamesSystem(entry)) tell.Of(update, kSystems, Quoted(entry));
  }
}

void CheckSystemCase(const TUpdate& update, TTell& tell) {
  if (update.drivers->empty()) return;
  for (const std::string& entry : update.Values(kSystems)) {
    if (NamesSystem(entry) && !NamesSystemExactly(entry)) {
      tell.Of(update, kSystems, Quoted(entry));
    }
  }
}

void CheckFamilyMissing(const TUpdate& update, TTell& tell) {
  if (!tell.Catalogue().isLive) return;
  const std::string_view text = update.element->Text(kSystems);
  std::string missing;
  for (const auto& code : kSystemCodes) {
    if (!Mentions(text, code.code) || Contains(text, code.family)) continue;
    if (Contains(missing, code.family)) continue;
    missing += missing.empty() ? "" : ", ";
    missing += code.family;
  }
  if (!missing.empty()) tell.Of(update, kSystems, missing);
}

}  // namespace svc::catalogue
