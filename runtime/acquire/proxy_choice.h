// Which proxy a download goes through.
#ifndef RUNTIME_ACQUIRE_PROXY_CHOICE_H_
#define RUNTIME_ACQUIRE_PROXY_CHOICE_H_

#include "runtime/acquire/engine.h"
#include "runtime/acquire/transport.h"

namespace svc::acquire {

// The program's own choice, else the plug-in's, else that of the environment. Throws TFailure
// (kProxyUnusable).
TProxyChoice ChooseProxy(const TDownloadJob& job);

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_PROXY_CHOICE_H_
