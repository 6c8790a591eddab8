// Finding the next byte that means something. Stateless; may be used from any thread.
#ifndef RUNTIME_XMLPARSER_BYTE_SCAN_H_
#define RUNTIME_XMLPARSER_BYTE_SCAN_H_

#include <bit>

#include "runtime/xmlparser/byte_block.h"

namespace svc::xml {

inline bool IsBlank(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }

// As FindTextStop, for long texts: takes the widest vectors that this processor has.
const char* FindTextStopFar(const char* at, const char* end);

// The first byte in [at, end) that ends a plain text (TByteBlock::TextStops says which do), or
// `end`. Most texts of a catalogue are a few words: these never leave the first two blocks.
inline const char* FindTextStop(const char* at, const char* end) {
  for (int block = 0; block < 2; ++block) {
    if (static_cast<std::size_t>(end - at) < kBlockSize) break;
    const TByteMask stops = TByteBlock(at).TextStops();
    if (stops) return at + std::countr_zero(stops);
    at += kBlockSize;
  }
  return FindTextStopFar(at, end);
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

// The number of line ends (LF, CR LF, CR) in [at, end).
std::size_t CountLineEnds(const char* at, const char* end);

}  // namespace svc::xml

#endif  // RUNTIME_XMLPARSER_BYTE_SCAN_H_
