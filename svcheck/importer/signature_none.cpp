// Where there is no library for signature files.
#include "base/error.h"
#include "svcheck/importer/appstream.h"

namespace svc::offers {

void DemandSignature(std::string_view /*bytes*/, const std::string& /*name*/,
                     const std::string& signatureFile, const std::string& /*keyFolder*/) {
  throw TError("the signature " + signatureFile +
                   " cannot be verified by this build; import with the Debian package, and copy "
                   "firmware.xml",
               EErrorKind::kCatalogue);
}

}  // namespace svc::offers
