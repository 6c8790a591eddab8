// What a download does with the bytes of a file: keep the manifest and its signature in memory,
// bring everything else into the download folder.
#ifndef RUNTIME_ACQUIRE_TARGETS_H_
#define RUNTIME_ACQUIRE_TARGETS_H_

#include <memory>
#include <string>

#include "runtime/acquire/crypto.h"
#include "runtime/acquire/fetcher.h"
#include "runtime/acquire/manifest.h"
#include "runtime/acquire/progress_report.h"
#include "runtime/acquire/staged_file.h"

namespace svc::acquire {

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

#endif  // RUNTIME_ACQUIRE_TARGETS_H_
