// Packages by libarchive. A .deb is an archive that holds the files as an archive (deb(5)); an .rpm
// is a compressed archive behind a header.
#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>

#include "svcheck/catalogue/driver_source.h"

namespace svc::catalogue {

namespace {

constexpr la_int64_t kMaxMember = 256 << 20;
constexpr std::size_t kBlock = 1 << 16;

struct TFreeArchive {
  void operator()(archive* reader) const { ::archive_read_free(reader); }
};
using TArchive = std::unique_ptr<archive, TFreeArchive>;

[[noreturn]] void Fail(archive* reader) {
  const char* const cause = ::archive_error_string(reader);
  throw std::runtime_error(std::string("the package cannot be read: ") +
                           (cause != nullptr ? cause : "it is broken"));
}

TArchive NewReader(int (*addFormat)(archive*)) {
  TArchive reader(::archive_read_new());
  if (!reader) throw std::bad_alloc();
  ::archive_read_support_filter_all(reader.get());
  addFormat(reader.get());
  return reader;
}

// False at the archive's end.
bool NextEntry(archive* reader, archive_entry*& entry) {
  const int status = ::archive_read_next_header(reader, &entry);
  if (status == ARCHIVE_EOF) return false;
  if (status < ARCHIVE_WARN) Fail(reader);
  return true;
}

std::string NameOf(archive_entry* entry) {
  const char* const name = ::archive_entry_pathname(entry);
  return name == nullptr ? std::string() : name;
}

// The number of bytes in a block that an archive is read in.
la_ssize_t ReadBlock(archive* reader, char* to, std::size_t size) {
  const la_ssize_t count = ::archive_read_data(reader, to, size);
  if (count < 0) Fail(reader);
  return count;
}

std::string ReadMember(archive* reader, archive_entry* entry) {
  std::string bytes;
  if (::archive_entry_size(entry) > kMaxMember) throw std::runtime_error("a driver is too large");
  bytes.reserve(static_cast<std::size_t>(std::max<la_int64_t>(::archive_entry_size(entry), 0)));
  std::string block(kBlock, '\0');
  while (const la_ssize_t count = ReadBlock(reader, block.data(), block.size())) {
    if (static_cast<la_int64_t>(bytes.size()) + count > kMaxMember) {
      throw std::runtime_error("a driver is too large");
    }
    bytes.append(block, 0, static_cast<std::size_t>(count));
  }
  return bytes;
}

void TakeMembers(archive* reader, const std::function<bool(const std::string&)>& isWanted,
                 const TTakeMember& take) {
  archive_entry* entry = nullptr;
  while (NextEntry(reader, entry)) {
    const std::string name = NameOf(entry);
    if (::archive_entry_filetype(entry) != AE_IFREG || !isWanted(name)) continue;
    // A second name of a file that was read before has no bytes of its own.
    if (::archive_entry_hardlink(entry) != nullptr) continue;
    take(name, ReadMember(reader, entry));
  }
}

// Feeds an archive with the bytes of another one's member.
struct TInner {
  archive* outer;
  std::string block = std::string(kBlock, '\0');

  static la_ssize_t Read(archive* inner, void* data, const void** bytes) {
    auto& self = *static_cast<TInner*>(data);
    *bytes = self.block.data();
    const la_ssize_t count = ::archive_read_data(self.outer, self.block.data(), self.block.size());
    if (count < 0) ::archive_copy_error(inner, self.outer);
    return count;
  }
};

void Open(archive* reader, const std::filesystem::path& path) {
  if (::archive_read_open_filename(reader, path.string().c_str(), kBlock) != ARCHIVE_OK) {
    Fail(reader);
  }
}

}  // namespace

void ReadPackage(const std::filesystem::path& path,
                 const std::function<bool(const std::string& name)>& isWanted,
                 const TTakeMember& take) {
  if (path.extension() == ".rpm") {
    const TArchive package = NewReader(::archive_read_support_format_cpio);
    Open(package.get(), path);
    return TakeMembers(package.get(), isWanted, take);
  }
  const TArchive package = NewReader(::archive_read_support_format_ar);
  Open(package.get(), path);
  archive_entry* entry = nullptr;
  while (NextEntry(package.get(), entry)) {
    if (!NameOf(entry).starts_with("data.tar")) continue;
    TInner inner{package.get()};
    const TArchive files = NewReader(::archive_read_support_format_tar);
    if (::archive_read_open(files.get(), &inner, nullptr, TInner::Read, nullptr) != ARCHIVE_OK) {
      Fail(files.get());
    }
    return TakeMembers(files.get(), isWanted, take);
  }
  throw std::runtime_error("the package holds no files");
}

}  // namespace svc::catalogue
