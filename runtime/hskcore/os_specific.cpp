#include "host/hskcore/os_specific.h"

#include <mutex>

#include "runtime/hskcore/host_setup.h"
#include "runtime/hskcore/os_platform.h"

namespace svc {

namespace {

// What the program set; never destroyed, since paths are mapped until the process ends.
struct TPathSettings {
  std::mutex mutex;
  std::string driveRoot;
  std::string standInFor;
  std::string standIn;
};

TPathSettings& Settings() {
  static TPathSettings& settings = *new TPathSettings;
  return settings;
}

}  // namespace

void SetDriveRoot(const std::string& folder) {
  const std::lock_guard lock(Settings().mutex);
  Settings().driveRoot = folder;
}

std::string DriveRoot() {
  const std::lock_guard lock(Settings().mutex);
  return Settings().driveRoot.empty() ? DefaultDriveRoot() : Settings().driveRoot;
}

void SetStandInFile(const std::string& path, const std::string& native) {
  const std::lock_guard lock(Settings().mutex);
  Settings().standInFor = path;
  Settings().standIn = native;
}

std::string StandInFile(const std::string& path) {
  const std::lock_guard lock(Settings().mutex);
  return !path.empty() && path == Settings().standInFor ? Settings().standIn : std::string();
}

}  // namespace svc
