// Drivers, installed and offered.
#ifndef PLUGINS_VERSION_CHECKER_DRIVERS_DRIVER_RECORD_H_
#define PLUGINS_VERSION_CHECKER_DRIVERS_DRIVER_RECORD_H_

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "host/hskcore/shared_text.h"

// An installed driver. An offered one is an entry of a list of driver files, and is cut out of it
// when it is compared: lists that instances share would otherwise be stored for each of them.
struct DriverRecord {
  NQRXHSK20::TSharedText fileName;  // The last component of `path`.
  NQRXHSK20::TSharedText path;
  NQRXHSK20::TSharedText version;
  bool running = false;
};

// What every offered driver is marked with: an installed one of exactly that name matches it.
inline constexpr std::string_view kOfferedMarker = "NaN";

// The text after the last backslash of a path; the whole text when it has none.
std::string_view FileNameOfPath(std::string_view pathText);

// Brings names into the form in which they are compared: upper case, cut before the first ".". What
// upper case is says the C library's locale, which is asked once. Used by one thread.
class TDriverNameForm {
 public:
  TDriverNameForm();
  // Valid until the next call.
  std::string_view Of(std::string_view name);

 private:
  std::array<char, 256> upperCase;
  std::string normalised;
};

#endif  // PLUGINS_VERSION_CHECKER_DRIVERS_DRIVER_RECORD_H_
