#include "plugins/public_firmware/public_firmware.h"

#include <algorithm>
#include <array>
#include <utility>

namespace svc::publicfirmware {
namespace {

// The version that a text stands for: some releases give the number that the format takes apart.
std::string AsShown(const std::string& version, EVersionFormat format) {
  const auto number = NumberOf(version);
  if (format == EVersionFormat::kHex && version.starts_with("0x")) return version;
  if (format == EVersionFormat::kUnknown || format == EVersionFormat::kPlain || !number ||
      *number == 0) {
    return version;
  }
  return VersionOfNumber(*number, format).value_or(version);
}

// A release as one device sees it.
struct TCandidate {
  const TOffer* offer;
  std::size_t number;
  std::string version;
};

// The search for one device. What installed versions it tries are those that it may come to.
class TSearch {
 public:
  TSearch(const TDevice& device, const TMachine& machine) : device(device), machine(machine) {}

  void Add(const TOffer& offer, std::size_t number);
  TAnswer Answer();

 private:
  std::string WhyNotFrom(const TCandidate& candidate, const std::string& from) const;
  const TCandidate* HighestFrom(const std::string& from) const;
  const TCandidate* NextStep(const std::string& from) const;
  int Compare(const std::string& first, const std::string& second) const {
    return CompareVersions(first, second, format);
  }
  void TellHeldBack(const std::string& above, TAnswer& answer) const;
  void FindWay(const TCandidate& first, TAnswer& answer) const;

  const TDevice& device;
  const TMachine& machine;
  std::vector<TCandidate> candidates;
  std::vector<THeldBack> incomparable;
  EVersionFormat format = EVersionFormat::kUnknown;  // Of those that can be compared.
  std::string installed;
};

// All candidates have the format of the first that can be compared; a device has but one.
void TSearch::Add(const TOffer& offer, std::size_t number) {
  const auto inItsForm = InstalledFor(device, offer.format);
  if (!inItsForm || (!candidates.empty() && offer.format != format)) {
    incomparable.push_back({offer.version, "its version is of the format " +
                                               std::string(NameOf(offer.format)) +
                                               ", and that of the device is not"});
    return;
  }
  format = offer.format;
  installed = *inItsForm;
  candidates.push_back({&offer, number, AsShown(offer.version, format)});
}

std::string TSearch::WhyNotFrom(const TCandidate& candidate, const std::string& from) const {
  if (candidate.offer->branch != device.branch) {
    return candidate.offer->branch.empty() ? "not on the device's branch, " + device.branch
                                           : "on the branch " + candidate.offer->branch;
  }
  for (const std::string& requirement : candidate.offer->requirements) {
    std::string why = WhyNot(requirement, device, from, format, machine);
    if (!why.empty()) return why;
  }
  return {};
}

// The first of several of one version, as the catalogue lists them.
const TCandidate* TSearch::HighestFrom(const std::string& from) const {
  for (const TCandidate& candidate : candidates) {
    if (WhyNotFrom(candidate, from).empty()) return &candidate;
  }
  return nullptr;
}

// The highest above a version that may be installed from it; null where there is none.
const TCandidate* TSearch::NextStep(const std::string& from) const {
  for (const TCandidate& candidate : candidates) {
    if (Compare(candidate.version, from) <= 0) break;
    if (WhyNotFrom(candidate, from).empty()) return &candidate;
  }
  return nullptr;
}

void TSearch::TellHeldBack(const std::string& above, TAnswer& answer) const {
  for (const TCandidate& candidate : candidates) {
    if (Compare(candidate.version, above) <= 0) break;
    std::string why = WhyNotFrom(candidate, installed);
    if (!why.empty()) answer.heldBack.push_back({candidate.version, std::move(why)});
  }
  answer.heldBack.insert(answer.heldBack.end(), incomparable.begin(), incomparable.end());
}

void TSearch::FindWay(const TCandidate& first, TAnswer& answer) const {
  constexpr std::size_t kMostSteps = 64;
  std::vector<std::string> way = {first.version};
  while (way.size() < kMostSteps) {
    const TCandidate* const next = NextStep(way.back());
    if (next == nullptr) break;
    way.push_back(next->version);
  }
  if (way.size() > 1) answer.way = std::move(way);
}

TAnswer TSearch::Answer() {
  std::stable_sort(candidates.begin(), candidates.end(), [&](const auto& one, const auto& other) {
    return Compare(one.version, other.version) > 0;
  });
  TAnswer answer;
  const TCandidate* const chosen = HighestFrom(installed);
  if (chosen == nullptr) {
    TellHeldBack(installed, answer);
    return answer;
  }
  const int order = Compare(installed, chosen->version);
  answer.choice = TChoice{installed, chosen->number, chosen->version, order};
  TellHeldBack(order < 0 ? chosen->version : installed, answer);
  if (order < 0) FindWay(*chosen, answer);
  return answer;
}

constexpr std::string_view kNothing = "-";

// The parts of a requirement's text.
struct TRequirement {
  std::string_view element, compare, version, about;
};

TRequirement Parse(std::string_view text) {
  const auto take = [&text] {
    const std::size_t blank = text.find(' ');
    const std::string_view word = text.substr(0, blank);
    text.remove_prefix(blank == std::string_view::npos ? text.size() : blank + 1);
    return word;
  };
  TRequirement parsed;
  parsed.element = take();
  parsed.compare = take();
  parsed.version = take();
  parsed.about = text;
  return parsed;
}

// Of a pattern and of a version that is matched with it: the work grows as the product of the two.
constexpr std::size_t kLongestMatched = 256;

// Whether a pattern of "*" (anything) and "?" (one character) is the text, in one walk: where a
// star's rest does not fit, the star takes one character more.
bool MatchesPattern(std::string_view pattern, std::string_view text) {
  std::size_t at = 0;
  std::size_t star = std::string_view::npos;
  std::size_t starText = 0;
  for (std::size_t i = 0; i < text.size();) {
    if (at < pattern.size() && pattern[at] == '*') {
      star = at++;
      starText = i;
    } else if (at < pattern.size() && (pattern[at] == '?' || pattern[at] == text[i])) {
      ++at;
      ++i;
    } else if (star != std::string_view::npos) {
      at = star + 1;
      i = ++starText;
    } else {
      return false;
    }
  }
  return std::all_of(pattern.begin() + static_cast<std::ptrdiff_t>(at), pattern.end(),
                     [](char c) { return c == '*'; });
}

struct TComparison {
  std::string_view name;
  bool (*holds)(int order);
  // What is to be said of an installed version that is not so; the version stands between.
  std::string_view before;
  std::string_view behind;
};
constexpr std::array kComparisons = {
    TComparison{"ge", [](int order) { return order >= 0; }, "needs ", " installed first"},
    TComparison{"gt", [](int order) { return order > 0; }, "needs a version above ",
                " installed first"},
    TComparison{"eq", [](int order) { return order == 0; }, "needs exactly ", " installed"},
    TComparison{"ne", [](int order) { return order != 0; }, "is not for ", ""},
    TComparison{"le", [](int order) { return order <= 0; }, "is for ", " and earlier"},
    TComparison{"lt", [](int order) { return order < 0; }, "is for versions before ", ""}};

std::string UnknownRequirement(const TRequirement& asked) {
  return "has a requirement that is not known: " + std::string(asked.element) + ' ' +
         std::string(asked.compare) + ' ' + std::string(asked.version) + ' ' +
         std::string(asked.about);
}

// Empty where the version is as asked.
std::string WhyNotVersion(const TRequirement& asked, std::string_view version,
                          EVersionFormat format) {
  if (asked.compare == "glob") {
    if (std::max(asked.version.size(), version.size()) > kLongestMatched) {
      return UnknownRequirement(asked);
    }
    if (MatchesPattern(asked.version, version)) return {};
    return "needs " + std::string(asked.version) + " installed first";
  }
  for (const TComparison& row : kComparisons) {
    if (row.name != asked.compare) continue;
    if (row.holds(CompareVersions(version, asked.version, format))) return {};
    return std::string(row.before) + std::string(asked.version) + std::string(row.behind);
  }
  return UnknownRequirement(asked);
}

// Calls `use` with each of the texts between bars, until one is true.
template <typename TUse>
bool AnyOf(std::string_view texts, const TUse& use) {
  for (;;) {
    const std::size_t bar = texts.find('|');
    if (use(texts.substr(0, bar))) return true;
    if (bar == std::string_view::npos) return false;
    texts.remove_prefix(bar + 1);
  }
}

bool IsAnyHardwareId(std::string_view guids, const TMachine& machine) {
  return AnyOf(guids, [&](std::string_view text) {
    const auto guid = GuidOfText(text);
    return guid &&
           std::binary_search(machine.hardwareIds.begin(), machine.hardwareIds.end(), *guid);
  });
}

// Releases name vendors by a regular expression, which in all that are published is a list of ids
// with or without the marks of a text's begin and end. A device whose vendor is not known passes:
// the identifier that it was found by is its maker's.
std::string WhyNotVendor(const TRequirement& asked, const TDevice& device) {
  if (asked.version.find_first_of("*+?[]\\.{}") != std::string_view::npos) {
    return UnknownRequirement(asked);
  }
  if (device.vendors.empty()) return {};
  const bool isOne = AnyOf(asked.version, [&](std::string_view vendor) {
    constexpr std::string_view kMarks = "^$()";
    while (!vendor.empty() && kMarks.find(vendor.front()) != std::string_view::npos) {
      vendor.remove_prefix(1);
    }
    while (!vendor.empty() && kMarks.find(vendor.back()) != std::string_view::npos) {
      vendor.remove_suffix(1);
    }
    return std::binary_search(device.vendors.begin(), device.vendors.end(), vendor);
  });
  return isOne ? std::string() : "for devices of another vendor";
}

const TDevice* FindDevice(std::string_view guids, const TMachine& machine) {
  const TDevice* found = nullptr;
  AnyOf(guids, [&](std::string_view text) {
    if (const auto guid = GuidOfText(text)) found = machine.DeviceOf(*guid);
    return found != nullptr;
  });
  return found;
}

std::string WhyNotOther(const TRequirement& asked, const TMachine& machine) {
  const TDevice* const other = FindDevice(asked.about, machine);
  if (other == nullptr) return "needs another device that is not there";
  if (asked.compare == kNothing) return {};
  const std::string why = WhyNotVersion(asked, other->version, FormatOfName(other->format));
  return why.empty() ? why : other->name + ": " + why;
}

std::string WhyNotBootloader(const TRequirement& asked, const TDevice& device,
                             EVersionFormat format) {
  if (device.bootloaderVersion.empty()) {
    return "depends on its bootloader's version, which is not known";
  }
  const std::string why = WhyNotVersion(asked, device.bootloaderVersion, format);
  return why.empty() ? why : "its bootloader: " + why;
}

std::string WhyNotFirmware(const TRequirement& asked, const TDevice& device,
                           std::string_view installed, EVersionFormat format,
                           const TMachine& machine) {
  if (asked.about.empty()) return WhyNotVersion(asked, installed, format);
  if (asked.about == "vendor-id") return WhyNotVendor(asked, device);
  if (asked.about == "bootloader") return WhyNotBootloader(asked, device, format);
  if (asked.about == "parent" || asked.about == "not-child") {
    return "depends on devices above or below it, which are not known";
  }
  return WhyNotOther(asked, machine);
}

}  // namespace

std::optional<std::string> InstalledFor(const TDevice& device, EVersionFormat format) {
  using enum EVersionFormat;
  if (device.format.empty()) return device.version;
  const EVersionFormat own = FormatOfName(device.format);
  if (own == format || own == kUnknown || format == kUnknown) return device.version;
  if (own == kBcd && format == kPair) return device.version;
  if (own != kNumber && own != kHex) return {};
  const auto number = NumberOf(device.version);
  if (!number) return {};
  return VersionOfNumber(*number, format);
}

TAnswer Choose(const TDevice& device, const TMachine& machine, const std::vector<TOffer>& offers) {
  TSearch search(device, machine);
  for (std::size_t i = 0; i < offers.size(); ++i) search.Add(offers[i], i);
  return search.Answer();
}

// What a release asks of the device, of others and of the machine before it may be installed.

// What is asked of the program that installs it ("id", "client") says nothing about the machine.
std::string WhyNot(std::string_view requirement, const TDevice& device, std::string_view installed,
                   EVersionFormat format, const TMachine& machine) {
  const TRequirement asked = Parse(requirement);
  if (asked.element == "id" || asked.element == "client") return {};
  if (asked.element == "firmware") {
    return WhyNotFirmware(asked, device, installed, format, machine);
  }
  if (asked.element == "hardware") {
    return IsAnyHardwareId(asked.about, machine) ? std::string() : "for another hardware id";
  }
  if (asked.element == "not_hardware") {
    return IsAnyHardwareId(asked.about, machine) ? "not for this hardware id" : std::string();
  }
  return UnknownRequirement(asked);
}

}  // namespace svc::publicfirmware
