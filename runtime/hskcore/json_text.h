// Texts inside JSON (RFC 8259, section 7). Pure functions.
#ifndef RUNTIME_HSKCORE_JSON_TEXT_H_
#define RUNTIME_HSKCORE_JSON_TEXT_H_

#include <cstddef>
#include <string_view>

#include "host/hskcore/export.h"

namespace svc {

// No byte of a text takes more in JSON.
inline constexpr std::size_t kLongestJsonByte = 6;

// Writes the text as it stands between quotes and returns the end of what was written. Bytes that
// are no UTF-8 become U+FFFD, one for each piece that could have begun a character.
// REQUIRES: room for kLongestJsonByte bytes for each byte of the text.
HSKCORE_API char* WriteJsonText(char* target, std::string_view text) noexcept;

}  // namespace svc

#endif  // RUNTIME_HSKCORE_JSON_TEXT_H_
