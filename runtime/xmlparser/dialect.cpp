#include "runtime/xmlparser/dialect.h"

#include <algorithm>

#include "runtime/xmlparser/declaration.h"

namespace svc::xml {
namespace {

constexpr unsigned kMajor = 4;
constexpr unsigned kMinor = 2;
// Versions are not compared beyond this: larger numbers count as this one.
constexpr unsigned kLargest = 1000000;

bool IsNumber(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

unsigned NumberOf(std::string_view digits) {
  unsigned number = 0;
  for (char digit : digits)
    number = std::min(number * 10 + static_cast<unsigned>(digit - '0'), kLargest);
  return number;
}

}  // namespace

std::string_view DialectVersion(std::string_view contents) {
  while (const auto item = CutPseudoAttribute(contents))
    if (item->name == "version") return item->value;
  return {};
}

bool IsDialect402(std::string_view version) {
  const std::size_t point = version.find('.');
  if (point == version.npos) return false;
  const std::string_view major = version.substr(0, point);
  const std::string_view minor = version.substr(point + 1);
  if (!IsNumber(major) || !IsNumber(minor)) return false;
  const unsigned number = NumberOf(major);
  return number > kMajor || (number == kMajor && NumberOf(minor) >= kMinor);
}

}  // namespace svc::xml
