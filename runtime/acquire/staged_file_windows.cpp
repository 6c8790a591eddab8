#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/locking.h>
#include <sys/stat.h>
#include <windows.h>
#include <cerrno>
#include <filesystem>

#include "base/shown_text.h"
#include "runtime/acquire/download_folder.h"
#include "runtime/acquire/settings.h"

namespace svc::acquire {

// A rename that was written through is stable, and the system lets nobody sync a folder.
void SyncFolder(const std::string& /*folder*/) {}

void MakeFolders(const std::string& folder) {
  const std::filesystem::path path(Widen(folder));
  std::error_code error;
  std::filesystem::create_directories(path, error);
  if (std::filesystem::is_directory(path)) return;
  throw DownloadError(EOutcome::kFolderUnwritable, folder + " cannot be made: " + error.message());
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

int OpenLockFile(const std::string& path) {
  int descriptor = -1;
  if (_wsopen_s(&descriptor, Widen(path).c_str(), _O_RDWR | _O_CREAT | _O_BINARY | _O_NOINHERIT,
                _SH_DENYNO, _S_IREAD | _S_IWRITE) != 0)
    throw DownloadError(EOutcome::kFolderUnwritable,
                        path + " cannot be opened: " + SystemText(_doserrno));
  return descriptor;
}

// One byte stands for the whole file, which may be empty.
bool TryLock(int descriptor, const std::string& path) {
  if (_locking(descriptor, _LK_NBLCK, 1) == 0) return true;
  if (errno == EACCES || errno == EDEADLK) return false;
  throw DownloadError(EOutcome::kFolderUnwritable,
                      path + " cannot be locked: " + SystemText(_doserrno));
}

void CloseLockFile(int descriptor) noexcept { _close(descriptor); }

static std::string FolderVariable(const wchar_t* name) {
  const wchar_t* value = _wgetenv(name);
  return value != nullptr ? Narrow(value) : "";
}

// The user's own programs' data of this machine; services without a profile share the machine's.
std::string DefaultStateFolder() {
  if (const std::string own = FolderVariable(L"LOCALAPPDATA"); !own.empty())
    return own + "\\svcheck";
  return FolderVariable(L"ProgramData") + "\\svcheck";
}

}  // namespace svc::acquire
