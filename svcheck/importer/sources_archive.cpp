// By libarchive, which is given the one format and the few compressions that are wanted.
#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "base/error.h"
#include "base/files.h"
#include "collect/archive_reader.h"
#include "runtime/acquire/crypto.h"
#include "svcheck/importer/appstream.h"

namespace svc::offers {

namespace {

constexpr std::size_t kBlock = 1U << 16U;
constexpr std::size_t kMostMetainfo = 16U << 20U;  // Of one archive.

// Metadata becomes 10 to 40 times its compressed size.
constexpr std::size_t kAlways = 16U << 20U;
constexpr std::size_t kRatio = 256;

using collect::TArchive;

TError Unreadable(const std::string& cause) { return TError("cannot be unpacked: " + cause); }

void Check(archive* reader, la_ssize_t status) {
  if (status < ARCHIVE_WARN) throw Unreadable(collect::CauseOf(reader));
}

// Hands over what is left of the entry, which is to be no more than `most`; returns how much it
// was.
template <typename TUse>
std::size_t ReadBlocks(archive* reader, std::size_t most, const TUse& use) {
  std::size_t size = 0;
  std::string block(kBlock, '\0');
  while (true) {
    const la_ssize_t count = ::archive_read_data(reader, block.data(), block.size());
    Check(reader, count);
    if (count <= 0) return size;
    size += static_cast<std::size_t>(count);
    if (size > most) throw Unreadable("unpacked it is larger than any that is published");
    use(std::string_view(block).substr(0, static_cast<std::size_t>(count)));
  }
}

std::string ReadEntry(archive* reader, std::size_t most) {
  std::string bytes;
  ReadBlocks(reader, most, [&bytes](std::string_view block) { bytes += block; });
  return bytes;
}

struct TCloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using TFile = std::unique_ptr<std::FILE, TCloseFile>;

std::size_t SizeOf(std::FILE* file) {
  const bool isAtEnd = std::fseek(file, 0, SEEK_END) == 0;
  const long size = isAtEnd ? std::ftell(file) : -1;
  if (size < 0) throw Unreadable("it cannot be read from its end");
  std::rewind(file);
  return static_cast<std::size_t>(size);
}

// Counts what the archive's entries become. What is not wanted is unpacked, too, on the way to the
// next entry.
class TUnpackedSize {
 public:
  explicit TUnpackedSize(std::size_t packed)
      : left(std::min(kMostUnpacked, kAlways + kRatio * std::min(packed, kMostUnpacked))) {}

  void Add(std::int64_t size) {
    if (size < 0 || static_cast<std::uint64_t>(size) > left) {
      throw Unreadable("unpacked it is larger than any that is published");
    }
    left -= static_cast<std::size_t>(size);
  }

 private:
  std::size_t left;
};

// Calls `use` with each entry's name. What took the archive's place since it was found, such as a
// pipe, is refused.
template <typename TUse>
void ForEachEntry(const std::filesystem::path& path, const TUse& use) {
  const TFile file(files::OpenToRead(path.string(), files::EPipes::kNone));
  TUnpackedSize size(SizeOf(file.get()));
  const TArchive reader = collect::NewArchiveReader();
  Check(reader.get(), ::archive_read_support_format_cab(reader.get()));
  Check(reader.get(), ::archive_read_open_FILE(reader.get(), file.get()));
  archive_entry* entry = nullptr;
  while (true) {
    const int found = ::archive_read_next_header(reader.get(), &entry);
    if (found == ARCHIVE_EOF) return;
    Check(reader.get(), found);
    size.Add(::archive_entry_size(entry));
    const char* const name = ::archive_entry_pathname(entry);
    if (name != nullptr) use(reader.get(), std::string_view(name));
  }
}

std::string_view LastPart(std::string_view path) {
  return path.substr(path.find_last_of("/\\") + 1);
}

struct THashKind {
  std::string_view name;
  acquire::EHash hash;
};
constexpr std::array kHashKinds = {THashKind{"sha1", acquire::EHash::kSha1},
                                   THashKind{"sha256", acquire::EHash::kSha256},
                                   THashKind{"sha512", acquire::EHash::kSha512}};

// The kinds that are asked for of each file.
class TAsked {
 public:
  explicit TAsked(const std::vector<TContentHash>& asked) {
    for (const TContentHash& one : asked) known.emplace(one.file, one.kind);
  }
  std::vector<THashKind> KindsFor(std::string_view file) const {
    std::vector<THashKind> kinds;
    for (const THashKind& kind : kHashKinds) {
      if (known.contains({file, kind.name})) kinds.push_back(kind);
    }
    return kinds;
  }

 private:
  std::set<std::pair<std::string_view, std::string_view>> known;
};

}  // namespace

std::string Unpacked(std::string_view bytes, std::size_t most) {
  const TArchive reader = collect::NewArchiveReader();
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
    throw Unreadable("it is compressed more than once");
  }
  return ReadEntry(reader.get(), std::min(most, kAlways + kRatio * std::min(bytes.size(), most)));
}

void ReadCabinet(const std::filesystem::path& path,
                 const std::function<void(std::string metadata)>& take) {
  std::size_t left = kMostMetainfo;
  ForEachEntry(path, [&](archive* reader, std::string_view name) {
    if (!name.ends_with(".metainfo.xml")) return;
    std::string metadata = ReadEntry(reader, left);
    left -= metadata.size();
    take(std::move(metadata));
  });
}

std::set<TContentHash> HashesIn(const std::filesystem::path& path,
                                const std::vector<TContentHash>& asked) {
  const TAsked known(asked);
  std::map<std::string, std::vector<TContentHash>> byFile;  // Nothing of one that is there twice.
  std::size_t left = kMostUnpacked;
  ForEachEntry(path, [&](archive* reader, std::string_view name) {
    const std::string file(LastPart(name));
    const std::vector<THashKind> kinds = known.KindsFor(file);
    if (kinds.empty()) return;
    const auto [place, isNew] = byFile.try_emplace(file);
    if (!isNew) return place->second.clear();
    std::vector<acquire::THasher> hashers;
    for (const THashKind& kind : kinds) hashers.emplace_back(kind.hash);
    left -= ReadBlocks(reader, left, [&hashers](std::string_view block) {
      for (acquire::THasher& hasher : hashers) hasher.Update(block);
    });
    for (std::size_t i = 0; i < kinds.size(); ++i) {
      place->second.push_back(
          {std::string(kinds[i].name), acquire::ToHex(hashers[i].Digest()), file});
    }
  });
  std::set<TContentHash> found;
  for (auto& [file, hashes] : byFile) {
    for (TContentHash& hash : hashes) found.insert(std::move(hash));
  }
  return found;
}

}  // namespace svc::offers
