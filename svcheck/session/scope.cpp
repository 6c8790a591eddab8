// For whom a catalogue is, and of when.
#include <fmt/format.h>
#include <algorithm>
#include <unordered_set>

#include "base/shown_text.h"
#include "host/hskcore/exception.h"
#include "report/text.h"
#include "rules/folded_text.h"
#include "rules/names.h"
#include "rules/system_codes.h"
#include "rules/version_items.h"
#include "svcheck/session/coverage.h"
#include "svcheck/session/instances.h"

using namespace NQRXHSK20;

namespace svc {

std::optional<std::string> SystemCodeIn(const boost::shared_ptr<ICIMNamespace>& inventory) {
  rules::TOperatingSystem system;
  try {
    for (const auto& instance : InstancesOf(inventory, rules::kSystemClass)) {
      boost::shared_ptr<ICIMProperty> type;
      instance->GetProperty(type, rules::kSystemType, CIMContext());
      system = {TextOf(*instance, rules::kSystemVersion),
                static_cast<std::uint16_t>(type->Value(CIMContext())),
                TextOf(*instance, rules::kSystemBuild), TextOf(*instance, rules::kSystemPlatform)};
    }
  } catch (const THSKException&) {
    return {};
  }
  return rules::CodeOf(system);
}

std::vector<std::string> MachineTypesIn(const boost::shared_ptr<ICIMNamespace>& catalogue) {
  std::vector<std::string> types;
  std::unordered_set<std::string> known;
  for (const auto& element : InstancesOf(catalogue, rules::kUpdateClass)) {
    const std::string text = TextOf(*element, rules::kUpdateMachineTypes);
    for (const std::string_view type : rules::MarkedItems(text)) {
      if (known.emplace(type).second) types.emplace_back(type);
    }
  }
  return types;
}

namespace {

// Beside update elements: what a catalogue of another plug-in consists of.
constexpr std::string_view kOfferClass = "SVC_FirmwareOffer";
constexpr std::string_view kReleaseDate = "ReleaseDate";

// Of "2027-06-30" or "20270630", whatever time of the day stands behind it.
std::optional<std::int64_t> DayOf(std::string_view text) {
  constexpr std::size_t kYear = 4, kMonth = 2, kDay = 2;
  std::string digits;
  for (const char c : text) {
    const bool isDash = c == '-' && (digits.size() == kYear || digits.size() == kYear + kMonth);
    if (digits.size() == kYear + kMonth + kDay || !(report::IsDigit(c) || isDash)) break;
    if (!isDash) digits += c;
  }
  if (digits.size() < kYear + kMonth + kDay) return {};
  return report::SecondsOfUtcTime(fmt::format("{}-{}-{}T00:00:00Z", digits.substr(0, kYear),
                                              digits.substr(kYear, kMonth),
                                              digits.substr(kYear + kMonth)));
}

}  // namespace

std::optional<std::int64_t> DateOf(const boost::shared_ptr<ICIMNamespace>& catalogue,
                                   std::int64_t now) {
  std::optional<std::int64_t> newest;
  for (const std::string_view name : {rules::kUpdateClass, kOfferClass}) {
    for (const auto& element : InstancesOf(catalogue, name)) {
      const auto day = DayOf(TextOf(*element, kReleaseDate));
      if (day && *day <= now) newest = std::max(newest, day);
    }
  }
  return newest;
}

std::string WhyNothingApplies(const report::TReport& report,
                              const std::vector<std::string>& types) {
  constexpr std::size_t kShown = 3;
  const auto isOurs = [&](const std::string& type) {
    return type.size() == report.machine.type.size() && rules::Mentions(type, report.machine.type);
  };
  if (std::ranges::any_of(types, isOurs)) {
    return fmt::format("none of the catalogue's elements for machine type {} is for this system",
                       report::PlainLine(report.machine.type));
  }
  std::string reason = StateReason(report, Summarize(report));
  const auto nearest = MostAlike(report.machine.type, types, kShown);
  if (nearest.empty()) return reason + "; it names no machine type";
  if (nearest.size() < types.size()) {
    reason += fmt::format("; the nearest of its {} types are ", types.size());
  } else {
    reason += types.size() == 1 ? "; its only type is " : "; its types are ";
  }
  for (std::size_t i = 0; i < nearest.size(); ++i) {
    if (i > 0) reason += i + 1 == nearest.size() ? " and " : ", ";
    reason += report::PlainLine(nearest[i]);
  }
  return reason;
}

}  // namespace svc
