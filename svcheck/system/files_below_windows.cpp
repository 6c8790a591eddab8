#include <windows.h>

#include <memory>
#include <string_view>
#include <system_error>

#include "svcheck/system/files_below.h"

namespace fs = std::filesystem;

namespace svc::fleet {

namespace {

struct TEndSearch {
  using pointer = HANDLE;
  void operator()(HANDLE search) const { FindClose(search); }
};

void AddFilesBelow(const fs::path& folder, std::vector<fs::path>& files);

void AddEntry(const fs::path& folder, const WIN32_FIND_DATAW& found, std::vector<fs::path>& files) {
  const std::wstring_view name = found.cFileName;
  if (name == L"." || name == L"..") return;
  if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    files.push_back(folder / name);
  } else if ((found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
    AddFilesBelow(folder / name, files);
  }
}

// The compiler's iterator takes a folder whose path has more than 260 characters for an empty one.
void AddFilesBelow(const fs::path& folder, std::vector<fs::path>& files) {
  WIN32_FIND_DATAW found;
  const std::unique_ptr<HANDLE, TEndSearch> search(FindFirstFileW((folder / "*").c_str(), &found));
  if (search.get() == INVALID_HANDLE_VALUE)
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category());
  do {
    AddEntry(folder, found, files);
  } while (FindNextFileW(search.get(), &found));
}

}  // namespace

std::vector<fs::path> FilesBelow(const fs::path& folder) {
  std::vector<fs::path> files;
  AddFilesBelow(folder, files);
  return files;
}

}  // namespace svc::fleet
