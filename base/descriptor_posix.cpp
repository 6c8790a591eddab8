#include <unistd.h>

#include "base/descriptor.h"

namespace svc::files {

TDescriptor::~TDescriptor() {
  if (number >= 0) ::close(number);
}

std::string TDescriptor::Path() const { return "/proc/self/fd/" + std::to_string(number); }

}  // namespace svc::files
