#include "svcheck/session/status_line.h"

namespace svc {

void TStatusLine::Show(const std::string& text) noexcept {
  if (stream == nullptr || (text.empty() && shown == 0)) return;
  const int blanks = shown > text.size() ? static_cast<int>(shown - text.size()) : 0;
  std::fprintf(stream, "\r%s%*s%s", text.c_str(), blanks, "", text.empty() ? "\r" : "");
  std::fflush(stream);
  shown = text.size();
}

}  // namespace svc
