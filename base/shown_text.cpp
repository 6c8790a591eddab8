#include "base/shown_text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <numeric>
#include <utility>

namespace svc {

constexpr std::string_view kOmission = " [...] ";

static bool IsControl(char32_t value) noexcept {
  return value < 0x20 || (value >= 0x7F && value < 0xA0);
}

// Whether the character turns the direction of all the text behind it.
static bool TurnsDirection(char32_t value) noexcept {
  return (value >= 0x202A && value <= 0x202E) || (value >= 0x2066 && value <= 0x2069);
}

// What a text of some languages needs and one line about it does not: marks that give a direction
// to their neighbours, ends of lines and paragraphs.
static bool IsLayout(char32_t value) noexcept {
  return value == 0x061C || value == 0x200E || value == 0x200F || value == 0x2028 ||
         value == 0x2029;
}

static bool IsInsideCharacter(char byte) noexcept {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// REQUIRES: the text is longer than `most`, and `most` leaves room for the mark of the omission.
static std::string WithoutMiddle(const std::string& text, std::size_t most) {
  const std::size_t kept = most - kOmission.size();
  std::size_t begin = kept - kept / 4;
  while (begin > 0 && IsInsideCharacter(text[begin])) --begin;
  std::size_t end = text.size() - kept / 4;
  while (end < text.size() && IsInsideCharacter(text[end])) ++end;
  return text.substr(0, begin).append(kOmission).append(text, end);
}

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

// --- UTF-8 ---

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

std::string_view MarkupReplacement(char32_t character) noexcept {
  switch (character) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    default:
      return {};
  }
}

// --- Which name was meant ---

// How many letters must be typed, dropped or exchanged to make one word of the other (Levenshtein).
static std::size_t Distance(std::string_view left, std::string_view right) {
  std::vector<std::size_t> row(right.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < left.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t k = 0; k < right.size(); ++k) {
      const std::size_t replaced = diagonal + (left[i] == right[k] ? 0 : 1);
      diagonal = row[k + 1];
      row[k + 1] = std::min({replaced, row[k] + 1, row[k + 1] + 1});
    }
  }
  return row.back();
}

static bool IsBeginning(std::string_view word, std::string_view name) {
  constexpr std::size_t kTelling = 3;
  return word.size() >= kTelling && name.starts_with(word);
}

std::string_view Nearest(std::string_view word, const std::vector<std::string>& names) {
  std::size_t best = std::min<std::size_t>(3, word.size());
  std::string_view nearest;
  for (const std::string& name : names) {
    const std::size_t distance = IsBeginning(word, name) ? 1 : Distance(word, name);
    if (distance >= best) continue;
    best = distance;
    nearest = name;
  }
  return nearest;
}

std::vector<std::string> MostAlike(std::string_view word, std::vector<std::string> names,
                                   std::size_t most) {
  constexpr std::size_t kLongest = 64;  // Of a longer one the beginning counts.
  const auto distance = [&](const std::string& name) {
    return std::pair(Distance(word.substr(0, kLongest), std::string_view(name).substr(0, kLongest)),
                     std::string_view(name));
  };
  const std::size_t count = std::min(most, names.size());
  std::ranges::partial_sort(names, names.begin() + static_cast<std::ptrdiff_t>(count), {},
                            distance);
  names.resize(count);
  return names;
}

std::string DidYouMean(std::string_view word, const std::vector<std::string>& names) {
  const std::string_view nearest = Nearest(word, names);
  return nearest.empty() ? std::string() : "did you mean \"" + std::string(nearest) + "\"? ";
}

}  // namespace svc
