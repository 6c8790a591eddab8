// One way from a file to a namespace, for everybody who loads one: through a small window, straight
// into the namespace. A plug-in, which sizes, opens, reads and parses a document itself, goes it
// too: the document is prepared, and the plug-in gets a ticket of a few bytes, which the parser
// knows. Whatever is doubtful goes the plain way instead, by which all of the file is read first:
// so what comes of a document, its errors among it, is the same by either. Used by one thread, but
// for the documents that are shared.
#pragma once

#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>
#include <compare>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/hskcore/cim.h"
#include "host/hskcore/export.h"
#include "runtime/hskcore/cim_state.h"
#include "runtime/hskcore/host_setup.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/xmlparser/cim_builder.h"
#include "runtime/xmlparser/xml_parser.h"

namespace svc {

namespace xml {

class TDocumentCache;

// What came of a document that was read through a window.
struct TStreamed {
  std::vector<TClassId> classes;  // That it declares.
  TSharedStateHandle before;      // What its namespace held without it.
};

// Reads the regular file at `native` into `target`. None, and `target` is as it was, where the
// plain way is to be gone: for an error of any kind, an encoding but UTF-8, a byte order mark, a
// file that changes meanwhile, and where a copy of what `target` holds would cost more than is
// gained. Throws nothing.
std::optional<TStreamed> Stream(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target,
                                const std::string& native, EDialect dialect, bool isWholeFile,
                                const TStreaming& how = {}) noexcept;

}  // namespace xml

// While it lives, a plug-in that asks for the size of one of these documents has it prepared: it is
// read into the namespace that was filled last from a file, as that plug-in's definitions are.
// Only for a plug-in that then parses it into just this namespace, as a catalogue of dialect 4.02:
// for another nothing goes wrong, but nothing is gained. One at a time.
class XMLPARSER_API TPreparedDocuments final : public IFilePreparer {
 public:
  // By the path that the plug-in uses.
  using TIsWanted = std::function<bool(const std::string& path)>;

  // `threads` as in TStreaming, for these documents and for files that the host loads itself.
  explicit TPreparedDocuments(TIsWanted isWanted, unsigned threads = 1);
  ~TPreparedDocuments() override;
  TPreparedDocuments(const TPreparedDocuments&) = delete;
  TPreparedDocuments& operator=(const TPreparedDocuments&) = delete;

  void Prepare(const std::string& path, const std::string& native) noexcept override;
  std::string InPlaceOf(const std::string& path) const override;

  // For the parser. Null while there are none.
  static TPreparedDocuments* Active() noexcept;
  const xml::TStreaming& How() const noexcept { return how; }
  // Documents are prepared for this namespace from here on.
  void Follow(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& filled) { target = filled; }
  // The file of the system's that a text is the ticket for; empty for any other text.
  std::string FileOf(std::string_view text) const;
  // The classes of the document that the text is the ticket for, which `parsed` then holds. None
  // where it is to be read plainly; `parsed` then holds nothing of it. A ticket counts once.
  std::optional<std::vector<TClassId>> Redeem(
      std::string_view text, const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& parsed,
      xml::EDialect dialect);

 private:
  struct TTicket;

  struct TDocument {
    std::string path;
    std::string native;
    boost::shared_ptr<const TTicket> ticket;
    std::string stamp;  // Of the document when it was read; empty where it is never read again.
    // That holds it, although nobody has parsed it yet; empty for none.
    boost::shared_ptr<NQRXHSK20::ICIMNamespace> target;
    xml::TStreamed streamed;
  };

  static boost::shared_ptr<const TTicket> TicketFor(const std::string& native);
  bool Read(TDocument& document) const;
  std::optional<xml::TStreamed> ReadShared(
      xml::TDocumentCache& cache, const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& filled,
      const std::string& native) const;
  void TakeBackUnread();
  static void TakeBack(TDocument& document);

  TIsWanted isWanted;
  xml::TStreaming how;
  IFilePreparer* before;
  boost::weak_ptr<NQRXHSK20::ICIMNamespace> target;
  std::map<std::string, TDocument, std::less<>> documents;  // By their tickets.
};

// Documents that are parsed once however often they are loaded: the second namespace that loads the
// same bytes on top of the same contents shares what the first one holds. Off from the start. May
// be used from any thread.

// While one lives, what is parsed into a namespace that holds nothing of its own is shared. What
// was parsed stays in memory until the process ends; so many documents, and no more.
inline constexpr std::size_t kMostSharedDocuments = 64;
class XMLPARSER_API TDocumentSharing {
 public:
  TDocumentSharing() noexcept;
  ~TDocumentSharing();
  TDocumentSharing(const TDocumentSharing&) = delete;
  TDocumentSharing& operator=(const TDocumentSharing&) = delete;
};

}  // namespace svc

namespace svc::xml {

// What was parsed, by what it was parsed from. May be used from any thread.

// What a namespace holds after a document was parsed into it, and the classes that it declares.
struct TParsedDocument {
  TSharedStateHandle after;
  std::vector<TClassId> classes;
};

class TDocumentCache {
 public:
  // What the outcome of a parse depends on.
  struct TKey {
    const void* before;    // What the namespace held, null for nothing.
    std::string document;  // A digest of its bytes, or the name of its file.
    EDialect dialect;
    bool isWholeFile;

    auto operator<=>(const TKey&) const = default;
  };

  // Null while documents are not shared.
  static TDocumentCache* Active() noexcept;
  // The process's, shared or not.
  static TDocumentCache& Instance();
  // Files are forgotten with the last who shares documents.
  void Activate(bool on) noexcept;

  std::optional<TParsedDocument> Find(const TKey& key) const;
  // `before` is kept alive, so that its address stays its own.
  void Add(const TKey& key, TSharedStateHandle before, TParsedDocument parsed);

  // For a document that counts as the same as long as documents are shared, whatever becomes of
  // its file: the system's path for it.
  static std::string NameOfFile(const std::string& native);

 private:
  struct TEntry {
    TSharedStateHandle before;
    TParsedDocument parsed;
  };

  mutable std::mutex mutex;
  std::map<TKey, TEntry> entries;
};

// Tells documents of one process apart: two hashes with seeds that nobody can know.
std::string DigestOf(std::string_view bytes);

}  // namespace svc::xml
