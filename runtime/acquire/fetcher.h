// Getting files through everything that may go wrong on the way: several at once, gone on with
// after a broken transfer, tried again with growing pauses, within limits.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/acquire/crypto.h"
#include "runtime/acquire/download_folder.h"
#include "runtime/acquire/manifest.h"
#include "runtime/acquire/progress_report.h"
#include "runtime/acquire/settings.h"
#include "runtime/acquire/transport.h"

namespace svc::acquire {

// What a file's bytes are for. Operations throw TError to end the whole download.
class IFetchTarget {
 public:
  virtual ~IFetchTarget() = default;
  // Below the repository's address.
  virtual std::string Path() const = 0;
  // Bytes that are here already.
  virtual std::uint64_t Held() const = 0;
  // Forgets them.
  virtual void StartOver() = 0;
  // The server says how long the file is.
  virtual void CheckLength(std::uint64_t length) = 0;
  virtual void Append(std::string_view bytes) = 0;
  // Nothing more comes. Throws TError (kBroken) when that was too early.
  virtual void Finish() = 0;
};

// One thread.
class TFetcher {
 public:
  TFetcher(ITransport& transport, std::string repository, const TLimits& limits,
           const TWatch& watch);
  ~TFetcher();

  // Gets every target or throws TError; then nothing is under way any more. The targets before
  // the failure are finished or not, each for itself.
  void Fetch(const std::vector<IFetchTarget*>& targets);

 private:
  class TErrand;
  using TErrands = std::vector<std::unique_ptr<TErrand>>;

  void Run(TErrands& waiting);
  void StartDue(TErrands& waiting, TErrands& active);
  void Settle(TErrand& errand, const TTransferResult& result);
  void Conclude(TErrand& errand, const TTransferResult& result);
  std::chrono::milliseconds PauseAfter(int attempts);

  ITransport& transport;
  std::string repository;
  const TLimits& limits;
  const TWatch& watch;
  std::minstd_rand random;
};

// What the end of a transfer means: whether to try again, and what to say when that is no use.

// REQUIRES: the transfer did not bring the file.
TError FailureOf(const TTransferResult& result);

// Whether the same request may go well later.
bool MayPass(const TTransferResult& result);

// Getting the manifest of a repository, as its publisher signed it.

// Fetches the manifest; with a key also its signature, which is verified before anything of the
// manifest is read. Throws TError.
TManifest FetchManifest(TFetcher& fetcher, const TLimits& limits,
                        const std::optional<TPublicKey>& key);

// Where the bytes of a download go: the manifest and its signature are kept in memory, everything
// else goes into the download folder.

// A text of limited length. One thread.
class TTextTarget : public IFetchTarget {
 public:
  TTextTarget(std::string path, std::uint64_t limit) : path(std::move(path)), limit(limit) {}

  std::string Path() const override { return path; }
  std::uint64_t Held() const override { return text.size(); }
  void StartOver() override { text.clear(); }
  void CheckLength(std::uint64_t length) override;
  void Append(std::string_view bytes) override;
  void Finish() override {}

  const std::string& Text() const { return text; }

 private:
  std::string path;
  std::uint64_t limit;
  std::string text;
};

// A file of the manifest: staged while it arrives, checked on the way, in the folder when it is
// whole. One thread.
class TFileTarget : public IFetchTarget {
 public:
  // Staged as the path `staged`, published as the path `published`; the report outlives it.
  TFileTarget(TManifestFile file, std::string staged, std::string published,
              TProgressReport& report);

  std::string Path() const override { return file.path; }
  std::uint64_t Held() const override { return held; }
  void StartOver() override;
  void CheckLength(std::uint64_t length) override;
  void Append(std::string_view bytes) override;
  void Finish() override;

 private:
  TManifestFile file;
  std::string stagedPath;
  std::string publishedPath;
  TProgressReport& report;
  std::unique_ptr<TStagedFile> staged;
  THasher hasher{EHash::kSha256};
  std::uint64_t held = 0;
};

}  // namespace svc::acquire
