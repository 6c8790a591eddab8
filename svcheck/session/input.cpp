#include "svcheck/session/input.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

#include "base/read_file.h"
#include "report/saved_report.h"
#include "svcheck/system/failure.h"

namespace svc {

namespace {

struct TKind {
  std::string_view name;
  std::string_view advice;
  std::size_t largest;
};
constexpr TKind kReport = {"report", "give what `svcheck check --format json` wrote",
                           std::size_t{512} << 20};
constexpr TKind kWaivers = {"waivers", "docs/waivers.md shows one", std::size_t{16} << 20};

[[noreturn]] void Fail(const TKind& kind, const std::string& file, const std::string& why) {
  const std::string place = file == "-" ? "on standard input" : file;
  throw TFailure("cannot read the " + std::string(kind.name) + ' ' + place + ": " + why + "; " +
                 std::string(kind.advice));
}

// Closes what is not standard input.
struct TClose {
  void operator()(std::FILE* file) const noexcept {
    if (file != stdin) std::fclose(file);
  }
};

std::FILE* Open(const TKind& kind, const std::string& file) {
  if (file == "-") return stdin;
  try {
    return files::OpenToRead(file, files::EPipes::kGiven);
  } catch (const files::TFileError& error) {
    Fail(kind, file, error.what());
  }
}

std::string ReadWhole(const TKind& kind, const std::string& file) {
  const std::unique_ptr<std::FILE, TClose> stream(Open(kind, file));
  std::string text;
  std::array<char, 1 << 16> block;
  while (const std::size_t count = std::fread(block.data(), 1, block.size(), stream.get())) {
    text.append(block.data(), count);
    if (text.size() > kind.largest) {
      Fail(kind, file, "it has more than " + std::to_string(kind.largest >> 20) + " MiB");
    }
  }
  if (std::ferror(stream.get()) != 0) {
    Fail(kind, file, std::generic_category().message(errno));
  }
  return text;
}

}  // namespace

report::TReport LoadReport(const std::string& file) {
  const std::string text = ReadWhole(kReport, file);
  try {
    return report::ReadSavedReport(text);
  } catch (const report::TSavedReportError& error) {
    Fail(kReport, file, error.what());
  }
}

std::vector<report::TWaiver> LoadWaivers(const std::string& file) {
  if (file.empty()) return {};
  try {
    return report::ParseWaivers(ReadWhole(kWaivers, file));
  } catch (const report::TWaiversError& error) {
    throw TFailure(file + ':' + std::to_string(error.Line()) + ": " + error.what());
  }
}

void UseWaivers(const std::string& file, const std::vector<report::TWaiver>& waivers,
                report::TReport& report) {
  if (file.empty()) return;
  report::ApplyWaivers(waivers, report);
  for (const report::TWaiver& waiver : waivers) {
    if (!report::HasExpired(waiver, report.generated)) continue;
    ReportError(file + ':' + std::to_string(waiver.line) + ": the waiver for \"" + waiver.name +
                "\" expired on " + waiver.acceptance.expires +
                " and no longer holds; renew it or remove it");
  }
}

}  // namespace svc
