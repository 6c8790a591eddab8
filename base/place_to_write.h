// Where a file that is written goes, by the rules of new_file.h. POSIX. One thread.
#ifndef BASE_PLACE_TO_WRITE_H_
#define BASE_PLACE_TO_WRITE_H_

#include <string>

#include "base/new_file.h"
#include "base/path_walk.h"

namespace svc::files {

// What is done with a link that the path ends in, where it is one that is followed.
enum class ELastLink { kFollowed, kKept };

// Throws TError. A place that is a link is one to be replaced, but for those of /proc that lead
// to a pipe or a device: these have no other name, and are opened through the link.
TPlace FindPlace(const std::string& path, ELastLink last = ELastLink::kFollowed);

ENamed KindOf(const TPlace& place);

// For a file beside the one of that name.
std::string UnforeseeableName(const std::string& name);

}  // namespace svc::files

#endif  // BASE_PLACE_TO_WRITE_H_
