// Reading a description as a query does: what cannot be read here, no query can load.
#ifndef SVCHECK_PUBLISHER_DESCRIPTION_H_
#define SVCHECK_PUBLISHER_DESCRIPTION_H_

#include <string>
#include <vector>

#include "svcheck/publisher/applicability.h"

namespace svc::repository {

// The update elements of a file. `dataFolder` holds sv/sv.definitions.xml. One thread.
// Throws NQRXHSK20::THSKException or std::exception with a text that names the file.
std::vector<TElement> ReadDescription(const std::string& path, const std::string& dataFolder);

}  // namespace svc::repository

#endif  // SVCHECK_PUBLISHER_DESCRIPTION_H_
