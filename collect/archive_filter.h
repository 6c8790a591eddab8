// What libarchive may unpack with. Any thread.
#ifndef COLLECT_ARCHIVE_FILTER_H_
#define COLLECT_ARCHIVE_FILTER_H_

#include <archive.h>

#include "base/error.h"

namespace svc::collect {

// Lets the reader unpack by the filter (ARCHIVE_FILTER_GZIP, ...) if that works within this
// process. For a compression that libarchive has no library for it would start a program of that
// name from PATH, with the rights that this process has; it says so by a warning. Throws
// TError then.
inline void AllowFilter(archive* reader, int filter) {
  if (::archive_read_support_filter_by_code(reader, filter) == ARCHIVE_OK) return;
  throw TError(
      "it is compressed in a way that the installed libarchive unpacks by other programs only");
}

}  // namespace svc::collect

#endif  // COLLECT_ARCHIVE_FILTER_H_
