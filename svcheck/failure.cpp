#include "svcheck/failure.h"

#include <atomic>
#include <cstdio>
#include <new>

#include "report/text.h"

namespace svc {

namespace {

std::atomic<bool> hasMemoryRunOut{false};

void NoteMemoryRunOut() {
  hasMemoryRunOut = true;
  throw std::bad_alloc();
}

}  // namespace

std::string ReasonOf(const std::exception& error) {
  const bool isMemory = dynamic_cast<const std::bad_alloc*>(&error) != nullptr;
  return isMemory ? "out of memory; free some, or give a smaller catalogue" : error.what();
}

void WatchMemory() noexcept { std::set_new_handler(NoteMemoryRunOut); }

bool HasMemoryRunOut() noexcept { return hasMemoryRunOut; }

void ReportError(const std::string& text) noexcept {
  try {
    std::string line = text;
    for (char& c : line) {
      if (c == '\n' || c == '\r' || c == '\t') c = ' ';
    }
    line = "svcheck: " + report::PlainLine(line) + '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
  } catch (...) {
    std::fputs("svcheck: out of memory\n", stderr);
  }
}

}  // namespace svc
