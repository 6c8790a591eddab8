// The module that unpacks: a compressed file as its contents.
#include <archive.h>
#include <archive_entry.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "collect/archive_reader.h"
#include "svcheck/fleet/byte_source.h"

namespace svc::fleet {

namespace {

struct TFreeArchive {
  void operator()(archive* read) const { archive_read_free(read); }
};

class TUnpacked : public IByteSource {
 public:
  TUnpacked(TFile given, const std::string& path)
      : path(path), file(std::move(given)), read(archive_read_new()) {
    if (!read) throw std::bad_alloc();
    collect::AllowFilter(read.get(), ARCHIVE_FILTER_GZIP);
    collect::AllowFilter(read.get(), ARCHIVE_FILTER_ZSTD);
    Check(archive_read_support_format_raw(read.get()));
    Check(archive_read_support_format_empty(read.get()));
    Check(archive_read_open_FILE(read.get(), file.get()));
    archive_entry* entry = nullptr;
    const int found = archive_read_next_header(read.get(), &entry);
    isEmpty = found == ARCHIVE_EOF;
    if (!isEmpty) Check(found);
    // The file itself counts as one. What is compressed over and over has no size that it ends at.
    if (archive_filter_count(read.get()) > 2) Fail("it is compressed more than once");
  }

  std::size_t Read(char* block, std::size_t size) override {
    if (isEmpty) return 0;
    const la_ssize_t count = archive_read_data(read.get(), block, size);
    if (count < 0) Check(static_cast<int>(count));
    return static_cast<std::size_t>(count);
  }

 private:
  void Check(int status) const {
    if (status >= ARCHIVE_WARN) return;
    const char* const cause = archive_error_string(read.get());
    Fail(cause ? cause : "broken");
  }
  [[noreturn]] void Fail(const std::string& cause) const {
    throw std::runtime_error(path + ": cannot be unpacked: " + cause);
  }

  std::string path;
  TFile file;
  std::unique_ptr<archive, TFreeArchive> read;
  bool isEmpty = false;
};

}  // namespace

}  // namespace svc::fleet

extern "C" __attribute__((visibility("default"))) svc::fleet::IByteSource* SvcOpenCompressed(
    svc::fleet::TFile file, const std::string& path) {
  return new svc::fleet::TUnpacked(std::move(file), path);
}
