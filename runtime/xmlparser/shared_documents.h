// Documents that are parsed once however often they are loaded: the second namespace that loads the
// same bytes on top of the same contents shares what the first one holds. Off from the start. May
// be used from any thread.
#ifndef RUNTIME_XMLPARSER_SHARED_DOCUMENTS_H_
#define RUNTIME_XMLPARSER_SHARED_DOCUMENTS_H_

#include <compare>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/hskcore/export.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/hskcore/shared_state.h"
#include "runtime/xmlparser/cim_builder.h"

namespace svc {

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

#endif  // RUNTIME_XMLPARSER_SHARED_DOCUMENTS_H_
