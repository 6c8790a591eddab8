#include "catalogue/live_acquisition.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include "catalogue/catalogue_loader.h"
#include "catalogue/download_scan.h"
#include "catalogue/files.h"
#include "catalogue/proxy.h"
#include "host/hskcore/os_specific.h"
#include "inventory/trace.h"

using namespace NQRXHSK20;
using KPLAcquistion::ArchTypeEnum;
using KPLAcquistion::OSTypeEnum;

namespace {

// An index that an earlier release left behind; it must not be mistaken for this download's.
constexpr const char* kStaleIndex =
    "C:\\QRX_Support\\qrx_utl_svsp_a3sp09a-1.21_windows_32-64.xml\\hsk_sv_index.xml";

struct TDownloadRow {
  std::string_view osType;
  OSTypeEnum system;
  ArchTypeEnum architecture;
  std::string_view family;
};

// What is asked of the repository for each operating system. Windows descriptions are all filed
// under the 32-bit architecture.
constexpr std::array<TDownloadRow, 19> kDownloads = {{
    {"VMWARE3", OSTypeEnum::kVMware3, ArchTypeEnum::kX86, "VMware"},
    {"VMWARE4", OSTypeEnum::kVMware4, ArchTypeEnum::kX64, "VMware"},
    {"SLES9_64", OSTypeEnum::kSLES9, ArchTypeEnum::kX64, "Linux"},
    {"SLES10_64", OSTypeEnum::kSLES10, ArchTypeEnum::kX64, "Linux"},
    {"SLES11_64", OSTypeEnum::kSLES11, ArchTypeEnum::kX64, "Linux"},
    {"RHEL3_64", OSTypeEnum::kRHEL3, ArchTypeEnum::kX64, "Linux"},
    {"RHEL4_64", OSTypeEnum::kRHEL4, ArchTypeEnum::kX64, "Linux"},
    {"RHEL5_64", OSTypeEnum::kRHEL5, ArchTypeEnum::kX64, "Linux"},
    {"RHEL6_64", OSTypeEnum::kRHEL6, ArchTypeEnum::kX64, "Linux"},
    {"SLES9", OSTypeEnum::kSLES9, ArchTypeEnum::kX86, "Linux"},
    {"SLES10", OSTypeEnum::kSLES10, ArchTypeEnum::kX86, "Linux"},
    {"SLES11", OSTypeEnum::kSLES11, ArchTypeEnum::kX86, "Linux"},
    {"RHEL3", OSTypeEnum::kRHEL3, ArchTypeEnum::kX86, "Linux"},
    {"RHEL4", OSTypeEnum::kRHEL4, ArchTypeEnum::kX86, "Linux"},
    {"RHEL5", OSTypeEnum::kRHEL5, ArchTypeEnum::kX86, "Linux"},
    {"RHEL6", OSTypeEnum::kRHEL6, ArchTypeEnum::kX86, "Linux"},
    {"Windows 2003", OSTypeEnum::kWindows2003, ArchTypeEnum::kX86, "Windows 2003"},
    {"Windows 2000", OSTypeEnum::kWindows2000, ArchTypeEnum::kX86, "Windows 2000"},
    {"Windows 2008", OSTypeEnum::kWindows2008, ArchTypeEnum::kX86, "Windows 2008"},
}};
static_assert(!kDownloads.back().osType.empty(), "every row is filled");

const TDownloadRow* FindDownload(const std::string& osType) {
  const auto row = std::find_if(kDownloads.begin(), kDownloads.end(),
                                [&](const TDownloadRow& entry) { return entry.osType == osType; });
  return row == kDownloads.end() ? nullptr : &*row;
}

bool EndQuery(std::string_view warning) {
  PrintMessage(warning);
  return false;
}

}  // namespace

TLiveAcquisition::TLiveAcquisition(IPluginCallbacks& plugin, const CIMContext& context,
                                   const std::string& machineType,
                                   const TNamespaceHandle& catalogue)
    : plugin(plugin), context(context), machineType(machineType), catalogue(catalogue) {}

bool TLiveAcquisition::Run(std::string& osType) {
  RemoveFile(kStaleIndex);
  const TDownloadRow* row = FindDownload(osType);
  if (row == nullptr) {
    LogJoined(kLogError, {"Incorrect OS type! osType is ", osType});
    return EndQuery("     Warning: Incorrect OS type - SV comparison will not be available");
  }
  osType = row->family;
  return Download(row->system, row->architecture) && LoadFiles(osType);
}

bool TLiveAcquisition::Download(OSTypeEnum system, ArchTypeEnum architecture) {
  LogProgress("Starting kPL.");
  manager.emplace();
  manager->setDownloadPath(kDownloadFolder);
  SetProxy();
  manager->setMachineTypes({machineType});
  manager->setOperatingSystems({{system, architecture}});
  manager->setIncludeData(false);
  manager->setIsLatest(true);
  LogProgress("start downloading.");
  const int result = manager->startDownload(callback);
  if (result != 0) {
    LogJoined(kLogProgress, {"SV download failed, return value: ", std::to_string(result)});
    LogProgress("error connecting.");
    return EndQuery("     Warning: Cannot reach server - SV comparison will not be available");
  }
  LogProgress("ending kPL.");
  return true;
}

void TLiveAcquisition::SetProxy() {
  const auto entry = context.find("svProxy");
  if (entry == context.end()) return;
  if (const auto proxy = ParseProxy(entry->second.ToString(10))) manager->setProxy(*proxy);
}

bool TLiveAcquisition::LoadFiles(const std::string& family) {
  const std::vector<std::string> names = TOSSpecific::ListDir(kDownloadFolder);
  if (names.empty()) {
    LogProgress("error connecting.");
    return EndQuery(
        "     Warning: No update information found - SV comparison will not be available");
  }
  const std::string header = TSVPluginCallbacks::GetPluginDirectory(plugin) +
                             TOSSpecific::kFileSeparator + "sv\\header.xml";
  try {
    TSVPluginCallbacks::LoadCatalogueFile(header, catalogue);
    LoadDownloadedFiles(names, family, catalogue);
  } catch (const THSKException& exception) {
    ReportIndexFailure(exception);
    return false;
  }
  return true;
}
