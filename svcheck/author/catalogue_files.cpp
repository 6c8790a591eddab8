#include "svcheck/author/catalogue_files.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "base/error.h"
#include "host/hskcore/exception.h"
#include "rules/system_codes.h"
#include "runtime/hskcore/host_setup.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/hskcore/namespace_writer.h"
#include "runtime/xmlparser/cim_builder.h"
#include "runtime/xmlparser/cim_elements.h"
#include "runtime/xmlparser/document_text.h"
#include "runtime/xmlparser/document_window.h"
#include "runtime/xmlparser/encoding.h"
#include "runtime/xmlparser/xml_reader.h"
#include "svcheck/author/update.h"
#include "svcheck/system/failure.h"

namespace fs = std::filesystem;

namespace svc::catalogue {

namespace {

using TNamespace = boost::shared_ptr<NQRXHSK20::ICIMNamespace>;

// What the loader has against a document. Its dialect is judged apart, so that it does not hide
// what else is wrong.
std::optional<TProblem> Load(std::string text, const TNamespace& target) {
  try {
    const xml::TUtf8Document utf8 = xml::ToUtf8(text.data(), text.data() + text.size());
    xml::TDocumentText document(utf8.begin, utf8.end);
    xml::TXmlReader reader(document);
    TNamespaceWriter writer(target);
    xml::TCimBuilder(reader, writer).Build(xml::EDialect::kAny);
    return {};
  } catch (const xml::TDocumentError& error) {
    return TProblem{error.line, error.what()};
  }
}

std::string ReadText(const fs::path& path) {
  const xml::TFileBytes file = xml::ReadWholeFile(path.string());
  return {file.bytes.get(), file.size};
}

class TReading {
 public:
  explicit TReading(const fs::path& dataFolder) : target(MakeInMemoryNamespace()) {
    const fs::path path = dataFolder / "sv" / "sv.definitions.xml";
    try {
      std::string text = ReadText(path);
      if (const auto problem = Load(text, target)) {
        throw TError(path.string() + ":" + std::to_string(problem->line) + ": " + problem->cause +
                     "; mend it, or give another --data-dir");
      }
      WalkDocument(text.data(), text.size(), catalogue.classes);
    } catch (const NQRXHSK20::THSKException& error) {
      throw TError("the definitions cannot be read: " + error.GetMessageText() +
                   "; install svcheck whole, or give --data-dir DIR");
    }
  }

  void Add(const fs::path& folder, const std::string& name) {
    try {
      AddText(name, ReadText(folder / PathOf(name)));
    } catch (const NQRXHSK20::THSKException& error) {
      TFile& file = catalogue.files.emplace_back();
      file.name = name;
      file.unreadable = TProblem{0, error.GetMessageText()};
    }
  }

  void AddText(const std::string& name, std::string text) {
    TFile& file = catalogue.files.emplace_back();
    file.name = name;
    file.refused = Load(text, target);
    TDocument document = WalkDocument(text.data(), text.size(), catalogue.classes);
    file.malformed = std::move(document.malformed);
    if (file.malformed) file.refused.reset();
    file.dialect = std::move(document.dialect);
    file.classes = std::move(document.classes);
    file.groupEnd = document.groupEnd;
    file.rootEnd = document.rootEnd;
    for (TElement& element : document.elements) {
      if (catalogue.classes.Derives(element.className, rules::kUpdateClass)) {
        catalogue.classes.Complete(element);
        file.elements.push_back(std::move(element));
      } else {
        file.others.push_back(std::move(element));
      }
    }
  }

  TCatalogue catalogue;

 private:
  TNamespace target;
};

std::vector<std::string> NamesIn(const fs::path& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    if (!entry->is_directory(error)) names.push_back(entry->path().filename().string());
  }
  if (error) {
    throw TError("the catalogue " + folder.string() + " cannot be read: " + error.message() +
                     "; give the folder of a catalogue",
                 EErrorKind::kCatalogue);
  }
  std::sort(names.begin(), names.end());
  return names;
}

[[noreturn]] void FailWithout(const fs::path& folder, bool isLive) {
  throw TError(
      isLive ? folder.string() +
                   " holds no file with \"xml\" in its name, and live checks load no other"
             : folder.string() + " holds no " + rules::kIndexFile +
                   "; give the folder that does, or --live for a folder of downloaded descriptions",
      EErrorKind::kCatalogue);
}

}  // namespace

std::size_t TCatalogue::CountElements() const {
  std::size_t count = 0;
  for (const TFile& file : files) count += file.elements.size();
  return count;
}

const TFile* FirstUnusable(const TCatalogue& catalogue) {
  const auto found = std::find_if(catalogue.files.begin(), catalogue.files.end(),
                                  [](const TFile& file) { return !WhyUnusable(file).empty(); });
  return found == catalogue.files.end() ? nullptr : &*found;
}

std::string WhyUnusable(const TFile& file) {
  if (!file.isLoaded) return {};
  for (const auto* problem : {&file.unreadable, &file.malformed, &file.refused}) {
    if (!*problem) continue;
    const std::string line = (*problem)->line == 0 ? "" : ":" + std::to_string((*problem)->line);
    return file.name + line + ": " + (*problem)->cause;
  }
  if (file.dialect && xml::IsDialect402(file.dialect->version)) return {};
  return file.name + ": the catalogue does not say that its dialect is 4.02 or later";
}

TCatalogue ReadCatalogue(const fs::path& folder, bool isLive, const fs::path& dataFolder) {
  TReading reading(dataFolder);
  reading.catalogue.isLive = isLive;
  bool isFound = false;
  for (const std::string& name : NamesIn(folder)) {
    if (isLive ? rules::IsDescription(name) : name == rules::kIndexFile) {
      isFound = true;
      reading.Add(folder, name);
    } else if (Mentions(name, rules::kDescriptionMark)) {
      TFile& file = reading.catalogue.files.emplace_back();
      file.name = name;
      file.isLoaded = false;
    }
  }
  if (!isFound) FailWithout(folder, isLive);
  return std::move(reading.catalogue);
}

TCatalogue ReadCatalogueText(std::string text, const fs::path& dataFolder) {
  TReading reading(dataFolder);
  reading.AddText(rules::kIndexFile, std::move(text));
  return std::move(reading.catalogue);
}

TCatalogue ReadCatalogueTexts(const std::vector<TNamedText>& texts, const fs::path& dataFolder) {
  TReading reading(dataFolder);
  for (const TNamedText& each : texts) reading.AddText(each.name, each.text);
  return std::move(reading.catalogue);
}

}  // namespace svc::catalogue
