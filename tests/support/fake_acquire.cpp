// The acquisition library, replaced at link time: notes its settings in the current host, plays the
// messages that a test wrote, and gives the result that it chose.
#include <string>

#include "host/acquire/download_manager.h"
#include "tests/support/fake_host.h"

using svc::test::TFakeHost;

namespace {

void Note(const std::string& call) { TFakeHost::Current().script.Enter(call); }

}  // namespace

namespace KPLAcquistion {

struct DownloadManager::Settings {};

void AcquireCallbackIfc::sendMessage(ContentNode, bool) {}
AcquireCallbackIfc::~AcquireCallbackIfc() = default;

DownloadManager::DownloadManager() { Note("DownloadManager"); }
DownloadManager::~DownloadManager() = default;

void DownloadManager::setDownloadPath(const std::string& path) { Note("setDownloadPath " + path); }

void DownloadManager::setProxy(const HTTPProxyInfo& proxy) {
  Note("setProxy");
  TFakeHost::Current().download.proxy = proxy;
}

void DownloadManager::setMachineTypes(const std::vector<std::string>& machineTypes) {
  std::string call = "setMachineTypes";
  for (const std::string& type : machineTypes) call += " " + type;
  Note(call);
}

void DownloadManager::setOperatingSystems(
    std::vector<std::pair<OSTypeEnum, ArchTypeEnum>> operatingSystems) {
  std::string call = "setOperatingSystems";
  for (const auto& [system, architecture] : operatingSystems) {
    call += " " + std::to_string(static_cast<int>(system)) + "/" +
            std::to_string(static_cast<int>(architecture));
  }
  Note(call);
}

void DownloadManager::setIncludeData(bool includeData) {
  Note(std::string("setIncludeData ") + (includeData ? "true" : "false"));
}

void DownloadManager::setIsLatest(bool isLatest) {
  Note(std::string("setIsLatest ") + (isLatest ? "true" : "false"));
}

int DownloadManager::startDownload(AcquireCallbackIfc& callback) {
  Note("startDownload");
  const svc::test::TFakeDownload& download = TFakeHost::Current().download;
  for (const auto& [kind, text, code] : download.messages) callback.onStatus(kind, text, code);
  return download.result;
}

}  // namespace KPLAcquistion
