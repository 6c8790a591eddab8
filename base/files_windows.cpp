#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#include <windows.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <random>
#include <utility>

#include "base/files.h"

namespace svc::files {

constexpr std::size_t kWriteLimit = std::size_t{1} << 30;

static std::filesystem::path Native(const std::string& utf8) {
  return std::u8string(utf8.begin(), utf8.end());
}

[[noreturn]] static void Fail(int error) { throw FileError(error); }

[[noreturn]] static void FailBySystem(DWORD error) {
  const std::error_code code(static_cast<int>(error), std::system_category());
  throw FileError(code.default_error_condition().value(), code.message());
}

static std::string UnforeseeableSuffix() {
  std::random_device device;
  std::string suffix = ".svcheck-";
  for (int word = 0; word < 4; ++word) {
    constexpr char kDigits[] = "0123456789abcdef";
    for (auto bits = device(), digit = 0U; digit < 8; ++digit, bits >>= 4) {
      suffix += kDigits[bits & 15U];
    }
  }
  return suffix;
}

static std::string WithLinksFollowed(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::is_symlink(Native(path), error)) return path;
  const auto target = std::filesystem::weakly_canonical(Native(path), error).u8string();
  return error ? path : std::string(target.begin(), target.end());
}

ENamed WhatIsNamed(const std::string& path) {
  std::error_code error;
  switch (std::filesystem::status(Native(path), error).type()) {
    case std::filesystem::file_type::none:
    case std::filesystem::file_type::not_found:
      return ENamed::kNothing;
    case std::filesystem::file_type::regular:
      return ENamed::kFile;
    case std::filesystem::file_type::directory:
      return ENamed::kFolder;
    default:
      return ENamed::kOther;
  }
}

struct TNewFile::TState {
  std::string target;
  std::string part;
  int file = -1;
  bool isThere = false;

  ~TState() {
    if (file >= 0) _close(file);
    if (isThere) _wunlink(Native(part).c_str());
  }

  void Move(const std::string& to, DWORD flags) {
    if (_commit(file) != 0) Fail(errno);
    if (_close(std::exchange(file, -1)) != 0) Fail(errno);
    if (!MoveFileExW(Native(part).c_str(), Native(to).c_str(), flags | MOVEFILE_WRITE_THROUGH))
      FailBySystem(GetLastError());
    isThere = false;
  }
};

TNewFile::TNewFile(const std::string& target, const TAnnounce& announce, unsigned /*mode*/)
    : state(std::make_unique<TState>()) {
  state->target = WithLinksFollowed(target);
  const ENamed kind = WhatIsNamed(state->target);
  if (kind == ENamed::kFolder) Fail(EISDIR);
  if (kind == ENamed::kOther) throw FileError(EINVAL, "it is a pipe or a device and no file");
  state->part = state->target + UnforeseeableSuffix();
  if (announce) announce(state->part);
  constexpr int kFlags = _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT;
  if (_wsopen_s(&state->file, Native(state->part).c_str(), kFlags, _SH_DENYWR,
                _S_IREAD | _S_IWRITE) != 0)
    Fail(errno);
  state->isThere = true;
}

TNewFile::~TNewFile() = default;

void TNewFile::Put(std::string_view bytes) {
  while (!bytes.empty()) {
    const auto size = static_cast<unsigned>(std::min(bytes.size(), kWriteLimit));
    const int written = _write(state->file, bytes.data(), size);
    if (written <= 0) Fail(errno);
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

void TNewFile::StartOver() {
  buffer.clear();
  if (_chsize_s(state->file, 0) != 0 || _lseeki64(state->file, 0, SEEK_SET) != 0) Fail(errno);
}

// A rename that was written through is stable, and the system lets nobody sync a folder.
void TNewFile::Publish() { PublishAs(state->target); }
void TNewFile::PublishFirst() {
  PutBuffer();
  state->Move(state->target, 0);
}
void TNewFile::PublishAs(const std::string& path) {
  PutBuffer();
  state->Move(path, MOVEFILE_REPLACE_EXISTING);
}

// Folders hold no pipes here.
std::FILE* OpenToRead(const std::string& path, EPipes /*pipes*/) {
  const std::filesystem::path native = Native(path);
  std::error_code ignored;
  if (std::filesystem::is_directory(native, ignored)) throw FileError(EISDIR, "it is a folder");
  std::FILE* const file = _wfopen(native.c_str(), L"rb");
  if (file == nullptr) Fail(errno);
  return file;
}

std::FILE* OpenInPlace(const std::string& path, EStart start) {
  std::FILE* const file = _wfopen(Native(path).c_str(), start == EStart::kBehind ? L"ab" : L"wb");
  if (file == nullptr) Fail(errno);
  return file;
}

int Truncate(std::FILE* file, std::uint64_t size) noexcept {
  return _chsize_s(_fileno(file), static_cast<long long>(size));
}

int Sync(std::FILE* file) noexcept {
  if (std::fflush(file) != 0) return errno;
  return _commit(_fileno(file)) == 0 || errno == EBADF || errno == EINVAL ? 0 : errno;
}

}  // namespace svc::files
