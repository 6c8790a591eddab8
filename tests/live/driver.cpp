// Runs one download as a plug-in would, and writes what the callback was told.
//
//   live_driver JOB
//
// JOB is a JSON object. Standard output gets a JSON line for each message and, last, the return
// value and the phases that the observer saw.
#include <unistd.h>

#include <csignal>
#include <iostream>
#include <nlohmann/json.hpp>

#include "host/acquire/download_manager.h"
#include "runtime/acquire/settings.h"
#include "runtime/hskcore/host_setup.h"

namespace {

using nlohmann::json;
using std::chrono::milliseconds;

volatile std::sig_atomic_t stopped = 0;

// What a server says may be no UTF-8.
void Print(const json& line) {
  std::cout << line.dump(-1, ' ', false, json::error_handler_t::replace) << std::endl;
}

class TRecorder : public KPLAcquistion::AcquireCallbackIfc {
 public:
  void onStatus(std::int32_t kind, const std::string& text, std::int32_t code) override {
    Print({{"kind", kind}, {"text", text}, {"code", code}});
  }
};

class TObserver : public svc::acquire::IProgressObserver {
 public:
  void OnProgress(const svc::acquire::TDownloadProgress& progress) noexcept override {
    last = {{"phase", static_cast<int>(progress.phase)},
            {"files", progress.files},
            {"filesTotal", progress.filesTotal},
            {"bytes", progress.bytes},
            {"bytesTotal", progress.bytesTotal}};
  }
  json last;
};

svc::acquire::TLimits ReadLimits(const json& job) {
  svc::acquire::TLimits limits;
  limits.connect = milliseconds(job.value("connect", 2000));
  limits.stall = milliseconds(job.value("stall", 2000));
  limits.total = milliseconds(job.value("total", 30000));
  limits.lock = milliseconds(job.value("lock", 10000));
  limits.firstPause = milliseconds(job.value("firstPause", 20));
  limits.attempts = job.value("attempts", 3);
  limits.parallel = job.value("parallel", 4);
  limits.manifest = job.value("maxManifest", limits.manifest);
  limits.description = job.value("maxDescription", limits.description);
  return limits;
}

svc::acquire::TSettings ReadSettings(const json& job, TObserver& observer) {
  svc::acquire::TSettings settings;
  settings.repository = job.value("repository", "");
  settings.publicKeyFile = job.value("key", "");
  settings.allowUnsigned = job.value("allowUnsigned", false);
  settings.caFile = job.value("caFile", "");
  settings.offline = job.value("offline", false);
  settings.proxy = job.value("proxyAddress", "");
  settings.stateFolder = job.value("state", "");
  settings.limits = ReadLimits(job);
  settings.observer = &observer;
  settings.stopRequested = [] { return stopped != 0; };
  return settings;
}

void Prepare(KPLAcquistion::DownloadManager& manager, const json& job) {
  manager.setDownloadPath(job.at("folder"));
  manager.setMachineTypes(job.value("machineTypes", std::vector<std::string>{"4620"}));
  manager.setOperatingSystems({{static_cast<KPLAcquistion::OSTypeEnum>(job.value("os", 203)),
                                static_cast<KPLAcquistion::ArchTypeEnum>(job.value("arch", 2))}});
  manager.setIncludeData(job.value("payloads", false));
  manager.setIsLatest(job.value("latest", true));
  if (!job.contains("proxy")) return;
  const json& proxy = job["proxy"];
  manager.setProxy({true, proxy.value("host", ""), proxy.value("port", 0), proxy.value("user", ""),
                    proxy.value("password", "")});
}

}  // namespace

int main(int, char** arguments) {
  std::signal(SIGINT, [](int) { stopped = 1; });
  const json job = json::parse(arguments[1]);
  svc::SetDriveRoot(job.value("driveRoot", ""));
  TObserver observer;
  svc::acquire::SetSettings(ReadSettings(job, observer));
  KPLAcquistion::DownloadManager manager;
  Prepare(manager, job);
  TRecorder recorder;
  const int code = manager.startDownload(recorder);
  const svc::acquire::TOutcome outcome = svc::acquire::LastOutcome();
  Print({{"return", code}, {"outcome", outcome.text}, {"progress", observer.last}});
}
