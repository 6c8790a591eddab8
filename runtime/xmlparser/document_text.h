// The bytes of one document while it is read, where in it something stands, and the texts that are
// taken out of it. Used from one thread at a time.
#pragma once

#include <cstddef>
#include <exception>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/hskcore/exception.h"
#include "host/hskcore/export.h"
#include "runtime/xmlparser/byte_scan.h"
#include "runtime/xmlparser/document_window.h"

namespace svc::xml {

// Why a document is refused. `line` counts from 1 in the document as it was before reading.
class TDocumentError : public std::exception {
 public:
  // Of a document that is seen through a window: what is being read does not end within it, and is
  // to be read again from where it began, with more of the file behind it. Never leaves the parser.
  static TDocumentError MoreWanted() { return {0, {}, NQRXHSK20::THSKStatusCode::kFailed}; }
  bool IsMoreWanted() const { return line == 0; }

  TDocumentError(std::size_t line, std::string cause, NQRXHSK20::THSKStatusCode status)
      : line(line), status(status), cause(std::move(cause)) {}
  const char* what() const noexcept override { return cause.c_str(); }

  const std::size_t line;
  const NQRXHSK20::THSKStatusCode status;

 private:
  std::string cause;
};

// A stretch that is being rewritten: `in` walks the source, `out` follows it and never overtakes.
struct TRewrite {
  explicit TRewrite(char* begin) : begin(begin), in(begin), out(begin) {}

  char* const begin;
  char* in;
  char* out;
  std::size_t lineEnds = 0;  // In [begin, in) as it was.
};

// Borrows the bytes, UTF-8, which reading rewrites in place. Lines are counted only when somebody
// asks: a rewritten stretch keeps as many line ends as it had, where it has room for them.
class TDocumentText {
 public:
  // `isCut`: the document may go on behind `end`, beyond the largest size that is taken.
  TDocumentText(char* begin, char* end, bool isCut = false)
      : begin(begin), end(end), isCut(isCut) {}
  // What a window shows of one; lines count from where it begins. Borrows the window.
  explicit TDocumentText(TDocumentWindow& window)
      : begin(window.Begin()), end(window.End()), isCut(false), window(&window) {}

  char* Begin() const { return begin; }
  char* End() const { return end; }

  // Null where all of the document is there.
  TDocumentWindow* Window() const { return window; }
  // Shows what the window does now, nothing of which was read yet.
  void LookAnew() {
    begin = window->Begin();
    end = window->End();
    open = nullptr;
  }

  // The same where the window shows less of the same.
  void LookAtEnd() { end = window->End(); }

  // Announces a rewrite, which must live until it is closed.
  void Open(const TRewrite& rewrite) { open = &rewrite; }
  // Fills what the rewritten text leaves of the stretch.
  void Close();
  std::size_t LineAt(const char* at) const;
  // Line ends that were in the source so far and no longer are in the text.
  std::ptrdiff_t LostLineEnds() const { return correction; }

  [[noreturn]] void Fail(
      const char* at, std::string cause,
      NQRXHSK20::THSKStatusCode status = NQRXHSK20::THSKStatusCode::kFailed) const;
  // Fails because no document may hold the byte at `at`, or because the text ends there.
  [[noreturn]] void FailAtByte(const char* at) const;
  // Fails because the document is not complete; wants more where it goes on.
  [[noreturn]] void FailAtEnd() const;

 private:
  char* begin;
  char* end;
  bool isCut;
  TDocumentWindow* window = nullptr;
  const TRewrite* open = nullptr;
  std::ptrdiff_t correction = 0;  // Line ends that the source had and the rewritten text has not.
};

// The number of line ends (LF, CR LF, CR) in [at, end).
std::size_t CountLineEnds(const char* at, const char* end);

// The lines of places that follow each other in a document, in time proportional to the document
// altogether. Borrows the text.
class TLineCounter {
 public:
  explicit TLineCounter(const TDocumentText& text) : text(text), last(text.Begin()) {}
  // REQUIRES: no place before the one asked for last, and none within an open rewrite.
  std::size_t LineAt(const char* at);

 private:
  const TDocumentText& text;
  const char* last;
  std::size_t lineEnds = 0;
};

// On which lines of a document instances stand, once somebody asks: while it is read nobody counts.
// The lines, from 1, on which start tags of instances begin that end at these offsets of the file's
// text, as TPlace has them, in ascending order. 0 where none ends: the file is another one by now,
// or cannot be read. Throws std::bad_alloc. May be called from any thread.
XMLPARSER_API std::vector<std::size_t> LinesOfInstances(const std::string& native,
                                                        std::span<const std::size_t> offsets);

// What stands between two tags. Character data: with references replaced, CDATA sections opened,
// comments and processing instructions taken out, and line ends made line feeds (XML 1.0, section
// 2.11). Markup that carries no content: comments, processing instructions, the document type
// declaration. Stateless; may be used from any thread. All throw TDocumentError for what is
// malformed.

// As ScanPlainText, from a byte that FindTextStop stopped at in a text that begins at `begin`.
char* ScanPlainTextFrom(const TDocumentText& text, char* begin, char* stop);

// Checks plain character data from `at` on and returns where it ends: at a '<', '&' or CR, or at
// the end of the document.
inline char* ScanPlainText(const TDocumentText& text, char* at) {
  char* const stop = at + (FindTextStop(at, text.End()) - at);
  if (stop != text.End() && *stop == '<') return stop;
  return ScanPlainTextFrom(text, at, stop);
}

struct TTextRun {
  char* end;   // The run ends here ...
  char* next;  // ... and the document goes on here, at a start or end tag.
};

// Turns character data into plain text, in place: from `plainEnd` on, where the first byte stands
// that is not plain. The caller knows where the run began.
TTextRun DecodeTextRun(TDocumentText& text, char* plainEnd);

// Entity and character references (XML 1.0, section 4.1). Stateless; may be used from any thread.

// Writes what the reference at `at`, an '&', stands for to `to`, moves `to` behind it and returns
// where the text goes on. What a reference stands for is never longer than the reference itself:
// `to` may be any place up to `at`. Throws TDocumentError for anything but a character reference or
// one of the five predefined entities.
const char* ReadReference(const TDocumentText& text, const char* at, char*& to);

// Whether the text goes on with `word` at `at`.
bool GoesOnWith(const TDocumentText& text, const char* at, std::string_view word);
// Whether the text ends within `word`, which begins at `at`.
bool EndsWithin(const TDocumentText& text, const char* at, std::string_view word);

// REQUIRES: the text goes on with "<!--". Returns where the comment ends.
const char* SkipComment(const TDocumentText& text, const char* at);

struct TInstruction {
  std::string_view target;
  std::string_view contents;  // What follows the target, with the white space before it.
  const char* end;
};
// REQUIRES: the text goes on with "<?".
TInstruction ReadInstruction(const TDocumentText& text, const char* at);

// REQUIRES: the text goes on with "<!DOCTYPE". Returns where the declaration ends. One with an
// internal subset is refused, and nothing external is fetched.
const char* SkipDocumentType(const TDocumentText& text, const char* at);

// Behind the byte that FindTextStop stopped at, and behind all characters above 0x7F that follow.
// Throws when no document may hold it. REQUIRES: at != end.
const char* SkipStop(const TDocumentText& text, const char* at, const char* end);

// Checks that [at, end) is made of characters that a document may hold.
void CheckCharacters(const TDocumentText& text, const char* at, const char* end);

}  // namespace svc::xml
