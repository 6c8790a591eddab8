#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "runtime/hskcore/host_setup.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/interruption.h"

namespace svc {

namespace {

// The system calls the handler on a thread of its own, so that it may lock and allocate.
struct TState {
  std::mutex mutex;
  std::vector<std::filesystem::path> files;  // An empty one is free.
  std::string hint;
};

TState& State() {
  static TState& state = *new TState;
  return state;
}

std::atomic<bool> polite{false};
std::atomic<bool> noted{false};

// The status with which the system itself ends an interrupted process.
constexpr UINT kInterrupted = 0xC000013A;

[[noreturn]] void EndNow() {
  RemoveTemporaryFiles();
  {
    const std::scoped_lock lock(State().mutex);
    if (!State().hint.empty()) ReportError(State().hint);
  }
  TerminateProcess(GetCurrentProcess(), kInterrupted);
  std::abort();
}

BOOL WINAPI Handle(DWORD /*event*/) {
  // Who interrupts twice wants it now.
  const bool again = noted.exchange(true);
  if (!polite || again) EndNow();
  return TRUE;
}

}  // namespace

void HandleInterruption() noexcept { SetConsoleCtrlHandler(Handle, TRUE); }

void SetInterruptionHint(const std::string& text) noexcept {
  const std::scoped_lock lock(State().mutex);
  State().hint = text;
}

void RemoveTemporaryFiles() noexcept {
  const std::scoped_lock lock(State().mutex);
  for (const auto& file : State().files) {
    if (!file.empty()) _wunlink(file.c_str());
  }
}

TTemporaryFile::TTemporaryFile(const std::string& path) : path(path) {
  const std::scoped_lock lock(State().mutex);
  slot = State().files.size();
  State().files.push_back(PathOf(path));
}

TTemporaryFile::~TTemporaryFile() {
  const std::scoped_lock lock(State().mutex);
  const std::filesystem::path file = std::exchange(State().files[slot], {});
  if (!file.empty()) _wunlink(file.c_str());
}

void TTemporaryFile::Disarm() noexcept {
  const std::scoped_lock lock(State().mutex);
  State().files[slot].clear();
}

void StartPoliteStop() noexcept { polite = true; }

void EndPoliteStop() noexcept {
  polite = false;
  if (noted) EndNow();
}

bool StopRequested() noexcept { return noted; }

}  // namespace svc
