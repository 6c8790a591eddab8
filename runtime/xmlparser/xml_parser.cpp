#include <algorithm>
#include <boost/make_shared.hpp>
#include <string>
#include <string_view>
#include <utility>

#include "host/hskcore/exception.h"
#include "host/hskcore/os_specific.h"
#include "host/xmlparser/namespace_populator.h"
#include "host/xmlparser/xml_parser.h"
#include "runtime/hskcore/namespace_writer.h"
#include "runtime/hskcore/os_platform.h"
#include "runtime/hskcore/shared_state.h"
#include "runtime/xmlparser/document_text.h"
#include "runtime/xmlparser/encoding.h"
#include "runtime/xmlparser/file_bytes.h"
#include "runtime/xmlparser/prepared_documents.h"
#include "runtime/xmlparser/shared_documents.h"
#include "runtime/xmlparser/xml_parser.h"
#include "runtime/xmlparser/xml_reader.h"

namespace NQRXHSK20 {

void TXmlParser::Parse(char* text) {
  if (!text) throw THSKException("there is no document to parse", THSKStatusCode::kFailed);
  try {
    state->Parse(text, svc::BlockSize(text), false);
  } catch (const svc::xml::TDocumentError& error) {
    throw THSKException("line " + std::to_string(error.line) + ": " + error.what(), error.status);
  }
}

TCIMXMLParser::TCIMXMLParser(boost::shared_ptr<ICIMNamespace> target)
    : TXmlParser(boost::make_shared<TXmlParserState>()) {
  state->target = std::move(target);
}

void TCIMXMLParser::SetSV402Mode() { state->dialect = svc::xml::EDialect::kCatalogue402; }

std::vector<boost::shared_ptr<ICIMClass>> TCIMXMLParser::GetClassesCollected() const {
  return state->ClassesCollected();
}

using svc::xml::TDocumentCache;
using svc::xml::TDocumentText;
using svc::xml::TFileBytes;

namespace {

constexpr std::size_t kMaxSize = TCIMXMLParser::kMaxSpecificationDocumentSize;

// Where the text ends in a block that is zeroed behind it.
char* EndOfText(char* begin, char* end) {
  while (end != begin && end[-1] == 0) --end;
  return end;
}

}  // namespace

void TXmlParserState::Parse(char* text, std::size_t size, bool isWholeFile) {
  svc::TPreparedDocuments* const prepared = svc::TPreparedDocuments::Active();
  const std::string file =
      prepared == nullptr || isWholeFile ? std::string() : prepared->FileOf({text, size});
  if (file.empty()) return ParsePlainly(text, size, isWholeFile);
  if (auto known = prepared->Redeem({text, size}, target, dialect)) {
    classes = *std::move(known);
    return;
  }
  const TFileBytes whole = svc::xml::ReadNativeFile(file);
  ParsePlainly(whole.bytes.get(), whole.size, isWholeFile);
}

void TXmlParserState::ParsePlainly(char* text, std::size_t size, bool isWholeFile) {
  TDocumentCache* const cache = TDocumentCache::Active();
  if (cache != nullptr && svc::TakesSharedStates(target)) {
    ParseOnce(*cache, text, size, isWholeFile);
  } else {
    ParseAnew(text, size, isWholeFile);
  }
}

// Where documents are shared, their bytes are wanted, by which they are known again.
bool TXmlParserState::Stream(const std::string& path) {
  if (TDocumentCache::Active() != nullptr) return false;
  const svc::TPreparedDocuments* const prepared = svc::TPreparedDocuments::Active();
  const svc::xml::TStreaming how = prepared == nullptr ? svc::xml::TStreaming() : prepared->How();
  auto streamed = svc::xml::Stream(target, TOSSpecific::NativePath(path), dialect, true, how);
  if (!streamed) return false;
  classes = std::move(streamed->classes);
  return true;
}

// Shares what an earlier parse of the same document, upon the same contents, has made.
void TXmlParserState::ParseOnce(TDocumentCache& cache, char* text, std::size_t size,
                                bool isWholeFile) {
  std::string_view bytes(text, size);
  // What of a block is behind the document is no part of it.
  if (!isWholeFile) bytes = bytes.substr(0, bytes.find_last_not_of('\0') + 1);
  const svc::TSharedStateHandle before = svc::SharedStateOf(target);
  const TDocumentCache::TKey key{before.get(), svc::xml::DigestOf(bytes), dialect, isWholeFile};
  if (auto parsed = cache.Find(key)) {
    svc::AdoptState(target, parsed->after);
    classes = std::move(parsed->classes);
    return;
  }
  ParseAnew(text, size, isWholeFile);
  cache.Add(key, before, {svc::ShareState(target), classes});
}

// A block may be larger than the document in it, so that a document is known to be too large only
// when it does not end within the limit.
void TXmlParserState::ParseAnew(char* text, std::size_t size, bool isWholeFile) {
  classes.clear();
  const bool isCut = size > kMaxSize;
  svc::xml::TUtf8Document document = svc::xml::ToUtf8(text, text + std::min(size, kMaxSize));
  if (!isWholeFile) document.end = EndOfText(document.begin, document.end);
  TDocumentText documentText(document.begin, document.end, isCut);
  if (isWholeFile && isCut) documentText.FailAtEnd();
  svc::xml::TXmlReader reader(documentText);
  svc::TNamespaceWriter writer(target);
  svc::xml::TCimBuilder builder(reader, writer);
  builder.Build(dialect, isWholeFile);
  classes = builder.Classes();
}

std::vector<boost::shared_ptr<ICIMClass>> TXmlParserState::ClassesCollected() const {
  std::vector<boost::shared_ptr<ICIMClass>> handles;
  if (classes.empty()) return handles;
  const svc::TNamespaceWriter writer(target);
  for (const svc::TClassId id : classes) handles.push_back(writer.ClassHandle(id));
  return handles;
}

std::vector<boost::shared_ptr<ICIMClass>> TNamespacePopulator::PopulateFromXMLFile(
    boost::shared_ptr<ICIMNamespace> target, const std::string& path) {
  TXmlParserState state;
  state.target = std::move(target);
  svc::TPreparedDocuments* const prepared = svc::TPreparedDocuments::Active();
  if (prepared != nullptr) prepared->Follow(state.target);
  if (state.Stream(path)) return state.ClassesCollected();
  svc::xml::TFileBytes file = svc::xml::ReadFileOrPipe(path);
  try {
    state.ParsePlainly(file.bytes.get(), file.size, true);
  } catch (const svc::xml::TDocumentError& error) {
    throw THSKException(path + ":" + std::to_string(error.line) + ": " + error.what(),
                        error.status);
  } catch (const THSKException& error) {
    throw THSKException(path + ": " + error.GetMessageText(), error.GetStatusCode());
  }
  return state.ClassesCollected();
}

}  // namespace NQRXHSK20
