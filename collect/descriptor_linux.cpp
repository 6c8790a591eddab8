#include <unistd.h>

#include "collect/descriptor.h"

namespace svc::collect {

TDescriptor::~TDescriptor() {
  if (number >= 0) ::close(number);
}

std::string TDescriptor::Path() const { return "/proc/self/fd/" + std::to_string(number); }

}  // namespace svc::collect
