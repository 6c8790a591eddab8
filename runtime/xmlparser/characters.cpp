#include "runtime/xmlparser/characters.h"

#include <array>

#include "runtime/xmlparser/name_ranges.h"

namespace svc::xml {
namespace {

constexpr std::array<bool, 128> MakeNameTable(bool first) {
  std::array<bool, 128> table{};
  for (int c = 'a'; c <= 'z'; ++c) table[c] = table[c - 'a' + 'A'] = true;
  table['_'] = table[':'] = true;
  if (first) return table;
  for (int c = '0'; c <= '9'; ++c) table[c] = true;
  table['-'] = table['.'] = true;
  return table;
}

constexpr std::array<bool, 128> kNameStart = MakeNameTable(true);
constexpr std::array<bool, 128> kNamePart = MakeNameTable(false);

// Behind the name character at `at`, or null.
const char* SkipNameCharacter(const char* at, const char* end, bool first) {
  const auto byte = static_cast<unsigned char>(*at);
  if (byte < 128) return (first ? kNameStart : kNamePart)[byte] ? at + 1 : nullptr;
  char32_t character = 0;
  const char* next = DecodeUtf8(at, end, character);
  if (!next) return nullptr;
  return IsNameStart(character) || (!first && IsNameExtra(character)) ? next : nullptr;
}

// The value bits of the continuation byte at `at`, or -1.
int Continuation(const char* at, const char* end) {
  if (at == end) return -1;
  const auto byte = static_cast<unsigned char>(*at);
  return (byte & 0xC0) == 0x80 ? byte & 0x3F : -1;
}

}  // namespace

const char* DecodeUtf8(const char* at, const char* end, char32_t& character) {
  const auto lead = static_cast<unsigned char>(*at++);
  if (lead < 0x80) {
    character = lead;
    return IsXmlCharacter(lead) ? at : nullptr;
  }
  const int more = lead < 0xC2 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : lead < 0xF5 ? 3 : 0;
  if (!more) return nullptr;
  character = lead & (0x3F >> more);
  for (int i = 0; i < more; ++i, ++at) {
    const int bits = Continuation(at, end);
    if (bits < 0) return nullptr;
    character = character << 6 | static_cast<char32_t>(bits);
  }
  constexpr char32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
  return character >= kSmallest[more] && IsXmlCharacter(character) ? at : nullptr;
}

const char* SkipUtf8(const char* at, const char* end) {
  char32_t ignored;
  while (at != end && static_cast<unsigned char>(*at) > 0x7F) {
    const char* next = DecodeUtf8(at, end, ignored);
    if (!next) break;
    at = next;
  }
  return at;
}

char* EncodeUtf8(char32_t character, char* to) {
  const auto put = [&to](char32_t byte) { *to++ = static_cast<char>(byte); };
  if (character < 0x80) {
    put(character);
    return to;
  }
  if (character < 0x800) {
    put(0xC0 | character >> 6);
  } else {
    if (character < 0x10000) {
      put(0xE0 | character >> 12);
    } else {
      put(0xF0 | character >> 18);
      put(0x80 | (character >> 12 & 0x3F));
    }
    put(0x80 | (character >> 6 & 0x3F));
  }
  put(0x80 | (character & 0x3F));
  return to;
}

const char* SkipName(const char* at, const char* end) {
  for (bool first = true; at != end; first = false) {
    const char* next = SkipNameCharacter(at, end, first);
    if (!next) break;
    at = next;
  }
  return at;
}

}  // namespace svc::xml
