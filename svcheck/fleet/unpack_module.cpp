// The module that unpacks: a compressed file as its contents.
#include <archive.h>
#include <archive_entry.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "svcheck/fleet/byte_source.h"

namespace svc::fleet {

namespace {

constexpr std::size_t kBlock = std::size_t{1} << 16;

struct TFreeArchive {
  void operator()(archive* read) const { archive_read_free(read); }
};

class TUnpacked : public IByteSource {
 public:
  explicit TUnpacked(const std::string& path) : path(path), read(archive_read_new()) {
    if (!read) throw std::bad_alloc();
    archive_read_support_filter_gzip(read.get());
    archive_read_support_filter_zstd(read.get());
    archive_read_support_format_raw(read.get());
    archive_read_support_format_empty(read.get());
    Check(archive_read_open_filename(read.get(), path.c_str(), kBlock));
    archive_entry* entry = nullptr;
    const int found = archive_read_next_header(read.get(), &entry);
    isEmpty = found == ARCHIVE_EOF;
    if (!isEmpty) Check(found);
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
    throw std::runtime_error(path + ": cannot be unpacked: " + (cause ? cause : "broken"));
  }

  std::string path;
  std::unique_ptr<archive, TFreeArchive> read;
  bool isEmpty = false;
};

}  // namespace

}  // namespace svc::fleet

extern "C" __attribute__((visibility("default"))) svc::fleet::IByteSource* SvcOpenCompressed(
    const std::string& path) {
  return new svc::fleet::TUnpacked(path);
}
