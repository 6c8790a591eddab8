// One line that tells a person what is going on: written over by the next one, and gone at the end.
// Writes plain characters only, so that it needs nothing of the terminal but a carriage return.
// Used by one thread at a time.
#ifndef SVCHECK_SESSION_STATUS_LINE_H_
#define SVCHECK_SESSION_STATUS_LINE_H_

#include <cstddef>
#include <cstdio>
#include <string>

namespace svc {

class TStatusLine {
 public:
  // The stream is borrowed; null to show nothing.
  explicit TStatusLine(std::FILE* stream) : stream(stream) {}
  ~TStatusLine() { Clear(); }
  TStatusLine(const TStatusLine&) = delete;
  TStatusLine& operator=(const TStatusLine&) = delete;

  // An ASCII text without line ends; an empty one clears the line.
  void Show(const std::string& text) noexcept;
  void Clear() noexcept { Show({}); }

 private:
  std::FILE* stream;
  std::size_t shown = 0;  // Characters on the line.
};

}  // namespace svc

#endif  // SVCHECK_SESSION_STATUS_LINE_H_
