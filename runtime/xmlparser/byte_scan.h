// Sixteen bytes at a time. Uses SSE2 where the target always has it, plain arithmetic elsewhere.
// Stateless; may be used from any thread.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace svc::xml {

// One bit for each of the sixteen bytes, the first byte lowest.
using TByteMask = std::uint32_t;
inline constexpr std::size_t kBlockSize = 16;

inline bool IsBlank(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }

// What ends a plain text: '<', '&', '>', bytes above 0x7F, and control characters but tab and line
// feed.
inline bool IsTextStop(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return c == '<' || c == '&' || c == '>' || byte > 0x7F || (byte < 0x20 && c != '\n' && c != '\t');
}

#if defined(__SSE2__)

// REQUIRES: sixteen bytes are readable at the address. The same holds for all that follow.
class TByteBlock {
 public:
  explicit TByteBlock(const char* at)
      : bytes(_mm_loadu_si128(reinterpret_cast<const __m128i*>(at))) {}

  void CopyTo(char* to) const { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bytes); }
  TByteMask Equal(char byte) const { return Mask(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(byte))); }
  TByteMask Equal(const TByteBlock& other) const {
    return Mask(_mm_cmpeq_epi8(bytes, other.bytes));
  }
  TByteMask Blanks() const {
    return Mask(_mm_or_si128(_mm_or_si128(Is(' '), Is('\n')), _mm_or_si128(Is('\t'), Is('\r'))));
  }
  // As IsTextStop.
  TByteMask TextStops() const { return SeemingStops() & ~(Equal('\n') | Equal('\t')); }
  // The same and, for two thirds of the work, tabs and line feeds.
  TByteMask SeemingStops() const {
    // '<' and '>' differ in one bit. A byte below 0x20 or above 0x7F gets the sign that the mask
    // collects.
    const __m128i angles =
        _mm_cmpeq_epi8(_mm_or_si128(bytes, _mm_set1_epi8(2)), _mm_set1_epi8('>'));
    const __m128i odd = _mm_subs_epi8(bytes, _mm_set1_epi8(0x20));
    return Mask(_mm_or_si128(_mm_or_si128(angles, odd), Is('&')));
  }

 private:
  __m128i Is(char byte) const { return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(byte)); }
  static TByteMask Mask(__m128i value) { return static_cast<TByteMask>(_mm_movemask_epi8(value)); }
  __m128i bytes;
};

#else

class TByteBlock {
 public:
  explicit TByteBlock(const char* at) { std::memcpy(bytes, at, kBlockSize); }

  void CopyTo(char* to) const { std::memcpy(to, bytes, kBlockSize); }
  TByteMask Equal(char byte) const {
    return Collect([byte](char c) { return c == byte; });
  }
  TByteMask Equal(const TByteBlock& other) const {
    TByteMask mask = 0;
    for (std::size_t i = 0; i < kBlockSize; ++i)
      mask |= static_cast<TByteMask>(bytes[i] == other.bytes[i]) << i;
    return mask;
  }
  TByteMask Blanks() const { return Collect(IsBlank); }
  TByteMask TextStops() const { return Collect(IsTextStop); }
  TByteMask SeemingStops() const { return TextStops(); }

 private:
  template <typename TTest>
  TByteMask Collect(TTest test) const {
    TByteMask mask = 0;
    for (std::size_t i = 0; i < kBlockSize; ++i)
      mask |= static_cast<TByteMask>(test(bytes[i])) << i;
    return mask;
  }
  char bytes[kBlockSize];
};

#endif

// Whether `length` bytes are equal. REQUIRES: at both addresses `length` bytes rounded up to whole
// blocks are readable.
inline bool EqualBlocks(const char* left, const char* right, std::size_t length) {
  while (length > kBlockSize) {
    if (TByteBlock(left).Equal(TByteBlock(right)) != 0xFFFF) return false;
    left += kBlockSize;
    right += kBlockSize;
    length -= kBlockSize;
  }
  const TByteMask wanted = (TByteMask{1} << length) - 1;
  return (TByteBlock(left).Equal(TByteBlock(right)) & wanted) == wanted;
}

// What ends a plain text in the block at `at`; null where nothing does. Most often it is a '<'.
inline const char* FindTextStopIn(const TByteBlock& block, const char* at) {
  const TByteMask seeming = block.SeemingStops();
  if (!seeming) return nullptr;
  const char* const stop = at + std::countr_zero(seeming);
  if (*stop == '<') return stop;
  const TByteMask stops = block.TextStops();
  return stops ? at + std::countr_zero(stops) : nullptr;
}

// The first byte in [at, end) that ends a plain text, or `end`.
inline const char* FindTextStop(const char* at, const char* end) {
  for (; static_cast<std::size_t>(end - at) >= kBlockSize; at += kBlockSize) {
    if (const char* const stop = FindTextStopIn(TByteBlock(at), at)) return stop;
  }
  while (at != end && !IsTextStop(*at)) ++at;
  return at;
}

// Behind the last `byte` in [begin, end), or `begin`.
inline const char* BehindLast(const char* begin, const char* end, char byte) {
  for (; static_cast<std::size_t>(end - begin) >= kBlockSize; end -= kBlockSize) {
    const TByteMask found = TByteBlock(end - kBlockSize).Equal(byte);
    if (found) return end - kBlockSize + std::bit_width(found);
  }
  while (end != begin && end[-1] != byte) --end;
  return end;
}

// Copies a plain text, in blocks of which at most `most` bytes come before the last, to `to` and
// returns where it ends, as FindTextStop would say. Null where it does not end in these.
inline const char* CopyText(const char* at, std::ptrdiff_t most, char* to) {
  for (std::ptrdiff_t done = 0; done <= most; done += std::ptrdiff_t{kBlockSize}) {
    const TByteBlock block(at + done);
    block.CopyTo(to + done);
    if (const char* const stop = FindTextStopIn(block, at + done)) return stop;
  }
  return nullptr;
}

// The first byte in [at, end) that is no white space, or `end`.
inline const char* SkipBlanks(const char* at, const char* end) {
  while (static_cast<std::size_t>(end - at) >= kBlockSize) {
    const TByteMask others = TByteBlock(at).Blanks() ^ 0xFFFF;
    if (others) return at + std::countr_zero(others);
    at += kBlockSize;
  }
  while (at != end && IsBlank(*at)) ++at;
  return at;
}

}  // namespace svc::xml
