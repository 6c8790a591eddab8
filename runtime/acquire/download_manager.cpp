#include <exception>
#include <mutex>
#include <utility>

#include "base/module.h"
#include "base/shown_text.h"
#include "host/acquire/download_manager.h"
#include "host/hskcore/os_specific.h"
#include "runtime/acquire/engine.h"
#include "runtime/acquire/settings.h"

namespace KPLAcquistion {

struct DownloadManager::Settings : svc::acquire::TDownloadJob {};

namespace {

using svc::acquire::DownloadError;
using svc::acquire::EOutcome;
using svc::acquire::TDownloadJob;
using svc::acquire::TOutcome;
using svc::acquire::TSettings;

void CheckSettings(const TSettings& settings) {
  if (settings.repository.empty())
    throw DownloadError(EOutcome::kNoRepository,
                        "no repository to download from; name one with --repository URL");
  if (settings.publicKeyFile.empty() && !settings.allowUnsigned)
    throw DownloadError(EOutcome::kNoKey,
                        "nothing says whom to trust; name the repository's public key with "
                        "--repository-key FILE, or say --allow-unsigned");
}

void Run(const TDownloadJob& job, AcquireCallbackIfc& callback, TOutcome& outcome) {
  if (job.settings.offline) return;
  CheckSettings(job.settings);
  const auto engine = svc::acquire::FindInModule<svc::acquire::TEngineFunction>(
      svc::acquire::kEngineModule, svc::acquire::kEngineFunction);
  engine(job, callback, outcome);
}

TOutcome Download(const TDownloadJob& job, AcquireCallbackIfc& callback) {
  TOutcome outcome;
  try {
    Run(job, callback, outcome);
  } catch (const std::exception& failure) {
    outcome = {svc::acquire::OutcomeOf(failure), failure.what()};
  }
  return outcome;
}

}  // namespace

DownloadManager::DownloadManager() : settings(std::make_unique<Settings>()) {}
DownloadManager::~DownloadManager() = default;

void DownloadManager::setDownloadPath(const std::string& path) { settings->folder = path; }
void DownloadManager::setProxy(const HTTPProxyInfo& proxy) { settings->proxy = proxy; }
void DownloadManager::setIncludeData(bool includeData) { settings->includeData = includeData; }
void DownloadManager::setIsLatest(bool isLatest) { settings->latestOnly = isLatest; }

void DownloadManager::setMachineTypes(const std::vector<std::string>& machineTypes) {
  settings->machineTypes = machineTypes;
}

void DownloadManager::setOperatingSystems(
    std::vector<std::pair<OSTypeEnum, ArchTypeEnum>> operatingSystems) {
  settings->systems = std::move(operatingSystems);
}

int DownloadManager::startDownload(AcquireCallbackIfc& callback) {
  TDownloadJob job = *settings;
  job.folder = NQRXHSK20::TOSSpecific::NativePath(settings->folder);
  job.settings = svc::acquire::GetSettings();
  const TOutcome outcome = Download(job, callback);
  svc::acquire::SetLastOutcome(outcome);
  const int code = static_cast<int>(outcome.code);
  callback.onStatus(kStatus, outcome.text.empty() ? "done" : outcome.text, code);
  if (code != 0 && !job.settings.isReported)
    callback.sendMessage({"svcheck: download", outcome.text}, true);
  return code;
}

AcquireCallbackIfc::~AcquireCallbackIfc() = default;

// What went wrong reaches the person even through a callback that shows nothing itself. It may hold
// what a server said before anybody knew whether to trust it.
void AcquireCallbackIfc::sendMessage(ContentNode node, bool isError) {
  if (isError) svc::ShowLine(node.item + ": " + node.text);
}

}  // namespace KPLAcquistion

namespace svc::acquire {
namespace {

struct TShared {
  std::mutex mutex;
  TSettings settings;
  TOutcome outcome;
};

TShared& Shared() {
  static TShared shared;
  return shared;
}

}  // namespace

void SetSettings(TSettings settings) {
  const std::scoped_lock lock(Shared().mutex);
  Shared().settings = std::move(settings);
}

TSettings GetSettings() {
  const std::scoped_lock lock(Shared().mutex);
  return Shared().settings;
}

void SetLastOutcome(TOutcome outcome) {
  const std::scoped_lock lock(Shared().mutex);
  Shared().outcome = std::move(outcome);
}

TOutcome LastOutcome() {
  const std::scoped_lock lock(Shared().mutex);
  return Shared().outcome;
}

void* AddressInModule(const std::string& module, const char* name) {
  const auto find = [&] {
    const std::string folder = FolderOfCode(reinterpret_cast<const void*>(&AddressInModule));
    TModule loaded(ModuleFile(folder, module));
    void* const address = loaded.Demand<void*>(name);
    loaded.Keep();
    return address;
  };
  return Retold(find, [](const TError& error) {
    return DownloadError(EOutcome::kIncomplete,
                         std::string("part of the installation cannot be loaded: ") + error.what() +
                             "; install the program again, with its libraries");
  });
}

}  // namespace svc::acquire
