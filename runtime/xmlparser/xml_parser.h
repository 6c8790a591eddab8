// The parser behind the host's TCIMXMLParser, and the threads that read a large document: each
// reads a part of it into a namespace of its own, and the parts are joined in their order. They
// count only when each ends just where the next one begins, between two children of one container,
// and nothing is wrong in any. Otherwise the thread that reads the first part reads all of it, as
// it would alone.
#pragma once

#include <atomic>
#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <deque>
#include <string>
#include <thread>
#include <vector>

#include "host/hskcore/cim.h"
#include "host/hskcore/export.h"
#include "runtime/hskcore/namespace_writer.h"
#include "runtime/xmlparser/cim_builder.h"
#include "runtime/xmlparser/document_window.h"

namespace svc::xml {

// How a document is read from its file.
struct TStreaming {
  // A part is worth a thread from this size on.
  static constexpr std::size_t kSmallestPart = std::size_t{4} << 20;

  std::size_t window = TDocumentWindow::kUsual;
  unsigned threads = 1;  // At most; 0 for what the machine gives, up to four.
  std::size_t smallestPart = kSmallestPart;
};

// Whether a copy of what `target` holds is worth its cost where a document of this size is added to
// it: of a few hundred instances that is nothing, of more it is to be little beside the document.
bool IsWorthACopy(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target, std::size_t size);

// Used by the thread that reads the first part, which owns the others.
class TDocumentParts final : public ILaterParts {
 public:
  // Of the document at `native`, whose first part is seen through the window and read into
  // `target`. Borrows the window.
  TDocumentParts(std::string native, TDocumentWindow& window,
                 boost::shared_ptr<NQRXHSK20::ICIMNamespace> target, const TStreaming& how,
                 bool isWholeFile);
  // Cancels what nobody took.
  ~TDocumentParts() override;
  TDocumentParts(const TDocumentParts&) = delete;
  TDocumentParts& operator=(const TDocumentParts&) = delete;

  void Begin(const TOutset& outset) override;
  bool Take() override;

 private:
  struct TPart {
    TPart(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& whole, std::size_t begin)
        : objects(whole), begin(begin) {}

    TNamespacePart objects;
    const std::size_t begin;
    std::size_t end = 0;  // Where the next one begins; that of the document for the last.
    bool isRead = false;  // Well, and up to its end.
    std::thread thread;
  };

  std::vector<std::size_t> PlacesToBegin(const TOutset& outset) const;
  void Read(TPart& part, const TOutset& outset) const noexcept;
  bool IsRead(const TPart& part, const TOutset& outset) const;
  void Wait();

  const std::string native;
  TDocumentWindow& window;
  const boost::shared_ptr<NQRXHSK20::ICIMNamespace> target;
  const TStreaming how;
  const bool isWholeFile;
  std::size_t size = 0;     // Of the document, when they began.
  std::deque<TPart> parts;  // Stay where they are.
  std::atomic<bool> isCancelled{false};
};

}  // namespace svc::xml

namespace svc::xml {

class TDocumentCache;

// As TCIMXMLParser, for a document that nobody needs any more: its bytes are changed, and none is
// copied. Throws THSKException.
XMLPARSER_API void ParseInPlace(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target,
                                std::string document);

}  // namespace svc::xml

// What a parser and its copies share. Used from one thread at a time.

namespace NQRXHSK20 {

struct TXmlParserState {
  boost::shared_ptr<ICIMNamespace> target;
  svc::xml::EDialect dialect = svc::xml::EDialect::kAny;
  std::vector<svc::TClassId> classes;

  // Parses the document in [text, text + size), whose bytes it may change, or the one that they are
  // the ticket for.
  // Throws svc::xml::TDocumentError, or THSKException where the target takes no documents.
  void Parse(char* text, std::size_t size, bool isWholeFile);
  // The same for a document that is there.
  void ParsePlainly(char* text, std::size_t size, bool isWholeFile);
  // Reads a whole file through a window. False, and the target is as it was, where it is to be
  // parsed plainly.
  bool Stream(const std::string& path);
  std::vector<boost::shared_ptr<ICIMClass>> ClassesCollected() const;

 private:
  void ParseAnew(char* text, std::size_t size, bool isWholeFile);
  void ParseOnce(svc::xml::TDocumentCache& cache, char* text, std::size_t size, bool isWholeFile);
};

}  // namespace NQRXHSK20
