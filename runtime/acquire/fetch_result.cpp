#include "runtime/acquire/fetch_result.h"

#include "runtime/acquire/address.h"

namespace svc::acquire {
namespace {

std::string AdviceForStatus(int status) {
  if (status == 401)  // Some proxies say so too, where their own password is wrong.
    return "check user and password, also those of a proxy on the way";
  if (status == 403) return "ask its administrator for access";
  if (status == 404 || status == 410) return "check the address of the repository";
  return "try again later, or ask its administrator";
}

TFailure RefusalOf(const TTransferResult& result, const std::string& address) {
  const TResponse& response = result.response;
  if (response.status >= 300 && response.status < 400 && !response.redirect.empty())
    return {EOutcome::kRedirected, address + " sends to another server, " +
                                       ShownAddress(response.redirect) +
                                       "; if that is right, name that one as the repository"};
  return {EOutcome::kServerRefused, "the server answered for " + address + " with status " +
                                        std::to_string(response.status) + "; " +
                                        AdviceForStatus(response.status)};
}

}  // namespace

TFailure FailureOf(const TTransferResult& result) {
  const std::string address = ShownAddress(result.transfer->url);
  const std::string reason = " (" + result.reason + ")";
  switch (result.end) {
    case ETransferEnd::kUnreachable:
      return {EOutcome::kUnreachable, address + " cannot be reached" + reason +
                                          "; check the network, the address and the proxy"};
    case ETransferEnd::kNotTrusted:
      return {EOutcome::kNotTrusted, "the certificate behind " + address + " cannot be verified" +
                                         reason + "; name the authority's own with --ca-file FILE"};
    case ETransferEnd::kProxyRefused:
      return {EOutcome::kProxyRefused, "the proxy does not let " + address + " through" + reason +
                                           "; check its address, user and password"};
    case ETransferEnd::kTooSlow:
      return {EOutcome::kTooSlow, address + " took too long" + reason + "; try again later"};
    case ETransferEnd::kAnswered:
      return RefusalOf(result, address);
    default:
      return {EOutcome::kBroken,
              "the transfer of " + address + " broke off" + reason + "; try again later"};
  }
}

bool MayPass(const TTransferResult& result) {
  const int status = result.response.status;
  switch (result.end) {
    case ETransferEnd::kNotTrusted:
    case ETransferEnd::kProxyRefused:
    case ETransferEnd::kSinkThrew:
      return false;
    case ETransferEnd::kAnswered:
      return status == 408 || status == 416 || status == 429 || status >= 500;
    default:
      return true;
  }
}

}  // namespace svc::acquire
