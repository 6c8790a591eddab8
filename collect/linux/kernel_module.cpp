#include "collect/linux/kernel_module.h"

#include <archive.h>
#include <archive_entry.h>
#include <libkmod.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "base/error.h"
#include "collect/archive_reader.h"

namespace svc::collect {
namespace {

struct TFreeModule {
  void operator()(kmod_module* module) const { ::kmod_module_unref(module); }
};
struct TFreeInformation {
  void operator()(kmod_list* list) const { ::kmod_module_info_free_list(list); }
};

[[noreturn]] void FailBy(int error) { throw TError(std::strerror(error)); }

// ---- Files ----

constexpr std::size_t kHeaderSize = 64;  // Of the larger kind.

// The first bytes of a file, filled up with zeros.
std::string HeadOf(const TDescriptor& file) {
  std::string head(kHeaderSize, '\0');
  while (::pread(file.Get(), head.data(), head.size(), 0) < 0) {
    if (errno != EINTR) FailBy(errno);
  }
  return head;
}

TDescriptor NewFileInMemory() {
  TDescriptor file(::memfd_create("module", MFD_CLOEXEC));
  if (!file) FailBy(errno);
  return file;
}

void Write(const TDescriptor& file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(file.Get(), bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) FailBy(written < 0 ? errno : ENOSPC);
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

// ---- Copies ----

constexpr std::size_t kMaxSize = 256U << 20U;  // Larger than any module.

// A module that grows in memory. Nobody else can cut it short while libkmod has it mapped, which
// would end the process.
class TCopy {
 public:
  void Add(std::string_view part) {
    size += part.size();
    if (size > kMaxSize) throw TError("it is too large when it is unpacked");
    Write(file, part);
  }
  const TDescriptor& File() const { return file; }
  std::uint64_t Size() const { return size; }

 private:
  TDescriptor file = NewFileInMemory();
  std::size_t size = 0;
};

void CopyPlain(const TDescriptor& file, TCopy& copy) {
  std::array<char, 1U << 16U> block;
  off_t at = 0;
  for (;;) {
    const ssize_t count = ::pread(file.Get(), block.data(), block.size(), at);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) FailBy(errno);
    if (count == 0) return;
    copy.Add({block.data(), static_cast<std::size_t>(count)});
    at += count;
  }
}

// ---- Compressed ones ----

struct TCompression {
  std::string_view begin;
  int filter;
};
// Those that the kernel's build knows.
constexpr std::array<TCompression, 3> kCompressions = {{{"\x1f\x8b", ARCHIVE_FILTER_GZIP},
                                                        {"\xfd\x37zXZ", ARCHIVE_FILTER_XZ},
                                                        {"\x28\xb5\x2f\xfd", ARCHIVE_FILTER_ZSTD}}};

const TCompression* CompressionOf(std::string_view head) {
  for (const TCompression& compression : kCompressions) {
    if (head.starts_with(compression.begin)) return &compression;
  }
  return nullptr;
}

// Unpacks in that one way: a file that was compressed over and over stays so.
class TUnpacking {
 public:
  TUnpacking(const TDescriptor& file, int filter) {
    ::lseek(file.Get(), 0, SEEK_SET);
    AllowFilter(reader.get(), filter);
    Check(::archive_read_append_filter(reader.get(), filter));
    Check(::archive_read_support_format_raw(reader.get()));
    Check(::archive_read_open_fd(reader.get(), file.Get(), block.size()));
    archive_entry* entry = nullptr;
    Check(::archive_read_next_header(reader.get(), &entry));
  }

  // The next bytes, which stay until the next call; empty at the end.
  std::string_view Next() {
    const la_ssize_t count = ::archive_read_data(reader.get(), block.data(), block.size());
    if (count < 0) throw Failure();
    return {block.data(), static_cast<std::size_t>(count)};
  }

 private:
  void Check(int status) const {
    if (status < ARCHIVE_WARN || status == ARCHIVE_EOF) throw Failure();
  }

  TError Failure() const { return TError("it cannot be unpacked: " + CauseOf(reader.get())); }

  std::array<char, 1U << 16U> block;
  TArchive reader = NewArchiveReader();
};

void Unpack(const TDescriptor& file, const TCompression& compression, TCopy& copy) {
  TUnpacking unpacking(file, compression.filter);
  for (std::string_view part = unpacking.Next(); !part.empty(); part = unpacking.Next()) {
    copy.Add(part);
  }
}

// ---- The header: elf(5) ----

std::uint64_t Number(std::string_view head, std::size_t at, std::size_t width) {
  const bool isLittle = head[5] == 1;
  std::uint64_t number = 0;
  for (std::size_t index = 0; index < width; ++index) {
    const char byte = head[at + (isLittle ? width - 1 - index : index)];
    number = number * 256 + static_cast<unsigned char>(byte);
  }
  return number;
}

// Whether the table of sections lies in the file and says in which of them the names of all are.
bool HasItsSections(std::string_view head, std::uint64_t fileSize) {
  const bool isWide = head[4] == 2;
  const std::uint64_t table = isWide ? Number(head, 40, 8) : Number(head, 32, 4);
  const std::size_t numbers = isWide ? 58 : 46;
  const std::uint64_t sizeOfOne = Number(head, numbers, 2);
  const std::uint64_t count = Number(head, numbers + 2, 2);
  const std::uint64_t names = Number(head, numbers + 4, 2);
  return names > 0 && names < count && table <= fileSize && count * sizeOfOne <= fileSize - table;
}

void CheckKind(std::string_view head) {
  if (!head.starts_with("\177ELF")) throw TError("it is no kernel module");
}

void CheckHeader(const TCopy& copy) {
  const std::string head = HeadOf(copy.File());
  CheckKind(head);
  if (!HasItsSections(head, copy.Size())) {
    throw TError("its header tells of sections that are not there");
  }
}

// ---- libkmod ----

struct TStated {
  std::string version;
  std::string vermagic;
  std::string intree;
  std::string source;
};

void Note(std::string& stated, const char* value) {
  if (stated.empty()) stated = value;
}

// A module that belongs to its kernel goes by the kernel's release, where it has no version of its
// own: it begins the text by which the kernel knows its modules.
std::string VersionOf(const TStated& stated) {
  if (!stated.version.empty() || stated.intree != "Y") return stated.version;
  return stated.vermagic.substr(0, stated.vermagic.find(' '));
}

TModuleStatement StatementInChecked(kmod_ctx* context, const TDescriptor& file) {
  kmod_module* found = nullptr;
  const int error = ::kmod_module_new_from_path(context, file.Path().c_str(), &found);
  if (error < 0) FailBy(-error);
  const std::unique_ptr<kmod_module, TFreeModule> module(found);
  kmod_list* first = nullptr;
  const int status = ::kmod_module_get_info(module.get(), &first);
  if (status < 0) FailBy(-status);
  const std::unique_ptr<kmod_list, TFreeInformation> list(first);
  TStated stated;
  for (kmod_list* item = first; item != nullptr; item = ::kmod_list_next(first, item)) {
    const std::string_view key = ::kmod_module_info_get_key(item);
    const char* const value = ::kmod_module_info_get_value(item);
    if (key == "version") Note(stated.version, value);
    if (key == "vermagic") Note(stated.vermagic, value);
    if (key == "intree") Note(stated.intree, value);
    if (key == "srcversion") Note(stated.source, value);
  }
  return {VersionOf(stated), stated.source};
}

}  // namespace

void TModuleReader::TFree::operator()(kmod_ctx* context) const { ::kmod_unref(context); }

// Without a folder it finds no index: it believes what a binary one says of offsets, which a
// captured tree may have wrong, and then does not come back.
TModuleReader::TModuleReader() {
  constexpr const char* kNoFolder = "/dev/null";
  constexpr const char* kNoConfiguration = nullptr;
  context.reset(::kmod_new(kNoFolder, &kNoConfiguration));
  if (!context) throw std::bad_alloc();
  // What it has against a broken file is said by the caller.
  ::kmod_set_log_priority(context.get(), 0);
}

TModuleStatement TModuleReader::StatementIn(const TDescriptor& file) const {
  const std::string head = HeadOf(file);
  TCopy copy;
  if (const TCompression* const compression = CompressionOf(head)) {
    Unpack(file, *compression, copy);
  } else {
    CheckKind(head);
    CopyPlain(file, copy);
  }
  CheckHeader(copy);
  return StatementInChecked(context.get(), copy.File());
}

TDescriptor FileInMemory(std::string_view bytes) {
  TDescriptor file = NewFileInMemory();
  Write(file, bytes);
  return file;
}

}  // namespace svc::collect
