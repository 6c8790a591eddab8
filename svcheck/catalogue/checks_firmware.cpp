// Checks of what an element updates and of the version that it offers.
#include <algorithm>
#include <array>

#include "svcheck/catalogue/ascii_text.h"
#include "svcheck/catalogue/checks.h"

namespace svc::catalogue {

namespace {

constexpr std::string_view kFirstGeneration = "fdcp-1.10";

// Where preboot diagnostics of the first generation are passed over.
constexpr std::array<std::string_view, 3> kWithoutFirstGeneration = {"4620", "4631", "2705"};

bool BeginsOrEndsBlank(std::string_view text) { return report::Trim(text) != text; }

bool IsFirstGeneration(const TUpdate& update) {
  return update.component == EComponent::kDiagnostics &&
         Contains(OfferedVersion(update.element->Text("Version")), kFirstGeneration);
}

// Whether the text has marks, but none that enclose something.
bool IsHalfMarked(const std::string& text) {
  const auto begin = text.find("-[");
  const auto end = text.find("]-");
  if (begin == std::string::npos && end == std::string::npos) return false;
  return begin == std::string::npos || end == std::string::npos || end < begin + 2;
}

// "Version", and "BuildNumber" where it is read.
std::vector<std::string> VersionProperties(const TUpdate& update) {
  std::vector<std::string> names;
  if (update.ReadsVersion()) names.emplace_back("Version");
  if (IsFirstGeneration(update)) names.emplace_back("BuildNumber");
  return names;
}

}  // namespace

void CheckUpdatesNothing(const TUpdate& update, TTell& tell) {
  const bool isListed = !update.driverFiles.empty();
  if (!update.HasFirmware() && !isListed) tell.Of(update, "description");
}

void CheckProcessorUnnamed(const TUpdate& update, TTell& tell) {
  if (update.component == EComponent::kUnnamedProcessor) tell.Of(update, "description");
}

void CheckAlsoBios(const TUpdate& update, TTell& tell) {
  if (!update.isBios || update.component == EComponent::kNone ||
      update.component == EComponent::kUefi) {
    return;
  }
  tell.Of(update, Mentions(update.element->Text("category"), "BIOS") ? "category" : "description",
          "beside " + std::string(RowOf(update.component).name));
}

void CheckFolderForm(const TUpdate& update, TTell& tell) {
  const std::string folder = update.element->Text("installDirectory");
  if (Mentions(folder, "\\PKGS\\")) tell.Of(update, "installDirectory", Quoted(folder));
}

void CheckVersionMissing(const TUpdate& update, TTell& tell) {
  if (update.ReadsVersion() && OfferedVersion(update.element->Text("Version")).empty()) {
    tell.Of(update, "Version");
  }
}

void CheckVersionUnmarked(const TUpdate& update, TTell& tell) {
  for (const std::string& name : VersionProperties(update)) {
    const std::string text = update.element->Text(name);
    if (text.empty() || Contains(text, "-[") || Contains(text, "]-")) continue;
    tell.Of(update, name, Quoted(text));
  }
}

void CheckVersionHalfMarked(const TUpdate& update, TTell& tell) {
  for (const std::string& name : VersionProperties(update)) {
    const std::string text = update.element->Text(name);
    if (IsHalfMarked(text)) tell.Of(update, name, Quoted(text));
  }
}

void CheckVersionBlanks(const TUpdate& update, TTell& tell) {
  for (const std::string& name : VersionProperties(update)) {
    const std::string offered = OfferedVersion(update.element->Text(name));
    if (BeginsOrEndsBlank(offered)) tell.Of(update, name, Quoted(offered));
  }
}

void CheckBuildMissing(const TUpdate& update, TTell& tell) {
  if (IsFirstGeneration(update) && OfferedVersion(update.element->Text("BuildNumber")).empty()) {
    tell.Of(update, "BuildNumber");
  }
}

void CheckDiagnosticsSkipped(const TUpdate& update, TTell& tell) {
  if (!IsFirstGeneration(update) || update.machineTypes.empty()) return;
  const bool isSkipped = std::all_of(
      update.machineTypes.begin(), update.machineTypes.end(), [](const std::string& type) {
        return std::find(kWithoutFirstGeneration.begin(), kWithoutFirstGeneration.end(), type) !=
               kWithoutFirstGeneration.end();
      });
  if (isSkipped) tell.Of(update, "Version");
}

}  // namespace svc::catalogue
