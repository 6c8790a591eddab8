#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#include <windows.h>

#include <algorithm>
#include <filesystem>

#include "runtime/acquire/native_text_windows.h"
#include "runtime/acquire/outcome.h"
#include "runtime/acquire/staged_file.h"

namespace svc::acquire {
namespace {

constexpr std::size_t kWriteLimit = std::size_t{1} << 30;

TFailure CannotWrite(const std::string& path, unsigned long error) {
  const std::string text = path + " cannot be written: " + SystemText(error);
  if (error == ERROR_DISK_FULL || error == ERROR_HANDLE_DISK_FULL)
    return {EOutcome::kDiskFull, text + "; make room there and start again"};
  if (error == ERROR_NOT_SAME_DEVICE)
    return {EOutcome::kFolderUnwritable,
            path +
                " is a volume of its own; a download needs the same one for the folder and its "
                "neighbours: mount the parent folder instead"};
  return {EOutcome::kFolderUnwritable, text};
}

// After a failure in the C runtime, which keeps the system's own code.
TFailure CannotWrite(const std::string& path) { return CannotWrite(path, _doserrno); }

}  // namespace

TStagedFile::TStagedFile(std::string where) : path(std::move(where)) {
  if (_wsopen_s(&descriptor, Widen(path).c_str(),
                _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT, _SH_DENYWR,
                _S_IREAD | _S_IWRITE) != 0)
    throw CannotWrite(path);
}

TStagedFile::~TStagedFile() {
  if (descriptor >= 0) _close(descriptor);
  if (!path.empty()) _wunlink(Widen(path).c_str());
}

void TStagedFile::Write(std::string_view bytes) {
  while (!bytes.empty()) {
    const auto size = static_cast<unsigned>(std::min(bytes.size(), kWriteLimit));
    const int written = _write(descriptor, bytes.data(), size);
    if (written <= 0) throw CannotWrite(path);
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

void TStagedFile::StartOver() {
  if (_chsize_s(descriptor, 0) != 0 || _lseeki64(descriptor, 0, SEEK_SET) != 0)
    throw CannotWrite(path);
}

void TStagedFile::Publish(const std::string& target) {
  if (_commit(descriptor) != 0) throw CannotWrite(path);
  const int closing = descriptor;
  descriptor = -1;
  if (_close(closing) != 0) throw CannotWrite(path);
  if (!MoveFileExW(Widen(path).c_str(), Widen(target).c_str(),
                   MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
    throw CannotWrite(target, GetLastError());
  path.clear();
}

// A rename that was written through is stable, and the system lets nobody sync a folder.
void SyncFolder(const std::string& /*folder*/) {}

void MakeFolders(const std::string& folder) {
  const std::filesystem::path path(Widen(folder));
  std::error_code error;
  std::filesystem::create_directories(path, error);
  if (std::filesystem::is_directory(path)) return;
  throw TFailure(EOutcome::kFolderUnwritable, folder + " cannot be made: " + error.message());
}

TPlainFile::TPlainFile(const std::string& path) : descriptor(-1), isMissing(false) {
  const HANDLE file = CreateFileW(
      Widen(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
      nullptr, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    const DWORD error = GetLastError();
    isMissing = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
    return;
  }
  constexpr DWORD kNotPlain = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
  BY_HANDLE_FILE_INFORMATION info;
  const bool isPlain = GetFileType(file) == FILE_TYPE_DISK &&
                       GetFileInformationByHandle(file, &info) &&
                       (info.dwFileAttributes & kNotPlain) == 0;
  if (isPlain) descriptor = _open_osfhandle(reinterpret_cast<intptr_t>(file), _O_RDONLY);
  if (descriptor < 0) CloseHandle(file);
}

TPlainFile::~TPlainFile() {
  if (descriptor >= 0) _close(descriptor);
}

std::uint64_t TPlainFile::Size() const {
  const auto size = _filelengthi64(descriptor);
  return size < 0 ? 0 : static_cast<std::uint64_t>(size);
}

std::string_view TPlainFile::Read(std::string& buffer) {
  buffer.resize(std::size_t{1} << 16);
  const int size = _read(descriptor, buffer.data(), static_cast<unsigned>(buffer.size()));
  return {buffer.data(), size < 0 ? 0 : static_cast<std::size_t>(size)};
}

}  // namespace svc::acquire
