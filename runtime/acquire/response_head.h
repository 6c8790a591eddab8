// Reading what a server says before the content, which may be anything: what is not understood
// counts as not said. Pure functions.
#ifndef RUNTIME_ACQUIRE_RESPONSE_HEAD_H_
#define RUNTIME_ACQUIRE_RESPONSE_HEAD_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "runtime/acquire/transport.h"

namespace svc::acquire {

// Digits and nothing else, of a number that fits.
std::optional<std::uint64_t> WholeNumber(std::string_view text);

// Where the part begins that a Content-Range header describes (RFC 9110, section 14.4).
std::optional<std::uint64_t> RangeStart(std::string_view value);

// Takes an entity tag, a place to go to or a range from one line, "Name: value".
void ReadHeaderLine(std::string_view line, TResponse& response);

// The absolute form of a place to go to, which may be relative to the address that names it; the
// place as it is where it has no such form.
std::string AbsoluteAddress(const std::string& base, const std::string& location);

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_RESPONSE_HEAD_H_
