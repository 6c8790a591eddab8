// Drivers, installed and offered.
#ifndef DRIVERS_DRIVER_RECORD_H_
#define DRIVERS_DRIVER_RECORD_H_

#include <array>
#include <string>
#include <string_view>
#include <vector>

struct DriverRecord {
  std::string fileName;  // Installed: the last component of `path`. Offered: the name as listed.
  std::string marker;    // Offered: "NaN". Installed: empty.
  std::string path;      // Installed only.
  std::string version;
  bool running = false;  // Installed only.
};

// The text after the last backslash of a path; the whole text when it has none.
std::string FileNameOfPath(std::string_view pathText);

// Appends the drivers of a "driverFiles" text: entries of a name, "-#" and a version, separated by
// one blank.
void AppendOfferedDrivers(std::vector<DriverRecord>& list, std::string_view driverFiles);

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

#endif  // DRIVERS_DRIVER_RECORD_H_
