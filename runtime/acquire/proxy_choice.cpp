#include "runtime/acquire/proxy_choice.h"

#include <algorithm>

namespace svc::acquire {
namespace {

constexpr int kMaxPort = 65535;

TProxyChoice Given(const KPLAcquistion::HTTPProxyInfo& proxy) {
  const bool isHost = !proxy.host.empty() && std::ranges::none_of(proxy.host, [](char c) {
    return static_cast<unsigned char>(c) <= ' ' || c == 0x7F;
  });
  if (!isHost)
    throw TFailure(EOutcome::kProxyUnusable, "the proxy has no host's name; give it one");
  if (proxy.port < 1 || proxy.port > kMaxPort)
    throw TFailure(EOutcome::kProxyUnusable, "the proxy " + proxy.host + " has the port " +
                                                 std::to_string(proxy.port) +
                                                 "; give it one from 1 to 65535");
  return {TProxyChoice::EKind::kGiven, proxy.host, proxy.port, proxy.user, proxy.password};
}

}  // namespace

TProxyChoice ChooseProxy(const TDownloadJob& job) {
  const std::string& own = job.settings.proxy;
  if (own == "none") return {TProxyChoice::EKind::kDirect, "", 0, "", ""};
  if (!own.empty()) return {TProxyChoice::EKind::kGiven, own, 0, "", ""};
  if (job.proxy.enabled) return Given(job.proxy);
  return {};
}

}  // namespace svc::acquire
