#include "svcheck/system/failure.h"

#include <atomic>
#include <new>

#include "base/shown_text.h"

namespace svc {

namespace {

std::atomic<bool> hasMemoryRunOut{false};
std::atomic<bool> isQuiet{false};

void NoteMemoryRunOut() {
  hasMemoryRunOut = true;
  throw std::bad_alloc();
}

}  // namespace

void WatchMemory() noexcept {
  hasMemoryRunOut = false;
  std::set_new_handler(NoteMemoryRunOut);
}

bool HasMemoryRunOut() noexcept { return hasMemoryRunOut; }

void ReportError(const std::string& text) noexcept {
  try {
    ShowLine("svcheck: " + text);
  } catch (...) {
    ShowLine("svcheck: out of memory");
  }
}

void ReportNote(const std::string& text) noexcept {
  if (!IsQuiet()) ReportError(text);
}

void BeQuiet() noexcept { isQuiet = true; }

bool IsQuiet() noexcept { return isQuiet; }

}  // namespace svc
