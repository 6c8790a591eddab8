#include "report/selection.h"

#include <fmt/format.h>
#include <algorithm>
#include <compare>
#include <map>
#include <numeric>
#include <span>
#include <utility>

#include "report/records.h"
#include "report/text.h"
#include "report/version.h"

namespace svc::report {

namespace {

using TNumbers = std::vector<std::size_t>;

std::vector<std::string_view> PartsOf(std::string_view list) {
  std::vector<std::string_view> parts;
  for (std::size_t begin = 0; !list.empty() && begin <= list.size();) {
    const std::size_t end = std::min(list.find(',', begin), list.size());
    parts.push_back(list.substr(begin, end - begin));
    begin = end + 1;
  }
  return parts;
}

std::string_view TakeDigits(std::string_view& text) noexcept {
  const auto* const end = std::find_if_not(text.begin(), text.end(), IsDigit);
  std::string_view digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
  text.remove_prefix(digits.size());
  digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
  return digits;
}

// As a person looks through a list: numbers by value, letters without regard to case.
std::weak_ordering OrderOfTexts(std::string_view left, std::string_view right) noexcept {
  while (!left.empty() && !right.empty()) {
    if (IsDigit(left.front()) && IsDigit(right.front())) {
      const std::string_view a = TakeDigits(left);
      const std::string_view b = TakeDigits(right);
      if (a.size() != b.size()) return a.size() <=> b.size();
      if (const auto order = a <=> b; order != 0) return order;
      continue;
    }
    const auto a = static_cast<unsigned char>(ToLower(left.front()));
    const auto b = static_cast<unsigned char>(ToLower(right.front()));
    if (a != b) return a <=> b;
    left.remove_prefix(1);
    right.remove_prefix(1);
  }
  return left.size() <=> right.size();
}

std::weak_ordering OrderOfVersions(std::string_view left, std::string_view right) noexcept {
  if (const TVersionOrder order = CompareVersions(left, right)) return *order;
  return OrderOfTexts(left, right);
}

// What a record is sorted by.
std::string KeyOf(const TRecord& record, std::string_view key) {
  if (key == "verdict") {
    return std::to_string(record.waived ? kVerdicts.size() : IndexOf(record.verdict));
  }
  const std::string& text = key == "type"        ? record.type
                            : key == "name"      ? record.name
                            : key == "installed" ? record.installed
                                                 : record.offered;
  return std::string(Trim(text));
}

// Versions, some of which have an order and some not, are nothing that std::stable_sort may be
// given: a first text may come before a second, that before a third, and the third before the
// first. This ends for them too, and each text stands behind its neighbour by their own order.
template <typename TIsLater>
void MergeSort(std::span<std::size_t> numbers, const TIsLater& isLater) {
  if (numbers.size() < 2) return;
  const auto left = numbers.first(numbers.size() / 2);
  const auto right = numbers.subspan(left.size());
  MergeSort(left, isLater);
  MergeSort(right, isLater);
  TNumbers merged;
  merged.reserve(numbers.size());
  auto one = left.begin();
  auto other = right.begin();
  while (one != left.end() || other != right.end()) {
    const bool takesOther = one == left.end() || (other != right.end() && isLater(*one, *other));
    merged.push_back(takesOther ? *other++ : *one++);
  }
  std::ranges::copy(merged, numbers.begin());
}

// The texts of one column at a time are in memory.
void SortBy(TReport& report, std::string_view key) {
  const bool isReversed = key.starts_with('-');
  if (isReversed) key.remove_prefix(1);
  const bool isVersion = key == "installed" || key == "offered";
  std::vector<std::string> texts;
  for (const TRecord& record : ShownIn(report)) texts.push_back(KeyOf(record, key));
  TNumbers places(texts.size());
  std::iota(places.begin(), places.end(), std::size_t{0});
  MergeSort(std::span(places), [&](std::size_t left, std::size_t right) {
    const auto order = isVersion ? OrderOfVersions(texts[left], texts[right])
                                 : OrderOfTexts(texts[left], texts[right]);
    return isReversed ? order < 0 : order > 0;
  });
  TNumbers& numbers = report.shown->numbers;
  std::ranges::transform(places, places.begin(), [&](std::size_t place) { return numbers[place]; });
  numbers = std::move(places);
}

}  // namespace

void ShowOnly(TReport& report, std::string_view verdicts) {
  if (verdicts == kAllVerdicts) return;
  const std::vector<std::string_view> names = PartsOf(verdicts);
  TShownRecords shown{{}, std::string(verdicts)};
  std::size_t number = 0;
  for (const TRecord& record : RecordsOf(report)) {
    if (std::ranges::count(names, NameOf(record.verdict)) > 0) shown.numbers.push_back(number);
    ++number;
  }
  report.shown = std::move(shown);
}

// The last key first: what it made of equal ones stays as it is.
void Sort(TReport& report, std::string_view keys) {
  if (keys == kQueryOrder) return;
  if (!report.shown) {
    report.shown.emplace();
    report.shown->numbers.resize(RecordsOf(report).size());
    std::iota(report.shown->numbers.begin(), report.shown->numbers.end(), std::size_t{0});
  }
  const std::vector<std::string_view> parts = PartsOf(keys);
  for (auto key = parts.rbegin(); key != parts.rend(); ++key) SortBy(report, *key);
}

std::optional<std::size_t> CountHidden(const TReport& report) {
  if (!report.shown || report.shown->only.empty()) return {};
  return RecordsOf(report).size() - report.shown->numbers.size();
}

std::string HiddenNotice(const TReport& report) {
  const std::size_t count = CountHidden(report).value_or(0);
  if (count == 0) return {};
  return fmt::format("{} record{} not shown: --only {}.", count, count == 1 ? "" : "s",
                     report.shown->only);
}

// The rows of a kernel's drivers, and how many updates there are to install.

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
