#include "collect/linux/linux_collector.h"

#include <fcntl.h>
#include <sys/utsname.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "collect/cim_xml.h"
#include "collect/linux/capture.h"

namespace svc::collect {

namespace {

// In the order of the document.
constexpr void (*kSources[])(const TMachine&, TInventory&) = {
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
TSmbiosTable ReadSmbios(const TTree& tree, TInventory& inventory) {
  const TRead file = tree.Read(kSmbiosTable);
  TSmbiosTable table = ParseSmbiosTable(file.bytes);
  if (file.error != 0 && file.error != ENOENT) table.problem = WhyNot(file.error);
  if (!table.problem.empty()) {
    inventory.Note(std::string(kSmbiosTable) + ": " + table.problem +
                   "; what only the SMBIOS tables tell is left out");
  }
  return table;
}

TInventory ReadAll(const TTree& tree, const Options& options) {
  TInventory inventory;
  const TMachine machine{tree, ReadSmbios(tree, inventory), options.redact};
  for (const auto source : kSources) source(machine, inventory);
  return inventory;
}

}  // namespace

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

// Which sources the running Linux system lets us read.

namespace {

// 0, or the error of opening the file.
int ErrorOfOpening(const std::string& path, int flags) {
  const int file = ::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK);
  if (file == -1) return errno;
  ::close(file);
  return 0;
}

SourceState Try(const char* subject, const std::string& path, int flags, const char* missing,
                const char* forbidden) {
  const int error = ErrorOfOpening(path, flags);
  if (error == 0) return {subject, path, {}, {}};
  return {subject, path, std::generic_category().message(error),
          error == EACCES || error == EPERM ? forbidden : missing};
}

std::string ModuleList() {
  utsname names{};
  ::uname(&names);
  return std::string("/lib/modules/") + names.release + "/modules.dep";
}

// A kernel that can load no modules has no list of them either.
const char* AdviceWithoutModuleList() {
  return ::access("/proc/self", F_OK) == 0
             ? "this kernel loads no modules, all drivers are part of it: drivers are left out"
             : "mount /proc";
}

}  // namespace

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

}  // namespace svc::collect
