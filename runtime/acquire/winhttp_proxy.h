// A proxy as WinHTTP names it.
#ifndef RUNTIME_ACQUIRE_WINHTTP_PROXY_H_
#define RUNTIME_ACQUIRE_WINHTTP_PROXY_H_

#include <string>

#include "runtime/acquire/transport.h"

namespace svc::acquire {

struct TCredentials {
  std::wstring user;
  std::wstring password;
};

struct TWinHttpProxy {
  std::wstring server;  // HOST:PORT.
  TCredentials credentials;
};

// REQUIRES: the kind is kGiven. Throws TFailure (kProxyUnusable) for an address that makes no
// sense, or one of a proxy that is none of HTTP. Pure.
TWinHttpProxy WinHttpProxyOf(const TProxyChoice& choice);

// What a user or a password reads when its %XX are taken for bytes (RFC 3986, section 2.1).
std::wstring Unescaped(std::string_view text);

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_WINHTTP_PROXY_H_
