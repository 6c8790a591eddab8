// Checks of adapters, whose offered versions stand in the list of driver files.
#include "rules/names.h"
#include "rules/version_items.h"
#include "svcheck/author/ascii_text.h"
#include "svcheck/author/checks.h"

namespace svc::catalogue {

namespace {

// Whether a controller's model can be read: the family's name, one character that is passed over,
// the model, a blank.
bool HasModel(std::string_view list) {
  const std::string lowered = Lowered(list);
  const auto family = lowered.find(rules::kMegaRaidFamily);
  if (family == std::string::npos) return false;
  const auto passedOver = family + rules::kMegaRaidFamily.size();
  const auto blank = lowered.find(' ', passedOver + 1);
  return blank != std::string::npos && blank > passedOver + 1 && lowered[passedOver] == ' ';
}

// Whether "Controller" with a version behind it stands in the list.
bool HasControllerVersion(std::string_view list) {
  return rules::FindVersionOfKey(list, rules::kMegaRaidKey).version.has_value();
}

}  // namespace

void CheckAdapterFilesMissing(const TUpdate& update, TTell& tell) {
  if (update.IsAdapter() && update.driverFiles.empty()) tell.Of(update, rules::kUpdateDriverFiles);
}

void CheckBroadcomCase(const TUpdate& update, TTell& tell) {
  if (update.component != EComponent::kBroadcom) return;
  for (const TDriverEntry& entry : *update.drivers) {
    if (Lowered(entry.name) != entry.name)
      tell.OfText(update, rules::kUpdateDriverFiles, entry.name);
  }
}

void CheckMegaRaidKey(const TUpdate& update, TTell& tell) {
  if (update.component != EComponent::kMegaRaid || update.driverFiles.empty()) return;
  if (!HasControllerVersion(update.driverFiles)) {
    tell.Of(update, rules::kUpdateDriverFiles, Quoted(update.driverFiles));
  }
}

void CheckMegaRaidModel(const TUpdate& update, TTell& tell) {
  if (update.component != EComponent::kMegaRaid || update.driverFiles.empty()) return;
  if (!HasModel(update.driverFiles))
    tell.Of(update, rules::kUpdateDriverFiles, Quoted(update.driverFiles));
}

void CheckLsiBiosMissing(const TUpdate& update, TTell& tell) {
  if (update.component != EComponent::kLsi || update.driverFiles.empty()) return;
  std::size_t entries = 0;
  rules::CutDriverList(update.driverFiles, [&](const TDriverEntry&) { ++entries; });
  if (entries < 2) {
    tell.Of(update, rules::kUpdateDriverFiles, Quoted(update.driverFiles));
  }
}

}  // namespace svc::catalogue
