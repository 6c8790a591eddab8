// A proxy as WinHTTP names it.
#ifndef RUNTIME_ACQUIRE_TRANSPORT_WINHTTP_H_
#define RUNTIME_ACQUIRE_TRANSPORT_WINHTTP_H_

#include <windows.h>
#include <winhttp.h>
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

// REQUIRES: the kind is kGiven. Throws TError (kProxyUnusable) for an address that makes no
// sense, or one of a proxy that is none of HTTP. Pure.
TWinHttpProxy WinHttpProxyOf(const TProxyChoice& choice);

// What a user or a password reads when its %XX are taken for bytes (RFC 3986, section 2.1).
std::wstring Unescaped(std::string_view text);

// What WinHTTP's error codes mean for a transfer.

struct TWinHttpError {
  DWORD code;
  ETransferEnd end;
  const char* reason;
};

inline constexpr TWinHttpError kWinHttpErrors[] = {
    {ERROR_WINHTTP_NAME_NOT_RESOLVED, ETransferEnd::kUnreachable, "its name is not known"},
    {ERROR_WINHTTP_CANNOT_CONNECT, ETransferEnd::kUnreachable, "nothing answers there"},
    {ERROR_WINHTTP_INVALID_URL, ETransferEnd::kUnreachable, "the address makes no sense"},
    {ERROR_WINHTTP_UNRECOGNIZED_SCHEME, ETransferEnd::kUnreachable, "the address makes no sense"},
    {ERROR_WINHTTP_SECURE_CHANNEL_ERROR, ETransferEnd::kUnreachable,
     "no secure connection comes about"},
    {ERROR_WINHTTP_TIMEOUT, ETransferEnd::kTooSlow, "it does not answer in time"},
    {ERROR_WINHTTP_SECURE_FAILURE, ETransferEnd::kNotTrusted, "it is not valid here"},
    {ERROR_WINHTTP_SECURE_INVALID_CA, ETransferEnd::kNotTrusted,
     "its authority is not trusted here"},
    {ERROR_WINHTTP_SECURE_CERT_CN_INVALID, ETransferEnd::kNotTrusted, "it is another server's"},
    {ERROR_WINHTTP_SECURE_CERT_DATE_INVALID, ETransferEnd::kNotTrusted, "it is past its date"},
    {ERROR_WINHTTP_SECURE_INVALID_CERT, ETransferEnd::kNotTrusted, "it is damaged"},
    {ERROR_WINHTTP_SECURE_CERT_REVOKED, ETransferEnd::kNotTrusted, "it is revoked"},
    {ERROR_WINHTTP_SECURE_CERT_WRONG_USAGE, ETransferEnd::kNotTrusted, "it is no server's"},
    {ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED, ETransferEnd::kNotTrusted,
     "the server asks for a certificate of ours"},
    {ERROR_WINHTTP_CONNECTION_ERROR, ETransferEnd::kBroken, "the connection broke"},
    {ERROR_WINHTTP_INVALID_SERVER_RESPONSE, ETransferEnd::kBroken, "the answer makes no sense"},
};

constexpr const TWinHttpError* FindWinHttpError(DWORD code) {
  for (const TWinHttpError& error : kWinHttpErrors)
    if (error.code == code) return &error;
  return nullptr;
}

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_TRANSPORT_WINHTTP_H_
