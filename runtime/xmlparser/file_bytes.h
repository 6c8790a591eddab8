// A file as bytes in memory. May be used from any thread.
#ifndef RUNTIME_XMLPARSER_FILE_BYTES_H_
#define RUNTIME_XMLPARSER_FILE_BYTES_H_

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "host/hskcore/export.h"

namespace svc::xml {

struct TFileBytes {
  struct TFree {
    void operator()(char* bytes) const { std::free(bytes); }
  };
  std::unique_ptr<char[], TFree> bytes;
  std::size_t size = 0;
};

struct TCloseFile {
  void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};
using TFile = std::unique_ptr<std::FILE, TCloseFile>;

// Opens a regular file of the system's, to be read in blocks of the caller's. Throws TError.
TFile OpenForBlocks(const std::string& native);

// Reads a regular file to its end, and stops behind the largest document that is taken.
// Throws THSKException: kFileNotFound, kFileUnreadable, kNoBuffer.
TFileBytes ReadWholeFile(const std::string& path);
// The same, also for a pipe, for whose end it waits where waiting is allowed.
TFileBytes ReadFileOrPipe(const std::string& path);
// Whether it is, from the start: not for who loads what others put somewhere, one file after the
// other, and has to come to the last one.
XMLPARSER_API void AllowWaiting(bool isAllowed) noexcept;
// The same for a path of the system's.
TFileBytes ReadNativeFile(const std::string& path);

}  // namespace svc::xml

#endif  // RUNTIME_XMLPARSER_FILE_BYTES_H_
