#include "runtime/xmlparser/spent_text.h"

#include "runtime/hskcore/pages.h"

namespace svc::xml {

void TSpentText::HandOver(char* at) {
  const std::span<char> pages = WholePages({at - kPiece, at - 1});
  begin = at;
  if (isRefused || pages.empty()) return;
  const std::size_t lineEnds = text.LineEndsWithin(pages);
  isRefused = !writer.TakePages(pages);
  if (!isRefused) text.Lose(lineEnds);
}

}  // namespace svc::xml
