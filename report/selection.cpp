#include "report/selection.h"

#include <fmt/format.h>

#include <algorithm>
#include <compare>
#include <numeric>
#include <span>
#include <utility>
#include <vector>

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

}  // namespace svc::report
