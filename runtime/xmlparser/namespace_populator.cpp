#include "host/xmlparser/namespace_populator.h"

#include "host/hskcore/exception.h"
#include "runtime/xmlparser/document_text.h"
#include "runtime/xmlparser/file_bytes.h"
#include "runtime/xmlparser/parser_state.h"

namespace NQRXHSK20 {

std::vector<boost::shared_ptr<ICIMClass>> TNamespacePopulator::PopulateFromXMLFile(
    boost::shared_ptr<ICIMNamespace> target, const std::string& path) {
  svc::xml::TFileBytes file = svc::xml::ReadFileOrPipe(path);
  TXmlParserState state;
  state.target = std::move(target);
  try {
    state.Parse(file.bytes.get(), file.size, true);
  } catch (const svc::xml::TDocumentError& error) {
    throw THSKException(path + ":" + std::to_string(error.line) + ": " + error.what(),
                        error.status);
  } catch (const THSKException& error) {
    throw THSKException(path + ": " + error.GetMessageText(), error.GetStatusCode());
  }
  return state.ClassesCollected();
}

}  // namespace NQRXHSK20
