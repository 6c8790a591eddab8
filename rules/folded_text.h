// Texts compared without regard to case: of the letters A to Z only, whatever the locale, so that
// a catalogue means the same on every machine. By this the plug-in tests the properties of update
// elements, and the author's verbs what such a test will find. May be used from any thread.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace svc::rules {

// Bytes of 128 and above stay as they are.
constexpr char Folded(char character) {
  const bool isCapital = static_cast<unsigned char>(character - 'A') < 26;
  return static_cast<char>(character + (isCapital ? 32 : 0));
}

// The same for eight characters at once. Without their highest bits no sum goes beyond its byte.
constexpr std::uint64_t Folded(std::uint64_t characters) {
  constexpr std::uint64_t kEach = 0x0101010101010101;
  constexpr std::uint64_t kHighest = kEach * 0x80;
  const std::uint64_t low = characters & ~kHighest;
  const std::uint64_t fromA = low + kEach * (0x80 - 'A');
  const std::uint64_t behindZ = low + kEach * (0x80 - ('Z' + 1));
  return characters | ((fromA & ~behindZ & ~characters & kHighest) >> 2);
}

inline void FoldCase(std::string& text) {
  char* at = text.data();
  char* const end = at + text.size();
  for (; end - at >= 8; at += 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, at, sizeof word);
    word = Folded(word);
    std::memcpy(at, &word, sizeof word);
  }
  for (; at != end; ++at) *at = Folded(*at);
}

// Whether the text contains the part anywhere; it contains the empty part.
constexpr bool Mentions(std::string_view text, std::string_view part) {
  if (part.empty()) return true;
  return std::search(text.begin(), text.end(), part.begin(), part.end(),
                     [](char a, char b) { return Folded(a) == Folded(b); }) != text.end();
}

// Which pairs of neighbouring characters a text has, a bit each that several pairs share. A text
// that lacks a bit of a part's does not contain the part, which nearly always spares the search.
constexpr std::uint64_t PairsOf(std::string_view text) noexcept {
  std::uint64_t pairs = 0;
  for (std::size_t i = 1; i < text.size(); ++i) {
    const auto first = static_cast<unsigned char>(text[i - 1]);
    const auto second = static_cast<unsigned char>(text[i]);
    pairs |= std::uint64_t{1} << ((first * 5U + second * 27U) % 64);
  }
  return pairs;
}

// A text of a table that others are searched for: folded when it is compiled, so that no query
// folds it again.
class TFoldedText {
 public:
  template <std::size_t N>
  consteval TFoldedText(const char (&text)[N]) : size(N - 1) {
    for (std::size_t i = 0; i < size; ++i) folded[i] = Folded(text[i]);
    written = text;
    pairs = PairsOf(Text());
  }
  constexpr std::string_view Text() const { return {folded.data(), size}; }
  constexpr std::uint64_t Pairs() const { return pairs; }
  // For a person.
  constexpr std::string_view Written() const { return {written, size}; }

 private:
  std::array<char, 80> folded{};
  std::size_t size;
  std::uint64_t pairs = 0;
  const char* written;
};

}  // namespace svc::rules
