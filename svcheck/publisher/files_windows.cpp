// Secret files, and the password that is typed for one.
#include <windows.h>

#include "base/error.h"
#include "svcheck/publisher/build.h"

// Needs what windows.h declares.
#include <sddl.h>

#include <iostream>
#include <memory>
#include <system_error>

#include "base/shown_text.h"
#include "runtime/hskcore/host_setup.h"

namespace svc::repository {

namespace {

// Everything for the owner, nothing for others, whatever the folder passes on.
constexpr const wchar_t* kOwnerOnly = L"D:P(A;;FA;;;OW)";

struct TCloseFile {
  using pointer = HANDLE;
  void operator()(HANDLE file) const { CloseHandle(file); }
};
struct TFreeLocal {
  void operator()(void* block) const { LocalFree(block); }
};

TError Failure(const std::string& path, const char* what) {
  const int error = static_cast<int>(GetLastError());
  return TError(path + what + std::system_category().message(error));
}

HANDLE MakeSecretFile(const std::string& path) {
  PSECURITY_DESCRIPTOR made = nullptr;
  if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(kOwnerOnly, SDDL_REVISION_1, &made,
                                                            nullptr))
    return INVALID_HANDLE_VALUE;
  const std::unique_ptr<void, TFreeLocal> descriptor(made);
  SECURITY_ATTRIBUTES security{sizeof(security), made, FALSE};
  return CreateFileW(PathOf(path).c_str(), GENERIC_WRITE, 0, &security, CREATE_NEW,
                     FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Keeps the console from showing what is typed, for as long as it lives.
class TSilence {
 public:
  TSilence()
      : input(GetStdHandle(STD_INPUT_HANDLE)), isConsole(GetConsoleMode(input, &before) != 0) {
    if (isConsole) SetConsoleMode(input, before & ~static_cast<DWORD>(ENABLE_ECHO_INPUT));
  }
  ~TSilence() {
    if (!isConsole) return;
    SetConsoleMode(input, before);
    std::cerr << '\n';
  }
  TSilence(const TSilence&) = delete;
  TSilence& operator=(const TSilence&) = delete;

  bool IsConsole() const { return isConsole; }

 private:
  HANDLE input;
  DWORD before = 0;
  bool isConsole;
};

}  // namespace

void WriteSecret(const std::string& path, const std::string& text) {
  const HANDLE made = MakeSecretFile(path);
  if (made == INVALID_HANDLE_VALUE) throw Failure(path, " cannot be made: ");
  const std::unique_ptr<HANDLE, TCloseFile> file(made);
  DWORD written = 0;
  if (!WriteFile(made, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) ||
      written != text.size() || !FlushFileBuffers(made))
    throw Failure(path, " cannot be written: ");
}

std::string AskPassword(const std::string& purpose) {
  const TSilence silence;
  if (silence.IsConsole()) std::cerr << "Password " << ShownLine(purpose) << ": " << std::flush;
  std::string password;
  if (!std::getline(std::cin, password)) throw TError("no password was given");
  if (password.ends_with('\r')) password.pop_back();
  return password;
}

bool IsTypedBlindly() {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode) != 0;
}

}  // namespace svc::repository
