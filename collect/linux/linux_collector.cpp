#include "collect/linux/linux_collector.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <memory>
#include <system_error>

#include "base/error.h"

namespace svc::collect {
// In the order of the document.
static constexpr void (*kSources[])(const TMachine&, TInventory&) = {
    ReadComputerSystem,
    ReadOperatingSystem,
    ReadSystemBios,
    ReadDiagnostics,
    ReadManagementControllers,
    ReadBroadcom,
    ReadMegaRaid,
    ReadMpt,
    ReadDrivers,
    ReadDisks,
    ReadNetworkDevices,
    ReadTpms,
    ReadMicrocode,
    ReadResourceTable,
};

// Where there is no table at all, nothing is missing that the machine could have told.
static TSmbiosTable ReadSmbios(const TTree& tree, TInventory& inventory) {
  const TRead file = tree.Read(kSmbiosTable);
  TSmbiosTable table = ParseSmbiosTable(file.bytes);
  if (file.error != 0 && file.error != ENOENT) table.problem = WhyNot(file.error);
  if (!table.problem.empty()) {
    inventory.Note(std::string(kSmbiosTable) + ": " + table.problem +
                   "; what only the SMBIOS tables tell is left out");
  }
  return table;
}

static TInventory ReadAll(const TTree& tree, const Options& options) {
  TInventory inventory;
  const TMachine machine{tree, ReadSmbios(tree, inventory), options.redact};
  for (const auto source : kSources) source(machine, inventory);
  return inventory;
}

std::string WhyNot(int error) {
  const std::string text = std::strerror(error);
  return error == EACCES || error == EPERM ? text + " (root can read it)" : text;
}

Outcome TLinuxCollector::Collect(const Options& options) const {
  const TTree tree(options.root);
  TInventory inventory = ReadAll(tree, options);
  MergeDevices(options.devices, inventory);
  return {ToCimXml(inventory.Instances()), inventory.Notes()};
}

std::vector<std::string> TLinuxCollector::Capture(const Options& options,
                                                  const TWrite& write) const {
  const TTree tree(options.root);
  const TInventory inventory = ReadAll(tree, options);
  WriteCapture(tree, options.redact, write);
  return inventory.Notes();
}

// --- Which sources the running system lets us read ---

// 0, or the error of opening the file.
static int ErrorOfOpening(const std::string& path, int flags) {
  const int file = ::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK);
  if (file == -1) return errno;
  ::close(file);
  return 0;
}

static SourceState Try(const char* subject, const std::string& path, int flags, const char* missing,
                       const char* forbidden) {
  const int error = ErrorOfOpening(path, flags);
  if (error == 0) return {subject, path, {}, {}};
  return {subject, path, std::generic_category().message(error),
          error == EACCES || error == EPERM ? forbidden : missing};
}

static std::string ModuleList() {
  utsname names{};
  ::uname(&names);
  return std::string("/lib/modules/") + names.release + "/modules.dep";
}

// A kernel that can load no modules has no list of them either.
static const char* AdviceWithoutModuleList() {
  return ::access("/proc/self", F_OK) == 0
             ? "this kernel loads no modules, all drivers are part of it: drivers are left out"
             : "mount /proc";
}

std::vector<SourceState> TLinuxCollector::TrySources() const {
  return {
      Try("firmware tables", kSmbiosTable, O_RDONLY,
          "this machine's firmware tells nothing of itself: versions of BIOS and UEFI are left out",
          "run svcheck as root: serial number and diagnostics are left out"),
      Try("management controller", "/dev/ipmi0", O_RDWR,
          "where the machine has one, load its driver: modprobe ipmi_si ipmi_devintf",
          "run svcheck as root: the controller's firmware is left out"),
      Try("running modules", "/proc/modules", O_RDONLY, AdviceWithoutModuleList(),
          "run svcheck as root: drivers are left out"),
      Try("module files", ModuleList(), O_RDONLY,
          "install the running kernel's modules, or run depmod: versions of drivers are left out",
          "run svcheck as root: versions of drivers are left out"),
  };
}

// --- The archive of what was read ---

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
    if (::archive_write_open(tar.get(), this, nullptr, Put, nullptr) != ARCHIVE_OK)
      ThrowWhyNotWritten();
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
      ThrowWhyNotWritten();
    }
  }

  void Finish() {
    if (::archive_write_close(tar.get()) != ARCHIVE_OK) ThrowWhyNotWritten();
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

  [[noreturn]] void ThrowWhyNotWritten() {
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

// The entry of libsvcheck-collect.so.
extern "C" __attribute__((visibility("default"))) const svc::collect::ICollector*
SvcheckCollector() {
  static const svc::collect::TLinuxCollector collector;
  return &collector;
}
