#include "svcheck/session/report_files.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <system_error>

#include "base/error.h"
#include "base/files.h"
#include "report/records.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/process.h"

namespace svc {

namespace {

std::vector<std::string> FormatNames() {
  std::vector<std::string> names;
  for (const report::TFormat& format : report::kFormats) names.emplace_back(format.name);
  return names;
}

void AddSelectionOptions(CLI::App& app, TReportOptions& options) {
  std::vector<std::string> verdicts;
  for (const report::EVerdict verdict : report::kVerdicts) verdicts.emplace_back(NameOf(verdict));
  AddText(app, "--only", options.only,
          "Show records of these verdicts alone; counts and conditions stay those of all",
          "VERDICTS")
      .ListOf(verdicts, std::string(report::kAllVerdicts));
  std::vector<std::string> keys(report::kSortKeys.begin(), report::kSortKeys.end());
  for (const std::string_view key : report::kSortKeys) keys.push_back('-' + std::string(key));
  AddText(app, "--sort", options.sort,
          "Sort the records by these; \"-\" in front turns the order round", "KEYS")
      .ListOf(keys, std::string(report::kQueryOrder));
}

bool IsSet(const char* variable) {
  const char* const value = std::getenv(variable);
  return value != nullptr && value[0] != '\0';
}

// See no-color.org for NO_COLOR.
bool WantsColor(const TReportOptions& options) {
  if (options.color != "auto") return options.color == "always";
  const char* const terminal = std::getenv("TERM");
  return options.outputFile == "-" && StandardOutputIsTerminal() && !IsSet("NO_COLOR") &&
         terminal != nullptr && std::string_view(terminal) != "dumb";
}

// The number that a text is, in decimal; none when it is no number of this type.
template <typename TNumber>
std::optional<TNumber> WholeNumberIn(std::string_view text) {
  TNumber number = 0;
  const char* const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || last != end) return {};
  return number;
}

std::size_t WidthOf(const std::string& text) {
  if (text == "terminal") return static_cast<std::size_t>(TerminalWidth());
  constexpr std::size_t kLongest = 5;
  const auto columns = WholeNumberIn<std::size_t>(text);
  if (columns && text.size() <= kLongest) return *columns;
  throw TError("--width " + text + " is no number of columns; give one, or \"terminal\"",
               EErrorKind::kUsage);
}

bool IsNagios(const report::TFormat& format) noexcept {
  return format.render == report::RenderNagios;
}

// A monitoring server would take the failure's own status for a warning.
template <typename TWrite>
auto WriteOrTell(const report::TFormat& format, const TWrite& write) {
  try {
    return write();
  } catch (const TError& error) {
    if (!IsNagios(format) || error.Kind() == EErrorKind::kUsage) throw;
    throw TError(error.what(), EErrorKind::kUnknown);
  }
}

// Closes what is not standard input.
struct TClose {
  void operator()(std::FILE* file) const noexcept {
    if (file != stdin) std::fclose(file);
  }
};

std::string ReadWhole(const std::string& file, std::size_t largest, files::EPipes pipes) {
  const std::unique_ptr<std::FILE, TClose> stream(file == "-" ? stdin
                                                              : files::OpenToRead(file, pipes));
  std::string text;
  std::array<char, 1 << 16> block;
  while (const std::size_t count = std::fread(block.data(), 1, block.size(), stream.get())) {
    text.append(block.data(), count);
    if (text.size() > largest) {
      throw TError("it has more than " + std::to_string(largest >> 20) + " MiB");
    }
  }
  if (std::ferror(stream.get()) != 0) throw FileError(errno);
  return text;
}

// Of the file of metrics that is to be written anew; nothing where it cannot be read.
report::TKeptMetrics KeptMetricsOf(const std::string& file) {
  constexpr std::size_t kLargest = std::size_t{64} << 20;
  try {
    return report::MetricsToKeep(ReadWhole(file, kLargest, files::EPipes::kNone));
  } catch (const TError&) {
    return {};
  }
}

}  // namespace

TOption AddOutputOptions(CLI::App& app, TReportOptions& options,
                         const std::vector<std::string>& formats, const char* failOnDescription) {
  const TOption format =
      AddText(app, "--format", options.format, "Format of the report", "FORMAT").OneOf(formats);
  AddText(app, "--output", options.outputFile, "Where the report goes; \"-\" is standard output",
          "FILE");
  AddText(app, "--fail-on", options.failOn, failOnDescription, "CONDITIONS")
      .ListOf({"outdated", "unknown", "newer", "nothing", "different"}, "none");
  AddText(app, "--color", options.color, "Colour the table", "WHEN")
      .OneOf({"auto", "always", "never"});
  AddText(app, "--width", options.width,
          "Cut the table to so many columns; 0 for no cut, \"terminal\" for the terminal's",
          "COLUMNS")
      .ShowDefault();
  return format;
}

TOption AddCsvRawOption(CLI::App& app, bool& raw) {
  return AddFlag(app, "--csv-raw", raw,
                 "For programs: no apostrophe before what a spreadsheet takes for a formula");
}

void AddReportOptions(CLI::App& app, TReportOptions& options) {
  AddOutputOptions(app, options, FormatNames(),
                   "End with status 2 when a record has one of these verdicts, or nothing could be "
                   "compared; \"different\" stands for all four");
  AddCsvRawOption(app, options.csvRaw);
  AddFlag(app, "--csv-not-compared", options.csvNotCompared,
          "Rows also of what is installed and was not compared, with the reason");
  AddFlag(
      app, "--unfold", options.unfold,
      "Of the table: a line for each driver that goes by its kernel's release, not one for all");
  AddSelectionOptions(app, options);
  AddCount(app, "--max-age", options.maxAge, "Warn of a catalogue that is older than so many days",
           "DAYS");
}

void AddWaiversOption(CLI::App& app, TReportOptions& options) {
  AddText(app, "--waivers", options.waiversFile, "Records that are accepted as they are", "FILE");
}

report::TRenderOptions RenderingOf(const TReportOptions& options) {
  return {WantsColor(options),
          WidthOf(options.width),
          report::FailOnOfText(options.failOn).value(),
          options.csvRaw ? report::ECsvTexts::kRaw : report::ECsvTexts::kSafe,
          options.csvNotCompared,
          options.maxAge,
          options.unfold};
}

TReportOutput::TReportOutput(const TReportOptions& options)
    : options(options),
      rendering(RenderingOf(options)),
      format(report::FormatOfName(options.format)),
      output(WriteOrTell(*format, [&] { return OpenOutput(options.outputFile); })) {}

int TReportOutput::Show(report::TReport& report, int status) {
  const bool isMetrics = format->render == report::RenderPrometheus;
  if (isMetrics && options.outputFile != "-") {
    report.kept = KeptMetricsOf(options.outputFile);
  }
  if (!format->isOfAll) {
    report::ShowOnly(report, options.only);
    report::Sort(report, options.sort);
  }
  const int condition = ConditionOf(report, status);
  WriteOrTell(*format, [&] {
    format->render(report, rendering, *output);
    output->Commit();
  });
  return condition;
}

// Found out before the report is written: nothing may fail once it is there.
int TReportOutput::ConditionOf(const report::TReport& report, int status) const {
  if (IsNagios(*format)) return report::NagiosStatus(report, rendering);
  if (status != kExitDone) return status;
  return report::FailsOn(report, rendering.failOn) ? kExitCondition : kExitDone;
}

// The metrics alone do not say why a check failed.
bool TReportOutput::IsOnScreen() const {
  return options.outputFile == "-" && format->render != report::RenderPrometheus &&
         StandardOutputIsTerminal() && StandardErrorIsTerminal();
}

namespace {

struct TKind {
  std::string_view name;
  std::string_view advice;
  std::size_t largest;
};
constexpr TKind kReport = {"report", "give what `svcheck check --format json` wrote",
                           std::size_t{512} << 20};
constexpr TKind kWaivers = {"waivers", "docs/waivers.md shows one", std::size_t{16} << 20};

template <typename TParse>
auto Load(const TKind& kind, const std::string& file, const TParse& parse) {
  try {
    return parse(ReadWhole(file, kind.largest, files::EPipes::kGiven));
  } catch (const TError& error) {
    if (const int line = error.Number(); line > 0 && error.Kind() == EErrorKind::kText) {
      throw TError(file + ':' + std::to_string(line) + ": " + error.what());
    }
    throw TError(fmt::format("cannot read the {} {}: {}; {}", kind.name,
                             file == "-" ? "on standard input" : file, error.what(), kind.advice));
  }
}

}  // namespace

report::TReport LoadReport(const std::string& file) {
  return Load(kReport, file, report::ReadSavedReport);
}

std::vector<report::TWaiver> LoadWaivers(const std::string& file) {
  if (file.empty()) return {};
  return Load(kWaivers, file, report::ParseWaivers);
}

void UseWaivers(const std::string& file, const std::vector<report::TWaiver>& waivers,
                report::TReport& report) {
  if (file.empty()) return;
  report::ApplyWaivers(waivers, report);
  for (const report::TWaiver& waiver : waivers) {
    if (!report::HasExpired(waiver, report.generated)) continue;
    ReportNote(file + ':' + std::to_string(waiver.line) + ": the waiver for \"" + waiver.name +
               "\" expired on " + waiver.acceptance.expires +
               " and no longer holds; renew it or remove it");
  }
}

}  // namespace svc
