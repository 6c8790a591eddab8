// What the operating systems do differently for the host itself: where drive letters lie, files by
// native paths, blocks of memory. May be used from any thread.
#ifndef RUNTIME_HSKCORE_OS_PLATFORM_H_
#define RUNTIME_HSKCORE_OS_PLATFORM_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "host/hskcore/export.h"

namespace svc {

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

#endif  // RUNTIME_HSKCORE_OS_PLATFORM_H_
