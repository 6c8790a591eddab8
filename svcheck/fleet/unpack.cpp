#include "svcheck/fleet/unpack.h"

#include <stdexcept>
#include <utility>

#include "runtime/acquire/module.h"
#include "runtime/acquire/outcome.h"

namespace svc::fleet {

std::unique_ptr<IByteSource> OpenCompressed(TFile file, const std::string& path) {
  using TOpen = IByteSource* (*)(TFile, const std::string&);
  TOpen open = nullptr;
  try {
    open = reinterpret_cast<TOpen>(acquire::FindInModule("svcheck-unpack", "SvcOpenCompressed"));
  } catch (const acquire::TFailure& failure) {
    throw std::runtime_error(path + ": cannot be unpacked: " + failure.what());
  }
  return std::unique_ptr<IByteSource>(open(std::move(file), path));
}

}  // namespace svc::fleet
