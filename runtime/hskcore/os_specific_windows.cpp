#include <fcntl.h>
#include <io.h>
#include <malloc.h>
#include <share.h>
#include <sys/stat.h>
#include <windows.h>

#include <algorithm>
#include <memory>
#include <random>
#include <sstream>
#include <system_error>
#include <utility>

#include "base/shown_text.h"
#include "host/hskcore/exception.h"
#include "host/hskcore/os_specific.h"
#include "runtime/hskcore/host_setup.h"

namespace NQRXHSK20 {

namespace {

[[noreturn]] void ThrowUnreadable(const std::string& path, DWORD error) {
  throw THSKException(
      "\"" + path + "\": " + std::system_category().message(static_cast<int>(error)),
      THSKStatusCode::kFileUnreadable);
}

bool IsMissing(DWORD error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

struct TCloseSearch {
  using pointer = HANDLE;
  void operator()(HANDLE search) const { FindClose(search); }
};

}  // namespace

const char* const TOSSpecific::kFileSeparator = "\\";

std::string TOSSpecific::GetCurrentDir() {
  std::wstring folder(GetCurrentDirectoryW(0, nullptr), L'\0');
  folder.resize(GetCurrentDirectoryW(static_cast<DWORD>(folder.size()), folder.data()));
  if (folder.ends_with(L'\\')) {
    folder.pop_back();
  }
  return svc::Narrow(folder);
}

std::uint64_t TOSSpecific::GetFileSize(const std::string& path) {
  svc::PrepareFile(path, path);
  WIN32_FILE_ATTRIBUTE_DATA status;
  if (!GetFileAttributesExW(svc::Widen(NativePath(path)).c_str(), GetFileExInfoStandard, &status)) {
    const DWORD error = GetLastError();
    if (IsMissing(error)) {
      throw THSKException("\"" + path + "\" does not exist", THSKStatusCode::kFileNotFound);
    }
    ThrowUnreadable(path, error);
  }
  if (status.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
    throw THSKException("\"" + path + "\": is a folder", THSKStatusCode::kFileUnreadable);
  }
  return (static_cast<std::uint64_t>(status.nFileSizeHigh) << 32) | status.nFileSizeLow;
}

std::vector<std::string> TOSSpecific::ListDir(const std::string& path) {
  WIN32_FIND_DATAW found;
  const HANDLE first = FindFirstFileW((svc::Widen(path) + L"\\*").c_str(), &found);
  if (first == INVALID_HANDLE_VALUE) {
    const DWORD error = GetLastError();
    if (IsMissing(error)) {
      return {};
    }
    ThrowUnreadable(path, error);
  }
  const std::unique_ptr<HANDLE, TCloseSearch> search(first);
  std::vector<std::string> names;
  do {
    const std::string name = svc::Narrow(found.cFileName);
    if (name != "." && name != "..") {
      names.push_back(name);
    }
  } while (FindNextFileW(search.get(), &found));
  if (GetLastError() != ERROR_NO_MORE_FILES) {
    ThrowUnreadable(path, GetLastError());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string TOSSpecific::NativePath(const std::string& path) { return svc::OpenedFor(path, path); }

}  // namespace NQRXHSK20

namespace svc {

std::string DefaultDriveRoot() { return ""; }

std::FILE* OpenNativeFile(const std::string& path, const char* mode) {
  return _wfopen(Widen(path).c_str(), Widen(mode).c_str());
}

// The system takes room for larger pieces itself.
bool ReserveRoom(std::FILE*, std::uint64_t, std::uint64_t) noexcept { return false; }
void ReleaseRoom(std::FILE*) noexcept {}

std::string FileStamp(const std::string& native) {
  WIN32_FILE_ATTRIBUTE_DATA status;
  constexpr DWORD kNotRegular = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE;
  if (!GetFileAttributesExW(Widen(native).c_str(), GetFileExInfoStandard, &status) ||
      (status.dwFileAttributes & kNotRegular) != 0)
    return {};
  std::ostringstream stamp;
  stamp << status.nFileSizeHigh << ' ' << status.nFileSizeLow << ' '
        << status.ftLastWriteTime.dwHighDateTime << ' ' << status.ftLastWriteTime.dwLowDateTime
        << ' ' << status.ftCreationTime.dwHighDateTime << ' '
        << status.ftCreationTime.dwLowDateTime;
  return stamp.str();
}

// The system has no files without a name, and the C library opens none that goes with its last
// handle. So it is one of the user's temporary folder, which the system writes to no disk if it can
// help it, and which nobody else can write to or take away while it is open here. A process that is
// killed leaves it.
TMemoryFile::TMemoryFile(std::string_view bytes) {
  std::wstring name(MAX_PATH + 1, L'\0');
  name.resize(GetTempPathW(static_cast<DWORD>(name.size()), name.data()));
  if (name.empty() || name.size() > MAX_PATH) return;
  std::random_device device;
  name += L"svcheck-";
  for (int word = 0; word < 4; ++word) name += std::to_wstring(device());
  constexpr int kNew = _O_CREAT | _O_EXCL | _O_WRONLY | _O_BINARY | _O_SHORT_LIVED | _O_NOINHERIT;
  if (_wsopen_s(&file, name.c_str(), kNew, _SH_DENYWR, _S_IREAD | _S_IWRITE) != 0) return;
  const auto size = static_cast<unsigned>(bytes.size());
  if (_write(file, bytes.data(), size) == static_cast<int>(size)) {
    path = Narrow(name);
    return;
  }
  _close(std::exchange(file, -1));
  _wremove(name.c_str());
}

TMemoryFile::~TMemoryFile() {
  if (file == -1) return;
  _close(file);
  _wremove(Widen(path).c_str());
}

std::size_t BlockSize(void* block) noexcept { return _msize(block); }

}  // namespace svc
