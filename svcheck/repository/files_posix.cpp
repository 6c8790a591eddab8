#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <stdexcept>

#include "runtime/hskcore/shown_text.h"
#include "svcheck/repository/files.h"

namespace svc::repository {
namespace {

// Keeps the terminal from showing what is typed, for as long as it lives.
class TSilence {
 public:
  TSilence() : isTerminal(isatty(STDIN_FILENO) != 0) {
    if (!isTerminal || tcgetattr(STDIN_FILENO, &before) != 0) return;
    termios silent = before;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
  }
  ~TSilence() {
    if (!isTerminal) return;
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
    std::cerr << '\n';
  }
  TSilence(const TSilence&) = delete;
  TSilence& operator=(const TSilence&) = delete;

  bool IsTerminal() const { return isTerminal; }

 private:
  bool isTerminal;
  termios before{};
};

}  // namespace

void WriteSecret(const std::string& path, const std::string& text) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (file < 0) throw std::runtime_error(path + " cannot be made: " + std::strerror(errno));
  const bool isWritten =
      write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
      fsync(file) == 0;
  close(file);
  if (!isWritten) throw std::runtime_error(path + " cannot be written");
}

std::string AskPassword(const std::string& purpose) {
  const TSilence silence;
  if (silence.IsTerminal()) std::cerr << "Password " << ShownLine(purpose) << ": " << std::flush;
  std::string password;
  if (!std::getline(std::cin, password)) throw std::runtime_error("no password was given");
  return password;
}

}  // namespace svc::repository
