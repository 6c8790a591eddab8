#include "svcheck/system/process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "base/path_walk.h"
#include "base/shown_text.h"
#include "svcheck/system/failure.h"

namespace svc {
namespace {

// Paths that the handler can read: fixed places, since it may not allocate or lock.
struct TSlot {
  std::atomic<bool> taken{false};
  std::atomic<bool> armed{false};
  std::array<char, 4096> path{};
};
std::array<TSlot, 8> slots;
std::atomic<bool> polite{false};
std::atomic<int> noted{0};

// Likewise a fixed place. Copies of the process, which a terminal interrupts as well, say nothing.
std::array<char, 4096> hint;
std::atomic<std::size_t> hintSize{0};
std::atomic<pid_t> hinting{0};

static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

// Ends the process as the signal alone would have, so that a shell sees it.
void EndBy(int signal) noexcept {
  RemoveTemporaryFiles();
  if (hintSize != 0 && hinting == ::getpid()) {
    [[maybe_unused]] const ssize_t told = ::write(STDERR_FILENO, hint.data(), hintSize);
  }
  ::signal(signal, SIG_DFL);
  sigset_t set;
  ::sigemptyset(&set);
  ::sigaddset(&set, signal);
  ::sigprocmask(SIG_UNBLOCK, &set, nullptr);
  ::raise(signal);
}

void Handle(int signal) {
  // Who interrupts twice wants it now.
  const bool again = noted.exchange(signal) != 0;
  if (!polite || again) EndBy(signal);
}

std::size_t TakeSlot(const std::string& path) {
  if (path.size() >= slots[0].path.size()) {
    throw TError("the path " + path + " is too long; choose a shorter one");
  }
  for (std::size_t i = 0; i < slots.size(); ++i) {
    if (slots[i].taken.exchange(true)) continue;
    std::memcpy(slots[i].path.data(), path.c_str(), path.size() + 1);
    slots[i].armed = true;
    return i;
  }
  throw TError("too many files are being written at once; write fewer");
}

}  // namespace

std::filesystem::path MakeScratchFolder(const std::string& purpose) {
  std::string path = std::filesystem::temp_directory_path() / ("svcheck-" + purpose + "-XXXXXX");
  if (::mkdtemp(path.data()) == nullptr) {
    throw TError("cannot make the folder " + path + ": " + std::generic_category().message(errno) +
                 "; name a folder for temporary files with TMPDIR");
  }
  return path;
}

std::FILE* OpenUnnamedFile() {
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
  std::string name = ((error ? std::filesystem::path("/tmp") : folder) / "svcheck-XXXXXX").string();
  const int file = ::mkostemp(name.data(), O_CLOEXEC);
  if (file == -1) return nullptr;
  ::unlink(name.c_str());
  return ::fdopen(file, "w+b");
}

bool SeekIn(std::FILE* file, std::uint64_t place) noexcept {
  return ::fseeko(file, static_cast<off_t>(place), SEEK_SET) == 0;
}

char** Environment() noexcept { return environ; }

void GuardStandardStreams() noexcept {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    // Reading only: what is written to a closed standard output is an error, not lost in silence.
    if (::fcntl(stream, F_GETFD) == -1) ::open("/dev/null", O_RDONLY);
  }
}

void GuardFileSizes() noexcept { ::signal(SIGXFSZ, SIG_IGN); }

// With no room at all a crash is still handed to a program that the system names for it (core(5));
// a single byte means that it is not.
void ForbidCoreFiles() noexcept {
  constexpr rlimit kNone{1, 1};
  ::setrlimit(RLIMIT_CORE, &kNone);
}

void GuardEnvironment() {
  if (environ == nullptr) return;
  char** kept = environ;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    if (IsLetIn(*entry)) *kept++ = *entry;
  }
  *kept = nullptr;
}

bool StandardOutputIsTerminal() noexcept { return ::isatty(STDOUT_FILENO) == 1; }
bool StandardErrorIsTerminal() noexcept { return ::isatty(STDERR_FILENO) == 1; }

int TerminalWidth() noexcept {
  winsize size{};
  return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

TCapturedOutput::TCapturedOutput() {
  std::fflush(stdout);
  kept = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  captured = ::memfd_create("svcheck-output", MFD_CLOEXEC);
  if (kept == -1 || captured == -1 || ::dup2(captured, STDOUT_FILENO) == -1) {
    const int error = errno;
    Restore();
    throw TError("cannot redirect standard output: " + std::generic_category().message(error) +
                 "; raise the limit of open files");
  }
}

TCapturedOutput::~TCapturedOutput() { Restore(); }

bool TCapturedOutput::Restore() noexcept {
  std::fflush(stdout);
  bool isRestored = true;
  if (kept != -1) {
    while (::dup2(kept, STDOUT_FILENO) == -1 && isRestored) isRestored = errno == EINTR;
    ::close(kept);
  }
  if (captured != -1) ::close(captured);
  kept = captured = -1;
  return isRestored;
}

std::optional<std::string> TCapturedOutput::Read() {
  std::fflush(stdout);
  std::string text;
  std::array<char, 4096> block;
  off_t offset = 0;
  ssize_t count = 0;
  while ((count = ::pread(captured, block.data(), block.size(), offset)) > 0) {
    text.append(block.data(), static_cast<std::size_t>(count));
    offset += count;
  }
  if (count < 0) return {};
  return text;
}

[[noreturn]] static void FailOutput(const char* action) {
  throw TError(std::string("standard output cannot be ") + action + ": " +
               std::generic_category().message(errno) + "; start the check again");
}

std::string TCapturedOutput::Take() {
  auto text = Read();
  if (!Restore() || !text) FailOutput("given back");
  return *std::move(text);
}

std::string TCapturedOutput::TakeSoFar() {
  auto text = Read();
  const bool isEmptied =
      text &&
      (text->empty() || (::lseek(captured, 0, SEEK_SET) == 0 && ::ftruncate(captured, 0) == 0));
  if (!isEmptied) FailOutput("read");
  return *std::move(text);
}

// The first line of a file in another system's tree, out of which no link leads; empty where there
// is none. What is no regular file, such as a pipe, is not waited for.
static std::string FirstLineBelow(const std::filesystem::path& root, const std::string& file) {
  constexpr std::size_t kLongest = 4096;
  const files::TDescriptor folder(::open(root.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!folder) return {};
  files::IWayRules rules;
  const files::TPlace place = files::WalkBelow(folder.Get(), file, rules);
  if (!place.entry || !S_ISREG(place.status.st_mode)) return {};
  const files::TDescriptor open(
      ::open(place.entry.Path().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  std::string text(kLongest, '\0');
  const ssize_t count = ::read(open.Get(), text.data(), text.size());
  text.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return text.substr(0, text.find('\n'));
}

std::string HostName(const std::filesystem::path& root) {
  if (root != "/") {
    try {
      return FirstLineBelow(root, "etc/hostname");
    } catch (const TError&) {
      return {};  // It cannot be gone to.
    }
  }
  std::array<char, 256> running{};
  if (::gethostname(running.data(), running.size() - 1) != 0) return {};
  return running.data();
}

void HandleInterruption() noexcept {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action {};
    if (::sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) continue;
    action.sa_handler = Handle;
    action.sa_flags = SA_RESTART;
    ::sigaction(signal, &action, nullptr);
  }
}

void SetInterruptionHint(const std::string& text) noexcept {
  hintSize = 0;
  const std::string line = ShownLine("svcheck: " + text, hint.size() - 2) + '\n';
  std::memcpy(hint.data(), line.data(), line.size());
  hinting = ::getpid();
  hintSize = line.size();
}

void RemoveTemporaryFiles() noexcept {
  for (const TSlot& slot : slots) {
    if (slot.armed) ::unlink(slot.path.data());
  }
}

TTemporaryFile::TTemporaryFile(const std::string& path) : path(path), slot(TakeSlot(path)) {}

TTemporaryFile::~TTemporaryFile() {
  const bool armed = slots[slot].armed;
  Disarm();
  if (armed) ::unlink(path.c_str());
  slots[slot].taken = false;
}

void TTemporaryFile::Disarm() noexcept { slots[slot].armed = false; }

void StartPoliteStop() noexcept { polite = true; }

void EndPoliteStop() noexcept {
  polite = false;
  if (const int signal = noted; signal != 0) EndBy(signal);
}

bool StopRequested() noexcept { return noted != 0; }

}  // namespace svc
