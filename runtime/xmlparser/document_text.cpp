#include "runtime/xmlparser/document_text.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <utility>

namespace svc::xml {

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

void TDocumentText::Close() {
  const std::size_t kept = CountLineEnds(open->begin, open->out);
  const std::size_t lost = open->lineEnds > kept ? open->lineEnds - kept : 0;
  const std::size_t left = std::min(lost, static_cast<std::size_t>(open->in - open->out));
  std::fill(open->out, open->in - left, ' ');
  std::fill(open->in - left, open->in, '\n');
  correction +=
      static_cast<std::ptrdiff_t>(open->lineEnds) - static_cast<std::ptrdiff_t>(kept + left);
  open = nullptr;
}

std::size_t TDocumentText::LineAt(const char* at) const {
  const bool isInRewrite = open && at >= open->begin;
  auto line = static_cast<std::ptrdiff_t>(CountLineEnds(begin, isInRewrite ? open->begin : at));
  line += correction + 1;
  if (isInRewrite)
    line += static_cast<std::ptrdiff_t>(
        open->lineEnds + CountLineEnds(open->in, std::max<const char*>(at, open->in)));
  return static_cast<std::size_t>(std::max<std::ptrdiff_t>(line, 1));
}

std::size_t TLineCounter::LineAt(const char* at) {
  lineEnds += CountLineEnds(last, at);
  last = at;
  return static_cast<std::size_t>(static_cast<std::ptrdiff_t>(lineEnds) + text.LostLineEnds()) + 1;
}

void TDocumentText::Fail(const char* at, std::string cause,
                         NQRXHSK20::THSKStatusCode status) const {
  throw TDocumentError(LineAt(at), std::move(cause), status);
}

void TDocumentText::FailAtByte(const char* at) const {
  const auto byte = static_cast<unsigned char>(*at);
  if (byte == 0 && std::all_of(at, static_cast<const char*>(end), [](char c) { return c == 0; }))
    FailAtEnd();
  if (byte == 0xFF) Fail(at, "a byte that is no character of the document's encoding");
  char text[8];
  std::snprintf(text, sizeof text, "0x%02X", byte);
  if (byte > 0x7F) Fail(at, std::string("byte ") + text + " begins no valid UTF-8 character");
  Fail(at, std::string("control character ") + text + " is not allowed");
}

void TDocumentText::FailAtEnd() const {
  if (window != nullptr && !window->IsAtEnd()) throw TDocumentError::MoreWanted();
  const char* last = end;
  while (last != begin && last[-1] == 0) --last;
  Fail(last, isCut ? "the document is larger than 524288000 bytes"
                   : "the text ends before the root element does");
}

}  // namespace svc::xml
