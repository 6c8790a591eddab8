// Why a file could not be found, made or written. Any thread.
#ifndef BASE_READ_FILE_H_
#define BASE_READ_FILE_H_

#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <system_error>

namespace svc::files {

// The text says the reason alone; who catches it knows which file was meant.
class TFileError : public std::runtime_error {
 public:
  // Of a failed call: a value of errno.
  explicit TFileError(int number) : TFileError(number, std::generic_category().message(number)) {}
  TFileError(int number, const std::string& reason) : std::runtime_error(reason), number(number) {}

  int Number() const noexcept { return number; }
  // Whether it is for want of room: on the disk, or in what its user may take of it, which Windows
  // tells by no number of its own.
  bool IsWantOfRoom() const noexcept {
#ifdef EDQUOT
    if (number == EDQUOT) return true;
#endif
    return number == ENOSPC;
  }

 private:
  int number;
};

// Opening files that somebody named for the program to read. Any thread.

// What is taken beside regular files: with kGiven a pipe that the process was started with, as a
// shell's <(...) or /dev/stdin, and /dev/null.
enum class EPipes { kNone, kGiven };

// Never waits for somebody to write: a pipe with a name, a device and a socket are refused. The
// caller closes the file. Throws TFileError.
std::FILE* OpenToRead(const std::string& path, EPipes pipes);

}  // namespace svc::files

#endif  // BASE_READ_FILE_H_
