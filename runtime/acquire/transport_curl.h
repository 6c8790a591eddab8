// What libcurl's error codes mean for a transfer.
#ifndef RUNTIME_ACQUIRE_TRANSPORT_CURL_H_
#define RUNTIME_ACQUIRE_TRANSPORT_CURL_H_

#include <curl/curl.h>

#include "runtime/acquire/transport.h"

namespace svc::acquire {

constexpr ETransferEnd TransferEndOf(CURLcode code) {
  switch (code) {
    case CURLE_OK:
      return ETransferEnd::kAnswered;
    case CURLE_URL_MALFORMAT:
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
    case CURLE_SSL_CONNECT_ERROR:
      return ETransferEnd::kUnreachable;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return ETransferEnd::kNotTrusted;
    case CURLE_PROXY:
      return ETransferEnd::kProxyRefused;
    case CURLE_OPERATION_TIMEDOUT:
      return ETransferEnd::kTooSlow;
    default:
      return ETransferEnd::kBroken;
  }
}

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_TRANSPORT_CURL_H_
