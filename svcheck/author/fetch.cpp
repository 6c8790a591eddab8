// `svcheck catalogue fetch`, from the descriptions that were brought to the catalogue made of them.
// Their classes and instances are copied as they are written, so that nothing is lost of what only
// a later program understands.
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <algorithm>
#include <unordered_set>

#include "base/error.h"
#include "base/shown_text.h"
#include "host/hskcore/exception.h"
#include "host/hskcore/export.h"
#include "host/xmlparser/xml_parser.h"
#include "report/text.h"
#include "rules/names.h"
#include "rules/version_items.h"
#include "runtime/hskcore/host_setup.h"
#include "runtime/xmlparser/document_text.h"
#include "runtime/xmlparser/document_window.h"
#include "runtime/xmlparser/encoding.h"
#include "svcheck/author/command.h"
#include "svcheck/author/new_element.h"
#include "svcheck/author/update.h"
#include "svcheck/system/failure.h"

namespace svc::catalogue {

namespace {

TError Unusable(const std::string& path, const std::string& why) {
  return TError("the repository's " + path + " cannot be used: " + why +
                    "; nothing was changed, tell its publisher",
                EErrorKind::kRepository);
}

// What cannot be converted is handed on as it is, for the loader to say what is wrong with it.
std::string ReadDescription(const TDescription& description) {
  const auto file = Retold<NQRXHSK20::THSKException>(
      [&] { return xml::ReadNativeFile(description.file); },
      [](const NQRXHSK20::THSKException& error) {
        return TError(error.GetMessageText() + "; fetch again", EErrorKind::kCatalogue);
      });
  return Utf8Of({file.bytes.get(), file.size});
}

std::string NameIn(const std::string& path) { return path.substr(path.find_last_of('/') + 1); }

// In the order in which a live check loads what it has downloaded.
std::vector<TNamedText> ReadDescriptions(std::vector<TDescription> descriptions) {
  std::sort(descriptions.begin(), descriptions.end(), [](const auto& a, const auto& b) {
    return std::pair(NameIn(a.path), a.path) < std::pair(NameIn(b.path), b.path);
  });
  std::vector<TNamedText> texts;
  for (const TDescription& each : descriptions) texts.push_back({each.path, ReadDescription(each)});
  return texts;
}

// Puts together the parts of one file after the other, each part once.
class TJoining {
 public:
  explicit TJoining(const std::vector<std::string>& machineTypes) : machineTypes(machineTypes) {}

  void Add(const TFile& file, std::string_view text) {
    std::vector<TSpan> spans = file.classes;
    for (const TElement& other : file.others) spans.push_back(other.span);
    std::erase_if(spans, [&](const TSpan& span) { return !others.insert(Cut(text, span)).second; });
    TCutTexts cut;
    for (const TElement& element : file.elements) {
      const TUpdate update(file, element, cut);
      if (!IsWanted(element) || !digests.insert(update.digest).second) continue;
      spans.push_back(element.span);
      ++count;
    }
    std::sort(spans.begin(), spans.end(),
              [](const TSpan& a, const TSpan& b) { return a.begin < b.begin; });
    for (const TSpan& span : spans) AppendObject(Cut(text, span), joined);
  }

  const std::string& Text() const { return joined; }
  std::size_t Count() const { return count; }

 private:
  static std::string_view Cut(std::string_view text, const TSpan& span) {
    return text.substr(span.begin, span.end - span.begin);
  }

  // By the test that a check makes.
  bool IsWanted(const TElement& element) const {
    const std::string_view types = element.Text(rules::kUpdateMachineTypes);
    return machineTypes.empty() ||
           std::any_of(machineTypes.begin(), machineTypes.end(), [&](const std::string& type) {
             return Mentions(types, rules::Marked(type));
           });
  }

  const std::vector<std::string>& machineTypes;
  std::unordered_set<std::string_view> others;  // Views of the texts.
  std::unordered_set<std::uint64_t> digests;
  std::string joined;
  std::size_t count = 0;
};

void CheckJoined(const std::string& text, const TCommand& command) {
  if (text.size() > NQRXHSK20::TCIMXMLParser::kMaxSpecificationDocumentSize) {
    throw TError(
        "what the repository has is more than one catalogue can hold; name machine types "
        "with --machine TYPE",
        EErrorKind::kRepository);
  }
  const TCatalogue catalogue = ReadCatalogueText(text, PathOf(command.dataFolder));
  if (const TFile* const file = FirstUnusable(catalogue)) {
    throw Unusable("descriptions together", WhyUnusable(*file));
  }
}

[[noreturn]] void FailWithout(const TCommand& command) {
  const std::string whom =
      command.machineTypes.empty()
          ? "has no update element"
          : fmt::format("has no update element for {}", fmt::join(command.machineTypes, ", "));
  throw TError("the repository " + whom + "; nothing was changed", EErrorKind::kCatalogue);
}

}  // namespace

int FetchCatalogue(const TCommand& command, const IProgram& program) {
  const std::vector<TNamedText> texts = ReadDescriptions(command.descriptions);
  const TCatalogue catalogue = ReadCatalogueTexts(texts, PathOf(command.dataFolder));
  if (const TFile* const file = FirstUnusable(catalogue)) {
    throw Unusable(file->name, WhyUnusable(*file));
  }
  TJoining joining(command.machineTypes);
  for (std::size_t i = 0; i < texts.size(); ++i) joining.Add(catalogue.files[i], texts[i].text);
  if (joining.Count() == 0) FailWithout(command);
  const std::string text = CatalogueAround(command.mark, joining.Text());
  CheckJoined(text, command);
  const std::string path = WriteIndex(command.folder, text, program);
  const auto output = program.Open("-");
  output->Write(fmt::format("{}: {} of {}, serial {}\n", ShownLine(path),
                            Counted(joining.Count(), "update element"),
                            Counted(texts.size(), "description"), command.serial));
  output->Commit();
  return kExitDone;
}

// The module that does the work of `svcheck catalogue`.

static int Act(const TCommand& command, const IProgram& program) {
  switch (command.action) {
    case EAction::kLint:
      return LintCatalogue(command, program);
    case EAction::kList:
      return ListCatalogue(command, program);
    case EAction::kBuild:
      return BuildCatalogue(command, program);
    case EAction::kFetch:
      return FetchCatalogue(command, program);
    case EAction::kImport:
    case EAction::kNone:
      break;
  }
  return kExitUsage;
}

}  // namespace svc::catalogue

extern "C" HOST_EXPORT int SvcCatalogue(const svc::catalogue::TCommand& command,
                                        const svc::catalogue::IProgram& program) noexcept {
  return svc::StatusOfRun([&] { return svc::catalogue::Act(command, program); },
                          [&](const std::string& reason) { program.Report(reason); });
}
