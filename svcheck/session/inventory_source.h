// Where a verb's inventory comes from: files, or this machine.
#ifndef SVCHECK_SESSION_INVENTORY_SOURCE_H_
#define SVCHECK_SESSION_INVENTORY_SOURCE_H_

#include <string>
#include <vector>

#include "svcheck/session/query_run.h"

namespace svc {

// The inventory of the machine below `root` as a CIM-XML document. `notes` receives what is missing
// and why. Throws TFailure.
std::string CollectInventory(const std::string& root, bool redact, std::vector<std::string>& notes);

// Collects the inventory when the request names no file.
void CompleteInventory(TQueryRequest& request, const std::string& root,
                       std::vector<std::string>& notes);

}  // namespace svc

#endif  // SVCHECK_SESSION_INVENTORY_SOURCE_H_
