#include "runtime/acquire/serial_store.h"

#include <nlohmann/json.hpp>

#include "runtime/acquire/base64.h"
#include "runtime/acquire/crypto.h"
#include "runtime/acquire/outcome.h"
#include "runtime/acquire/staged_file.h"
#include "runtime/acquire/unique_name.h"

namespace svc::acquire {
namespace {

TFailure Unusable(const std::string& path, const std::string& why) {
  return {EOutcome::kStateUnusable, path + ", which says what was accepted last, " + why};
}

}  // namespace

TSerialStore::TSerialStore(const std::string& stateFolder, std::string address)
    : folder((stateFolder.empty() ? DefaultStateFolder() : stateFolder) + "/repositories"),
      repository(std::move(address)),
      path(folder + "/" + ToHex(Hash(EHash::kSha256, repository)).substr(0, 32) + ".json") {}

std::uint64_t TSerialStore::Last() const {
  TPlainFile file(path);
  if (!file.IsOpen() && !file.IsMissing()) throw Unusable(path, "cannot be read");
  if (!file.IsOpen()) return 0;
  std::string buffer;
  const auto state = nlohmann::json::parse(file.Read(buffer), nullptr, false);
  const bool isSound =
      state.is_object() && state.contains("serial") && state["serial"].is_number_unsigned();
  if (!isSound)
    throw Unusable(path, "is damaged; check the repository's serial by hand, then remove the file");
  return state["serial"].get<std::uint64_t>();
}

void TSerialStore::Accept(std::uint64_t serial) {
  if (Last() == serial && serial != 0) return;
  const nlohmann::json state = {{"repository", repository}, {"serial", serial}};
  try {
    MakeFolders(folder);
    TStagedFile file(UniqueName(path));
    file.Write(state.dump() + "\n");
    file.Publish(path);
    SyncFolder(folder);
  } catch (const TFailure& failure) {
    if (failure.Outcome() == EOutcome::kDiskFull) throw;
    throw Unusable(path, std::string("cannot be written: ") + failure.what());
  }
}

}  // namespace svc::acquire
