#include "collect/capture.h"

#include <archive.h>
#include <archive_entry.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <set>
#include <stdexcept>

#include "collect/machine.h"

namespace svc::collect {
namespace {

struct TFreeArchive {
  void operator()(archive* tar) const { ::archive_write_free(tar); }
};
struct TFreeEntry {
  void operator()(archive_entry* entry) const { ::archive_entry_free(entry); }
};

// A tar file that is there only once it is whole.
class TTarFile {
 public:
  explicit TTarFile(std::string file)
      : file(std::move(file)), part(UnfinishedCapture(this->file)), tar(::archive_write_new()) {
    ::archive_write_set_format_pax_restricted(tar.get());
    if (::archive_write_open_filename(tar.get(), part.c_str()) != ARCHIVE_OK) Fail();
  }
  TTarFile(const TTarFile&) = delete;
  TTarFile& operator=(const TTarFile&) = delete;
  ~TTarFile() {
    tar.reset();
    if (!whole) ::unlink(part.c_str());
  }

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
    if (std::rename(part.c_str(), file.c_str()) != 0) Fail(std::strerror(errno));
    whole = true;
  }

 private:
  [[noreturn]] void Fail(const char* reason = nullptr) {
    if (reason == nullptr) reason = ::archive_error_string(tar.get());
    throw std::runtime_error(file + ": the capture cannot be written: " +
                             (reason == nullptr ? "unknown error" : reason));
  }

  std::string file;
  std::string part;
  std::unique_ptr<archive, TFreeArchive> tar;
  bool whole = false;
};

bool TellsWho(const std::string& path) {
  return path.ends_with("/product_serial") || path.ends_with("/product_uuid");
}

// A captured tree has no uname(2); newer kernels tell the same in a file, which is given here on
// behalf of older ones.
void AddArchitecture(const TTree& tree, TTarFile& tar) {
  utsname names{};
  if (!tree.IsLive() || tree.ReadFiles().contains(kArchitecture) || ::uname(&names) != 0) return;
  tar.Add(kArchitecture, std::string(names.machine) + "\n");
}

}  // namespace

void WriteCapture(const TTree& tree, bool redact, const std::string& file) {
  TTarFile tar(file);
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

std::string UnfinishedCapture(const std::string& file) {
  return file + "." + std::to_string(::getpid()) + ".part";
}

}  // namespace svc::collect
