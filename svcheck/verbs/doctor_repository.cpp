#include <filesystem>
#include <string>

#include "host/acquire/acquire_callback.h"
#include "runtime/acquire/engine.h"
#include "runtime/acquire/module.h"
#include "runtime/acquire/shown_address.h"
#include "runtime/hskcore/host_setup.h"
#include "svcheck/session/download_remarks.h"
#include "svcheck/system/paths.h"
#include "svcheck/system/process.h"
#include "svcheck/verbs/doctor_findings.h"

namespace fs = std::filesystem;

namespace svc {

namespace {

class TSilentCallback : public KPLAcquistion::AcquireCallbackIfc {
 public:
  void onStatus(std::int32_t /*kind*/, const std::string& /*text*/,
                std::int32_t /*code*/) override {}
};

// A folder that is gone with its holder.
class TScratchFolder {
 public:
  TScratchFolder() : path(MakeScratchFolder("doctor")) {}
  ~TScratchFolder() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }
  TScratchFolder(const TScratchFolder&) = delete;
  TScratchFolder& operator=(const TScratchFolder&) = delete;

  std::string Download() const { return (path / "download").string(); }
  // Serials that are accepted here do not count elsewhere.
  std::string State() const { return (path / "state").string(); }

 private:
  fs::path path;
};

acquire::TOutcome Fetch(const TQueryOptions& options) {
  const TScratchFolder folder;
  ApplyDownloadSettings(options);
  acquire::TDownloadJob job;
  job.folder = folder.Download();
  job.settings = acquire::GetSettings();
  job.settings.stateFolder = folder.State();
  job.settings.limits.attempts = 1;
  const auto run = reinterpret_cast<acquire::TEngineFunction>(
      acquire::FindInModule(acquire::kEngineModule, acquire::kEngineFunction));
  TSilentCallback callback;
  acquire::TOutcome outcome;
  run(job, callback, outcome);
  return outcome;
}

}  // namespace

TFinding ExamineRepository(const TQueryOptions& options) {
  if (options.repository.empty()) {
    return {"repository", EFinding::kUnset, "none is named",
            "give --repository URL where catalogues are to be downloaded"};
  }
  const std::string shown = acquire::ShownAddress(options.repository);
  if (options.repositoryKey.empty() && !options.allowUnsigned) {
    return {"repository", EFinding::kProblem, shown + ": nobody is named to trust",
            "give the publisher's public key with --repository-key FILE"};
  }
  if (options.offline) {
    return {"repository", EFinding::kUnset, shown + " is not asked, being offline", {}};
  }
  try {
    if (!options.driveRoot.empty()) SetDriveRoot(Absolute(options.driveRoot).string());
    const acquire::TOutcome outcome = Fetch(options);
    if (!outcome.text.empty()) {
      return {"repository", EFinding::kProblem, outcome.text,
              "number " + std::to_string(static_cast<int>(outcome.code)) +
                  " of the table in docs/live-mode.md"};
    }
    const std::string state =
        shown + (options.repositoryKey.empty() ? ", reachable, not signed"
                                               : ", reachable, its signature is good");
    const std::vector<std::string> names = FilesNotOffered(outcome);
    if (names.empty()) return {"repository", EFinding::kGood, state, {}};
    return {"repository", EFinding::kWarning, state + "; " + RemarkOnFilesNotOffered(names),
            AdviceOnFilesNotOffered()};
  } catch (const std::exception& error) {
    return {"repository", EFinding::kProblem, error.what(), "check the folder for temporary files"};
  }
}

}  // namespace svc
