// Which of the operating systems that catalogues know runs on the machine.
#include <array>
#include <cstdint>
#include <string>

#include "inventory/class_lookup.h"
#include "inventory/trace.h"
#include "plugin/contents/sv_plugin.h"

using namespace NQRXHSK20;

namespace {

// What the inventory says of the operating system. The numbers of `type` are those of OSType in
// the DMTF's CIM_OperatingSystem.
struct TOperatingSystem {
  std::string version;
  std::uint16_t type = 0;
  std::string buildID;
  std::string hardwarePlatform;
};

constexpr std::uint16_t kLinux = 36;
constexpr std::uint16_t kVMware3 = 78;
constexpr std::uint16_t kVMware4 = 81;

struct TCodeRow {
  std::string_view mark;
  std::string_view code;
};

// The first mark found in "BuildID" decides, so the order of the rows is part of the rule.
constexpr std::array kRedHatReleases = {
    TCodeRow{"release 4", "RHEL4"}, TCodeRow{"release 5", "RHEL5"}, TCodeRow{"release 3", "RHEL3"},
    TCodeRow{"release 6", "RHEL6"}};
constexpr std::array kSUSEReleases = {TCodeRow{"9", "SLES9"}, TCodeRow{"10", "SLES10"},
                                      TCodeRow{"11", "SLES11"}};
// Here the mark is the whole "Version".
constexpr std::array kWindowsVersions = {
    TCodeRow{"5.2", "Windows 2003"}, TCodeRow{"5.0", "Windows 2000"},
    TCodeRow{"6.0", "Windows 2008"}, TCodeRow{"6.1", "Windows 2008"}};

bool Contains(const std::string& text, std::string_view needle) {
  return text.find(needle) != std::string::npos;
}

void ReadInstance(const TInstanceHandle& instance, TOperatingSystem& system) {
  TSVPluginCallbacks::GetPropertyValue(instance, "Version", system.version);
  boost::shared_ptr<ICIMProperty> property;
  instance->GetProperty(property, "OSType", CIMContext());
  system.type = static_cast<std::uint16_t>(property->Value(CIMContext()));
  TSVPluginCallbacks::GetPropertyValue(instance, "BuildID", system.buildID);
  TSVPluginCallbacks::GetPropertyValue(instance, "HardwarePlatform", system.hardwarePlatform);
}

template <std::size_t N>
std::string LinuxCode(const TOperatingSystem& system, const std::array<TCodeRow, N>& releases) {
  for (const TCodeRow& release : releases) {
    if (!Contains(system.buildID, release.mark)) continue;
    return std::string(release.code) + (Contains(system.hardwarePlatform, "64") ? "_64" : "");
  }
  return "";
}

std::string LinuxCode(const TOperatingSystem& system) {
  if (Contains(system.buildID, "Red Hat Enterprise Linux"))
    return LinuxCode(system, kRedHatReleases);
  if (Contains(system.buildID, "SUSE")) return LinuxCode(system, kSUSEReleases);
  return "";
}

std::string WindowsCode(const std::string& version) {
  for (const TCodeRow& row : kWindowsVersions) {
    if (version == row.mark) return std::string(row.code);
  }
  return "";
}

std::string Code(const TOperatingSystem& system) {
  switch (system.type) {
    case kLinux:
      return LinuxCode(system);
    case kVMware3:
      return "VMWARE3";
    case kVMware4:
      return "VMWARE4";
    default:
      return WindowsCode(system.version);
  }
}

}  // namespace

std::string TSVPluginCallbacks::getOSType(const TNamespaceHandle& inventory) {
  LogTrace("In getOSType");
  boost::shared_ptr<ICIMClass> systemClass;
  if (!FindClass(systemClass, inventory, "QRXSG_OperatingSystem", PluginContext())) return "";
  TInstanceList instances;
  AppendInstances(instances, systemClass, CIMContext());
  TOperatingSystem system;
  for (const TInstanceHandle& instance : instances) ReadInstance(instance, system);
  return Code(system);
}
