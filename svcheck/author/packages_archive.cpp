// Packages by libarchive. A .deb is an archive that holds the files as an archive (deb(5)); an .rpm
// is a compressed archive behind a header. Each layer is unpacked by a reader of its own, which
// knows the formats and the compressions of that layer and no others.
#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <string>
#include <system_error>

#include "base/error.h"
#include "collect/archive_reader.h"
#include "collect/linux/kernel_module.h"
#include "report/text.h"
#include "svcheck/author/update.h"

namespace svc::catalogue {

namespace {

constexpr la_int64_t kMaxMember = 256 << 20;
constexpr std::size_t kBlock = 1 << 16;
constexpr const char* kOutOfProportion = "unpacked it is out of proportion to its size";

// Those that package managers know; each works within libarchive.
constexpr std::array kCompressions = {ARCHIVE_FILTER_GZIP, ARCHIVE_FILTER_BZIP2, ARCHIVE_FILTER_XZ,
                                      ARCHIVE_FILTER_LZMA, ARCHIVE_FILTER_ZSTD};

using collect::TArchive;

[[noreturn]] void FailBecause(const std::string& cause) {
  throw TError("the package cannot be read: " + cause);
}

[[noreturn]] void FailAs(archive* reader) { FailBecause(collect::CauseOf(reader)); }

TArchive NewReader(int (*addFormat)(archive*)) {
  TArchive reader = collect::NewArchiveReader();
  if (addFormat(reader.get()) != ARCHIVE_OK) FailAs(reader.get());
  return reader;
}

// A reader of one stream, which may be compressed.
TArchive NewUnpacker() {
  TArchive reader = NewReader(::archive_read_support_format_raw);
  for (const int compression : kCompressions) collect::AllowFilter(reader.get(), compression);
  return reader;
}

// False at the archive's end.
bool NextEntry(archive* reader, archive_entry*& entry) {
  const int status = ::archive_read_next_header(reader, &entry);
  if (status == ARCHIVE_EOF) return false;
  if (status < ARCHIVE_WARN) FailAs(reader);
  return true;
}

// Goes to the stream that an unpacker's bytes are. Under its compression there is none more: that
// is how a few bytes become very many. `below` are the filters under it.
void BeginStream(archive* unpacker, int below) {
  constexpr int kNone = 1;  // The file itself counts.
  constexpr int kCompression = 1;
  archive_entry* entry = nullptr;
  if (!NextEntry(unpacker, entry)) FailBecause("it ends too early");
  if (::archive_filter_count(unpacker) > kNone + below + kCompression) {
    FailBecause("it is compressed more than once");
  }
}

std::string NameOf(archive_entry* entry) {
  const char* const name = ::archive_entry_pathname(entry);
  return name == nullptr ? std::string() : name;
}

// The number of bytes in a block that an archive is read in.
la_ssize_t ReadBlock(archive* reader, char* to, std::size_t size) {
  const la_ssize_t count = ::archive_read_data(reader, to, size);
  if (count < 0) FailAs(reader);
  return count;
}

// Of `left` bytes at most.
std::string ReadMember(archive* reader, archive_entry* entry, std::uint64_t left) {
  std::string bytes;
  if (::archive_entry_size(entry) > kMaxMember) throw TError("a driver is too large");
  std::string block(kBlock, '\0');
  while (const la_ssize_t count = ReadBlock(reader, block.data(), block.size())) {
    if (static_cast<la_int64_t>(bytes.size()) + count > kMaxMember) {
      throw TError("a driver is too large");
    }
    if (bytes.size() + static_cast<std::uint64_t>(count) > left) FailBecause(kOutOfProportion);
    bytes.append(block, 0, static_cast<std::size_t>(count));
  }
  return bytes;
}

// Feeds a reader with the bytes of another one's member, up to a limit: whoever reads passes over
// what it does not want, but has it unpacked all the same.
class TInner {
 public:
  TInner(archive* outer, std::uint64_t limit) : outer(outer), left(limit) {}

  void Open(archive* inner) {
    if (::archive_read_open(inner, this, nullptr, Read, nullptr) != ARCHIVE_OK) FailAs(inner);
  }
  // Why there were no more bytes; null when all is well. Whoever was fed says only that it is cut.
  const char* Failure() const { return failure; }

 private:
  static la_ssize_t Read(archive* inner, void* data, const void** bytes) {
    auto& self = *static_cast<TInner*>(data);
    *bytes = self.block.data();
    const la_ssize_t count = ::archive_read_data(self.outer, self.block.data(), self.block.size());
    if (count < 0) return self.FailRead(inner, ::archive_error_string(self.outer));
    if (static_cast<std::uint64_t>(count) > self.left) {
      return self.FailRead(inner, kOutOfProportion);
    }
    self.left -= static_cast<std::uint64_t>(count);
    return count;
  }

  la_ssize_t FailRead(archive* inner, const char* cause) {
    failure = cause != nullptr ? cause : "it is broken";
    ::archive_set_error(inner, EINVAL, "%s", failure);
    return ARCHIVE_FATAL;
  }

  archive* outer;
  std::uint64_t left;
  const char* failure = nullptr;
  std::string block = std::string(kBlock, '\0');
};

void TakeEntries(archive* reader, const std::function<bool(const std::string&)>& isWanted,
                 const TTakeMember& take, std::uint64_t left = kMostUnpacked) {
  archive_entry* entry = nullptr;
  while (NextEntry(reader, entry)) {
    const std::string name = NameOf(entry);
    if (::archive_entry_filetype(entry) != AE_IFREG || !isWanted(name)) continue;
    // A second name of a file that was read before has no bytes of its own.
    if (::archive_entry_hardlink(entry) != nullptr) continue;
    const std::string bytes = ReadMember(reader, entry, left);
    left -= bytes.size();
    take(name, bytes);
  }
}

// The files in an archive of that format whose bytes come from another reader.
void TakeMembers(TInner& source, int (*addFormat)(archive*),
                 const std::function<bool(const std::string&)>& isWanted, const TTakeMember& take) {
  const TArchive files = NewReader(addFormat);
  try {
    source.Open(files.get());
    TakeEntries(files.get(), isWanted, take);
  } catch (const TError&) {
    if (source.Failure() == nullptr) throw;
    FailBecause(source.Failure());
  }
}

void OpenFile(archive* reader, const std::filesystem::path& path) {
  if (::archive_read_open_filename(reader, path.string().c_str(), kBlock) != ARCHIVE_OK) {
    FailAs(reader);
  }
}

// How much may be unpacked of a package in all.
std::uint64_t LimitOf(const std::filesystem::path& path) {
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  if (error) FailBecause(error.message());
  return UnpackedLimit(size);
}

void ReadRpm(const std::filesystem::path& path,
             const std::function<bool(const std::string& name)>& isWanted,
             const TTakeMember& take) {
  const TArchive package = NewUnpacker();
  collect::AllowFilter(package.get(), ARCHIVE_FILTER_RPM);
  OpenFile(package.get(), path);
  BeginStream(package.get(), 1);
  TInner payload(package.get(), LimitOf(path));
  TakeMembers(payload, ::archive_read_support_format_cpio, isWanted, take);
}

void ReadDeb(const std::filesystem::path& path,
             const std::function<bool(const std::string& name)>& isWanted,
             const TTakeMember& take) {
  const TArchive package = NewReader(::archive_read_support_format_ar);
  OpenFile(package.get(), path);
  archive_entry* entry = nullptr;
  while (NextEntry(package.get(), entry)) {
    if (!NameOf(entry).starts_with("data.tar")) continue;
    const std::uint64_t limit = LimitOf(path);
    TInner compressed(package.get(), limit);
    const TArchive unpacker = NewUnpacker();
    compressed.Open(unpacker.get());
    BeginStream(unpacker.get(), 0);
    TInner plain(unpacker.get(), limit);
    return TakeMembers(plain, ::archive_read_support_format_tar, isWanted, take);
  }
  FailBecause("it holds no files");
}

// An archive in which each file is compressed by itself, if at all.
void ReadArchive(const std::filesystem::path& path, int (*addFormat)(archive*),
                 const std::function<bool(const std::string& name)>& isWanted,
                 const TTakeMember& take) {
  const TArchive files = NewReader(addFormat);
  OpenFile(files.get(), path);
  TakeEntries(files.get(), isWanted, take, LimitOf(path));
}

}  // namespace

void ReadPackage(const std::filesystem::path& path,
                 const std::function<bool(const std::string& name)>& isWanted,
                 const TTakeMember& take) {
  std::string kind = path.extension().string();
  for (char& c : kind) c = report::ToLower(c);
  if (kind == ".rpm") return ReadRpm(path, isWanted, take);
  if (kind == ".deb") return ReadDeb(path, isWanted, take);
  const auto format = kind == ".zip"   ? ::archive_read_support_format_zip
                      : kind == ".cab" ? ::archive_read_support_format_cab
                                       : ::archive_read_support_format_iso9660;
  ReadArchive(path, format, isWanted, take);
}

TStatement StatementOfModule(std::string_view bytes) {
  static const collect::TModuleReader reader;
  const auto [version, source] = reader.StatementIn(collect::FileInMemory(bytes));
  return {version, source};
}

}  // namespace svc::catalogue
