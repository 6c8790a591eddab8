// By libarchive, which is given the one format and the few compressions that are wanted.
#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <memory>
#include <new>

#include "base/error.h"
#include "collect/archive_filter.h"
#include "svcheck/importer/sources.h"

namespace svc::offers {

namespace {

constexpr std::size_t kBlock = 1U << 16U;
constexpr std::size_t kMostMetainfo = 16U << 20U;  // Of one archive.

// Metadata becomes 10 to 40 times its compressed size.
constexpr std::size_t kAlways = 16U << 20U;
constexpr std::size_t kRatio = 256;

struct TFreeArchive {
  void operator()(archive* reader) const { ::archive_read_free(reader); }
};
using TArchive = std::unique_ptr<archive, TFreeArchive>;

[[noreturn]] void Fail(const std::string& cause) { throw TError("cannot be unpacked: " + cause); }

void Check(archive* reader, la_ssize_t status) {
  if (status >= ARCHIVE_WARN) return;
  const char* const cause = ::archive_error_string(reader);
  Fail(cause != nullptr ? cause : "it is broken");
}

TArchive NewReader() {
  TArchive reader(::archive_read_new());
  if (!reader) throw std::bad_alloc();
  return reader;
}

// What is left of the entry, which is to be no more than `most`.
std::string ReadEntry(archive* reader, std::size_t most) {
  std::string bytes;
  std::string block(kBlock, '\0');
  while (true) {
    const la_ssize_t count = ::archive_read_data(reader, block.data(), block.size());
    Check(reader, count);
    if (count <= 0) return bytes;
    if (bytes.size() + static_cast<std::size_t>(count) > most) {
      Fail("unpacked it is larger than any that is published");
    }
    bytes.append(block, 0, static_cast<std::size_t>(count));
  }
}

}  // namespace

std::string Unpacked(std::string_view bytes, std::size_t most) {
  const TArchive reader = NewReader();
  for (const int filter : {ARCHIVE_FILTER_GZIP, ARCHIVE_FILTER_XZ, ARCHIVE_FILTER_ZSTD}) {
    collect::AllowFilter(reader.get(), filter);
  }
  Check(reader.get(), ::archive_read_support_format_raw(reader.get()));
  Check(reader.get(), ::archive_read_support_format_empty(reader.get()));
  Check(reader.get(), ::archive_read_open_memory(reader.get(), bytes.data(), bytes.size()));
  archive_entry* entry = nullptr;
  const int found = ::archive_read_next_header(reader.get(), &entry);
  if (found == ARCHIVE_EOF) return {};
  Check(reader.get(), found);
  constexpr int kFileAndOneFilter = 2;
  if (::archive_filter_count(reader.get()) > kFileAndOneFilter) {
    Fail("it is compressed more than once");
  }
  return ReadEntry(reader.get(), std::min(most, kAlways + kRatio * std::min(bytes.size(), most)));
}

void ReadCabinet(const std::filesystem::path& path,
                 const std::function<void(std::string metadata)>& take) {
  const TArchive reader = NewReader();
  Check(reader.get(), ::archive_read_support_format_cab(reader.get()));
  Check(reader.get(), ::archive_read_open_filename(reader.get(), path.string().c_str(), kBlock));
  archive_entry* entry = nullptr;
  std::size_t left = kMostMetainfo;
  while (true) {
    const int found = ::archive_read_next_header(reader.get(), &entry);
    if (found == ARCHIVE_EOF) return;
    Check(reader.get(), found);
    const char* const name = ::archive_entry_pathname(entry);
    if (name == nullptr || !std::string_view(name).ends_with(".metainfo.xml")) continue;
    std::string metadata = ReadEntry(reader.get(), left);
    left -= metadata.size();
    take(std::move(metadata));
  }
}

}  // namespace svc::offers
