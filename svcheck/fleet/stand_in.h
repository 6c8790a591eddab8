// Saves a worker from reading the catalogue for each machine.
#ifndef SVCHECK_FLEET_STAND_IN_H_
#define SVCHECK_FLEET_STAND_IN_H_

#include <string>

namespace svc::fleet {

// From here on, whoever opens the catalogue's file gets a few bytes that the parser knows for it.
// Called once, while documents are shared; no effect where the system has no way to do that, or the
// file cannot be read.
void PutStandIn(const std::string& catalogueFile);

}  // namespace svc::fleet

#endif  // SVCHECK_FLEET_STAND_IN_H_
