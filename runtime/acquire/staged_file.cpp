#include "runtime/acquire/download_folder.h"

#include <cerrno>
#include <utility>

#include "runtime/acquire/settings.h"

namespace svc::acquire {
static TError Refusal(const std::string& path, const TError& error) {
  const std::string text = path + " cannot be written: " + error.what();
  if (IsWantOfRoom(error))
    return DownloadError(EOutcome::kDiskFull, text + "; make room there and start again");
  if (error.Number() == EXDEV)
    return DownloadError(
        EOutcome::kFolderUnwritable,
        path +
            " is a file system of its own; a download needs the same one for the folder "
            "and its neighbours: mount the parent folder instead");
  return DownloadError(EOutcome::kFolderUnwritable, text);
}

template <typename TAction>
static void Do(const std::string& path, const TAction& action) {
  Retold(action, [&path](const TError& error) { return Refusal(path, error); });
}

TStagedFile::TStagedFile(std::string where) : path(std::move(where)) {
  Do(path, [this] { file.emplace(path, files::TNewFile::TAnnounce(), kMode); });
}

void TStagedFile::Write(std::string_view bytes) {
  Do(path, [&] { file->Write(bytes); });
}

void TStagedFile::StartOver() {
  Do(path, [this] { file->StartOver(); });
}

void TStagedFile::Publish(const std::string& target) {
  Do(target, [&] { file->PublishAs(target); });
}

}  // namespace svc::acquire
