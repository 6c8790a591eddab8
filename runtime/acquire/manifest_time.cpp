#include <cstdio>
#include <stdexcept>

#include "runtime/acquire/manifest.h"

namespace svc::acquire {
namespace {

constexpr std::string_view kForm = "0000-00-00T00:00:00Z";

bool HasForm(std::string_view text) {
  if (text.size() != kForm.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isDigit = text[i] >= '0' && text[i] <= '9';
    if (kForm[i] == '0' ? !isDigit : text[i] != kForm[i]) return false;
  }
  return true;
}

}  // namespace

std::chrono::sys_seconds ParseTime(std::string_view text) {
  using namespace std::chrono;
  if (!HasForm(text)) throw std::invalid_argument("is not a time in the form 2027-06-30T00:00:00Z");
  const auto number = [text](std::size_t position, std::size_t size) {
    return std::stoi(std::string(text.substr(position, size)));
  };
  const year_month_day date{year(number(0, 4)), month(static_cast<unsigned>(number(5, 2))),
                            day(static_cast<unsigned>(number(8, 2)))};
  const int hour = number(11, 2);
  const int minute = number(14, 2);
  const int second = number(17, 2);
  if (!date.ok() || hour > 23 || minute > 59 || second > 59)
    throw std::invalid_argument("is no time that exists");
  return sys_days(date) + hours(hour) + minutes(minute) + seconds(second);
}

std::string FormatTime(std::chrono::sys_seconds time) {
  using namespace std::chrono;
  const auto midnight = floor<days>(time);
  const year_month_day date(midnight);
  const hh_mm_ss clock(time - midnight);
  char text[48];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text;
}

}  // namespace svc::acquire
