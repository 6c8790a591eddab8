#include <io.h>
#include <windows.h>
#include <system_error>

#include "rules/system_codes.h"
#include "runtime/hskcore/host_setup.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/paths.h"

namespace fs = std::filesystem;
namespace svc {

static fs::path UserFolder(const wchar_t* variable) {
  const wchar_t* own = _wgetenv(variable);
  const wchar_t* machine = _wgetenv(L"ProgramData");
  if (own == nullptr || own[0] == L'\0') own = machine != nullptr ? machine : L"C:\\ProgramData";
  return fs::path(own) / "svcheck";
}

fs::path ProgramFolder() {
  std::wstring program(32768, L'\0');
  program.resize(GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size())));
  return fs::path(program).parent_path();
}

fs::path DefaultDataFolder() { return ProgramFolder().parent_path() / "share" / "svcheck"; }

fs::path DefaultPlugin() { return ProgramFolder() / "svchecker.dll"; }

fs::path PublicFirmwarePlugin() { return DefaultPlugin().replace_filename("publicfirmware.dll"); }

fs::path Absolute(const std::string& path) {
  if (path.empty()) throw TError("a path is empty; name a file or a folder", EErrorKind::kUsage);
  return fs::absolute(PathOf(path)).lexically_normal();
}

// What belongs to this machine, and what follows the user to others.
fs::path StateFolder() { return UserFolder(L"LOCALAPPDATA"); }
fs::path ConfigFolder() { return UserFolder(L"APPDATA"); }
fs::path DownloadFolder() { return rules::kDownloadFolder; }
fs::path SystemConfigFolder() { return UserFolder(L"ProgramData"); }

// The folders of the system's configuration and of the user's have rights that keep others out.
bool OthersMayWrite(std::FILE* /*file*/) { return false; }

bool MayWriteTo(const fs::path& folder) {
  constexpr int kWrite = 2;
  return _waccess(folder.c_str(), kWrite) == 0;
}

}  // namespace svc

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
