#include "base/utf8.h"

#include <algorithm>
#include <array>

namespace svc {

namespace {

// The well-formed lead bytes, how long their characters are and what the second byte may be
// (Unicode, table 3-7).
struct TLead {
  unsigned char first;
  unsigned char last;
  std::size_t size;
  unsigned char secondFirst;
  unsigned char secondLast;
};
constexpr std::array kLeads = {TLead{0xC2, 0xDF, 2, 0x80, 0xBF}, TLead{0xE0, 0xE0, 3, 0xA0, 0xBF},
                               TLead{0xE1, 0xEC, 3, 0x80, 0xBF}, TLead{0xED, 0xED, 3, 0x80, 0x9F},
                               TLead{0xEE, 0xEF, 3, 0x80, 0xBF}, TLead{0xF0, 0xF0, 4, 0x90, 0xBF},
                               TLead{0xF1, 0xF3, 4, 0x80, 0xBF}, TLead{0xF4, 0xF4, 4, 0x80, 0x8F}};

}  // namespace

TCodePoint FirstCodePointBeyondAscii(std::string_view text) noexcept {
  const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const auto* const lead = std::find_if(kLeads.begin(), kLeads.end(), [&](const TLead& row) {
    return byteAt(0) >= row.first && byteAt(0) <= row.last;
  });
  if (lead == kLeads.end()) return {kReplacement, 1, false};
  char32_t value = byteAt(0) & (0xFFU >> (lead->size + 1));
  for (std::size_t i = 1; i < lead->size; ++i) {
    const unsigned char least = i == 1 ? lead->secondFirst : 0x80;
    const unsigned char most = i == 1 ? lead->secondLast : 0xBF;
    if (i == text.size() || byteAt(i) < least || byteAt(i) > most) return {kReplacement, i, false};
    value = value << 6 | (byteAt(i) & 0x3F);
  }
  return {value, lead->size, true};
}

}  // namespace svc
