#include "plugins/public_firmware/choice.h"

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

}  // namespace svc::publicfirmware
