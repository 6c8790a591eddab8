// Secret files, and the password that is typed for one.
#include <termios.h>
#include <unistd.h>
#include <iostream>

#include "base/error.h"
#include "base/files.h"
#include "base/shown_text.h"
#include "svcheck/publisher/build.h"

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
  const auto make = [&] {
    files::TNewFile file(path, {}, files::TNewFile::kForOwner);
    file.Write(text);
    file.PublishFirst();
  };
  Retold(make, [&path](const TError& error) {
    return TError(path + " cannot be made: " + error.what());
  });
}

std::string AskPassword(const std::string& purpose) {
  const TSilence silence;
  if (silence.IsTerminal()) std::cerr << "Password " << ShownLine(purpose) << ": " << std::flush;
  std::string password;
  if (!std::getline(std::cin, password)) throw TError("no password was given");
  return password;
}

bool IsTypedBlindly() { return isatty(STDIN_FILENO) != 0; }

}  // namespace svc::repository
