#include "svcheck/session/download.h"

#include <fmt/core.h>
#include <algorithm>
#include <array>
#include <exception>

#include "host/hskcore/exception.h"
#include "host/hskcore/os_specific.h"
#include "svcheck/system/paths.h"
#include "svcheck/system/process.h"

namespace svc {

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
