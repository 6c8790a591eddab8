// Signatures of manifests and public keys: a text from outside is taken or refused, and nothing
// that is made up verifies.
#include "runtime/acquire/crypto.h"
#include "runtime/acquire/settings.h"
#include "tests/fuzz/fuzz_support.h"

using namespace svc::fuzz;
namespace acquire = svc::acquire;

namespace {

// Whether `read` took what it was given.
template <typename TRead>
bool IsTaken(TRead read) {
  try {
    read();
  } catch (const svc::TError& failure) {
    Require(failure.what()[0] != '\0', "a refusal says why");
    return false;
  }
  return true;
}

// The key of a pair whose other half was thrown away.
acquire::TPublicKey StrangersKey(const acquire::TSignature& signature) {
  return {signature.id, std::string(32, '\x42')};
}

void CheckSignature(std::string_view text) {
  const acquire::TSignature signature = acquire::ParseSignature(text);
  Require(signature.signature.size() == 64 && signature.globalSignature.size() == 64,
          "a signature has its length");
  Require(
      !IsTaken([&] { acquire::VerifySignature(StrangersKey(signature), signature, "manifest"); }),
      "nobody else's signature verifies");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = AsText(data, size);
  IsTaken([text] { CheckSignature(text); });
  IsTaken(
      [text] { Require(acquire::ParsePublicKey(text).key.size() == 32, "a key has its length"); });
  return 0;
}
