// What all who read archives have to do with libarchive: a reader, its errors, and what it may
// unpack with. Any thread, each with readers of its own.
#pragma once

#include <archive.h>

#include <memory>
#include <new>
#include <string>

#include "base/error.h"

namespace svc::collect {

struct TFreeArchive {
  void operator()(archive* reader) const { ::archive_read_free(reader); }
};
using TArchive = std::unique_ptr<archive, TFreeArchive>;

// One that knows no format and no compression yet.
inline TArchive NewArchiveReader() {
  TArchive reader(::archive_read_new());
  if (!reader) throw std::bad_alloc();
  return reader;
}

// Why the reader's last operation failed.
inline std::string CauseOf(archive* reader) {
  const char* const cause = ::archive_error_string(reader);
  return cause != nullptr ? cause : "it is broken";
}

// What unpacks within the process where libarchive was built with the library for it.
struct TFilter {
  int code;
  int (*support)(archive*);
};
inline constexpr TFilter kFilters[] = {{ARCHIVE_FILTER_GZIP, ::archive_read_support_filter_gzip},
                                       {ARCHIVE_FILTER_BZIP2, ::archive_read_support_filter_bzip2},
                                       {ARCHIVE_FILTER_XZ, ::archive_read_support_filter_xz},
                                       {ARCHIVE_FILTER_LZMA, ::archive_read_support_filter_lzma},
                                       {ARCHIVE_FILTER_ZSTD, ::archive_read_support_filter_zstd},
                                       {ARCHIVE_FILTER_RPM, ::archive_read_support_filter_rpm}};

// Lets the reader unpack by the filter (ARCHIVE_FILTER_GZIP, ...) if that works within this
// process. For a compression that libarchive has no library for it would start a program of that
// name from PATH, with the rights that this process has; it says so by a warning. Throws
// TError then.
inline void AllowFilter(archive* reader, int filter) {
  for (const TFilter& known : kFilters) {
    if (known.code == filter && known.support(reader) == ARCHIVE_OK) return;
  }
  throw TError(
      "it is compressed in a way that the installed libarchive unpacks by other programs only");
}

}  // namespace svc::collect
