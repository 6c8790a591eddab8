#include "host/acquire/acquire_callback.h"

#include <cstdio>

namespace KPLAcquistion {

AcquireCallbackIfc::~AcquireCallbackIfc() = default;

// What went wrong reaches the person even through a callback that shows nothing itself.
void AcquireCallbackIfc::sendMessage(ContentNode node, bool isError) {
  if (isError) std::fprintf(stderr, "%s: %s\n", node.item.c_str(), node.text.c_str());
}

}  // namespace KPLAcquistion
