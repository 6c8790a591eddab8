// Setting up the process's host: what TRootObject and TOSSpecific hand to everybody, and what the
// system does for them. Called by the program while no plug-in runs; what is replaced is released.
#pragma once

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>

#include "host/hskcore/cim.h"
#include "host/hskcore/export.h"
#include "host/hskcore/root_object.h"

namespace svc {

// From here on everybody logs to this logger; an empty handle brings back the one that drops
// everything, which is there from the start.
HSKCORE_API void InstallLogger(const boost::shared_ptr<NQRXHSK20::ILogger>& logger);

// Empty from the start. An empty handle releases the manager, and with it its plug-ins.
HSKCORE_API void InstallPluginManager(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& manager);

// A manager that knows the provider "inmem". May be used from any thread.
HSKCORE_API boost::shared_ptr<NQRXHSK20::INamespaceProviderManager> MakeNamespaceProviderManager();

// From the start, and after an empty handle, there is such a manager.
HSKCORE_API void InstallNamespaceProviderManager(
    const boost::shared_ptr<NQRXHSK20::INamespaceProviderManager>& manager);

// The folder below which drive letters lie: "C:\a" is <folder>/c/a. An empty text brings back the
// default: $XDG_STATE_HOME/svcheck/drives, or /var/lib/svcheck/drives for root. No effect on
// Windows.
HSKCORE_API void SetDriveRoot(const std::string& folder);
HSKCORE_API std::string DriveRoot();

// Files that are made ready for who sizes, opens and reads them by the paths of the host, and that
// gets others in their place; messages keep the path.
class IFilePreparer {
 public:
  virtual ~IFilePreparer() = default;
  // Somebody is about to ask for the size of a file; `native` is its path on this system.
  virtual void Prepare(const std::string& path, const std::string& native) noexcept = 0;
  // The file of the system's that is sized and opened in place of the one at `path`; empty for that
  // one itself.
  virtual std::string InPlaceOf(const std::string& path) const = 0;
};

// Null for none, as from the start; returns the one before. The caller keeps it. No effect on
// Windows, where plug-ins open files by names of the system's own.
HSKCORE_API IFilePreparer* SetFilePreparer(IFilePreparer* preparer) noexcept;

// A path of a text as programs pass it on: UTF-8, whatever the system's own encoding. Any thread.

// The constructor of a path takes a text of char for one of the C locale, which on Windows turns
// each byte into a character.
inline std::filesystem::path PathOf(const std::string& utf8) {
  return std::u8string(utf8.begin(), utf8.end());
}

// What the operating systems do differently for the host itself: where drive letters lie, files by
// native paths, blocks of memory. May be used from any thread.

// Where drive letters lie when the program says nothing.
std::string DefaultDriveRoot();

// What is opened for a path that the host's own rules lead to `native`.
std::string OpenedFor(const std::string& path, std::string native);
// The same before it is sized, and with it prepared.
void PrepareFile(const std::string& path, const std::string& native);

// Opens a file by a path of the system's own, in UTF-8 and of any length, with a mode of the C
// library; null with errno set when it cannot be opened. The caller closes it.
HSKCORE_API std::FILE* OpenNativeFile(const std::string& path, const char* mode);

// Takes room on the disk for bytes that will be written behind the end of a file, which stays as
// long as it is. False where the system cannot, and where there is none: writing them then finds
// its own, or fails.
bool ReserveRoom(std::FILE* file, std::uint64_t from, std::uint64_t size) noexcept;
// Gives back what there is of such room behind the end.
void ReleaseRoom(std::FILE* file) noexcept;

// Tells by a file's path, as the system knows it, whether it is the same file and was not written
// to; empty when it is no regular file.
HSKCORE_API std::string FileStamp(const std::string& native);

// A file of a few bytes that lies in memory, and that this process and its children alone can open
// while this lives. Any thread.
class HSKCORE_API TMemoryFile {
 public:
  explicit TMemoryFile(std::string_view bytes);
  ~TMemoryFile();
  TMemoryFile(const TMemoryFile&) = delete;
  TMemoryFile& operator=(const TMemoryFile&) = delete;

  // Empty where the system has no such files.
  const std::string& Path() const noexcept { return path; }

 private:
  int file = -1;
  std::string path;
};

// How many bytes may be used from the start of a block of malloc, calloc or realloc, as the
// allocator knows it.
HSKCORE_API std::size_t BlockSize(void* block) noexcept;

}  // namespace svc
