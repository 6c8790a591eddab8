// Metadata of public firmware, and the catalogues that are made of it.
#include <string>
#include <vector>

#include "base/error.h"
#include "svcheck/importer/appstream.h"
#include "tests/fuzz/fuzz_support.h"

using namespace svc::fuzz;
using namespace svc::offers;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text(AsText(data, size));
  std::string made(FileBegin());
  std::size_t releases = 0;
  try {
    ReadAppStream(text.data(), text.size(), [&](const TComponent& component) {
      Require(!component.identifiers.empty() && !component.releases.empty(),
              "a component is for somebody");
      for (const TRelease& release : component.releases) {
        made += InstanceText(component, release);
        ++releases;
      }
    });
  } catch (const svc::TError& error) {
    Require(error.Number() > 0, "an error has a place");
    return 0;
  }
  made += FileEnd();
  const auto catalogue = NewNamespace();
  Require(ParseDocument(catalogue, made, false), "the catalogue can be loaded");
  Require(ReadAll(catalogue, "SVC_FirmwareOffer", {"Version", "Identifiers"}) == releases,
          "every release is in it");
  return 0;
}
