// Documents that are parsed once however often they are loaded: the second namespace that loads the
// same bytes on top of the same contents shares what the first one holds. Off from the start. May
// be used from any thread.
#ifndef RUNTIME_XMLPARSER_SHARED_DOCUMENTS_H_
#define RUNTIME_XMLPARSER_SHARED_DOCUMENTS_H_

#include <string>

#include "host/hskcore/export.h"

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

// A few bytes that the parser takes for the contents of the file at `path`, a path of the system's,
// while documents are shared. The file is read when they are parsed first, and never again.
XMLPARSER_API std::string MakeStandIn(const std::string& path);

}  // namespace svc

#endif  // RUNTIME_XMLPARSER_SHARED_DOCUMENTS_H_
