// Which firmware component an update element is for: the tests that the plug-in makes of an
// element, in their order. `svcheck catalogue` makes the same of a catalogue that is being written.
//
// The order is the rule: the first test that holds decides, so that narrow texts stand before the
// wider ones that contain them ("Remote Watch Adapter II"). A test that an earlier one always
// forestalls stays, so that the list names every text that catalogues use. Pure; any thread.
// Deliberate: see "A test that never decides" in docs/one-query.md.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "rules/folded_text.h"
#include "rules/names.h"

namespace svc::rules {

// In the order in which a query reports those that it found no element for.
enum class EComponent {
  kNone,
  kBios,
  kUefi,
  kDiagnostics,
  kRwa2,
  kRwa,
  kIscp,
  kH8,
  kBmc,
  kUnnamedProcessor,  // Of the group BMC/H8, but of neither.
  kBroadcom,
  kMegaRaid,
  kLsi,
  kCount
};
inline constexpr auto kComponentCount = static_cast<std::size_t>(EComponent::kCount);

// Where the offered version stands.
enum class EVersionPlace { kNowhere, kVersion, kDriverFiles };

// The records of BIOS, UEFI and diagnostics go by these names; those of all other components by
// what the inventory calls them.
struct TComponentRow {
  std::string_view name;
  EVersionPlace place;
};
inline constexpr std::array kComponents = {
    TComponentRow{"none", EVersionPlace::kNowhere},
    TComponentRow{"System BIOS", EVersionPlace::kVersion},
    TComponentRow{"System UEFI", EVersionPlace::kVersion},
    TComponentRow{"Diagnostics", EVersionPlace::kVersion},
    TComponentRow{"Remote Watch Adapter II", EVersionPlace::kVersion},
    TComponentRow{"Remote Watch Adapter", EVersionPlace::kVersion},
    TComponentRow{"ISCP", EVersionPlace::kVersion},
    TComponentRow{"H8", EVersionPlace::kVersion},
    TComponentRow{"BMC", EVersionPlace::kVersion},
    TComponentRow{"BMC/H8", EVersionPlace::kNowhere},
    TComponentRow{"Broadcom NetXtreme", EVersionPlace::kDriverFiles},
    TComponentRow{"LSI MegaRAID", EVersionPlace::kDriverFiles},
    TComponentRow{"LSI integrated RAID", EVersionPlace::kDriverFiles}};
static_assert(kComponents.size() == kComponentCount);

constexpr const TComponentRow& RowOf(EComponent component) {
  return kComponents[static_cast<std::size_t>(component)];
}

// --- The tests ---

// The properties of an element that are tested, by their number in kTestedProperties.
enum ETestedProperty : std::size_t { kDescription, kCategory, kDirectory };
inline constexpr std::array kTestedProperties = {kUpdateDescription, kUpdateCategory,
                                                 kUpdateDirectory};
static_assert(kTestedProperties.size() == 3);

// Holds when the property mentions the text.
struct TComponentTest {
  ETestedProperty property;
  TFoldedText text;
  EComponent component;
};

// An element may update the system BIOS and one component of the chain as well.
inline constexpr std::array kBiosTests = {
    TComponentTest{kDescription, "BIOS Update", EComponent::kBios},
    TComponentTest{kCategory, "BIOS", EComponent::kBios},
    TComponentTest{kDescription, "BIOS Flash", EComponent::kBios},
    TComponentTest{kDescription, "Flash BIOS", EComponent::kBios}};
static_assert(kBiosTests.size() == 4);

inline constexpr std::array kChainTests = {
    TComponentTest{kDescription, "uEFI", EComponent::kUefi},
    TComponentTest{kCategory, "UEFI", EComponent::kUefi},
    TComponentTest{kDirectory, "/PKGS/DIAG", EComponent::kDiagnostics},
    TComponentTest{kDescription, "Diagnostic", EComponent::kDiagnostics},
    TComponentTest{kDescription, "Preboot Diagnostics", EComponent::kDiagnostics},
    TComponentTest{kDescription, "Preboot HSK", EComponent::kDiagnostics},
    TComponentTest{kDescription, "HSK Preboot", EComponent::kDiagnostics},
    TComponentTest{kDirectory, "/PKGS/RWA2", EComponent::kRwa2},
    TComponentTest{kDescription, "Remote Watch Adapter II", EComponent::kRwa2},
    TComponentTest{kDirectory, "/PKGS/REMOTWAT", EComponent::kRwa},
    TComponentTest{kDescription, "Remote Watch Adapter", EComponent::kRwa},
    TComponentTest{kDescription, "Integrated System Control Processor", EComponent::kIscp},
    TComponentTest{kCategory, "BMC/H8", EComponent::kUnnamedProcessor},
    TComponentTest{kDescription, "Broadcom NetXtreme and NetXtreme II Firmware",
                   EComponent::kBroadcom},
    TComponentTest{kDescription, "QRX Arrayon AX20i SAS Controller Firmware",
                   EComponent::kMegaRaid},
    TComponentTest{kDescription, "QRX Arrayon AX20is SAS Controller Firmware",
                   EComponent::kMegaRaid},
    TComponentTest{kDescription, "QRX Arrayon AX20M SAS Controller Firmware",
                   EComponent::kMegaRaid},
    TComponentTest{kDescription, "LSI 1064", EComponent::kLsi},
    TComponentTest{kDescription, "LSI 1078 SAS", EComponent::kLsi},
    TComponentTest{kDescription,
                   "BIOS and Firmware Update for the SAS Expansion Card (HBXe) for QRX Rackwell",
                   EComponent::kLsi}};
static_assert(kChainTests.size() == 20);

// Made of an element that the chain takes for kUnnamedProcessor.
inline constexpr std::array kProcessorTests = {
    TComponentTest{kDescription, "Integrated System Control", EComponent::kH8},
    TComponentTest{kDescription, "Baseboard Management Controller", EComponent::kBmc},
    TComponentTest{kDescription, "mBMC Firmware Update", EComponent::kBmc},
    TComponentTest{kDescription, "Integrated Control Module", EComponent::kBmc}};
static_assert(kProcessorTests.size() == 4);

// The component of the first test for which `holds` says true, none of those behind it being made;
// kNone when there is none.
template <std::size_t N, typename THolds>
constexpr EComponent FirstThatHolds(const std::array<TComponentTest, N>& tests, THolds holds) {
  const auto found = std::find_if(tests.begin(), tests.end(), holds);
  return found == tests.end() ? EComponent::kNone : found->component;
}

// --- Diagnostics of the first generation ---

// Offered as version and build, where all else is offered as its version alone.
inline constexpr std::string_view kFirstDiagnostics = "fdcp-1.10";
constexpr bool IsFirstDiagnostics(std::string_view offeredVersion) {
  return offeredVersion.find(kFirstDiagnostics) != std::string_view::npos;
}

// Machine types that have the first generation in their firmware: there the package is passed over,
// though it counts as found.
inline constexpr std::array<std::string_view, 3> kWithoutFirstDiagnostics = {"4620", "4631",
                                                                             "2705"};
static_assert(!kWithoutFirstDiagnostics.back().empty());
constexpr bool SkipsFirstDiagnostics(std::string_view machineType) {
  return std::find(kWithoutFirstDiagnostics.begin(), kWithoutFirstDiagnostics.end(), machineType) !=
         kWithoutFirstDiagnostics.end();
}

}  // namespace svc::rules
