#include "svcheck/catalogue/components.h"

#include <algorithm>

#include "svcheck/catalogue/ascii_text.h"

namespace svc::catalogue {

namespace {

struct TTest {
  const char* property;
  std::string_view needle;  // Anywhere, in either case.
  EComponent component;
};

constexpr std::array<TTest, 4> kBiosTests = {{
    {"description", "BIOS Update", EComponent::kBios},
    {"category", "BIOS", EComponent::kBios},
    {"description", "BIOS Flash", EComponent::kBios},
    {"description", "Flash BIOS", EComponent::kBios},
}};

// The first that holds decides. A test shows that a query decides the same.
constexpr std::array<TTest, 20> kTests = {{
    {"description", "uEFI", EComponent::kUefi},
    {"category", "UEFI", EComponent::kUefi},
    {"installDirectory", "/PKGS/DIAG", EComponent::kDiagnostics},
    {"description", "Diagnostic", EComponent::kDiagnostics},
    {"description", "Preboot Diagnostics", EComponent::kDiagnostics},
    {"description", "Preboot HSK", EComponent::kDiagnostics},
    {"description", "HSK Preboot", EComponent::kDiagnostics},
    {"installDirectory", "/PKGS/RWA2", EComponent::kRwa2},
    {"description", "Remote Watch Adapter II", EComponent::kRwa2},
    {"installDirectory", "/PKGS/REMOTWAT", EComponent::kRwa},
    {"description", "Remote Watch Adapter", EComponent::kRwa},
    {"description", "Integrated System Control Processor", EComponent::kIscp},
    {"category", "BMC/H8", EComponent::kUnnamedProcessor},
    {"description", "Broadcom NetXtreme and NetXtreme II Firmware", EComponent::kBroadcom},
    {"description", "QRX Arrayon AX20i SAS Controller Firmware", EComponent::kMegaRaid},
    {"description", "QRX Arrayon AX20is SAS Controller Firmware", EComponent::kMegaRaid},
    {"description", "QRX Arrayon AX20M SAS Controller Firmware", EComponent::kMegaRaid},
    {"description", "LSI 1064", EComponent::kLsi},
    {"description", "LSI 1078 SAS", EComponent::kLsi},
    {"description", "BIOS and Firmware Update for the SAS Expansion Card (HBXe) for QRX Rackwell",
     EComponent::kLsi},
}};

// Within the group BMC/H8.
constexpr std::array<TTest, 4> kProcessorTests = {{
    {"description", "Integrated System Control", EComponent::kH8},
    {"description", "Baseboard Management Controller", EComponent::kBmc},
    {"description", "mBMC Firmware Update", EComponent::kBmc},
    {"description", "Integrated Control Module", EComponent::kBmc},
}};

template <std::size_t N>
EComponent FirstThatHolds(const std::array<TTest, N>& tests, const TElement& element,
                          EComponent otherwise) {
  const auto found = std::find_if(tests.begin(), tests.end(), [&](const TTest& test) {
    return Mentions(element.Text(test.property), test.needle);
  });
  return found == tests.end() ? otherwise : found->component;
}

}  // namespace

bool IsBiosUpdate(const TElement& element) {
  return FirstThatHolds(kBiosTests, element, EComponent::kNone) == EComponent::kBios;
}

EComponent ComponentOf(const TElement& element) {
  const EComponent component = FirstThatHolds(kTests, element, EComponent::kNone);
  if (component != EComponent::kUnnamedProcessor) return component;
  return FirstThatHolds(kProcessorTests, element, component);
}

}  // namespace svc::catalogue
