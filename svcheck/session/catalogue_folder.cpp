#include "svcheck/session/catalogue_folder.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string_view>
#include <system_error>

#include "base/error.h"
#include "base/files.h"
#include "host/hskcore/exception.h"
#include "host/hskcore/os_specific.h"
#include "host/xmlparser/xml_parser.h"
#include "rules/names.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "svcheck/session/instances.h"
#include "svcheck/session/outcome.h"
#include "svcheck/session/request.h"

using namespace NQRXHSK20;
namespace fs = std::filesystem;
using svc::report::EOutcome;

namespace svc {

namespace {

struct TClose {
  void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

// Throws TError (kFile), and THSKException where the system tells of no file there.
std::string TextOfFile(const fs::path& file) {
  TOSSpecific::GetFileSize(file.string());
  const std::unique_ptr<std::FILE, TClose> stream(
      files::OpenToRead(file.string(), files::EPipes::kNone));
  std::string text;
  std::array<char, 1 << 16> block;
  while (const std::size_t count = std::fread(block.data(), 1, block.size(), stream.get())) {
    text.append(block.data(), count);
    // One byte more is enough for the parser to refuse it.
    if (text.size() > TCIMXMLParser::kMaxSpecificationDocumentSize) break;
  }
  if (std::ferror(stream.get()) != 0) throw FileError(errno);
  return text;
}

// Texts of the parser name the line at most.
std::string CauseIn(const fs::path& index, const std::string& text) {
  constexpr std::string_view kLine = "line ";
  return text.starts_with(kLine) ? index.string() + ':' + text.substr(kLine.size())
                                 : index.string() + ": " + text;
}

}  // namespace

bool HasIndex(const fs::path& folder) noexcept {
  std::error_code error;
  const fs::file_type type = fs::status(folder / rules::kIndexFile, error).type();
  return type != fs::file_type::not_found && type != fs::file_type::directory;
}

TCatalogueFolder LoadCatalogueFolder(const fs::path& folder, const fs::path& dataFolder) {
  const fs::path index = folder / rules::kIndexFile;
  const EOutcome unopened =
      HasIndex(folder) ? EOutcome::kUnreadableCatalogue : EOutcome::kNoCatalogue;
  const auto elements = MakeInMemoryNamespace();
  std::string text;
  try {
    text = TextOfFile(index);
  } catch (const THSKException& exception) {
    return {unopened, exception.GetMessageText(), {}};
  } catch (const TError& error) {
    return {unopened, CauseIn(index, error.what()), {}};
  }
  try {
    TNamespacePopulator::PopulateFromXMLFile(elements,
                                             (dataFolder / "sv" / "sv.definitions.xml").string());
  } catch (const THSKException& exception) {
    return {EOutcome::kNoDefinitions, exception.GetMessageText(), {}};
  }
  try {
    ParseDocument(elements, text, EDocument::kCatalogue);
  } catch (const THSKException& exception) {
    const bool isOld = exception.GetStatusCode() == THSKStatusCode::kUnsupportedDialect;
    return {isOld ? EOutcome::kUnsupportedCatalogue : EOutcome::kUnreadableCatalogue,
            CauseIn(index, exception.GetMessageText()),
            {}};
  }
  return {EOutcome::kDone, {}, elements};
}

bool TellOfCatalogueToo(const fs::path& folder, const fs::path& dataFolder,
                        report::TReport& report) {
  std::error_code none;
  if (!HasIndex(folder) && fs::exists(folder / kOfferFile, none)) return false;
  const TCatalogueFolder found = LoadCatalogueFolder(folder, dataFolder);
  if (FailureOf(found.outcome) != EErrorKind::kCatalogue) return false;
  if (report.outcome != EOutcome::kFailed) {
    report.errors.emplace_back(report::RowOf(report.outcome).sentence);
  }
  report.outcome = found.outcome;
  report.errors.insert(report.errors.begin(), found.cause);
  report.errors.emplace_back(AdviceOn(report));
  return true;
}

}  // namespace svc
