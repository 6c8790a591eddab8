// Which component an update element is compared with. Pure functions; may be called from any
// thread.
#ifndef SVCHECK_CATALOGUE_COMPONENTS_H_
#define SVCHECK_CATALOGUE_COMPONENTS_H_

#include <array>
#include <cstddef>
#include <string_view>

#include "svcheck/catalogue/elements.h"

namespace svc::catalogue {

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

// Where the offered version stands.
enum class EVersionPlace { kNowhere, kVersion, kDriverFiles };

struct TComponentRow {
  std::string_view name;
  EVersionPlace place;
};
inline constexpr std::array<TComponentRow, static_cast<std::size_t>(EComponent::kCount)>
    kComponents = {{{"none", EVersionPlace::kNowhere},
                    {"System BIOS", EVersionPlace::kVersion},
                    {"System UEFI", EVersionPlace::kVersion},
                    {"Diagnostics", EVersionPlace::kVersion},
                    {"Remote Watch Adapter II", EVersionPlace::kVersion},
                    {"Remote Watch Adapter", EVersionPlace::kVersion},
                    {"ISCP", EVersionPlace::kVersion},
                    {"H8", EVersionPlace::kVersion},
                    {"BMC", EVersionPlace::kVersion},
                    {"BMC/H8", EVersionPlace::kNowhere},
                    {"Broadcom NetXtreme", EVersionPlace::kDriverFiles},
                    {"LSI MegaRAID", EVersionPlace::kDriverFiles},
                    {"LSI integrated RAID", EVersionPlace::kDriverFiles}}};

constexpr const TComponentRow& RowOf(EComponent component) {
  return kComponents[static_cast<std::size_t>(component)];
}

// An element may update the system BIOS and one more component.
bool IsBiosUpdate(const TElement& element);
EComponent ComponentOf(const TElement& element);

}  // namespace svc::catalogue

#endif  // SVCHECK_CATALOGUE_COMPONENTS_H_
