#include "runtime/acquire/targets.h"

#include "runtime/acquire/minisign.h"

namespace svc::acquire {
namespace {

TError WrongFile(const TManifestFile& file, const std::string& what) {
  return DownloadError(EOutcome::kBadContent,
                       file.path + " is not the file that the manifest describes: " + what +
                           "; the repository is being changed or was tampered with");
}

}  // namespace

void TTextTarget::CheckLength(std::uint64_t length) {
  if (length > limit)
    throw DownloadError(EOutcome::kTooLarge, path + " is longer than the " + std::to_string(limit) +
                                                 " bytes that this program takes");
}

void TTextTarget::Append(std::string_view bytes) {
  CheckLength(text.size() + bytes.size());
  text += bytes;
}

TFileTarget::TFileTarget(TManifestFile description, std::string staged, std::string published,
                         TProgressReport& report)
    : file(std::move(description)),
      stagedPath(std::move(staged)),
      publishedPath(std::move(published)),
      report(report) {}

void TFileTarget::StartOver() {
  report.Forget(held);
  held = 0;
  hasher = THasher(EHash::kSha256);
  if (staged) staged->StartOver();
}

void TFileTarget::CheckLength(std::uint64_t length) {
  if (length != file.size)
    throw WrongFile(file, "the server's has " + std::to_string(length) + " bytes, not " +
                              std::to_string(file.size));
  if (staged) return;
  staged = std::make_unique<TStagedFile>(stagedPath);
  report.ItemStarted(file.name, file.size);
}

void TFileTarget::Append(std::string_view bytes) {
  if (bytes.size() > file.size - held)
    throw WrongFile(file,
                    "the server's goes on beyond its " + std::to_string(file.size) + " bytes");
  if (!staged) CheckLength(file.size);
  staged->Write(bytes);
  hasher.Update(bytes);
  held += bytes.size();
  report.Received(file.name, held, bytes.size());
}

void TFileTarget::Finish() {
  if (held < file.size)
    throw DownloadError(EOutcome::kBroken, file.path + " ended after " + std::to_string(held) +
                                               " of " + std::to_string(file.size) +
                                               " bytes; try again later");
  if (!staged) CheckLength(file.size);
  if (ToHex(hasher.Digest()) != file.sha256) throw WrongFile(file, "its SHA-256 is another");
  staged->Publish(publishedPath);
  staged.reset();
  report.ItemEnded(file.name);
}

}  // namespace svc::acquire
