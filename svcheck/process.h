// The running process: its number, its standard streams, the files it makes.
#ifndef SVCHECK_PROCESS_H_
#define SVCHECK_PROCESS_H_

#include <cstdio>
#include <filesystem>
#include <string>

namespace svc {

int ProcessId() noexcept;

// A file for writing bytes that was not there before. Null where it cannot be made; errno says why.
std::FILE* OpenNewFile(const std::filesystem::path& path);

// Its environment: "NAME=VALUE" each, with a null pointer behind the last. May be null.
char** Environment() noexcept;

// A program may be started with its standard streams closed; then the first file it opens would be
// taken for one. Called once, first of all.
void GuardStandardStreams() noexcept;

// Forgets every variable that is not let in (svcheck/environment.h). Called by the only thread,
// before any library is loaded that might read one.
void GuardEnvironment();

bool StandardOutputIsTerminal() noexcept;
bool StandardErrorIsTerminal() noexcept;
// Columns of the terminal, 0 when there is none.
int TerminalWidth() noexcept;

// While it lives, what anybody in the process writes to standard output is kept instead. Used by
// one thread; one at a time.
class TCapturedOutput {
 public:
  // Throws TFailure when the system refuses.
  TCapturedOutput();
  ~TCapturedOutput();
  TCapturedOutput(const TCapturedOutput&) = delete;
  TCapturedOutput& operator=(const TCapturedOutput&) = delete;

  // Gives standard output back and what was written meanwhile. Throws TFailure when the system
  // refuses.
  std::string Take();

 private:
  // False where the system refuses.
  bool Restore() noexcept;

  int kept = -1;      // Standard output as it was.
  int captured = -1;  // Where it goes meanwhile.
};

}  // namespace svc

#endif  // SVCHECK_PROCESS_H_
