// Bytes as text, as keys and signatures are written. Pure functions.
#ifndef RUNTIME_ACQUIRE_BASE64_H_
#define RUNTIME_ACQUIRE_BASE64_H_

#include <optional>
#include <string>
#include <string_view>

namespace svc::acquire {

// RFC 4648, section 4, with padding.
std::string ToBase64(std::string_view bytes);
// Nothing where the text is not exactly what ToBase64 would write.
std::optional<std::string> FromBase64(std::string_view text);

// Lower-case hexadecimal.
std::string ToHex(std::string_view bytes);

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_BASE64_H_
