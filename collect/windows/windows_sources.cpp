#include "collect/windows/windows_machine.h"

#include <fmt/format.h>
#include <windows.h>
#include <algorithm>
#include <array>
#include <cctype>

#include "base/shown_text.h"
#include "collect/cim_xml.h"
#include "collect/firmware_device.h"

namespace svc::collect {

static std::string ValueOf(const TRow& row, const std::string& name) {
  const auto found = row.find(name);
  return found == row.end() ? std::string() : found->second;
}

// The one instance of a class; empty, and noted, where there is none.
static TRow OnlyRow(const IWindowsMachine& machine, const std::string& className,
                    TInventory& inventory) {
  const auto answer = machine.Instances(kCimSpace, className);
  if (!answer.value.empty()) return answer.value.front();
  inventory.Note(className + ": " +
                 (answer.problem.empty() ? "the machine tells nothing" : answer.problem) +
                 "; what it tells is left out");
  return {};
}

// What hardware ids are made of beside maker and model.
static void SetHardwareFields(const IWindowsMachine& machine, const TRow& system, const TRow& bios,
                              TInstance& instance) {
  const auto boards = machine.Instances(kCimSpace, "Win32_BaseBoard").value;
  const TRow board = boards.empty() ? TRow() : boards.front();
  instance.Set("Family", ValueOf(system, "SystemFamily"))
      .Set("SKUNumber", ValueOf(system, "SystemSKUNumber"))
      .Set("BaseboardManufacturer", ValueOf(board, "Manufacturer"))
      .Set("BaseboardProduct", ValueOf(board, "Product"))
      .Set("BIOSVendor", ValueOf(bios, "Manufacturer"))
      .Set("BIOSVersion", ValueOf(bios, "SMBIOSBIOSVersion"))
      .Set("BIOSMajorRelease", ValueOf(bios, "SystemBiosMajorVersion"))
      .Set("BIOSMinorRelease", ValueOf(bios, "SystemBiosMinorVersion"));
}

static void AddComputerSystem(const IWindowsMachine& machine, const TRow& bios, bool redact,
                              TInventory& inventory) {
  const TRow system = OnlyRow(machine, "Win32_ComputerSystem", inventory);
  const std::string model = ValueOf(system, "Model");
  TInstance instance("QRXSG_ComputerSystem");
  instance.Set("MachineType", MachineTypeOf(model))
      .Set("Manufacturer", ValueOf(system, "Manufacturer"))
      .Set("Model", model);
  SetHardwareFields(machine, system, bios, instance);
  if (!redact) {
    const TRow product = OnlyRow(machine, "Win32_ComputerSystemProduct", inventory);
    const std::string host = ValueOf(system, "DNSHostName");
    instance.Set("SerialNumber", ValueOf(bios, "SerialNumber"))
        .Set("UUID", ValueOf(product, "UUID"))
        .Set("Name", host.empty() ? ValueOf(system, "Name") : host);
  }
  inventory.Add(instance);
}

// "6.1.7601" is release 6.1, by which a catalogue knows the system, and build 7601.
static std::string Release(const std::string& version) {
  return version.substr(0, version.find('.', std::min(version.find('.'), version.size() - 1) + 1));
}

static void AddOperatingSystem(const IWindowsMachine& machine, TInventory& inventory) {
  constexpr const char* kWindowsNt = "18";  // Win32_OperatingSystem.OSType
  const TRow system = OnlyRow(machine, "Win32_OperatingSystem", inventory);
  const std::string version = ValueOf(system, "Version");
  inventory.Add(TInstance("QRXSG_OperatingSystem")
                    .Set("Version", version.empty() ? version : Release(version))
                    .Set("OSType", kWindowsNt, "uint16")
                    .Set("BuildID", ValueOf(system, "BuildNumber"))
                    .Set("HardwarePlatform", ValueOf(system, "OSArchitecture"))
                    .Set("Caption", ValueOf(system, "Caption")));
}

// "20100512000000.000000+000" (DMTF DSP0004, datetime) is 05/12/2010, as firmware writes a date.
static std::string FirmwareDate(const std::string& datetime) {
  const bool hasDate =
      datetime.size() >= 8 && std::all_of(datetime.begin(), datetime.begin() + 8,
                                          [](unsigned char c) { return std::isdigit(c) != 0; });
  if (!hasDate) return datetime;
  return datetime.substr(4, 2) + "/" + datetime.substr(6, 2) + "/" + datetime.substr(0, 4);
}

static void AddBios(const TRow& bios, TInventory& inventory) {
  const std::string version = ValueOf(bios, "SMBIOSBIOSVersion");
  if (version.empty()) return;
  inventory.Add(SystemBios(version)
                    .Set("Manufacturer", ValueOf(bios, "Manufacturer"))
                    .Set("ReleaseDate", FirmwareDate(ValueOf(bios, "ReleaseDate"))));
}

// IPMI 2.0, 20.1: Get Device ID.
static void AddManagementController(const IWindowsMachine& machine, TInventory& inventory) {
  constexpr std::uint8_t kApplication = 0x06, kGetDeviceId = 0x01;
  const auto answer = machine.AskController(kApplication, kGetDeviceId);
  const auto controller = ParseDeviceId(answer.value);
  if (controller) {
    inventory.Add(TInstance("QRXSG_IPMIFirmwareElement")
                      .Set("Name", kManagementControllerName)
                      .Set("Version", controller->version));
    if (controller->auxiliary.empty()) return;
    inventory.Add(TInstance("QRXSG_SPROMFirmwareVPDMain")
                      .Set("Name", kManagementControllerName)
                      .Set("BuildNumber", controller->auxiliary)
                      .Set("Version", controller->version));
  } else if (!answer.problem.empty() || !answer.value.empty()) {
    inventory.Note("Microsoft_IPMI: " +
                   (answer.problem.empty() ? "the answer is no device id" : answer.problem) +
                   "; the management controller is left out");
  }
}

static bool IsLsi(const TRow& adapter) {
  const std::string maker = Lowered(ValueOf(adapter, "Manufacturer"));
  return Contains(maker, "lsi") || Contains(maker, "avago") || Contains(maker, "broadcom");
}

static void AddAdapterPart(const TRow& adapter, const char* kind, const char* className,
                           const char* property, TInventory& inventory) {
  const std::string version = ValueOf(adapter, property);
  const std::string model = ValueOf(adapter, "Model");
  const std::string name = ValueOf(adapter, "ModelDescription");
  if (version.find_first_not_of("0. ") == std::string::npos) {
    inventory.Note("MS_SM_AdapterInformationQuery, " + model + ": no " + property + "; left out");
    return;
  }
  inventory.Add(TInstance(className)
                    .Set("Name", (name.empty() ? model : name) + kind)
                    .Set("ProductID", model)
                    .Set("Version", version));
}

static void AddAdapters(const IWindowsMachine& machine, TInventory& inventory) {
  constexpr const char* kClass = "MS_SM_AdapterInformationQuery";
  const auto answer = machine.Instances(kDriverSpace, kClass);
  if (!answer.problem.empty()) {
    inventory.Note(std::string(kClass) + ": " + answer.problem +
                   "; firmware of storage adapters is left out");
  }
  for (const TRow& adapter : answer.value) {
    if (!IsLsi(adapter)) {
      inventory.Note(std::string(kClass) + ", " + ValueOf(adapter, "Model") + ": its maker \"" +
                     ValueOf(adapter, "Manufacturer") +
                     "\" is none whose firmware the inventory has a class for; left out");
      continue;
    }
    AddAdapterPart(adapter, " Firmware", "QRXSG_LSIFirmwareElement", "FirmwareVersion", inventory);
    AddAdapterPart(adapter, " BIOS", "QRXSG_LSIBIOSElement", "OptionROMVersion", inventory);
  }
}

static void AddDrivers(const IWindowsMachine& machine, TInventory& inventory) {
  auto answer = machine.Drivers();
  if (!answer.problem.empty()) {
    inventory.Note("service control manager: " + answer.problem + "; drivers are left out");
  }
  std::sort(answer.value.begin(), answer.value.end(),
            [](const auto& a, const auto& b) { return a.name < b.name; });
  for (const TDriverService& driver : answer.value) {
    const std::string file = DriverFile(driver, machine.SystemRoot());
    inventory.Add(TInstance("QRXSG_DeviceDriverInfo")
                      .Set("Name", driver.name)
                      .Set("Path", file)
                      .Set("Version", machine.FileVersion(file))
                      .Set("CurrentState", std::to_string(driver.state)));
  }
}

std::string DriverFile(const TDriverService& driver, const std::string& systemRoot) {
  constexpr std::string_view kRootPrefix = "\\systemroot\\", kObjectPrefix = "\\??\\";
  std::string_view path = driver.path;
  if (path.starts_with('"')) path = path.substr(1, path.find('"', 1) - 1);
  if (path.empty()) return systemRoot + "\\system32\\drivers\\" + driver.name + ".sys";
  if (Lowered(path).starts_with(kRootPrefix)) path.remove_prefix(kRootPrefix.size());
  if (path.starts_with(kObjectPrefix)) return std::string(path.substr(kObjectPrefix.size()));
  const bool isWhole = path.starts_with('\\') || (path.size() > 1 && path[1] == ':');
  return isWhole ? std::string(path) : systemRoot + "\\" + std::string(path);
}

TInventory ReadWindowsMachine(const IWindowsMachine& machine, bool redact) {
  TInventory inventory;
  const TRow bios = OnlyRow(machine, "Win32_BIOS", inventory);
  AddComputerSystem(machine, bios, redact, inventory);
  AddOperatingSystem(machine, inventory);
  AddBios(bios, inventory);
  AddManagementController(machine, inventory);
  AddAdapters(machine, inventory);
  AddWindowsFirmware(machine, inventory);
  AddDrivers(machine, inventory);
  return inventory;
}

namespace {

struct TCloseService {
  using pointer = SC_HANDLE;
  void operator()(SC_HANDLE handle) const { CloseServiceHandle(handle); }
};
using TService = std::unique_ptr<SC_HANDLE, TCloseService>;

// Structures that the system writes with the texts they point to behind them.
using TBlock = std::vector<std::uint64_t>;

std::string PathOf(SC_HANDLE manager, const wchar_t* name) {
  const TService service(OpenServiceW(manager, name, SERVICE_QUERY_CONFIG));
  DWORD size = 0;
  if (!service) return {};
  QueryServiceConfigW(service.get(), nullptr, 0, &size);
  TBlock block(size / sizeof(TBlock::value_type) + 1);
  auto* const configuration = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(block.data());
  if (!QueryServiceConfigW(service.get(), configuration, size, &size)) return {};
  const wchar_t* const path = configuration->lpBinaryPathName;
  return path == nullptr ? std::string() : Narrow(path);
}

// All services at once; asked again when one was added meanwhile.
DWORD ListDrivers(SC_HANDLE manager, TBlock& block, DWORD& count) {
  DWORD size = 0, needed = 0, resume = 0;
  const auto list = [&] {
    resume = 0;
    return EnumServicesStatusExW(manager, SC_ENUM_PROCESS_INFO, SERVICE_DRIVER, SERVICE_STATE_ALL,
                                 reinterpret_cast<BYTE*>(block.data()), size, &needed, &count,
                                 &resume, nullptr);
  };
  while (!list()) {
    const DWORD error = GetLastError();
    if (error != ERROR_MORE_DATA) return error;
    size += needed;
    block.resize(size / sizeof(TBlock::value_type) + 1);
  }
  return ERROR_SUCCESS;
}

}  // namespace

TAnswer<std::vector<TDriverService>> DriverServices() {
  const TService manager(
      OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT | SC_MANAGER_ENUMERATE_SERVICE));
  if (!manager) return {{}, SystemProblem(GetLastError())};
  TBlock block;
  DWORD count = 0;
  const DWORD error = ListDrivers(manager.get(), block, count);
  if (error != ERROR_SUCCESS) return {{}, SystemProblem(error)};
  const auto* const services = reinterpret_cast<const ENUM_SERVICE_STATUS_PROCESSW*>(block.data());
  TAnswer<std::vector<TDriverService>> answer;
  for (const auto* service = services; service != services + count; ++service) {
    answer.value.push_back({Narrow(service->lpServiceName),
                            PathOf(manager.get(), service->lpServiceName),
                            service->ServiceStatusProcess.dwCurrentState});
  }
  return answer;
}

std::string VersionOfFile(const std::string& path) {
  const std::wstring file = Widen(path);
  const DWORD size = GetFileVersionInfoSizeW(file.c_str(), nullptr);
  if (size == 0) return {};
  std::vector<char> resource(size);
  void* found = nullptr;
  UINT length = 0;
  if (!GetFileVersionInfoW(file.c_str(), 0, size, resource.data()) ||
      !VerQueryValueW(resource.data(), L"\\", &found, &length) || length < sizeof(VS_FIXEDFILEINFO))
    return {};
  const auto& version = *static_cast<const VS_FIXEDFILEINFO*>(found);
  return fmt::format("{}.{}.{}.{}", HIWORD(version.dwFileVersionMS),
                     LOWORD(version.dwFileVersionMS), HIWORD(version.dwFileVersionLS),
                     LOWORD(version.dwFileVersionLS));
}

namespace {

constexpr const char* kMendService =
    "start the service Winmgmt; where it runs, mend what it knows: winmgmt /salvagerepository";

struct TAsked {
  const char* subject;
  const char* space;
  const char* className;
  const char* advice;
  bool isOnEveryMachine;
};
constexpr std::array kAsked = {
    TAsked{"machine type", kCimSpace, "Win32_ComputerSystem", kMendService, true},
    TAsked{"machine UUID", kCimSpace, "Win32_ComputerSystemProduct", kMendService, true},
    TAsked{"system firmware", kCimSpace, "Win32_BIOS", kMendService, true},
    TAsked{"operating system", kCimSpace, "Win32_OperatingSystem", kMendService, true},
    TAsked{"management controller", kDriverSpace, "Microsoft_IPMI",
           "run svcheck as an administrator; where the machine has one, start its driver: sc start "
           "IPMIDRV",
           false},
    TAsked{
        "storage adapters", kDriverSpace, "MS_SM_AdapterInformationQuery",
        "run svcheck as an administrator; where the machine has one, its driver may tell nothing "
        "of its firmware",
        false},
    TAsked{"disks", kCimSpace, kDisks, kMendService, false},
};

// Keys of HKEY_LOCAL_MACHINE, which not every machine has.
struct TAskedKey {
  const char* subject;
  const char* path;
};
constexpr std::array kAskedKeys = {TAskedKey{"firmware resources", kResourceTable},
                                   TAskedKey{"microcode", kProcessorKeys}};

constexpr const char* kTellsOfNone = ", which tells of none";

SourceState TryKey(const IWindowsMachine& machine, const TAskedKey& asked) {
  const auto answer = machine.Keys(asked.path);
  const bool isEmpty = answer.value.empty() && answer.problem.empty();
  return {asked.subject, RegistryPlace(asked.path) + (isEmpty ? kTellsOfNone : ""), answer.problem,
          answer.problem.empty() ? "" : "run svcheck as an administrator"};
}

SourceState Try(const IWindowsMachine& machine, const TAsked& asked) {
  const auto answer = machine.Instances(asked.space, asked.className);
  SourceState state{
      asked.subject, std::string(asked.className) + " in " + asked.space, answer.problem, {}};
  if (answer.value.empty() && state.problem.empty()) {
    if (asked.isOnEveryMachine) {
      state.problem = "the machine tells nothing";
    } else {
      state.place += kTellsOfNone;
    }
  }
  if (!state.problem.empty()) state.advice = asked.advice;
  return state;
}

}  // namespace

std::vector<SourceState> TryWindowsSources(const IWindowsMachine& machine) {
  std::vector<SourceState> states;
  for (const TAsked& asked : kAsked) states.push_back(Try(machine, asked));
  for (const TAskedKey& asked : kAskedKeys) states.push_back(TryKey(machine, asked));
  const std::string problem = machine.Drivers().problem;
  states.push_back({"drivers", "service control manager", problem,
                    problem.empty() ? "" : "run svcheck as an administrator"});
  return states;
}

}  // namespace svc::collect
