// Downloading update descriptions.
#ifndef HOST_ACQUIRE_DOWNLOAD_MANAGER_H_
#define HOST_ACQUIRE_DOWNLOAD_MANAGER_H_

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/acquire/acquire_callback.h"
#include "host/hskcore/export.h"

namespace KPLAcquistion {

// The numbers are those that a repository's manifest uses.
enum class OSTypeEnum : std::int32_t {
  kWindows2000 = 102,
  kWindows2003 = 103,
  kWindows2008 = 109,
  kRHEL3 = 201,
  kRHEL4 = 202,
  kRHEL5 = 203,
  kRHEL6 = 204,
  kSLES9 = 222,
  kSLES10 = 223,
  kSLES11 = 224,
  kVMware3 = 303,
  kVMware4 = 304
};

enum class ArchTypeEnum : std::int32_t { kX86 = 1, kX64 = 2 };

struct HTTPProxyInfo {
  bool enabled = false;
  std::string host;
  std::int32_t port = 0;
  std::string user;
  std::string password;
};

// One download of the descriptions for some machine types and operating systems. Copies what it
// is given. Used from one thread.
class ACQUIRE_API DownloadManager {
 public:
  DownloadManager();
  ~DownloadManager();
  DownloadManager(const DownloadManager&) = delete;
  DownloadManager& operator=(const DownloadManager&) = delete;

  // The folder that receives the files; made when it is missing. May have the Windows form.
  void setDownloadPath(const std::string& path);
  void setProxy(const HTTPProxyInfo& proxy);
  void setMachineTypes(const std::vector<std::string>& machineTypes);
  void setOperatingSystems(std::vector<std::pair<OSTypeEnum, ArchTypeEnum>> operatingSystems);
  // Whether to fetch the update payloads as well as their descriptions.
  void setIncludeData(bool includeData);
  // Whether to fetch only the latest of each update.
  void setIsLatest(bool isLatest);
  // Runs the whole download on the calling thread. 0 when every file asked for is in the folder;
  // another number says what went wrong. Throws nothing of its own.
  int startDownload(AcquireCallbackIfc& callback);

 private:
  struct Settings;
  std::unique_ptr<Settings> settings;
};

}  // namespace KPLAcquistion

#endif  // HOST_ACQUIRE_DOWNLOAD_MANAGER_H_
