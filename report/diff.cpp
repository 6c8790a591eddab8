#include "report/diff.h"

#include <algorithm>
#include <deque>
#include <map>
#include <tuple>
#include <utility>

namespace svc::report {

namespace {

bool IsSameAcceptance(const std::optional<TAcceptance>& left,
                      const std::optional<TAcceptance>& right) {
  if (!left || !right) return left.has_value() == right.has_value();
  return left->reason == right->reason && left->expires == right->expires;
}

bool IsSame(const TRecord& left, const TRecord& right) {
  return left.installed == right.installed && left.offered == right.offered &&
         left.verdict == right.verdict && IsSameAcceptance(left.waived, right.waived) &&
         IsSameAcceptance(left.expiredWaiver, right.expiredWaiver);
}

// Who goes with whom, by the places of the records in their reports.
struct TPairing {
  std::vector<const TRecord*> partners;  // Of each later record; null for none.
  std::vector<const TRecord*> left;      // Each earlier record without a partner; null for others.
};

// Pairs records of equal keys, in their order.
template <typename TKeyOf>
void PairBy(const TKeyOf& keyOf, const TReport& after, TPairing& pairing) {
  std::map<decltype(keyOf(after.records.front())), std::deque<const TRecord**>> candidates;
  for (const TRecord*& record : pairing.left) {
    if (record != nullptr) candidates[keyOf(*record)].push_back(&record);
  }
  for (std::size_t i = 0; i < pairing.partners.size(); ++i) {
    if (pairing.partners[i] != nullptr) continue;
    const auto found = candidates.find(keyOf(after.records[i]));
    if (found == candidates.end() || found->second.empty()) continue;
    pairing.partners[i] = std::exchange(*found->second.front(), nullptr);
    found->second.pop_front();
  }
}

TPairing PairRecords(const TReport& before, const TReport& after) {
  TPairing pairing{std::vector<const TRecord*>(after.records.size()), {}};
  for (const TRecord& record : before.records) pairing.left.push_back(&record);
  const auto by = [&](const auto& keyOf) { PairBy(keyOf, after, pairing); };
  by([](const TRecord& r) { return std::tie(r.type, r.name, r.installed, r.offered); });
  by([](const TRecord& r) { return std::tie(r.type, r.name, r.offered); });
  by([](const TRecord& r) { return std::tie(r.type, r.name, r.installed); });
  by([](const TRecord& r) { return std::tie(r.type, r.name); });
  return pairing;
}

}  // namespace

std::size_t TDiff::Count(EChange kind) const noexcept {
  return static_cast<std::size_t>(std::count_if(
      changes.begin(), changes.end(), [&](const TChange& change) { return change.kind == kind; }));
}

TDiff CompareReports(const TReport& before, const TReport& after) {
  TDiff diff{before, after, {}, {}, {}, 0};
  const TPairing pairing = PairRecords(before, after);
  for (std::size_t i = 0; i < pairing.partners.size(); ++i) {
    const TRecord& record = after.records[i];
    const TRecord* const partner = pairing.partners[i];
    if (partner == nullptr) {
      diff.changes.push_back({EChange::kAdded, nullptr, &record});
    } else if (IsSame(*partner, record)) {
      ++diff.same;
    } else {
      diff.changes.push_back({EChange::kChanged, partner, &record});
    }
  }
  for (const TRecord* const record : pairing.left) {
    if (record != nullptr) diff.changes.push_back({EChange::kRemoved, record, nullptr});
  }
  return diff;
}

bool FailsOn(const TDiff& diff, EFailOn condition) noexcept {
  return std::any_of(diff.changes.begin(), diff.changes.end(), [&](const TChange& change) {
    return change.after != nullptr && FailsOn(*change.after, condition) &&
           (change.before == nullptr || !FailsOn(*change.before, condition));
  });
}

}  // namespace svc::report
