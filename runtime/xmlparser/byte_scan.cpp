#include "runtime/xmlparser/byte_scan.h"

#include <algorithm>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace svc::xml {
namespace {

bool IsTextStop(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return c == '<' || c == '&' || c == '>' || byte > 0x7F || (byte < 0x20 && c != '\n' && c != '\t');
}

const char* FindByBlocks(const char* at, const char* end) {
  while (static_cast<std::size_t>(end - at) >= kBlockSize) {
    const TByteMask stops = TByteBlock(at).TextStops();
    if (stops) return at + std::countr_zero(stops);
    at += kBlockSize;
  }
  return std::find_if(at, end, IsTextStop);
}

#if defined(__x86_64__)

#define WITH_AVX2 __attribute__((target("avx2")))

WITH_AVX2 inline __m256i Is(__m256i bytes, char c) {
  return _mm256_cmpeq_epi8(bytes, _mm256_set1_epi8(c));
}

// As TByteBlock::TextStops, for 32 bytes.
WITH_AVX2 inline std::uint32_t TextStops(__m256i bytes) {
  const __m256i low = _mm256_cmpgt_epi8(_mm256_set1_epi8(0x20), bytes);
  const __m256i odd = _mm256_andnot_si256(_mm256_or_si256(Is(bytes, '\n'), Is(bytes, '\t')), low);
  const __m256i marks = _mm256_or_si256(Is(bytes, '<'), Is(bytes, '&'));
  return static_cast<std::uint32_t>(
      _mm256_movemask_epi8(_mm256_or_si256(_mm256_or_si256(odd, marks), Is(bytes, '>'))));
}

WITH_AVX2 const char* FindByAvx2(const char* at, const char* end) {
  for (; end - at >= 32; at += 32) {
    const auto bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at));
    const std::uint32_t stops = TextStops(bytes);
    if (stops) return at + std::countr_zero(stops);
  }
  return FindByBlocks(at, end);
}

#endif

}  // namespace

const char* FindTextStopFar(const char* at, const char* end) {
#if defined(__x86_64__)
  static const bool hasAvx2 = __builtin_cpu_supports("avx2");
  if (hasAvx2 && end - at >= 32) return FindByAvx2(at, end);
#endif
  return FindByBlocks(at, end);
}

// So few bytes at a time that a byte counts them: the compiler then takes a vector of such counts.
std::size_t CountLineEnds(const char* at, const char* end) {
  if (at == end) return 0;
  constexpr std::ptrdiff_t kAtATime = 240;
  const char* const last = end - 1;
  std::size_t count = *last == '\n' || *last == '\r' ? 1 : 0;
  while (at != last) {
    const char* const stop = at + std::min(last - at, kAtATime);
    std::uint8_t few = 0;
    for (; at != stop; ++at) {
      const int isLone = static_cast<int>(at[0] == '\r') & static_cast<int>(at[1] != '\n');
      few = static_cast<std::uint8_t>(few + static_cast<int>(at[0] == '\n') + isLone);
    }
    count += few;
  }
  return count;
}

}  // namespace svc::xml
