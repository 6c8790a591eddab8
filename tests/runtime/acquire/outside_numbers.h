// Numbers as others write them, around every bound at which a program may take one for another.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace svc::acquire {

struct TOutsideNumber {
  const char* text;
  std::optional<std::uint64_t> value;  // Nothing where it is none that fits.
};

inline constexpr std::array kOutsideNumbers = {
    TOutsideNumber{"0", 0},
    TOutsideNumber{"1", 1},
    TOutsideNumber{"2147483646", 2147483646},
    TOutsideNumber{"2147483647", 2147483647},
    TOutsideNumber{"2147483648", 2147483648},
    TOutsideNumber{"4294967295", 4294967295},
    TOutsideNumber{"4294967296", 4294967296},
    TOutsideNumber{"4294967499", 4294967499},  // 2^32 + 203
    TOutsideNumber{"9223372036854775807", 9223372036854775807U},
    TOutsideNumber{"9223372036854775808", 9223372036854775808U},
    TOutsideNumber{"18446744073709551615", 18446744073709551615U},
    TOutsideNumber{"18446744073709551616", std::nullopt},
    TOutsideNumber{"18446744073709551623", std::nullopt},  // 2^64 + 7
    TOutsideNumber{"-1", std::nullopt},
    TOutsideNumber{"-0", std::nullopt},
    TOutsideNumber{"1.5", std::nullopt},
    TOutsideNumber{"1e3", std::nullopt}};

// The largest number that a code of 31 bits takes.
inline constexpr std::uint64_t kLargestCode = 2147483647;

}  // namespace svc::acquire
