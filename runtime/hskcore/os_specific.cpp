#include "host/hskcore/os_specific.h"

#include <atomic>
#include <mutex>

#include "runtime/hskcore/host_setup.h"
#include "runtime/hskcore/os_platform.h"

namespace svc {

namespace {

// What the program set; never destroyed, since paths are mapped until the process ends.
struct TPathSettings {
  std::mutex mutex;
  std::string driveRoot;
};

TPathSettings& Settings() {
  static TPathSettings& settings = *new TPathSettings;
  return settings;
}

constinit std::atomic<IFilePreparer*> filePreparer{nullptr};

}  // namespace

void SetDriveRoot(const std::string& folder) {
  const std::lock_guard lock(Settings().mutex);
  Settings().driveRoot = folder;
}

std::string DriveRoot() {
  const std::lock_guard lock(Settings().mutex);
  return Settings().driveRoot.empty() ? DefaultDriveRoot() : Settings().driveRoot;
}

IFilePreparer* SetFilePreparer(IFilePreparer* preparer) noexcept {
  return filePreparer.exchange(preparer);
}

void PrepareFile(const std::string& path, const std::string& native) {
  if (IFilePreparer* const preparer = filePreparer.load()) preparer->Prepare(path, native);
}

std::string OpenedFor(const std::string& path, std::string native) {
  const IFilePreparer* const preparer = filePreparer.load();
  std::string other = preparer == nullptr ? std::string() : preparer->InPlaceOf(path);
  return other.empty() ? native : other;
}

}  // namespace svc
