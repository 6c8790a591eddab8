#include "svcheck/session/catalogue.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string_view>
#include <system_error>
#include <unordered_set>

#include "base/error.h"
#include "base/files.h"
#include "base/shown_text.h"
#include "host/hskcore/exception.h"
#include "host/hskcore/os_specific.h"
#include "host/xmlparser/namespace_populator.h"
#include "host/xmlparser/xml_parser.h"
#include "report/text.h"
#include "rules/folded_text.h"
#include "rules/names.h"
#include "rules/version_items.h"
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

// --- For whom it is, and of when ---

std::vector<std::string> MachineTypesIn(const boost::shared_ptr<ICIMNamespace>& catalogue) {
  std::vector<std::string> types;
  std::unordered_set<std::string> known;
  for (const auto& element : InstancesOf(catalogue, rules::kUpdateClass)) {
    const std::string text = TextOf(*element, rules::kUpdateMachineTypes);
    for (const std::string_view type : rules::MarkedItems(text)) {
      if (known.emplace(type).second) types.emplace_back(type);
    }
  }
  return types;
}

namespace {

constexpr std::string_view kReleaseDate = "ReleaseDate";

// Of "2027-06-30" or "20270630", whatever time of the day stands behind it.
std::optional<std::int64_t> DayOf(std::string_view text) {
  constexpr std::size_t kYear = 4, kMonth = 2, kDay = 2;
  std::string digits;
  for (const char c : text) {
    const bool isDash = c == '-' && (digits.size() == kYear || digits.size() == kYear + kMonth);
    if (digits.size() == kYear + kMonth + kDay || !(report::IsDigit(c) || isDash)) break;
    if (!isDash) digits += c;
  }
  if (digits.size() < kYear + kMonth + kDay) return {};
  return report::SecondsOfUtcTime(fmt::format("{}-{}-{}T00:00:00Z", digits.substr(0, kYear),
                                              digits.substr(kYear, kMonth),
                                              digits.substr(kYear + kMonth)));
}

}  // namespace

std::optional<std::int64_t> DateOf(const boost::shared_ptr<ICIMNamespace>& catalogue,
                                   std::int64_t now) {
  std::optional<std::int64_t> newest;
  // Beside update elements: what a catalogue of another plug-in consists of.
  for (const std::string_view name : {rules::kUpdateClass, kOfferClass}) {
    for (const auto& element : InstancesOf(catalogue, name)) {
      const auto day = DayOf(TextOf(*element, kReleaseDate));
      if (day && *day <= now) newest = std::max(newest, day);
    }
  }
  return newest;
}

std::string WhyNothingApplies(const report::TReport& report,
                              const std::vector<std::string>& types) {
  constexpr std::size_t kShown = 3;
  const auto isOurs = [&](const std::string& type) {
    return type.size() == report.machine.type.size() && rules::Mentions(type, report.machine.type);
  };
  if (std::ranges::any_of(types, isOurs)) {
    return fmt::format("none of the catalogue's elements for machine type {} is for this system",
                       report::PlainLine(report.machine.type));
  }
  std::string reason = StateReason(report, Summarize(report));
  const auto nearest = MostAlike(report.machine.type, types, kShown);
  if (nearest.empty()) return reason + "; it names no machine type";
  if (nearest.size() < types.size()) {
    reason += fmt::format("; the nearest of its {} types are ", types.size());
  } else {
    reason += types.size() == 1 ? "; its only type is " : "; its types are ";
  }
  for (std::size_t i = 0; i < nearest.size(); ++i) {
    if (i > 0) reason += i + 1 == nearest.size() ? " and " : ", ";
    reason += report::PlainLine(nearest[i]);
  }
  return reason;
}

}  // namespace svc
