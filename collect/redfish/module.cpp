// The entry of libsvcheck-redfish.so.
#include "base/error.h"
#include "collect/collector.h"
#include "collect/redfish/client.h"
#include "collect/redfish/server.h"
#include "collect/redfish/service.h"
#include "collect/text.h"
#include "host/hskcore/export.h"

namespace svc::collect {
namespace {

constexpr std::chrono::seconds kConnect{15};
constexpr std::chrono::seconds kStall{20};
constexpr std::chrono::minutes kTotal{10};

std::string SessionsOf(const TJson& root) {
  return PlaceOf(PartOf(PartOf(root, "Links"), "Sessions"));
}

void ReadService(const ServiceOptions& options, const acquire::TWatch& watch,
                 acquire::ITransport& transport, TInventory& inventory) {
  TClient client(transport, watch, ServiceOrigin(options.url));
  TService service(client, inventory);
  service.Open();
  if (!options.user.empty())
    client.LogIn(SessionsOf(service.Root()), options.user, options.password);
  TServer server{service, inventory, options.redact};
  ReadServer(options.system, server);
}

// What goes to this machine without TLS goes by no other: a proxy would read it.
acquire::TProxyChoice ProxyFor(const std::string& origin) {
  acquire::TProxyChoice proxy;
  if (origin.starts_with("http://")) proxy.kind = acquire::TProxyChoice::EKind::kDirect;
  return proxy;
}

Outcome CollectFrom(const ServiceOptions& options) {
  const acquire::TTransportOptions transport{ProxyFor(ServiceOrigin(options.url)), options.caFile,
                                             kConnect, kStall};
  if (!options.user.empty() && !acquire::VerifiesBeforeSending(transport))
    throw TError(
        "on this system a password is not sent to a server that --ca-file vouches for; "
        "add the authority to the system's certificates instead",
        EErrorKind::kUsage);
  acquire::TMachineTime time;
  const acquire::TWatch watch(options.stopRequested, kTotal, time);
  TInventory inventory;
  ReadService(options, watch, *acquire::MakeTransport(transport), inventory);
  MergeDevices(options.devices, inventory);
  return {ToCimXml(inventory.Instances()), inventory.Notes()};
}

}  // namespace
}  // namespace svc::collect

extern "C" HOST_EXPORT void SvcheckCollectRedfish(const svc::collect::ServiceOptions& options,
                                                  svc::collect::Outcome& outcome) {
  outcome = svc::collect::CollectFrom(options);
}
