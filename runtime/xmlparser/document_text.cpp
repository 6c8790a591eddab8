#include "runtime/xmlparser/document_text.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

#include "base/files.h"
#include "runtime/xmlparser/encoding.h"

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

namespace {

// A stretch of the text that moves over it, and the lines up to a place in it.
class TStretch {
 public:
  // Of a file, a piece at a time.
  explicit TStretch(TFile given) : file(std::move(given)), block(kPiece + kKept) { Fill(); }
  // Of a text that is all there.
  TStretch(const char* begin, const char* end) : block(begin, end), filled(block.size()) {}

  std::string_view Head() const { return {block.data(), std::min<std::size_t>(filled, 1024)}; }

  // REQUIRES: no offset before the one asked for last.
  std::size_t LineOfTagBefore(std::size_t offset) {
    while (passed + filled < offset) {
      if (!MoveOn()) return 0;
    }
    const std::string_view before(block.data(), offset - passed);
    const std::size_t tag = before.rfind('<');
    constexpr std::string_view kName = "<INSTANCE";
    if (tag == before.npos || tag < counted || !before.substr(tag).starts_with(kName) ||
        !before.ends_with('>')) {
      return 0;
    }
    CountTo(tag);
    return lineEnds + 1;
  }

 private:
  static constexpr std::size_t kPiece = std::size_t{256} << 10;
  static constexpr std::size_t kKept = std::size_t{64} << 10;  // More than a tag takes.

  void CountTo(std::size_t place) {
    lineEnds += CountLineEnds(block.data() + counted, block.data() + place);
    counted = place;
  }

  // False at the end of the text.
  bool MoveOn() {
    std::size_t gone = filled - std::min(filled, kKept);
    // A pair of line ends stays together.
    if (gone > 0 && block[gone - 1] == '\r') --gone;
    if (counted < gone) CountTo(gone);
    counted -= gone;
    passed += gone;
    filled -= gone;
    std::memmove(block.data(), block.data() + gone, filled);
    return Fill();
  }

  bool Fill() {
    if (!file) return false;
    const std::size_t got = std::fread(block.data() + filled, 1, block.size() - filled, file.get());
    filled += got;
    return got > 0;
  }

  TFile file;
  std::vector<char> block;
  std::size_t filled = 0;
  std::size_t passed = 0;   // Of the text, before the block.
  std::size_t counted = 0;  // Of the block.
  std::size_t lineEnds = 0;
};

// What is not UTF-8 is made so first, as for reading.
TStretch StretchOf(const std::string& native) {
  TStretch plain(TFile(files::OpenToRead(native, files::EPipes::kNone)));
  if (IsPlainUtf8(plain.Head())) return plain;
  const TFileBytes whole = ReadNativeFile(native);
  const TUtf8Document text = ToUtf8(whole.bytes.get(), whole.bytes.get() + whole.size);
  return {text.begin, text.end};
}

}  // namespace

std::vector<std::size_t> LinesOfInstances(const std::string& native,
                                          std::span<const std::size_t> offsets) {
  std::vector<std::size_t> lines(offsets.size());
  try {
    TStretch stretch = StretchOf(native);
    std::transform(offsets.begin(), offsets.end(), lines.begin(),
                   [&](std::size_t offset) { return stretch.LineOfTagBefore(offset); });
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception&) {
    // It could be read a moment ago: it is another one by now.
  }
  return lines;
}

}  // namespace svc::xml
