// What SIGINT and SIGTERM do: remove what is half-written and end the process, at once or, while a
// download is under way, as soon as it has stopped.
#ifndef SVCHECK_SYSTEM_INTERRUPTION_H_
#define SVCHECK_SYSTEM_INTERRUPTION_H_

#include <cstddef>
#include <string>

namespace svc {

// Called once, before the first of the classes below is made.
void HandleInterruption() noexcept;

// Removes a file, if it exists, when it goes out of scope or the process is interrupted.
class TTemporaryFile {
 public:
  explicit TTemporaryFile(const std::string& path);
  ~TTemporaryFile();
  TTemporaryFile(const TTemporaryFile&) = delete;
  TTemporaryFile& operator=(const TTemporaryFile&) = delete;

  // The file stays.
  void Disarm() noexcept;

 private:
  std::string path;
  std::size_t slot;
};

// What this process alone tells on standard error, in one line, when it is interrupted from now on.
void SetInterruptionHint(const std::string& text) noexcept;

// For who ends the process without leaving the scopes of these files.
void RemoveTemporaryFiles() noexcept;

// From StartPoliteStop to EndPoliteStop an interruption is only noted, for somebody who asks
// StopRequested several times a second; EndPoliteStop ends the process if one was noted.
void StartPoliteStop() noexcept;
void EndPoliteStop() noexcept;
bool StopRequested() noexcept;

}  // namespace svc

#endif  // SVCHECK_SYSTEM_INTERRUPTION_H_
