#include <boost/algorithm/string/predicate.hpp>
#include <charconv>

#include "runtime/acquire/transport.h"

namespace svc::acquire {

namespace {

std::string_view Trimmed(std::string_view text) {
  constexpr const char* kBlanks = " \t\r\n";
  const auto begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

}  // namespace

std::optional<std::uint64_t> WholeNumber(std::string_view text) {
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, number);
  if (text.empty() || error != std::errc() || last != end) return std::nullopt;
  return number;
}

std::optional<std::uint64_t> RangeStart(std::string_view value) {
  constexpr std::string_view kUnit = "bytes ";
  const auto dash = value.find('-');
  const auto slash = value.find('/');
  if (!boost::istarts_with(value, kUnit) || dash == value.npos || slash == value.npos ||
      slash < dash)
    return std::nullopt;
  const auto first = WholeNumber(value.substr(kUnit.size(), dash - kUnit.size()));
  const auto last = WholeNumber(value.substr(dash + 1, slash - dash - 1));
  const std::string_view size = value.substr(slash + 1);
  const bool isSound =
      first && last && *first <= *last && (size == "*" || WholeNumber(size).value_or(0) > *last);
  return isSound ? first : std::nullopt;
}

void ReadHeaderLine(std::string_view line, TResponse& response) {
  const auto colon = line.find(':');
  if (colon == std::string_view::npos) return;
  const std::string_view name = line.substr(0, colon);
  const std::string_view value = Trimmed(line.substr(colon + 1));
  if (boost::iequals(name, "etag")) response.etag = value;
  if (boost::iequals(name, "location")) response.redirect = value;
  if (boost::iequals(name, "x-auth-token")) response.sessionToken = value;
  if (boost::iequals(name, "content-range")) response.rangeStart = RangeStart(value);
}

}  // namespace svc::acquire
