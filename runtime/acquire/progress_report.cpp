#include "runtime/acquire/progress_report.h"

#include <algorithm>
#include <array>

namespace svc::acquire {
namespace {

using KPLAcquistion::ArchTypeEnum;
using KPLAcquistion::OSTypeEnum;
using EPhase = TDownloadProgress::EPhase;

constexpr std::chrono::milliseconds kBetween{100};

struct TSystemName {
  OSTypeEnum system;
  const char* name;
};
constexpr std::array<TSystemName, 12> kSystemNames = {{
    {OSTypeEnum::kWindows2000, "Windows 2000"},
    {OSTypeEnum::kWindows2003, "Windows 2003"},
    {OSTypeEnum::kWindows2008, "Windows 2008"},
    {OSTypeEnum::kRHEL3, "Red Hat Enterprise Linux 3"},
    {OSTypeEnum::kRHEL4, "Red Hat Enterprise Linux 4"},
    {OSTypeEnum::kRHEL5, "Red Hat Enterprise Linux 5"},
    {OSTypeEnum::kRHEL6, "Red Hat Enterprise Linux 6"},
    {OSTypeEnum::kSLES9, "SUSE Linux Enterprise Server 9"},
    {OSTypeEnum::kSLES10, "SUSE Linux Enterprise Server 10"},
    {OSTypeEnum::kSLES11, "SUSE Linux Enterprise Server 11"},
    {OSTypeEnum::kVMware3, "VMware ESX 3"},
    {OSTypeEnum::kVMware4, "VMware ESX 4"},
}};

// A colon would begin the message's next field.
std::string Field(std::string text) {
  std::ranges::replace(text, ':', ' ');
  return text;
}

std::uint64_t TotalSize(const std::vector<TManifestFile>& files) {
  std::uint64_t total = 0;
  for (const TManifestFile& file : files) total += file.size;
  return total;
}

}  // namespace

std::string SystemName(const TSystem& system) {
  const auto found = std::ranges::find(kSystemNames, system.first, &TSystemName::system);
  const std::string name = found != kSystemNames.end()
                               ? found->name
                               : std::to_string(static_cast<std::int32_t>(system.first));
  return name + (system.second == ArchTypeEnum::kX64 ? " x64" : " x86");
}

TProgressReport::~TProgressReport() { Observe(EPhase::kEnded); }

void TProgressReport::Waiting() { Observe(EPhase::kWaiting); }

void TProgressReport::Listing() {
  Observe(EPhase::kListing);
  for (const std::string& machineType : job.machineTypes)
    for (const TSystem& system : job.systems)
      Tell(KPLAcquistion::kListing, Field(machineType) + ":" + SystemName(system));
}

void TProgressReport::Files(const std::vector<TManifestFile>& files) {
  progress.filesTotal = files.size();
  progress.bytesTotal = TotalSize(files);
  Observe(EPhase::kFiles);
  TellOfEach(-1, KPLAcquistion::kTotal, files);
}

void TProgressReport::Result(const std::vector<TManifestFile>& files) {
  TellOfEach(KPLAcquistion::kReport, KPLAcquistion::kReportTotal, files);
  for (const TManifestFile& file : files) {
    Tell(KPLAcquistion::kReportItem, file.name + ":" + std::to_string(file.size));
    Tell(KPLAcquistion::kReportItemEnd, file.name + ":verified");
  }
}

// For each machine and system: a heading where there is one, and the number of its files.
void TProgressReport::TellOfEach(std::int32_t kind, std::int32_t totalKind,
                                 const std::vector<TManifestFile>& files) {
  for (const std::string& machineType : job.machineTypes)
    for (const TSystem& system : job.systems) {
      const std::string text = Field(machineType) + ":" + SystemName(system);
      const TSelection selection{
          {machineType},
          {{static_cast<std::int32_t>(system.first), static_cast<std::int32_t>(system.second)}},
          job.latestOnly,
          job.includeData};
      const auto isOfThese = [&](const TManifestFile& file) { return IsSelected(file, selection); };
      if (kind >= 0) Tell(kind, text);
      Tell(totalKind, text + ":" + std::to_string(std::ranges::count_if(files, isOfThese)));
    }
}

void TProgressReport::ItemStarted(const std::string& name, std::uint64_t size) {
  Tell(KPLAcquistion::kItemStarted, name + ":" + std::to_string(size));
}

void TProgressReport::Received(const std::string& name, std::uint64_t held, std::uint64_t bytes) {
  progress.bytes += bytes;
  const auto now = std::chrono::steady_clock::now();
  if (now - lastTold < kBetween) return;
  lastTold = now;
  Tell(KPLAcquistion::kItemProgress, name + ":" + std::to_string(held));
  Observe(EPhase::kFiles);
}

void TProgressReport::ItemEnded(const std::string& name) {
  ++progress.files;
  Tell(KPLAcquistion::kItemEnded, name + ":verified");
  Observe(EPhase::kFiles);
}

void TProgressReport::Tell(std::int32_t kind, const std::string& text) {
  callback.onStatus(kind, text, static_cast<std::int32_t>(EOutcome::kAtWork));
}

void TProgressReport::Observe(EPhase phase) {
  progress.phase = phase;
  if (job.settings.observer != nullptr) job.settings.observer->OnProgress(progress);
}

}  // namespace svc::acquire
