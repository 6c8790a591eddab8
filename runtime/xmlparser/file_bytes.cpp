#include "runtime/xmlparser/file_bytes.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>

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

struct TCloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using TFile = std::unique_ptr<std::FILE, TCloseFile>;

[[noreturn]] void FailToRead(const std::string& path, const char* doing, int error) {
  throw THSKException(path + ": cannot be " + doing + ": " + std::strerror(error),
                      THSKStatusCode::kFileUnreadable);
}

TFile Open(const std::string& path, const std::string& native) {
  TFile file(OpenNativeFile(native, "rb"));
  if (!file) FailToRead(path, "opened", errno);
  std::setvbuf(file.get(), nullptr, _IONBF, 0);
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
  TFileBytes read;
  std::size_t capacity = std::clamp<std::uint64_t>(told + 1, kSmallestBuffer, kMostBytes);
  for (;;) {
    Grow(read, capacity, path);
    read.size += std::fread(read.bytes.get() + read.size, 1, capacity - read.size, file.get());
    if (std::ferror(file.get())) FailToRead(path, "read", errno);
    if (read.size < capacity || capacity == kMostBytes) return read;
    capacity = std::min(capacity * 2, kMostBytes);
  }
}

}  // namespace

TFileBytes ReadWholeFile(const std::string& path) {
  const std::uint64_t told = TOSSpecific::GetFileSize(path);
  return ReadAll(Open(path, TOSSpecific::NativePath(path)), told, path);
}

TFileBytes ReadFileOrPipe(const std::string& path) {
  const std::string native = TOSSpecific::NativePath(path);
  std::error_code noStatus;
  if (!std::filesystem::is_fifo(native, noStatus)) return ReadWholeFile(path);
  return ReadAll(Open(path, native), 0, path);
}

TFileBytes ReadNativeFile(const std::string& path) {
  std::error_code noSize;
  const std::uint64_t told = std::filesystem::file_size(path, noSize);
  return ReadAll(Open(path, path), noSize ? 0 : told, path);
}

}  // namespace svc::xml
