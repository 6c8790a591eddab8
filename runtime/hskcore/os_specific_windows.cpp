#include <malloc.h>
#include <windows.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <system_error>

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
  WIN32_FILE_ATTRIBUTE_DATA status;
  if (!GetFileAttributesExW(svc::Widen(path).c_str(), GetFileExInfoStandard, &status)) {
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

std::string TOSSpecific::NativePath(const std::string& path) { return path; }

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

// Plug-ins open files by names of the system's own here, and nothing stands in for one.
TMemoryFile::TMemoryFile(std::string_view) {}
TMemoryFile::~TMemoryFile() = default;

std::size_t BlockSize(void* block) noexcept { return _msize(block); }

}  // namespace svc
