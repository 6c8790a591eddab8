// The running process: its standard streams, its limits, its temporary files.
#ifndef SVCHECK_SYSTEM_PROCESS_H_
#define SVCHECK_SYSTEM_PROCESS_H_

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

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

// Forgets every variable that is not let in (svcheck/system/environment.h). Called by the only
// thread, before any library is loaded that might read one.
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

 private:
  // False where the system refuses.
  bool Restore() noexcept;

  int kept = -1;      // Standard output as it was.
  int captured = -1;  // Where it goes meanwhile.
};

// The name of a machine.

// Of the machine whose system tree it is; empty when it cannot be told. May be called from any
// thread.
std::string HostName(const std::filesystem::path& root);

}  // namespace svc

#endif  // SVCHECK_SYSTEM_PROCESS_H_
