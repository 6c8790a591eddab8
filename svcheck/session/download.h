// What a person is told while a query works: what it is at, how its download goes, and what is to
// be known of the download folder beside what was compared.
#ifndef SVCHECK_SESSION_DOWNLOAD_H_
#define SVCHECK_SESSION_DOWNLOAD_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "runtime/acquire/settings.h"

namespace svc {

// One line, written over by the next one, and gone at the end. Writes plain characters only, so
// that it needs nothing of the terminal but a carriage return. Used by one thread at a time.
class TStatusLine {
 public:
  // The stream is borrowed; null to show nothing.
  explicit TStatusLine(std::FILE* stream) : stream(stream) {}
  ~TStatusLine() { Clear(); }
  TStatusLine(const TStatusLine&) = delete;
  TStatusLine& operator=(const TStatusLine&) = delete;

  // An ASCII text without line ends; an empty one clears the line.
  void Show(const std::string& text) noexcept;
  void Clear() noexcept { Show({}); }

 private:
  std::FILE* stream;
  std::size_t shown = 0;  // Characters on the line.
};

// "3 of 12 files, 1.2 of 4.5 MiB, 800 KiB/s, 5 s left", as far as each can be told. `running` is
// the time since the files began to come.
std::string DownloadLine(const acquire::TDownloadProgress& progress,
                         std::chrono::milliseconds running);

// "48.2 MiB"
std::string SizeText(std::uint64_t bytes);

// The observer of one download after another. One thread.
class TDownloadDisplay : public acquire::IProgressObserver {
 public:
  // The stream is borrowed; null to show nothing.
  explicit TDownloadDisplay(std::FILE* stream) : line(stream) {}
  void OnProgress(const acquire::TDownloadProgress& progress) noexcept override;

 private:
  using TClock = std::chrono::steady_clock;

  TStatusLine line;
  acquire::TDownloadProgress::EPhase phase = acquire::TDownloadProgress::EPhase::kEnded;
  TClock::time_point begin;
  TClock::time_point last;
};

// Shows each download, where that is wanted, and lets an interruption stop it cleanly. One thread.
class TDownloadWatch : public acquire::IProgressObserver {
 public:
  explicit TDownloadWatch(bool shown) : display(shown ? stderr : nullptr) {}
  void OnProgress(const acquire::TDownloadProgress& progress) noexcept override;

 private:
  TDownloadDisplay display;
};

// The names of the files in the download folder; none where it cannot be read.
std::vector<std::string> DownloadedFiles();
// The files of the download folder that count in a live check though the repository does not offer
// them (any more): what is there stays. Empty where the outcome does not tell what it offers.
std::vector<std::string> FilesNotOffered(const acquire::TOutcome& outcome);

// One line on these files, which are some.
std::string RemarkOnFilesNotOffered(const std::vector<std::string>& names);
std::string AdviceOnFilesNotOffered();

// One line on a live check that opened no connection.
std::string RemarkOnOffline();

}  // namespace svc

#endif  // SVCHECK_SESSION_DOWNLOAD_H_
