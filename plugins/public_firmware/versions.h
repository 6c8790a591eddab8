// Versions of firmware as their makers count them. Pure functions; may be called from any thread.
//
// Order and forms are those of fwupd's version formats: whoever installs what is offered here does
// it with that client, and the two must not disagree on what is newer.
#ifndef PLUGINS_PUBLIC_FIRMWARE_VERSIONS_H_
#define PLUGINS_PUBLIC_FIRMWARE_VERSIONS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace svc::publicfirmware {

enum class EVersionFormat : std::uint8_t {
  kUnknown,  // None is named, or one that is not known: compared part by part.
  kPlain,
  kNumber,
  kPair,
  kTriplet,
  kQuad,
  kBcd,
  kIntelMe,
  kIntelMe2,
  kIntelCsme19,
  kSurface,
  kSurfaceLegacy,
  kDellBios,
  kDellBiosMsb,
  kHex
};

EVersionFormat FormatOfName(std::string_view name) noexcept;
std::string_view NameOf(EVersionFormat format) noexcept;

// Below 0, 0 or above 0, as the first is older than, the same as or newer than the second. "~"
// comes before the end of a text: 1.0~rc1 is older than 1.0.
int CompareVersions(std::string_view first, std::string_view second, EVersionFormat format);

// A whole text that is a number of 32 bits, in decimal digits or written with "0x"; none otherwise.
std::optional<std::uint32_t> NumberOf(std::string_view text) noexcept;

// A number as the format shows it: 16909060 is 1.2.772 as a triplet. None where the format does not
// say how.
std::optional<std::string> VersionOfNumber(std::uint32_t number, EVersionFormat format);

}  // namespace svc::publicfirmware

#endif  // PLUGINS_PUBLIC_FIRMWARE_VERSIONS_H_
