#include "svcheck/failure.h"

#include <cstdio>

#include "report/text.h"

namespace svc {

void ReportError(const std::string& text) noexcept {
  try {
    std::string line = text;
    for (char& c : line) {
      if (c == '\n' || c == '\r' || c == '\t') c = ' ';
    }
    line = "svcheck: " + report::PlainLine(line) + '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
  } catch (...) {
    std::fputs("svcheck: out of memory\n", stderr);
  }
}

}  // namespace svc
