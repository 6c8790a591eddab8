// One line that tells a person what is going on: written over by the next one, and gone at the end.
// Writes plain characters only, so that it needs nothing of the terminal but a carriage return.
// Used by one thread at a time.
#ifndef SVCHECK_SESSION_PROGRESS_H_
#define SVCHECK_SESSION_PROGRESS_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "runtime/acquire/settings.h"

namespace svc {

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

// Shows a person how a download goes: one line that is written over and gone at the end.

// "3 of 12 files, 1.2 of 4.5 MiB, 800 KiB/s, 5 s left", as far as each can be told. `running` is
// the time since the files began to come.
std::string DownloadLine(const acquire::TDownloadProgress& progress,
                         std::chrono::milliseconds running);

// "48.2 MiB"
std::string SizeText(std::uint64_t bytes);

// The observer of one download after another. One thread.
class TDownloadDisplay : public acquire::IProgressObserver {
 public:
  // The stream is borrowed.
  explicit TDownloadDisplay(std::FILE* stream) : line(stream) {}
  void OnProgress(const acquire::TDownloadProgress& progress) noexcept override;

 private:
  using TClock = std::chrono::steady_clock;

  TStatusLine line;
  acquire::TDownloadProgress::EPhase phase = acquire::TDownloadProgress::EPhase::kEnded;
  TClock::time_point begin;
  TClock::time_point last;
};

}  // namespace svc

#endif  // SVCHECK_SESSION_PROGRESS_H_
