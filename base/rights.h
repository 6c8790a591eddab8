// Who else may write to a file or a folder. POSIX. Any thread.
#ifndef BASE_RIGHTS_H_
#define BASE_RIGHTS_H_

#include <sys/stat.h>
#include <sys/types.h>

#include "base/descriptor.h"

namespace svc::files {

// Says whether a user's rights are no gain to anybody: of root, for one.
using TIsTrusted = bool(uid_t user);

// Whether its mode or its access list lets anybody write who is not the owner and not trusted. A
// group of its owner's own number is the owner's private one; that of root is a group like others,
// which people may have been put into. `status` is that of the descriptor, which may be O_PATH.
bool OthersMayWrite(const TDescriptor& file, const struct stat& status, TIsTrusted* isTrusted);

// Whether the process may do what its user may not, by capabilities or by the program's mode: then
// even a file of that user is in the hands of somebody with fewer rights.
bool HasMoreRightsThanItsUser();

}  // namespace svc::files

#endif  // BASE_RIGHTS_H_
