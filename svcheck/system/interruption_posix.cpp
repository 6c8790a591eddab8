#include <signal.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstring>

#include "base/shown_text.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/interruption.h"

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
