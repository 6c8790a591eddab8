// Starts this program again, as a worker. What it starts ends with this process, however that ends.
// Used by one thread.
#ifndef SVCHECK_FLEET_PROGRAM_WINDOWS_H_
#define SVCHECK_FLEET_PROGRAM_WINDOWS_H_

#include <string>

#include "svcheck/fleet/handle_windows.h"

namespace svc::fleet {

class TProgramStarter {
 public:
  // Throws TFailure.
  TProgramStarter();

  // Returns its process. It inherits `channel`, standard error and nothing else. Throws TFailure.
  THandle Start(HANDLE channel) const;

 private:
  std::wstring program;
  THandle job;
  THandle nothing;  // Standard input and output of those processes.
  THandle errors;
};

}  // namespace svc::fleet

#endif  // SVCHECK_FLEET_PROGRAM_WINDOWS_H_
