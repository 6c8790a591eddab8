// Compressed files. What unpacks them is in a module that is loaded at the first one.
#ifndef SVCHECK_FLEET_UNPACK_H_
#define SVCHECK_FLEET_UNPACK_H_

#include <memory>
#include <string>

#include "svcheck/fleet/byte_source.h"

namespace svc::fleet {

// The contents of an open file, which is closed with them; `path` is for messages. Throws
// std::runtime_error.
std::unique_ptr<IByteSource> OpenCompressed(TFile file, const std::string& path);

}  // namespace svc::fleet

#endif  // SVCHECK_FLEET_UNPACK_H_
