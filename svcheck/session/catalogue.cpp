#include "svcheck/session/catalogue.h"

#include <fmt/core.h>
#include <fmt/format.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
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
#include "svcheck/session/outcome.h"
#include "svcheck/session/record_origins.h"
#include "svcheck/session/request.h"
#include "svcheck/system/paths.h"
#include "svcheck/system/process.h"

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

constexpr std::string_view kReleaseDate = "ReleaseDate";

// Of "2027-06-30" or "20270630", whatever time of the day stands behind it.
static std::optional<std::int64_t> DayOf(std::string_view text) {
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

namespace {

using acquire::TDownloadProgress;
using EPhase = TDownloadProgress::EPhase;

constexpr std::chrono::milliseconds kBetween{100};
constexpr std::chrono::milliseconds kUntilRate{500};  // Before that a rate is a guess.
constexpr std::array<const char*, 4> kUnits = {"B", "KiB", "MiB", "GiB"};

// The unit in which a size has few digits.
std::size_t UnitOf(double bytes) {
  std::size_t unit = 0;
  for (; bytes >= 1024 && unit + 1 < kUnits.size(); ++unit) bytes /= 1024;
  return unit;
}

std::string In(std::size_t unit, double bytes) {
  for (std::size_t i = 0; i < unit; ++i) bytes /= 1024;
  return fmt::format("{:.{}f}", bytes, unit == 0 || bytes >= 100 ? 0 : 1);
}

std::string Left(double seconds) {
  const auto whole = static_cast<long>(seconds + 0.999);
  if (whole < 100) return fmt::format("{} s left", whole);
  return fmt::format("{} min left", (whole + 59) / 60);
}

std::string Rate(const TDownloadProgress& progress, std::chrono::milliseconds running) {
  if (running < kUntilRate || progress.bytes == 0) return "";
  const double rate =
      static_cast<double>(progress.bytes) * 1000 / static_cast<double>(running.count());
  const std::size_t unit = UnitOf(rate);
  return fmt::format(", {} {}/s, {}", In(unit, rate), kUnits[unit],
                     Left(static_cast<double>(progress.bytesTotal - progress.bytes) / rate));
}

}  // namespace

std::string SizeText(std::uint64_t bytes) {
  const auto size = static_cast<double>(bytes);
  const std::size_t unit = UnitOf(size);
  return fmt::format("{} {}", In(unit, size), kUnits[unit]);
}

std::string DownloadLine(const TDownloadProgress& progress, std::chrono::milliseconds running) {
  if (progress.phase == EPhase::kWaiting) return "Waiting for the download folder";
  if (progress.phase == EPhase::kListing) return "Asking the repository";
  if (progress.phase == EPhase::kEnded) return "";
  const auto total = static_cast<double>(progress.bytesTotal);
  const std::size_t unit = UnitOf(total);
  return fmt::format("{} of {} files, {} of {} {}{}", progress.files, progress.filesTotal,
                     In(unit, static_cast<double>(progress.bytes)), In(unit, total), kUnits[unit],
                     Rate(progress, running));
}

void TDownloadDisplay::OnProgress(const TDownloadProgress& progress) noexcept {
  const auto now = TClock::now();
  const bool isNewPhase = progress.phase != phase;
  if (!isNewPhase && now - last < kBetween) return;
  if (isNewPhase) begin = now;
  phase = progress.phase;
  last = now;
  try {
    line.Show(
        DownloadLine(progress, std::chrono::duration_cast<std::chrono::milliseconds>(now - begin)));
  } catch (const std::exception&) {
    line.Clear();  // No memory for a line: there is none.
  }
}

void TStatusLine::Show(const std::string& text) noexcept {
  if (stream == nullptr || (text.empty() && shown == 0)) return;
  const int blanks = shown > text.size() ? static_cast<int>(shown - text.size()) : 0;
  std::fprintf(stream, "\r%s%*s%s", text.c_str(), blanks, "", text.empty() ? "\r" : "");
  std::fflush(stream);
  shown = text.size();
}

void TDownloadWatch::OnProgress(const TDownloadProgress& progress) noexcept {
  const bool isUnderWay = progress.phase != EPhase::kEnded;
  if (isUnderWay) StartPoliteStop();
  display.OnProgress(progress);
  if (!isUnderWay) EndPoliteStop();
}

std::vector<std::string> DownloadedFiles() {
  try {
    return NQRXHSK20::TOSSpecific::ListDir(DownloadFolder().string());
  } catch (const NQRXHSK20::THSKException&) {
    return {};  // The query says so itself.
  }
}

// A live query loads the files whose names hold "xml".
std::vector<std::string> FilesNotOffered(const acquire::TOutcome& outcome) {
  if (!outcome.offered) return {};
  std::vector<std::string> names = DownloadedFiles();
  std::erase_if(names, [&](const std::string& name) {
    return name.find("xml") == name.npos || std::ranges::count(*outcome.offered, name) != 0;
  });
  return names;
}

std::string RemarkOnFilesNotOffered(const std::vector<std::string>& names) {
  constexpr std::size_t kMostNamed = 5;
  std::string list;
  for (std::size_t i = 0; i < std::min(names.size(), kMostNamed); ++i)
    list += (i == 0 ? "" : ", ") + names[i];
  if (names.size() > kMostNamed)
    list += " and " + std::to_string(names.size() - kMostNamed) + " more";
  return "the repository does not offer " + list + ", which " + DownloadFolder().string() +
         " holds and which counts";
}

std::string AdviceOnFilesNotOffered() {
  return "what was withdrawn or superseded is removed from there by hand";
}

std::string RemarkOnOffline() {
  return "nothing was verified now, being offline: " + DownloadFolder().string() +
         " counts as it is";
}

}  // namespace svc
