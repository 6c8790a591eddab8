#include "base/json_writer.h"

#include <charconv>

#include "base/shown_text.h"

namespace svc {

void TJsonWriter::BeginItem() {
  TLevel& level = levels[depth - 1];
  text += level.hasItems ? level.layout->next : level.layout->first;
  level.hasItems = true;
}

void TJsonWriter::BeginValue() {
  if (!isNamed && depth > 0) BeginItem();
  isNamed = false;
}

void TJsonWriter::AppendText(std::string_view value) {
  const std::size_t start = text.size();
  text.resize(start + value.size() * kLongestJsonByte + 2);
  char* at = text.data() + start;
  *at++ = '"';
  at = WriteJsonText(at, value);
  *at++ = '"';
  text.resize(static_cast<std::size_t>(at - text.data()));
}

TJsonWriter& TJsonWriter::Name(std::string_view name) {
  BeginItem();
  text.append(1, '"').append(name).append(1, '"').append(levels[depth - 1].layout->colon);
  isNamed = true;
  return *this;
}

TJsonWriter& TJsonWriter::AnyName(std::string_view name) {
  BeginItem();
  AppendText(name);
  text += levels[depth - 1].layout->colon;
  isNamed = true;
  return *this;
}

TJsonWriter& TJsonWriter::Open(char begin, char end, const TJsonLayout& layout) {
  BeginValue();
  text += begin;
  levels.at(depth++) = {&layout, end, false};
  return *this;
}

TJsonWriter& TJsonWriter::End() {
  const TLevel& level = levels.at(--depth);
  text += level.hasItems ? level.layout->last : level.layout->none;
  text += level.end;
  return *this;
}

TJsonWriter& TJsonWriter::Text(std::string_view value) {
  BeginValue();
  AppendText(value);
  return *this;
}

TJsonWriter& TJsonWriter::Number(std::uint64_t value) {
  constexpr std::size_t kMostDigits = 20;
  std::array<char, kMostDigits> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
  return Written({digits.data(), end});
}

TJsonWriter& TJsonWriter::Written(std::string_view json) {
  BeginValue();
  text += json;
  return *this;
}

TJsonWriter& TJsonWriter::Texts(std::string_view name, const std::vector<std::string>& values,
                                const TJsonLayout& layout) {
  List(name, layout);
  for (const std::string& value : values) Text(value);
  return End();
}

// --- Texts ---

constexpr unsigned char kDelete = 0x7f;

static bool IsPlain(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 0x20 && byte < kDelete && byte != '"' && byte != '\\';
}

static char* Write(char* target, std::string_view text) {
  text.copy(target, text.size());
  return target + text.size();
}

static char* WriteEscape(char* target, char32_t value) {
  constexpr std::string_view kHex = "0123456789abcdef";
  target = Write(target, "\\u");
  for (const int shift : {12, 8, 4, 0}) *target++ = kHex[value >> shift & 0xf];
  return target;
}

// Writes a character of ASCII that is not plain: as a short escape where JSON has one.
static char* WriteAscii(char* target, char c) {
  constexpr std::string_view kShort = "\"\\\b\f\n\r\t";
  constexpr std::string_view kLetters = "\"\\bfnrt";
  const std::size_t at = kShort.find(c);
  if (at != kShort.npos) {
    *target++ = '\\';
    *target++ = kLetters[at];
    return target;
  }
  return WriteEscape(target, static_cast<unsigned char>(c));
}

// Writes the first character of a text, which is not of ASCII.
static char* WriteCharacter(char* target, std::string_view text, const TCodePoint& character) {
  if (!character.valid) return Write(target, kReplacementText);
  if (!MayBeShown(character.value)) return WriteEscape(target, character.value);
  return Write(target, text.substr(0, character.size));
}

char* WriteAnyJsonText(char* target, std::string_view text) noexcept {
  while (!text.empty()) {
    std::uint64_t word = ~std::uint64_t{0};  // Odd, as a text of fewer bytes is taken.
    if (text.size() >= sizeof word) std::memcpy(&word, text.data(), sizeof word);
    if (OddBytes(word) == 0) {
      std::memcpy(target, &word, sizeof word);
      target += sizeof word;
      text.remove_prefix(sizeof word);
    } else if (IsPlain(text[0])) {
      *target++ = text[0];
      text.remove_prefix(1);
    } else if (static_cast<unsigned char>(text[0]) < 0x80) {
      target = WriteAscii(target, text[0]);
      text.remove_prefix(1);
    } else {
      const TCodePoint character = FirstCodePointBeyondAscii(text);
      target = WriteCharacter(target, text, character);
      text.remove_prefix(character.size);
    }
  }
  return target;
}

}  // namespace svc
