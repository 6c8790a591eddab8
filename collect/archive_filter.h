// What libarchive may unpack with. Any thread.
#ifndef COLLECT_ARCHIVE_FILTER_H_
#define COLLECT_ARCHIVE_FILTER_H_

#include <archive.h>

#include "base/error.h"

namespace svc::collect {

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

#endif  // COLLECT_ARCHIVE_FILTER_H_
