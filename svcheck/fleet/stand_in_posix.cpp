#include <sys/mman.h>
#include <unistd.h>

#include <filesystem>

#include "host/hskcore/os_specific.h"
#include "host/xmlparser/xml_parser.h"
#include "runtime/hskcore/host_setup.h"
#include "runtime/xmlparser/shared_documents.h"
#include "svcheck/fleet/stand_in.h"

namespace svc::fleet {

// The bytes lie in a file of memory that only this process and its workers have; it is left open
// for them.
void PutStandIn(const std::string& catalogueFile) {
  constexpr std::uintmax_t kLargest = NQRXHSK20::TCIMXMLParser::kMaxSpecificationDocumentSize;
  const std::string native = NQRXHSK20::TOSSpecific::NativePath(catalogueFile);
  std::error_code error;
  if (!std::filesystem::is_regular_file(native, error) || ::access(native.c_str(), R_OK) != 0 ||
      std::filesystem::file_size(native, error) > kLargest) {
    return;
  }
  const std::string text = MakeStandIn(native);
  const int file = ::memfd_create("svcheck-catalogue", MFD_CLOEXEC);
  if (file == -1) return;
  if (::write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    ::close(file);
    return;
  }
  SetStandInFile(catalogueFile, "/proc/self/fd/" + std::to_string(file));
}

}  // namespace svc::fleet
