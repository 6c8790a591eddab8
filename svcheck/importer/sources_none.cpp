// Where there is no library for archives: plain metadata alone.
#include "base/error.h"
#include "svcheck/importer/appstream.h"

namespace svc::offers {

std::string Unpacked(std::string_view bytes, std::size_t most) {
  const std::size_t begin = bytes.find_first_not_of(" \t\r\n\xEF\xBB\xBF");
  if (begin != std::string_view::npos && bytes[begin] != '<') {
    throw TError("cannot be unpacked by this build; unpack it and give the .xml file");
  }
  if (bytes.size() > most) throw TError("it is larger than any that is published");
  return std::string(bytes);
}

void ReadCabinet(const std::filesystem::path& /*path*/,
                 const std::function<void(std::string metadata)>& /*take*/) {
  throw TError("cannot be unpacked by this build; import on Linux, and copy firmware.xml");
}

std::set<TContentHash> HashesIn(const std::filesystem::path& /*path*/,
                                const std::vector<TContentHash>& /*asked*/) {
  return {};
}

}  // namespace svc::offers
