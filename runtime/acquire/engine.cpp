#include "runtime/acquire/engine.h"

#include <exception>
#include <new>
#include <set>

#include "runtime/acquire/address.h"
#include "runtime/acquire/crypto.h"
#include "runtime/acquire/download_folder.h"
#include "runtime/acquire/fetcher.h"
#include "runtime/acquire/manifest.h"
#include "runtime/acquire/progress_report.h"

namespace svc::acquire {
namespace {

// One for each repository, whatever the catalogues that are made of it.
std::string FolderOfFetched(const std::string& stateFolder, const std::string& address) {
  const std::string state = stateFolder.empty() ? DefaultStateFolder() : stateFolder;
  return state + "/fetched/" + ToHex(Hash(EHash::kSha256, RepositoryKey(address))).substr(0, 32);
}

// One download, from the address to the files in the folder.
class TDownload {
 public:
  TDownload(const TDownloadJob& job, TProgressReport& report)
      : job(job),
        report(report),
        watch(job.settings.stopRequested, job.settings.limits.total, time),
        repository(RepositoryAddress(job.settings.repository)) {}

  // Returns the names of what the repository offers, superseded files left out.
  std::vector<std::string> Run() {
    const std::optional<TPublicKey> key = Key();
    const auto transport = MakeTransport(TransportOptions());
    TFetcher fetcher(*transport, repository, Limits(), watch);
    report.Waiting();
    TDownloadFolder folder(job.folder, Limits().lock, watch);
    report.Listing();
    const TManifest manifest = Accept(fetcher, key);
    const std::vector<TManifestFile> wanted = Select(manifest, Selection());
    Bring(Missing(wanted, folder), folder, fetcher);
    report.Result(wanted);
    std::vector<std::string> offered;
    for (const TManifestFile& file : manifest.files)
      if (file.latest) offered.push_back(file.name);
    return offered;
  }

  TFetched Fetch() {
    const std::optional<TPublicKey> key = Key();
    const auto transport = MakeTransport(TransportOptions());
    TFetcher fetcher(*transport, repository, Limits(), watch);
    report.Waiting();
    TDownloadFolder folder(FolderOfFetched(job.settings.stateFolder, ShownAddress(repository)),
                           Limits().lock, watch);
    report.Listing();
    const TManifest manifest = Accept(fetcher, key);
    const std::vector<TManifestFile> wanted = SelectDescriptions(manifest, job.machineTypes);
    Bring(Missing(wanted, folder), folder, fetcher);
    std::set<std::string> named;
    for (const TManifestFile& file : manifest.files) named.insert(file.sha256);
    folder.Keep(named);
    TFetched fetched{manifest.serial, {}};
    for (const TManifestFile& file : wanted)
      fetched.files.push_back({file.path, folder.PathOf(file)});
    return fetched;
  }

 private:
  const TLimits& Limits() const { return job.settings.limits; }

  // A key that is named counts, also where unsigned repositories are allowed.
  std::optional<TPublicKey> Key() const {
    if (job.settings.publicKeyFile.empty()) return std::nullopt;
    return ReadPublicKey(job.settings.publicKeyFile);
  }

  TTransportOptions TransportOptions() const {
    return {ChooseProxy(job), job.settings.caFile, Limits().connect, Limits().stall};
  }

  TManifest Accept(TFetcher& fetcher, const std::optional<TPublicKey>& key) const {
    TSerialStore serials(job.settings.stateFolder, ShownAddress(repository));
    TManifest manifest = FetchManifest(fetcher, Limits(), key);
    const auto now = std::chrono::system_clock::now();
    CheckManifest(manifest, std::chrono::floor<std::chrono::seconds>(now), Limits());
    CheckSerial(manifest, serials.Last());
    serials.Accept(manifest.serial);
    return manifest;
  }

  TSelection Selection() const {
    TSelection selection{job.machineTypes, {}, job.latestOnly, job.includeData};
    for (const TSystem& system : job.systems)
      selection.systems.emplace_back(static_cast<std::int32_t>(system.first),
                                     static_cast<std::int32_t>(system.second));
    return selection;
  }

  std::vector<TManifestFile> Missing(const std::vector<TManifestFile>& wanted,
                                     const TDownloadFolder& folder) const {
    std::vector<TManifestFile> missing;
    for (const TManifestFile& file : wanted)
      if (!folder.Has(file, watch)) missing.push_back(file);
    return missing;
  }

  void Bring(const std::vector<TManifestFile>& files, TDownloadFolder& folder,
             TFetcher& fetcher) const {
    report.Files(files);
    if (files.empty()) return;
    std::vector<std::unique_ptr<TFileTarget>> targets;
    std::vector<IFetchTarget*> borrowed;
    for (const TManifestFile& file : files) {
      targets.push_back(std::make_unique<TFileTarget>(file, folder.NextStagedPath(),
                                                      folder.PathOf(file), report));
      borrowed.push_back(targets.back().get());
    }
    fetcher.Fetch(borrowed);
    folder.Sync();
  }

  const TDownloadJob& job;
  TProgressReport& report;
  TMachineTime time;
  TWatch watch;
  std::string repository;
};

template <typename TAction>
TOutcome EndOf(const TDownloadJob& job, KPLAcquistion::AcquireCallbackIfc& callback,
               const TAction& action) {
  try {
    TProgressReport report(job, callback);
    TDownload download(job, report);
    return action(download);
  } catch (const std::bad_alloc&) {
    return {EOutcome::kFailed, "there is not enough memory"};
  } catch (const std::exception& failure) {
    return {OutcomeOf(failure), failure.what()};
  } catch (...) {
    return {EOutcome::kFailed, "the callback failed in a way of its own"};
  }
}

}  // namespace

void FetchDescriptions(const TDownloadJob& job, TFetched& fetched, TOutcome& outcome) noexcept {
  class TUnheard : public KPLAcquistion::AcquireCallbackIfc {
    void onStatus(std::int32_t /*kind*/, const std::string& /*text*/,
                  std::int32_t /*code*/) override {}
  } unheard;
  outcome = EndOf(job, unheard, [&](TDownload& download) {
    fetched = download.Fetch();
    return TOutcome{};
  });
}

void RunDownload(const TDownloadJob& job, KPLAcquistion::AcquireCallbackIfc& callback,
                 TOutcome& outcome) noexcept {
  outcome = EndOf(job, callback, [](TDownload& download) {
    return TOutcome{EOutcome::kDone, "", download.Run()};
  });
}

}  // namespace svc::acquire

// What the module shows to the library that loads it.
extern "C" HOST_EXPORT void SvcRunDownload(const svc::acquire::TDownloadJob& job,
                                           KPLAcquistion::AcquireCallbackIfc& callback,
                                           svc::acquire::TOutcome& outcome) noexcept {
  svc::acquire::RunDownload(job, callback, outcome);
}

extern "C" HOST_EXPORT void SvcFetchDescriptions(const svc::acquire::TDownloadJob& job,
                                                 svc::acquire::TFetched& fetched,
                                                 svc::acquire::TOutcome& outcome) noexcept {
  svc::acquire::FetchDescriptions(job, fetched, outcome);
}
