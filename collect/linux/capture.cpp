#include "collect/linux/capture.h"

#include <archive.h>
#include <archive_entry.h>
#include <sys/utsname.h>

#include <exception>
#include <memory>
#include <set>

#include "base/error.h"
#include "collect/linux/linux_collector.h"

namespace svc::collect {
namespace {

struct TFreeArchive {
  void operator()(archive* tar) const { ::archive_write_free(tar); }
};
struct TFreeEntry {
  void operator()(archive_entry* entry) const { ::archive_entry_free(entry); }
};

// A tar archive that goes where the caller writes it to.
class TTarFile {
 public:
  explicit TTarFile(const TWrite& write) : write(write), tar(::archive_write_new()) {
    ::archive_write_set_format_pax_restricted(tar.get());
    ::archive_write_set_bytes_in_last_block(tar.get(), 1);
    if (::archive_write_open(tar.get(), this, nullptr, Put, nullptr) != ARCHIVE_OK) Fail();
  }
  TTarFile(const TTarFile&) = delete;
  TTarFile& operator=(const TTarFile&) = delete;

  void Add(const std::string& path, const std::string& bytes) {
    const std::unique_ptr<archive_entry, TFreeEntry> entry(::archive_entry_new());
    ::archive_entry_set_pathname(entry.get(), path.c_str() + 1);
    ::archive_entry_set_filetype(entry.get(), AE_IFREG);
    ::archive_entry_set_perm(entry.get(), 0644);
    ::archive_entry_set_size(entry.get(), static_cast<la_int64_t>(bytes.size()));
    if (::archive_write_header(tar.get(), entry.get()) != ARCHIVE_OK ||
        ::archive_write_data(tar.get(), bytes.data(), bytes.size()) < 0) {
      Fail();
    }
  }

  void Finish() {
    if (::archive_write_close(tar.get()) != ARCHIVE_OK) Fail();
  }

 private:
  // An exception cannot pass through the library.
  static la_ssize_t Put(archive*, void* self, const void* bytes, std::size_t size) {
    auto& target = *static_cast<TTarFile*>(self);
    try {
      if (!target.failure) target.write({static_cast<const char*>(bytes), size});
    } catch (...) {
      target.failure = std::current_exception();
    }
    return target.failure ? -1 : static_cast<la_ssize_t>(size);
  }

  [[noreturn]] void Fail() {
    if (failure) std::rethrow_exception(failure);
    const char* const reason = ::archive_error_string(tar.get());
    throw TError(std::string("the capture cannot be written: ") +
                 (reason == nullptr ? "unknown error" : reason));
  }

  const TWrite& write;
  std::exception_ptr failure;
  std::unique_ptr<archive, TFreeArchive> tar;
};

bool TellsWho(const std::string& path) {
  return path.ends_with("/product_serial") || path.ends_with("/product_uuid") ||
         path.ends_with("/hostname");
}

// A captured tree has no uname(2); newer kernels tell the same in a file, which is given here on
// behalf of older ones.
void AddArchitecture(const TTree& tree, TTarFile& tar) {
  utsname names{};
  if (!tree.IsLive() || tree.ReadFiles().contains(kArchitecture) || ::uname(&names) != 0) return;
  tar.Add(kArchitecture, std::string(names.machine) + "\n");
}

}  // namespace

void WriteCapture(const TTree& tree, bool redact, const TWrite& write) {
  TTarFile tar(write);
  const std::set<std::string> paths = tree.ReadFiles();
  for (const std::string& path : paths) {
    if (redact && TellsWho(path)) continue;
    TRead content = tree.Read(path);
    if (!content) continue;
    if (redact && path == kSmbiosTable) content.bytes = WithoutIdentity(content.bytes);
    tar.Add(path, content.bytes);
  }
  AddArchitecture(tree, tar);
  tar.Finish();
}

}  // namespace svc::collect
