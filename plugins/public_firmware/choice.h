// Which release a device is offered, and what holds the others back. Pure functions of what they
// are given; may be called from any thread.
#ifndef PLUGINS_PUBLIC_FIRMWARE_CHOICE_H_
#define PLUGINS_PUBLIC_FIRMWARE_CHOICE_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plugins/public_firmware/catalogue.h"

namespace svc::publicfirmware {

// Why the requirement of a release does not hold for a device whose installed version is this one;
// empty where it holds. A requirement is an element, a comparison, a version and what it is about,
// with blanks between: "firmware ge 1.0.5", "hardware - - GUID|GUID".
std::string WhyNot(std::string_view requirement, const TDevice& device, std::string_view installed,
                   EVersionFormat format, const TMachine& machine);

// What the inventory's version is in the form of the release; none where the two are counted
// otherwise and cannot be compared.
std::optional<std::string> InstalledFor(const TDevice& device, EVersionFormat format);

struct THeldBack {
  std::string version;
  std::string why;
};

struct TChoice {
  std::string installed;
  std::size_t offer = 0;  // The number of the chosen one.
  std::string offered;
  int order = 0;  // Below 0 where the installed version is older than the offered one.
};

struct TAnswer {
  std::optional<TChoice> choice;  // None where no release is for this device as it is.
  // Releases above the installed version that the device cannot get now, the highest first.
  std::vector<THeldBack> heldBack;
  // The versions to install one after another, where one step does not lead to the highest.
  std::vector<std::string> way;
};

TAnswer Choose(const TDevice& device, const TMachine& machine, const std::vector<TOffer>& offers);

}  // namespace svc::publicfirmware

#endif  // PLUGINS_PUBLIC_FIRMWARE_CHOICE_H_
