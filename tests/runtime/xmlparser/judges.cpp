#include "judges.h"

#include <expat.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

#include "host/hskcore/exception.h"
#include "host/xmlparser/namespace_populator.h"
#include "host/xmlparser/xml_parser.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/xmlparser/document_text.h"
#include "runtime/xmlparser/encoding.h"
#include "runtime/xmlparser/prepared_documents.h"
#include "runtime/xmlparser/xml_parser.h"
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

using NQRXHSK20::ICIMClass;
using NQRXHSK20::ICIMInstance;
using NQRXHSK20::ICIMNamespace;
using NQRXHSK20::THSKException;

TDocumentFile::TDocumentFile(std::string_view document) {
  static std::atomic<int> number{0};
  static const std::string prefix =
      "svcheck-document-" + std::to_string(reinterpret_cast<std::uintptr_t>(&number)) + "-";
  std::error_code none;
  const bool hasMemory = std::filesystem::is_directory("/dev/shm", none);
  const auto folder = hasMemory ? "/dev/shm" : std::filesystem::temp_directory_path();
  path = (folder / (prefix + std::to_string(number++) + ".xml")).string();
  Rewrite(document);
}

TDocumentFile::~TDocumentFile() { std::filesystem::remove(path); }

void TDocumentFile::Rewrite(std::string_view document) const {
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      .write(document.data(), static_cast<std::streamsize>(document.size()));
}

namespace {

std::string TextIn(const ICIMInstance& instance, const char* name) {
  boost::shared_ptr<NQRXHSK20::ICIMProperty> property;
  try {
    instance.GetProperty(property, name, {});
  } catch (const THSKException&) {
    return {};
  }
  const NQRXHSK20::TCIMValue& value = property->Value({});
  return std::string(name) + "=" + (value.IsNull() ? "(null)" : value.ToString(10)) + ";";
}

boost::shared_ptr<ICIMNamespace> FilledNamespace() {
  char filled[] =
      "<CIM><DECLARATION><DECLGROUP><VALUE.OBJECT><CLASS NAME='A'><PROPERTY NAME='P'/></CLASS>"
      "</VALUE.OBJECT><VALUE.OBJECT><INSTANCE CLASSNAME='A'><PROPERTY NAME='P'><VALUE>first"
      "</VALUE></PROPERTY></INSTANCE></VALUE.OBJECT></DECLGROUP></DECLARATION></CIM>";
  NQRXHSK20::TXmlParserState state;
  state.target = MakeInMemoryNamespace();
  state.ParsePlainly(filled, sizeof filled - 1, true);
  return state.target;
}

// What comes of a document by one of the ways.
struct TOutcome {
  std::string error;
  int status = 0;
  std::vector<TClassId> classes;
  std::string contents;
  bool operator==(const TOutcome&) const = default;
};

std::string Shown(const TOutcome& outcome) {
  return outcome.error + " (" + std::to_string(outcome.status) + "), " +
         std::to_string(outcome.classes.size()) + " classes, " + outcome.contents;
}

TOutcome ReadPlainly(std::string document, const std::string& path) {
  NQRXHSK20::TXmlParserState state;
  state.target = FilledNamespace();
  TOutcome outcome;
  try {
    state.ParsePlainly(document.data(), document.size(), true);
    outcome.classes = state.classes;
  } catch (const TDocumentError& error) {
    outcome.error = path + ":" + std::to_string(error.line) + ": " + error.what();
    outcome.status = static_cast<int>(error.status);
  }
  outcome.contents = AllIn(state.target);
  return outcome;
}

TOutcome ReadAsTheHostDoes(const std::string& path) {
  TOutcome outcome;
  const auto target = FilledNamespace();
  try {
    NQRXHSK20::TNamespacePopulator::PopulateFromXMLFile(target, path);
  } catch (const THSKException& error) {
    outcome.error = error.GetMessageText();
    outcome.status = static_cast<int>(error.GetStatusCode());
  }
  outcome.contents = AllIn(target);
  return outcome;
}

}  // namespace

std::string AllIn(const boost::shared_ptr<ICIMNamespace>& source) {
  std::string all;
  for (const char* name : {"A", "B", "K"}) {
    boost::shared_ptr<ICIMClass> cimClass;
    try {
      source->GetClass(cimClass, name, {});
    } catch (const THSKException&) {
      continue;
    }
    all += std::string("class ") + name + ":";
    std::vector<boost::shared_ptr<ICIMInstance>> instances;
    cimClass->EnumerateInstances(NQRXHSK20::TAddToVectorCallback<ICIMInstance>(instances), true,
                                 {});
    for (const auto& instance : instances) {
      all += '{';
      for (const char* property : {"P", "Q", "Name", "Version", "files", "types", "n\xC3\xB6",
                                   "aVeryLongNameOfAProperty", "more"})
        all += TextIn(*instance, property);
      all += '}';
    }
  }
  return all;
}

std::string DifferenceOfStreaming(std::string_view document, const TStreaming& how) {
  const TDocumentFile file(document);
  TOutcome plain = ReadPlainly(std::string(document), file.Path());
  const auto target = FilledNamespace();
  const std::string before = AllIn(target);
  const auto streamed = Stream(target, file.Path(), EDialect::kAny, true, how);
  if (streamed) {
    const TOutcome outcome{{}, 0, streamed->classes, AllIn(target)};
    if (outcome != plain) return "streamed: " + Shown(outcome) + "\nplain: " + Shown(plain);
  } else if (AllIn(target) != before) {
    return "not streamed, but left: " + AllIn(target);
  } else if (plain.error.empty() && IsPlainUtf8(document.substr(0, 1024)) && !document.empty()) {
    return "not streamed, but plainly: " + Shown(plain);
  }
  const TOutcome byHost = ReadAsTheHostDoes(file.Path());
  plain.classes.clear();
  return byHost == plain ? std::string() : "host: " + Shown(byHost) + "\nplain: " + Shown(plain);
}

}  // namespace svc::xml
