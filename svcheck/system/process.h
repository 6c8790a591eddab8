// The running process: its standard streams, its limits, its environment, its temporary files, and
// its end when somebody interrupts it.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace svc {

// Makes a folder in the one for temporary files that only its maker can use, under a name that
// nobody can foresee: "svcheck-PURPOSE-" and random characters. Throws TError.
std::filesystem::path MakeScratchFolder(const std::string& purpose);

// A file for writing and reading that has no name and is gone when it is closed. Null where it
// cannot be made; errno says why.
std::FILE* OpenUnnamedFile();
// Goes to a byte of it, from the start. False where the system refuses.
bool SeekIn(std::FILE* file, std::uint64_t place) noexcept;

// Its environment: "NAME=VALUE" each, with a null pointer behind the last. May be null.
char** Environment() noexcept;

// A program may be started with its standard streams closed; then the first file it opens would be
// taken for one. Called once, first of all.
void GuardStandardStreams() noexcept;

// To write past the limit of a file's size (ulimit -f) becomes an error like others, where it would
// end the process without a word. Called before anything is written.
void GuardFileSizes() noexcept;

// No file of the process's memory is written when it crashes. Called before it holds a password.
void ForbidCoreFiles() noexcept;

// The variables of the environment that the program lets in. Whoever sets the environment of a
// program that runs as root shall not decide what code its libraries load, what files they write
// and whom they trust; there are too many such variables, and each library may bring more, to name
// them. So the few that somebody needs are named instead. Any thread.
//
// A name that ends in "_" stands for all that begin so.
inline constexpr std::array<std::string_view, 16> kLetIn = {
    // Settings, and where the user's files lie.
    "SVCHECK_", "HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "TMPDIR", "TMP", "TEMP",
    // How a terminal likes its texts.
    "TERM", "NO_COLOR",
    // The way to a repository. Not HTTP_PROXY, which a web server's clients can set.
    "http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY", "no_proxy", "NO_PROXY"};

constexpr bool IsLetInAs(std::string_view listed, std::string_view name) noexcept {
  return listed.back() == '_' ? name.starts_with(listed) : name == listed;
}

// Of an entry, "NAME=VALUE".
constexpr bool IsLetIn(std::string_view entry) noexcept {
  const std::size_t equals = entry.find('=');
  return equals != std::string_view::npos &&
         std::any_of(kLetIn.begin(), kLetIn.end(), [&](std::string_view listed) {
           return IsLetInAs(listed, entry.substr(0, equals));
         });
}

// Forgets every variable that is not let in. Called by the only thread, before any library is
// loaded that might read one.
void GuardEnvironment();

bool StandardOutputIsTerminal() noexcept;
bool StandardErrorIsTerminal() noexcept;
// Columns of the terminal, 0 when there is none.
int TerminalWidth() noexcept;

// While it lives, what anybody in the process writes to standard output is kept instead. Used by
// one thread; one at a time.
class TCapturedOutput {
 public:
  // Throws TError when the system refuses.
  TCapturedOutput();
  ~TCapturedOutput();
  TCapturedOutput(const TCapturedOutput&) = delete;
  TCapturedOutput& operator=(const TCapturedOutput&) = delete;

  // Gives standard output back and what was written meanwhile. Throws TError when the system
  // refuses.
  std::string Take();
  // What was written since the last call; whatever follows is kept as well. Throws TError when the
  // system refuses.
  std::string TakeSoFar();

 private:
  // All that was written; none where the system refuses.
  std::optional<std::string> Read();
  // False where the system refuses.
  bool Restore() noexcept;

  int kept = -1;      // Standard output as it was.
  int captured = -1;  // Where it goes meanwhile.
};

// The name of the machine whose system tree it is; empty when it cannot be told. Any thread.
std::string HostName(const std::filesystem::path& root);

// --- Interruption ---

// What SIGINT and SIGTERM do: remove what is half-written and end the process, at once or, while a
// download is under way, as soon as it has stopped.

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
