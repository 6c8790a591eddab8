// Scalars of CIM types from their texts (DMTF DSP0004, section 5.2; DSP0201, VALUE). Pure
// functions, independent of the locale; may be called from any thread.
#ifndef RUNTIME_HSKCORE_VALUE_TEXT_H_
#define RUNTIME_HSKCORE_VALUE_TEXT_H_

#include <cstdint>
#include <optional>
#include <string_view>

#include "host/hskcore/export.h"
#include "host/hskcore/value.h"

namespace svc {

// The type that a TYPE attribute names ("uint16"), none for an unknown name. An absent attribute
// means string.
HSKCORE_API std::optional<NQRXHSK20::ECIMType> CimTypeOfName(std::string_view name) noexcept;
// The name that a TYPE attribute has for a type.
HSKCORE_API std::string_view NameOfCimType(NQRXHSK20::ECIMType type) noexcept;

// Whether values of the type are kept as texts: string, char16, datetime, reference.
constexpr bool IsTextType(NQRXHSK20::ECIMType type) noexcept {
  using NQRXHSK20::ECIMType;
  return type == ECIMType::kString || type == ECIMType::kChar16 || type == ECIMType::kDateTime ||
         type == ECIMType::kReference;
}

// Whether every text is a value of the type.
constexpr bool TakesAnyText(NQRXHSK20::ECIMType type) noexcept {
  return type == NQRXHSK20::ECIMType::kString || type == NQRXHSK20::ECIMType::kReference;
}

// Whether a UTF-8 text is a value of a text type: any string or reference, one UCS-2 character,
// a datetime of 25 characters.
// REQUIRES: IsTextType(type).
HSKCORE_API bool IsTextOfType(NQRXHSK20::ECIMType type, std::string_view text) noexcept;

// The value of a boolean (0 or 1), an unsigned or signed integer (two's complement) or a real (the
// bits of a double) in 64 bits; none when the text is no value of the type. Strict: no blanks.
// REQUIRES: !IsTextType(type). Throws std::bad_alloc alone, where the C library reads reals.
HSKCORE_API std::optional<std::uint64_t> NumberFromText(NQRXHSK20::ECIMType type,
                                                        std::string_view text);

}  // namespace svc

#endif  // RUNTIME_HSKCORE_VALUE_TEXT_H_
