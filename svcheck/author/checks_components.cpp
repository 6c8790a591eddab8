// Checks of what an element updates: adapters, whose offered versions stand in the list of driver
// files, other firmware, and drivers.

#include <algorithm>

#include "rules/names.h"
#include "rules/version_items.h"
#include "svcheck/author/rules.h"
#include "svcheck/author/update.h"

namespace svc::catalogue {

// Whether a controller's model can be read: the family's name, one character that is passed over,
// the model, a blank.
static bool HasModel(std::string_view list) {
  const std::string lowered = Lowered(list);
  const auto family = lowered.find(rules::kMegaRaidFamily);
  if (family == std::string::npos) return false;
  const auto passedOver = family + rules::kMegaRaidFamily.size();
  const auto blank = lowered.find(' ', passedOver + 1);
  return blank != std::string::npos && blank > passedOver + 1 && lowered[passedOver] == ' ';
}

// Whether "Controller" with a version behind it stands in the list.
static bool HasControllerVersion(std::string_view list) {
  return rules::FindVersionOfKey(list, rules::kMegaRaidKey).version.has_value();
}

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

// --- What an element updates, and the version that it offers ---

static bool BeginsOrEndsBlank(std::string_view text) { return report::Trim(text) != text; }

static bool IsFirstGeneration(const TUpdate& update) {
  return update.component == EComponent::kDiagnostics &&
         rules::IsFirstDiagnostics(OfferedVersion(update.element->Text(rules::kUpdateVersion)));
}

// Whether the text has marks, but none that enclose something.
static bool IsHalfMarked(std::string_view text) {
  const auto begin = text.find(rules::kOpenMark);
  const auto end = text.find(rules::kCloseMark);
  if (begin == text.npos && end == text.npos) return false;
  return begin == text.npos || end == text.npos || end < begin + rules::kOpenMark.size();
}

// The version, and the build where it is read.
static std::vector<std::string_view> VersionProperties(const TUpdate& update) {
  std::vector<std::string_view> names;
  if (update.ReadsVersion()) names.push_back(rules::kUpdateVersion);
  if (IsFirstGeneration(update)) names.push_back(rules::kUpdateBuild);
  return names;
}

void CheckUpdatesNothing(const TUpdate& update, TTell& tell) {
  const bool isListed = !update.driverFiles.empty();
  if (!update.HasFirmware() && !isListed) tell.Of(update, rules::kUpdateDescription);
}

void CheckProcessorUnnamed(const TUpdate& update, TTell& tell) {
  if (update.component == EComponent::kUnnamedProcessor) tell.Of(update, rules::kUpdateDescription);
}

void CheckAlsoBios(const TUpdate& update, TTell& tell) {
  if (!update.isBios || update.component == EComponent::kNone ||
      update.component == EComponent::kUefi) {
    return;
  }
  const bool isByCategory = std::any_of(
      rules::kBiosTests.begin(), rules::kBiosTests.end(), [&](const rules::TComponentTest& test) {
        return test.property == rules::kCategory &&
               Mentions(update.element->Text(rules::kUpdateCategory), test.text.Text());
      });
  tell.Of(update, isByCategory ? rules::kUpdateCategory : rules::kUpdateDescription,
          "beside " + std::string(RowOf(update.component).name));
}

void CheckFolderForm(const TUpdate& update, TTell& tell) {
  const std::string_view folder = update.element->Text(rules::kUpdateDirectory);
  if (Mentions(folder, "\\PKGS\\")) tell.Of(update, rules::kUpdateDirectory, Quoted(folder));
}

void CheckVersionMissing(const TUpdate& update, TTell& tell) {
  if (update.ReadsVersion() &&
      OfferedVersion(update.element->Text(rules::kUpdateVersion)).empty()) {
    tell.Of(update, rules::kUpdateVersion);
  }
}

void CheckVersionUnmarked(const TUpdate& update, TTell& tell) {
  for (const std::string_view name : VersionProperties(update)) {
    const std::string_view text = update.element->Text(name);
    if (text.empty() || Contains(text, rules::kOpenMark) || Contains(text, rules::kCloseMark))
      continue;
    tell.Of(update, name, Quoted(text));
  }
}

void CheckVersionHalfMarked(const TUpdate& update, TTell& tell) {
  for (const std::string_view name : VersionProperties(update)) {
    const std::string_view text = update.element->Text(name);
    if (IsHalfMarked(text)) tell.Of(update, name, Quoted(text));
  }
}

void CheckVersionBlanks(const TUpdate& update, TTell& tell) {
  for (const std::string_view name : VersionProperties(update)) {
    const std::string_view offered = OfferedVersion(update.element->Text(name));
    if (BeginsOrEndsBlank(offered)) tell.Of(update, name, Quoted(offered));
  }
}

void CheckBuildMissing(const TUpdate& update, TTell& tell) {
  if (IsFirstGeneration(update) &&
      OfferedVersion(update.element->Text(rules::kUpdateBuild)).empty()) {
    tell.Of(update, rules::kUpdateBuild);
  }
}

void CheckDiagnosticsSkipped(const TUpdate& update, TTell& tell) {
  if (!IsFirstGeneration(update) || update.machineTypes->empty()) return;
  const bool isSkipped =
      std::all_of(update.machineTypes->begin(), update.machineTypes->end(),
                  [](const std::string& type) { return rules::SkipsFirstDiagnostics(type); });
  if (isSkipped) tell.Of(update, rules::kUpdateVersion);
}

// --- The list of driver files ---

constexpr std::string_view kDriverFiles = rules::kUpdateDriverFiles;

// Whether an installed driver can have the name, once both are brought to the compared form.
static bool IsReachable(std::string_view name) {
  const std::string compared = ComparedName(name);
  return !compared.empty() && !BeginsOrEndsBlank(compared) &&
         name.find_first_of("/\\\r\n\t") == name.npos;
}

// The list of an adapter holds identifiers of devices, which are no names of drivers.
static bool ListsDrivers(const TUpdate& update) { return !update.IsAdapter(); }

// The entry as it is written in the list.
static std::string_view Whole(const TDriverEntry& entry) {
  return {entry.name.data(), static_cast<std::size_t>(entry.version.data() - entry.name.data()) +
                                 entry.version.size()};
}

void CheckDriversUnversioned(const TUpdate& update, TTell& tell) {
  if (!report::Trim(update.driverFiles).empty() && !Contains(update.driverFiles, "-#")) {
    tell.Of(update, kDriverFiles, Quoted(update.driverFiles));
  }
}

// Entries that no blank parts are glued: the version of the one runs on over the next entry.
void CheckDriversGlued(const TUpdate& update, TTell& tell) {
  // Up to the end of the list at most: what was found for one version holds for those within it.
  std::size_t mark = 0;
  rules::CutDriverList(update.driverFiles, [&](const TDriverEntry& entry) {
    const auto begin = static_cast<std::size_t>(entry.version.data() - update.driverFiles.data());
    if (mark < begin) mark = update.driverFiles.find("-#", begin);
    if (mark != std::string_view::npos && mark + 2 <= begin + entry.version.size()) {
      tell.OfText(update, kDriverFiles, Whole(entry));
    }
  });
}

void CheckDriverEntryEmpty(const TUpdate& update, TTell& tell) {
  rules::CutDriverList(update.driverFiles, [&](const TDriverEntry& entry) {
    if (!entry.IsOffered()) tell.OfText(update, kDriverFiles, Whole(entry));
  });
}

void CheckDriverUnreachable(const TUpdate& update, TTell& tell) {
  if (!ListsDrivers(update)) return;
  for (const TDriverEntry& entry : *update.drivers) {
    if (!IsReachable(entry.name)) tell.OfText(update, kDriverFiles, entry.name);
  }
}

void CheckDriverNameBlanks(const TUpdate& update, TTell& tell) {
  if (!ListsDrivers(update)) return;
  for (const TDriverEntry& entry : *update.drivers) {
    const bool hasBlank = Contains(report::Trim(entry.name), " ");
    if (hasBlank && IsReachable(entry.name)) tell.OfText(update, kDriverFiles, entry.name);
  }
}

void CheckDriverVersionBlanks(const TUpdate& update, TTell& tell) {
  for (const TDriverEntry& entry : *update.drivers) {
    if (BeginsOrEndsBlank(entry.version)) tell.OfText(update, kDriverFiles, entry.version);
  }
}

}  // namespace svc::catalogue
