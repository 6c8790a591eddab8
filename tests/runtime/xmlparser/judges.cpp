#include "judges.h"

#include <expat.h>

#include <cstdlib>
#include <memory>

#include "runtime/xmlparser/document_text.h"
#include "runtime/xmlparser/encoding.h"
#include "runtime/xmlparser/xml_reader.h"

namespace svc::xml {

std::string JudgeByExpat(std::string_view document) {
  XML_Parser parser = XML_ParserCreate(nullptr);
  const auto status =
      XML_Parse(parser, document.data(), static_cast<int>(document.size()), XML_TRUE);
  std::string verdict;
  if (status != XML_STATUS_OK) verdict = XML_ErrorString(XML_GetErrorCode(parser));
  XML_ParserFree(parser);
  return verdict;
}

// From a block of just the document's size, so that a sanitizer sees every byte read beyond it.
std::string JudgeByReader(std::string_view document) {
  const auto block = std::make_unique<char[]>(document.size());
  document.copy(block.get(), document.size());
  try {
    const TUtf8Document utf8 = ToUtf8(block.get(), block.get() + document.size());
    TDocumentText text(utf8.begin, utf8.end);
    TXmlReader reader(text);
    while (reader.Next() != EToken::kFinished) {
    }
    reader.CheckEpilogue();
    return {};
  } catch (const TDocumentError& error) {
    return error.what();
  }
}

}  // namespace svc::xml
