// The files that were read of a system tree, as a tar archive that others can read in its place.
#ifndef COLLECT_LINUX_CAPTURE_H_
#define COLLECT_LINUX_CAPTURE_H_

#include "collect/collector.h"
#include "collect/linux/tree.h"

namespace svc::collect {

// Writes the files that were read of `tree` so far as a tar archive, under the paths by which they
// were read, so that no symbolic link is needed. With `redact` the files that tell serial numbers
// or UUIDs are left out, and the SMBIOS table loses them. Throws what `write` throws, and
// TError.
void WriteCapture(const TTree& tree, bool redact, const TWrite& write);

}  // namespace svc::collect

#endif  // COLLECT_LINUX_CAPTURE_H_
