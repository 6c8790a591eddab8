#include "host/acquire/acquire_callback.h"

#include "base/shown_text.h"

namespace KPLAcquistion {

AcquireCallbackIfc::~AcquireCallbackIfc() = default;

// What went wrong reaches the person even through a callback that shows nothing itself. It may hold
// what a server said before anybody knew whether to trust it.
void AcquireCallbackIfc::sendMessage(ContentNode node, bool isError) {
  if (isError) svc::ShowLine(node.item + ": " + node.text);
}

}  // namespace KPLAcquistion
