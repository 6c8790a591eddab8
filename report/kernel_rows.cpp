// The rows of a kernel's drivers, and how many updates there are to install.
#include "report/records.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <utility>

#include "report/text.h"
#include "report/version.h"

namespace svc::report {

namespace {

constexpr std::size_t kMostRows = 16;
constexpr std::string_view kDriver = "Driver";

bool GoesByKernel(const TRecord& record) noexcept {
  return record.type == kDriver && !record.release && IsKernelRelease(Trim(record.installed)) &&
         IsKernelRelease(Trim(record.offered));
}

bool AreOne(const std::optional<TAcceptance>& one,
            const std::optional<TAcceptance>& other) noexcept {
  if (!one || !other) return one.has_value() == other.has_value();
  return one->reason == other->reason && one->expires == other->expires;
}

bool SayTheSame(const TRecord& one, const TRecord& other) noexcept {
  return one.verdict == other.verdict && one.installed == other.installed &&
         one.offered == other.offered && one.hasSameSource == other.hasSameSource &&
         one.why == other.why && AreOne(one.waived, other.waived) &&
         AreOne(one.expiredWaiver, other.expiredWaiver);
}

using TUpdateHandle = std::shared_ptr<const TUpdate>;
bool AreOne(const TUpdateHandle& one, const TUpdateHandle& other) noexcept {
  if (!one || !other) return one == other;
  return one == other || (one->line == other->line && one->file == other->file);
}

}  // namespace

std::string TitleOf(const TKernelRow& row) {
  const std::string installed = PlainLine(Trim(row.first.installed));
  const std::string offered = PlainLine(Trim(row.first.offered));
  return fmt::format("kernel {}{}: {} drivers", installed,
                     installed == offered ? "" : " → " + offered, row.records);
}

std::size_t TKernelRows::Find(const TRecord& record) const noexcept {
  if (!GoesByKernel(record)) return rows.size();
  const auto found = std::ranges::find_if(
      rows, [&](const TKernelRow& row) { return SayTheSame(row.first, record); });
  return static_cast<std::size_t>(found - rows.begin());
}

const TKernelRow* TKernelRows::Of(const TRecord& record) const noexcept {
  if (rows.empty()) return nullptr;
  const std::size_t number = Find(record);
  return number == rows.size() ? nullptr : &rows[number];
}

TKernelRows::TKernelRows(const TRecordRange& records) {
  std::size_t place = 0;
  for (const TRecord& record : records) {
    const std::size_t number = Find(record);
    if (number == rows.size() && number < kMostRows && GoesByKernel(record)) {
      rows.push_back({record, place});
    }
    ++place;
    if (number == rows.size()) continue;
    ++rows[number].records;
    if (!AreOne(rows[number].first.update, record.update)) rows[number].isOneUpdate = false;
  }
  std::erase_if(rows, [](const TKernelRow& row) { return row.records < 2; });
}

// What there is to install.

namespace {

// Things of which some are found to be one.
class TOnes {
 public:
  std::size_t Add() {
    parents.push_back(parents.size());
    return parents.size() - 1;
  }
  void Join(std::size_t one, std::size_t other) { parents[RootOf(one)] = RootOf(other); }
  std::size_t Count() const {
    std::size_t count = 0;
    for (std::size_t i = 0; i < parents.size(); ++i) count += parents[i] == i ? 1 : 0;
    return count;
  }

 private:
  std::size_t RootOf(std::size_t thing) {
    while (parents[thing] != thing) thing = parents[thing] = parents[parents[thing]];
    return thing;
  }

  std::vector<std::size_t> parents;
};

}  // namespace

// A kernel is one update, however many elements of the catalogue bring its drivers; so is an
// element, whatever it brings.
std::size_t CountUpdates(const TReport& report) {
  const TKernelRows kernels(RecordsOf(report));
  std::size_t alone = 0;  // Of which nobody knows an element: each is an update.
  TOnes updates;
  std::map<std::pair<std::string, std::size_t>, std::size_t> elements;  // By their places.
  std::map<const TKernelRow*, std::size_t> rows;
  TUpdateHandle last;  // Kept: another one may lie where one that is gone lay.
  for (const TRecord& record : RecordsOf(report)) {
    if (!FailsOn(record, EFailOn::kOutdated)) continue;
    const TKernelRow* const row = kernels.Of(record);
    // Records of one element mostly follow each other.
    if (row == nullptr && record.update && record.update == last) continue;
    last = record.update;
    const auto known = [&](auto& map, const auto& key) {
      const auto [entry, isNew] = map.try_emplace(key);
      if (isNew) entry->second = updates.Add();
      return entry->second;
    };
    if (!record.update) {
      row == nullptr ? ++alone : known(rows, row);
      continue;
    }
    const std::size_t element =
        known(elements, std::pair(record.update->file, record.update->line));
    if (row != nullptr) updates.Join(element, known(rows, row));
  }
  return alone + updates.Count();
}

}  // namespace svc::report
