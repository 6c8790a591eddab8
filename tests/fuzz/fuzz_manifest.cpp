// Manifests of repositories: a text from outside is taken or refused, and what is taken is safe.
#include "runtime/acquire/manifest.h"
#include "runtime/acquire/settings.h"
#include "tests/fuzz/fuzz_support.h"

using namespace svc::fuzz;
namespace acquire = svc::acquire;

namespace {

void CheckFile(const acquire::TManifestFile& file) {
  Require(acquire::WhyUnsafeName(file.name).empty(), "a name is one plain file name");
  Require(acquire::WhyUnsafePath(file.path).empty(), "a path stays below the repository");
  Require(file.sha256.size() == 64, "a hash has its length");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(AsText(data, size));
  try {
    for (const acquire::TManifestFile& file : acquire::ParseManifest(text).files) CheckFile(file);
  } catch (const svc::TError& failure) {
    Require(failure.what()[0] != '\0', "a refusal says why");
  }
  return 0;
}
