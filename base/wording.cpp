#include "base/wording.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

namespace svc {

namespace {

// How many letters must be typed, dropped or exchanged to make one word of the other (Levenshtein).
std::size_t Distance(std::string_view left, std::string_view right) {
  std::vector<std::size_t> row(right.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < left.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t k = 0; k < right.size(); ++k) {
      const std::size_t replaced = diagonal + (left[i] == right[k] ? 0 : 1);
      diagonal = row[k + 1];
      row[k + 1] = std::min({replaced, row[k] + 1, row[k + 1] + 1});
    }
  }
  return row.back();
}

bool IsBeginning(std::string_view word, std::string_view name) {
  constexpr std::size_t kTelling = 3;
  return word.size() >= kTelling && name.starts_with(word);
}

}  // namespace

std::string_view Nearest(std::string_view word, const std::vector<std::string>& names) {
  std::size_t best = std::min<std::size_t>(3, word.size());
  std::string_view nearest;
  for (const std::string& name : names) {
    const std::size_t distance = IsBeginning(word, name) ? 1 : Distance(word, name);
    if (distance >= best) continue;
    best = distance;
    nearest = name;
  }
  return nearest;
}

std::vector<std::string> MostAlike(std::string_view word, std::vector<std::string> names,
                                   std::size_t most) {
  constexpr std::size_t kLongest = 64;  // Of a longer one the beginning counts.
  const auto distance = [&](const std::string& name) {
    return std::pair(Distance(word.substr(0, kLongest), std::string_view(name).substr(0, kLongest)),
                     std::string_view(name));
  };
  const std::size_t count = std::min(most, names.size());
  std::ranges::partial_sort(names, names.begin() + static_cast<std::ptrdiff_t>(count), {},
                            distance);
  names.resize(count);
  return names;
}

std::string DidYouMean(std::string_view word, const std::vector<std::string>& names) {
  const std::string_view nearest = Nearest(word, names);
  return nearest.empty() ? std::string() : "did you mean \"" + std::string(nearest) + "\"? ";
}

}  // namespace svc
