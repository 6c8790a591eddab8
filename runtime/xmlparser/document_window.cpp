#include "runtime/xmlparser/document_window.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include "runtime/xmlparser/byte_scan.h"
#include "runtime/xmlparser/document_text.h"

namespace svc::xml {

namespace {

[[noreturn]] void FailToRead() {
  throw TDocumentError(1, std::strerror(errno), NQRXHSK20::THSKStatusCode::kFileUnreadable);
}

[[noreturn]] void FailAsTooLarge() {
  throw TDocumentError(1, "an object as large as the document", NQRXHSK20::THSKStatusCode::kFailed);
}

[[noreturn]] void FailAsCancelled() {
  throw TDocumentError(1, "nobody wants it any more", NQRXHSK20::THSKStatusCode::kFailed);
}

}  // namespace

TDocumentWindow::TDocumentWindow(std::FILE* file, std::size_t size, std::size_t usual)
    : file(file), size(size), usual(usual) {
  Seek(0);
  Reserve(std::min(usual, size), nullptr, 0);
  Fill(capacity);
}

TDocumentWindow::TDocumentWindow(std::FILE* file, std::size_t size, std::size_t usual,
                                 std::size_t begin, const std::atomic<bool>& isCancelled)
    : file(file), size(size), usual(usual), passed(begin), isCancelled(&isCancelled) {
  Seek(begin);
  Reserve(std::min(usual, Left()), nullptr, 0);
  Fill(capacity);
}

void TDocumentWindow::Seek(std::size_t place) {
  if (std::fseek(file, static_cast<long>(place), SEEK_SET) != 0) FailToRead();
}

void TDocumentWindow::LimitTo(std::size_t place) {
  limit = place;
  if (filled > Left()) {
    filled = Left();
    Seek(place);
  }
  Show();
}

void TDocumentWindow::LiftLimit() {
  limit = kUnlimited;
  Show();
}

bool TDocumentWindow::EndsAtLimit(const char* at) const {
  const char* const behind = block.get() + filled;
  return limit != kUnlimited && isAll && at == end && SkipBlanks(end, behind) == behind;
}

void TDocumentWindow::MoveTo(const char* at) {
  const std::size_t kept = filled - static_cast<std::size_t>(at - block.get());
  passed = OffsetOf(at);
  const std::size_t wanted = std::min(Left(), std::max(usual, kept + usual / 2));
  if (wanted > capacity) {
    Reserve(wanted, at, kept);
  } else {
    std::memmove(block.get(), at, kept);
  }
  filled = kept;
  Fill(wanted);
}

// Each time it sees eight times as much. What is read twice by that stays below a sixteenth of the
// document: where it would not, all that is left of the document is seen at once. Where that is
// nearly all of a large one, it is refused: the plain way reads it as well, and nothing is read
// twice.
void TDocumentWindow::Widen(std::size_t offset) {
  constexpr std::size_t kGrowth = 8;
  constexpr std::size_t kMostReadTwice = 16;
  constexpr std::size_t kLarge = std::size_t{1} << 20;
  readTwice += filled;
  if (isAll) limit = kUnlimited;
  std::size_t wanted = std::max(filled, std::size_t{1}) * kGrowth;
  passed = offset;
  if (readTwice + wanted > size / kMostReadTwice) {
    if (Left() > kLarge && offset < size / kMostReadTwice) FailAsTooLarge();
    limit = kUnlimited;
    wanted = Left();
  }
  wanted = std::min(wanted, Left());
  if (wanted > capacity) Reserve(wanted, nullptr, 0);
  Seek(offset);
  filled = 0;
  Fill(wanted);
}

void TDocumentWindow::ReadToEnd() {
  while (!isAtEnd) {
    passed += filled;
    filled = 0;
    Fill(std::min(Left(), capacity));
  }
}

void TDocumentWindow::Reserve(std::size_t wanted, const char* kept, std::size_t keptSize) {
  // What is not kept is given back before more is taken.
  if (keptSize == 0) block.reset();
  auto larger = std::make_unique_for_overwrite<char[]>(wanted);
  std::copy_n(kept, keptSize, larger.get());
  block = std::move(larger);
  capacity = wanted;
}

// Reads on behind what there is. A file that has become shorter ends where it ends.
void TDocumentWindow::Fill(std::size_t wanted) {
  if (isCancelled != nullptr && *isCancelled) FailAsCancelled();
  const std::size_t missing = wanted - filled;
  const std::size_t got = std::fread(block.get() + filled, 1, missing, file);
  if (got < missing && std::ferror(file) != 0) FailToRead();
  filled += got;
  if (got < missing) size = passed + filled;
  Show();
}

void TDocumentWindow::Show() {
  isAtEnd = passed + filled == size;
  isAll = filled == Left();
  const std::size_t lastTag = std::string_view(block.get(), filled).rfind('>');
  end = block.get() + (isAtEnd ? filled : lastTag + 1);
}

}  // namespace svc::xml
