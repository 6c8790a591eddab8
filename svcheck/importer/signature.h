// Whether metadata is what its publisher signed. Any thread.
#ifndef SVCHECK_IMPORTER_SIGNATURE_H_
#define SVCHECK_IMPORTER_SIGNATURE_H_

#include <string>
#include <string_view>

namespace svc::offers {

// Demands that a signature file (.jcat) has a checksum of these bytes and a PKCS #7 or Ed25519
// signature upon them, each of them right, by a certificate or key of the folder. `name` is what
// the file of these bytes is called. Other kinds of signature are passed over. Throws TError
// (kCatalogue).
void DemandSignature(std::string_view bytes, const std::string& name,
                     const std::string& signatureFile, const std::string& keyFolder);

}  // namespace svc::offers

#endif  // SVCHECK_IMPORTER_SIGNATURE_H_
