#include "base/shown_text.h"

#include <cstdio>

#include "base/utf8.h"

namespace svc {

namespace {

constexpr std::string_view kOmission = " [...] ";

bool IsControl(char32_t value) noexcept { return value < 0x20 || (value >= 0x7F && value < 0xA0); }

// Of all that stands behind it.
bool TurnsDirection(char32_t value) noexcept {
  return (value >= 0x202A && value <= 0x202E) || (value >= 0x2066 && value <= 0x2069);
}

// What a text of some languages needs and one line about it does not: marks that give a direction
// to their neighbours, ends of lines and paragraphs.
bool IsLayout(char32_t value) noexcept {
  return value == 0x061C || value == 0x200E || value == 0x200F || value == 0x2028 ||
         value == 0x2029;
}

bool IsInsideCharacter(char byte) noexcept {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// REQUIRES: the text is longer than `most`, and `most` leaves room for the mark of the omission.
std::string WithoutMiddle(const std::string& text, std::size_t most) {
  const std::size_t kept = most - kOmission.size();
  std::size_t begin = kept - kept / 4;
  while (begin > 0 && IsInsideCharacter(text[begin])) --begin;
  std::size_t end = text.size() - kept / 4;
  while (end < text.size() && IsInsideCharacter(text[end])) ++end;
  return text.substr(0, begin).append(kOmission).append(text, end);
}

}  // namespace

bool MayBeShown(char32_t character) noexcept {
  return !IsControl(character) && !TurnsDirection(character);
}

std::string ShownLine(std::string_view text, std::size_t most) {
  std::string line;
  line.reserve(text.size());
  while (!text.empty()) {
    const TCodePoint character = FirstCodePoint(text);
    const bool isBlank = std::string_view("\t\n\r").find(text.front()) != std::string_view::npos;
    if (isBlank)
      line += ' ';
    else if (character.valid && MayBeShown(character.value) && !IsLayout(character.value))
      line += text.substr(0, character.size);
    else
      line += kReplacementText;
    text.remove_prefix(character.size);
  }
  return line.size() > most ? WithoutMiddle(line, most) : line;
}

void ShowLine(std::string_view text) noexcept {
  try {
    const std::string line = ShownLine(text) + '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
  } catch (...) {
    std::fputs("svcheck: out of memory\n", stderr);
  }
  std::fflush(stderr);
}

}  // namespace svc
