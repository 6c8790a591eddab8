#include "runtime/xmlparser/file_bytes.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "base/files.h"
#include "host/hskcore/exception.h"
#include "host/hskcore/os_specific.h"
#include "host/xmlparser/xml_parser.h"
#include "runtime/hskcore/os_platform.h"

namespace svc::xml {

using NQRXHSK20::THSKException;
using NQRXHSK20::THSKStatusCode;
using NQRXHSK20::TOSSpecific;

namespace {

// One byte more than is taken, which tells a document that is too large.
constexpr std::size_t kMostBytes = NQRXHSK20::TCIMXMLParser::kMaxSpecificationDocumentSize + 1u;
constexpr std::size_t kSmallestBuffer = 4096;

std::atomic<bool> isWaitingAllowed = true;

[[noreturn]] void FailToRead(const std::string& path, const char* doing, const std::string& why) {
  throw THSKException(path + ": cannot be " + doing + ": " + why, THSKStatusCode::kFileUnreadable);
}

// What was a file when it was looked at may be a pipe by now.
TFile OpenRegular(const std::string& path, const std::string& native) {
  try {
    return TFile(files::OpenToRead(native, files::EPipes::kNone));
  } catch (const TError& error) {
    FailToRead(path, "opened", error.what());
  }
}

TFile OpenPipe(const std::string& path, const std::string& native) {
  TFile file(OpenNativeFile(native, "rb"));
  if (!file) FailToRead(path, "opened", std::strerror(errno));
  return file;
}

void Grow(TFileBytes& buffer, std::size_t capacity, const std::string& path) {
  auto* const moved = static_cast<char*>(std::realloc(buffer.bytes.get(), capacity));
  if (!moved)
    throw THSKException(
        path + ": there is no memory for its " + std::to_string(capacity) + " bytes",
        THSKStatusCode::kNoBuffer);
  (void)buffer.bytes.release();
  buffer.bytes.reset(moved);
}

// What the system says of a file's size is taken for a hint: a pipe has none, and a file may grow.
TFileBytes ReadAll(const TFile& file, std::uint64_t told, const std::string& path) {
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

}  // namespace

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
  if (!isWaitingAllowed || !std::filesystem::is_fifo(native, noStatus)) return ReadWholeFile(path);
  return ReadAll(OpenPipe(path, native), 0, path);
}

TFileBytes ReadNativeFile(const std::string& path) {
  std::error_code noSize;
  const std::uint64_t told = std::filesystem::file_size(path, noSize);
  return ReadAll(OpenRegular(path, path), noSize ? 0 : told, path);
}

}  // namespace svc::xml
