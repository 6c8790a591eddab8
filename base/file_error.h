// Why a file could not be found, made or written. Any thread.
#ifndef BASE_FILE_ERROR_H_
#define BASE_FILE_ERROR_H_

#include <cerrno>
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

}  // namespace svc::files

#endif  // BASE_FILE_ERROR_H_
