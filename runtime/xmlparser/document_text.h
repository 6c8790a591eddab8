// The bytes of one document while it is read, and where in it something stands. Used from one
// thread at a time.
#ifndef RUNTIME_XMLPARSER_DOCUMENT_TEXT_H_
#define RUNTIME_XMLPARSER_DOCUMENT_TEXT_H_

#include <cstddef>
#include <exception>
#include <span>
#include <string>
#include <vector>

#include "host/hskcore/exception.h"
#include "host/hskcore/export.h"
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

}  // namespace svc::xml

#endif  // RUNTIME_XMLPARSER_DOCUMENT_TEXT_H_
