// Who else reads XML: the accept or reject of expat, of the reader alone, and of
// the two ways to read a file.
#pragma once

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <string>
#include <string_view>

#include "host/hskcore/cim.h"
#include "runtime/xmlparser/xml_parser.h"

namespace svc::xml {

// Empty for a well-formed document, otherwise why it is none.
std::string JudgeByExpat(std::string_view document);
std::string JudgeByReader(std::string_view document);

// A document in a file of its own, for as long as this lives.
class TDocumentFile {
 public:
  explicit TDocumentFile(std::string_view document);
  ~TDocumentFile();
  TDocumentFile(const TDocumentFile&) = delete;
  TDocumentFile& operator=(const TDocumentFile&) = delete;

  const std::string& Path() const { return path; }
  void Rewrite(std::string_view document) const;

 private:
  std::string path;
};

// All that is in the classes A, B and K of a namespace, as far as made documents fill them.
std::string AllIn(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& source);

// Reads the document through windows, as is told, and plainly, each into a namespace
// that holds an instance already. Empty where the same comes of both: what is in the namespaces,
// the classes collected, the status and the text of an error; else what differs.
std::string DifferenceOfStreaming(std::string_view document, const TStreaming& how);

}  // namespace svc::xml
