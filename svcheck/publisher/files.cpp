#include "svcheck/publisher/files.h"

#include "base/error.h"
#include "base/files.h"
#include "base/module.h"
#include "runtime/acquire/crypto.h"
#include "runtime/acquire/minisign.h"
#include "runtime/acquire/staged_file.h"
#include "runtime/hskcore/host_setup.h"

namespace svc::repository {
namespace {

template <typename TConsumer>
void ReadPieces(const std::string& path, TConsumer consume) {
  acquire::TPlainFile file(path);
  if (!file.IsOpen()) throw TError(path + " cannot be read");
  std::string buffer;
  for (auto bytes = file.Read(buffer); !bytes.empty(); bytes = file.Read(buffer)) consume(bytes);
}

}  // namespace

std::string ReadText(const std::string& path) {
  std::string text;
  ReadPieces(path, [&text](std::string_view bytes) { text += bytes; });
  return text;
}

std::pair<std::uint64_t, std::string> SizeAndHash(const std::string& path) {
  std::uint64_t size = 0;
  acquire::THasher hasher(acquire::EHash::kSha256);
  ReadPieces(path, [&](std::string_view bytes) {
    size += bytes.size();
    hasher.Update(bytes);
  });
  return {size, acquire::ToHex(hasher.Digest())};
}

void WriteText(const std::string& path, const std::string& text) {
  try {
    files::TNewFile file(path);
    file.Write(text);
    file.Publish();
  } catch (const TError& error) {
    throw TError(path + " cannot be written: " + error.what());
  }
}

std::string InstalledDataFolder() {
  const auto here = reinterpret_cast<const void*>(&InstalledDataFolder);
  const auto folder = PathOf(FolderOfCode(here)).parent_path() / "share" / "svcheck";
  const auto name = folder.u8string();
  return {name.begin(), name.end()};
}

}  // namespace svc::repository
