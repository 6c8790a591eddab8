#include "runtime/xmlparser/document_window.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <utility>

#include "base/files.h"
#include "host/hskcore/exception.h"
#include "host/hskcore/os_specific.h"
#include "host/xmlparser/xml_parser.h"
#include "runtime/hskcore/host_setup.h"
#include "runtime/xmlparser/byte_scan.h"
#include "runtime/xmlparser/document_text.h"

namespace svc::xml {

using NQRXHSK20::THSKException;
using NQRXHSK20::THSKStatusCode;
using NQRXHSK20::TOSSpecific;

// One byte more than is taken, which tells a document that is too large.
constexpr std::size_t kMostBytes = NQRXHSK20::TCIMXMLParser::kMaxSpecificationDocumentSize + 1u;
constexpr std::size_t kSmallestBuffer = 4096;

static std::atomic<bool> isWaitingAllowed = true;
static thread_local bool areAwaited = false;

[[noreturn]] static void FailToRead(const std::string& path, const char* doing,
                                    const std::string& why) {
  throw THSKException(path + ": cannot be " + doing + ": " + why, THSKStatusCode::kFileUnreadable);
}

// What was a file when it was looked at may be a pipe by now.
static TFile OpenRegular(const std::string& path, const std::string& native) {
  try {
    return TFile(files::OpenToRead(native, files::EPipes::kNone));
  } catch (const TError& error) {
    FailToRead(path, "opened", error.what());
  }
}

static TFile OpenPipe(const std::string& path, const std::string& native) {
  TFile file(OpenNativeFile(native, "rb"));
  if (!file) FailToRead(path, "opened", std::strerror(errno));
  return file;
}

static void Grow(TFileBytes& buffer, std::size_t capacity, const std::string& path) {
  auto* const moved = static_cast<char*>(std::realloc(buffer.bytes.get(), capacity));
  if (!moved)
    throw THSKException(
        path + ": there is no memory for its " + std::to_string(capacity) + " bytes",
        THSKStatusCode::kNoBuffer);
  (void)buffer.bytes.release();
  buffer.bytes.reset(moved);
}

// What the system says of a file's size is taken for a hint: a pipe has none, and a file may grow.
static TFileBytes ReadAll(const TFile& file, std::uint64_t told, const std::string& path) {
  std::setvbuf(file.get(), nullptr, _IONBF, 0);
  TFileBytes read;
  std::size_t capacity = std::clamp<std::uint64_t>(told + 1, kSmallestBuffer, kMostBytes);
  for (;;) {
    Grow(read, capacity, path);
    read.size += std::fread(read.bytes.get() + read.size, 1, capacity - read.size, file.get());
    if (std::ferror(file.get())) FailToRead(path, "read", std::strerror(errno));
    if (read.size < capacity || capacity == kMostBytes) return read;
    capacity = std::min(capacity * 2, kMostBytes);
  }
}

TAwaitedPipes::TAwaitedPipes() noexcept { areAwaited = true; }

TAwaitedPipes::~TAwaitedPipes() { areAwaited = false; }

void AllowWaiting(bool isAllowed) noexcept { isWaitingAllowed = isAllowed; }

TFile OpenForBlocks(const std::string& native) {
  TFile file(files::OpenToRead(native, files::EPipes::kNone));
  std::setvbuf(file.get(), nullptr, _IONBF, 0);
  return file;
}

TFileBytes ReadWholeFile(const std::string& path) {
  const std::uint64_t told = TOSSpecific::GetFileSize(path);
  return ReadAll(OpenRegular(path, TOSSpecific::NativePath(path)), told, path);
}

TFileBytes ReadFileOrPipe(const std::string& path) {
  const std::string native = TOSSpecific::NativePath(path);
  std::error_code noStatus;
  const bool isAwaited = areAwaited && isWaitingAllowed;
  if (!isAwaited || !std::filesystem::is_fifo(native, noStatus)) return ReadWholeFile(path);
  return ReadAll(OpenPipe(path, native), 0, path);
}

TFileBytes ReadNativeFile(const std::string& path) {
  std::error_code noSize;
  const std::uint64_t told = std::filesystem::file_size(path, noSize);
  return ReadAll(OpenRegular(path, path), noSize ? 0 : told, path);
}

[[noreturn]] static void FailToRead() {
  throw TDocumentError(1, std::strerror(errno), NQRXHSK20::THSKStatusCode::kFileUnreadable);
}

[[noreturn]] static void FailAsTooLarge() {
  throw TDocumentError(1, "an object as large as the document", NQRXHSK20::THSKStatusCode::kFailed);
}

[[noreturn]] static void FailAsCancelled() {
  throw TDocumentError(1, "nobody wants it any more", NQRXHSK20::THSKStatusCode::kFailed);
}

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
  char* const behind = block.get() + filled;
  end = isAtEnd ? behind : block.get() + (BehindLast(block.get(), behind, '>') - block.get());
}

}  // namespace svc::xml
