// Device drivers: the loaded modules of the kernel, with the file of each and the version that
// it states.
#include <fcntl.h>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cerrno>
#include <unordered_map>

#include "base/error.h"
#include "collect/linux/kernel_module.h"
#include "collect/linux/linux_collector.h"

namespace svc::collect {
namespace {

constexpr const char* kModules = "/sys/module";

struct TDriver {
  std::string name;
  std::string state;
};

// The state as the host numbers it: that of a Windows service.
std::string StateNumber(std::string_view state) {
  if (state == "Live" || state == "live") return "4";
  if (state == "Loading" || state == "coming") return "2";
  return state == "Unloading" || state == "going" ? "3" : "";
}

// Each line of /proc/modules: name, size, users, their names, state, address (proc(5)).
std::vector<TDriver> LoadedInProc(const TTree& tree) {
  constexpr std::size_t kState = 4;
  std::vector<TDriver> drivers;
  const TRead file = tree.Read("/proc/modules");
  for (const std::string_view line : Lines(file.bytes)) {
    const std::vector<std::string> words = Words(line);
    if (words.size() > kState) drivers.push_back({words[0], StateNumber(words[kState])});
  }
  return drivers;
}

// Built-in modules have a folder there as well, but no state.
std::vector<TDriver> LoadedInSys(const TTree& tree) {
  std::vector<TDriver> drivers;
  for (const std::string& name : tree.List(kModules)) {
    const std::string state = tree.ReadLine(std::string(kModules) + "/" + name + "/initstate");
    if (!state.empty()) drivers.push_back({name, StateNumber(state)});
  }
  return drivers;
}

std::vector<TDriver> Loaded(const TTree& tree) {
  std::vector<TDriver> drivers = LoadedInProc(tree);
  if (drivers.empty()) drivers = LoadedInSys(tree);
  std::sort(drivers.begin(), drivers.end(),
            [](const TDriver& a, const TDriver& b) { return a.name < b.name; });
  return drivers;
}

// "kernel/net/nvme-core.ko.xz" is the file of the module nvme_core.
std::string ModuleOfFile(std::string_view file) {
  file.remove_prefix(file.rfind('/') + 1);
  std::string name(file.substr(0, file.find(".ko")));
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

// The modules of one kernel release. Where their files are is read from the text that depmod(8)
// writes, not from its binary index.
class TModuleFolder {
 public:
  TModuleFolder(const TTree& tree, const std::string& release)
      : tree(tree), path("/lib/modules/" + release) {
    const TRead list = tree.Read(path + "/modules.dep");
    for (const std::string_view line : Lines(list.bytes)) {
      const std::string_view file = line.substr(0, line.find(':'));
      files.emplace(ModuleOfFile(file), file);
    }
  }

  // The path of a module's file in the tree; empty when none is known.
  std::string FileOf(const std::string& name) const {
    const auto found = files.find(name);
    if (found == files.end()) return {};
    // Before Linux 3 the paths were written in full.
    return found->second.starts_with('/') ? found->second : path + "/" + found->second;
  }

  // What the file states; nothing when there is none. Throws TError, which says why, when it cannot
  // be read.
  TModuleStatement StatementIn(const std::string& file) const {
    const TDescriptor content = tree.Open(file, O_RDONLY);
    if (!content) {
      if (errno == ENOENT) return {};
      throw TError(WhyNot(errno));
    }
    TModuleStatement stated = reader.StatementIn(content);
    tree.Remember(file);
    return stated;
  }

 private:
  const TTree& tree;
  std::string path;
  std::unordered_map<std::string, std::string> files;  // By the names of the modules.
  TModuleReader reader;
};

// The inventory's paths are in Windows form.
std::string WithBackslashes(std::string path) {
  std::replace(path.begin(), path.end(), '/', '\\');
  return path;
}

TModuleStatement Installed(const TModuleFolder& modules, const std::string& file,
                           TInventory& inventory) {
  if (file.empty()) return {};
  try {
    return modules.StatementIn(file);
  } catch (const std::runtime_error& error) {
    inventory.Note(fmt::format("{}: no version can be read: {}", file, error.what()));
    return {};
  }
}

void AddDriver(const TTree& tree, const TModuleFolder& modules, const TDriver& driver,
               std::vector<std::string>& homeless, TInventory& inventory) {
  const std::string file = modules.FileOf(driver.name);
  TModuleStatement stated = Installed(modules, file, inventory);
  const std::string folder = std::string(kModules) + "/" + driver.name;
  const std::string running = tree.ReadLine(folder + "/version");
  if (stated.version.empty()) stated = {running, tree.ReadLine(folder + "/srcversion")};
  if (!running.empty() && stated.version != running) {
    inventory.Note(
        fmt::format("{}: version {} is installed, {} is running until the driver is "
                    "loaded anew",
                    file, stated.version, running));
  }
  if (file.empty()) homeless.push_back(driver.name);
  inventory.Add(TInstance("QRXSG_DeviceDriverInfo")
                    .Set("Name", driver.name)
                    .Set("Path", WithBackslashes(file))
                    .Set("Version", stated.version)
                    .Set("SourceVersion", stated.source)
                    .Set("CurrentState", driver.state));
}

}  // namespace

void ReadDrivers(const TMachine& machine, TInventory& inventory) {
  const TTree& tree = machine.tree;
  const std::vector<TDriver> drivers = Loaded(tree);
  if (drivers.empty()) {
    inventory.Note("/proc/modules: no loaded driver is listed there or in /sys/module");
    return;
  }
  const std::string release = tree.ReadLine("/proc/sys/kernel/osrelease");
  const TModuleFolder modules(tree, release);
  std::vector<std::string> homeless;
  for (const TDriver& driver : drivers) AddDriver(tree, modules, driver, homeless, inventory);
  if (homeless.empty()) return;
  inventory.Note(fmt::format("/lib/modules/{}: no file known of the loaded {}: {}", release,
                             homeless.size() == 1 ? "driver" : "drivers",
                             fmt::join(homeless, ", ")));
}

}  // namespace svc::collect
