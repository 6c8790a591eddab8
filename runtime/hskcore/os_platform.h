// What the operating systems do differently for the host itself: where drive letters lie, files by
// native paths, memory by the page. May be used from any thread.
#ifndef RUNTIME_HSKCORE_OS_PLATFORM_H_
#define RUNTIME_HSKCORE_OS_PLATFORM_H_

#include <cstddef>
#include <cstdio>
#include <memory>
#include <span>
#include <string>

#include "host/hskcore/export.h"

namespace svc {

// Where drive letters lie when the program says nothing.
std::string DefaultDriveRoot();

// What the program set to be taken instead of a path; empty for most.
std::string StandInFile(const std::string& path);

// Opens a file by a path of the system's own, in UTF-8 and of any length, with a mode of the C
// library; null with errno set when it cannot be opened. The caller closes it.
HSKCORE_API std::FILE* OpenNativeFile(const std::string& path, const char* mode);

// How many bytes may be used from the start of a block of malloc, calloc or realloc, as the
// allocator knows it.
HSKCORE_API std::size_t BlockSize(void* block) noexcept;

// The whole pages among the bytes; none where the system cannot move pages.
HSKCORE_API std::span<char> WholePages(std::span<char> bytes) noexcept;

struct TUnmap {
  std::size_t size = 0;
  void operator()(char* pages) const noexcept;
};
using TPages = std::unique_ptr<char[], TUnmap>;

// Moves whole pages out of a block that somebody else owns to another address, with what is in
// them. Where they were, zeros are read from then on, and the system brings new pages when it is
// written to: whoever owns the block gives it back as ever. Null where the pages are not the
// process's own.
TPages TakePages(std::span<char> pages) noexcept;

}  // namespace svc

#endif  // RUNTIME_HSKCORE_OS_PLATFORM_H_
