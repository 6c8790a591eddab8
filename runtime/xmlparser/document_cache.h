// What was parsed, by what it was parsed from. May be used from any thread.
#ifndef RUNTIME_XMLPARSER_DOCUMENT_CACHE_H_
#define RUNTIME_XMLPARSER_DOCUMENT_CACHE_H_

#include <compare>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/xmlparser/cim_builder.h"

namespace svc::xml {

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
    std::string document;  // A digest of its bytes, or a stand-in.
    EDialect dialect;
    bool isWholeFile;

    auto operator<=>(const TKey&) const = default;
  };

  // Null while documents are not shared.
  static TDocumentCache* Active() noexcept;
  // The process's, shared or not.
  static TDocumentCache& Instance();
  void Activate(bool on) noexcept;

  std::optional<TParsedDocument> Find(const TKey& key) const;
  // `before` is kept alive, so that its address stays its own.
  void Add(const TKey& key, TSharedStateHandle before, TParsedDocument parsed);

  std::string AddStandIn(const std::string& path);
  // A stand-in and the file that it stands for. None for a document that stands for itself.
  using TStandIn = std::pair<const std::string, std::string>;
  const TStandIn* FindStandIn(std::string_view document) const;

 private:
  struct TEntry {
    TSharedStateHandle before;
    TParsedDocument parsed;
  };

  mutable std::mutex mutex;
  std::map<TKey, TEntry> entries;
  std::map<std::string, std::string, std::less<>> standIns;  // To their files.
};

// Tells documents of one process apart: two hashes with seeds that nobody can know.
std::string DigestOf(std::string_view bytes);

}  // namespace svc::xml

#endif  // RUNTIME_XMLPARSER_DOCUMENT_CACHE_H_
