// Downloading update descriptions, and how a download reports its progress.
#ifndef HOST_ACQUIRE_DOWNLOAD_MANAGER_H_
#define HOST_ACQUIRE_DOWNLOAD_MANAGER_H_

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/hskcore/export.h"

namespace KPLAcquistion {

// --- Progress ---

// A free-form message for a person, with the item that it is about.
struct ContentNode {
  std::string item;
  std::string text;
};

// Kinds of onStatus messages. The text is a list of fields joined by ":".
enum EAcquireMessage : std::int32_t {
  kItemStarted = 0,    // item:detail
  kItemProgress = 1,   // item:detail
  kItemState = 2,      // item:detail
  kListing = 3,        // machine type:operating system
  kTotal = 4,          // machine type:operating system:number of items
  kStatus = 5,         // the code is the news
  kReport = 6,         // machine type:operating system
  kReportTotal = 7,    // machine type:operating system:number of items
  kReportItem = 8,     // item:detail
  kReportItemEnd = 9,  // item:detail
  kItemEnded = 13      // item:detail
};

// The library borrows the object for the length of one download and calls it on the thread of
// startDownload, one call at a time. The order of the operations is the order of their slots.
class HOST_INTERFACE AcquireCallbackIfc {
 public:
  ACQUIRE_API virtual void sendMessage(ContentNode node, bool isError);
  virtual void onStatus(std::int32_t kind, const std::string& text, std::int32_t code) = 0;
  ACQUIRE_API virtual ~AcquireCallbackIfc();
};

// --- What is downloaded ---

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
