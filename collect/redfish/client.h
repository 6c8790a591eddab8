// Requests to a Redfish service (DMTF DSP0266): one at a time, since management controllers are
// small computers; each tried again where that may help, all within bounds.
#ifndef COLLECT_REDFISH_CLIENT_H_
#define COLLECT_REDFISH_CLIENT_H_

#include <chrono>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/acquire/progress_report.h"
#include "runtime/acquire/transport.h"

namespace svc::collect {

using TJson = nlohmann::json;

// What no service may go beyond.
struct TClientLimits {
  std::chrono::milliseconds firstPause{500};  // Before the second attempt; doubles each time.
  std::chrono::seconds longestPause{30};      // Whatever the service asks for.
  int attempts = 3;                           // For one resource.
  std::size_t resource = std::size_t{4} << 20;
  std::size_t total = std::size_t{64} << 20;
  std::size_t requests = 4000;
  std::size_t values = 250'000;  // Of JSON, in all answers; a short one takes most memory.
};

// What became of a request for a resource: its content, a JSON object, or the problem on one line.
struct TResource {
  TJson content;
  std::string problem;
  int status = 0;  // Of the answer; 0 without one.

  explicit operator bool() const { return problem.empty(); }
  bool IsRefused() const { return status == 401 || status == 403; }
};

// Borrows what it is made from. One thread.
class TClient {
 public:
  // `origin` is scheme, host and port; nothing is ever asked of another, so that no secret gets
  // there.
  TClient(acquire::ITransport& transport, const acquire::TWatch& watch, std::string origin,
          const TClientLimits& limits = {});
  // Logs out.
  ~TClient();
  TClient(const TClient&) = delete;
  TClient& operator=(const TClient&) = delete;

  // Opens a session at the path of the service's collection of sessions (DSP0266, "Redfish session
  // login authentication"). Where it opens none, or the path is empty, each request names user and
  // password instead (RFC 7617). Throws TError where they are refused.
  void LogIn(const std::string& sessions, const std::string& user, const std::string& password);

  // The resource at a path, or at an address of the same origin. Throws TError (kDownload,
  // acquire::EOutcome::kInterrupted) when it was told to stop.
  TResource Get(const std::string& place);

  // Why it asks for nothing more: a bound of the whole work is reached. Empty before that.
  const std::string& Exhausted() const { return exhausted; }
  const std::string& Origin() const { return origin; }

 private:
  struct TReply;

  std::optional<std::string> AddressOf(const std::string& place) const;
  void Start(acquire::TTransfer& transfer);
  TReply Send(acquire::TTransfer& transfer);
  TReply SendPatiently(acquire::TTransfer& transfer);
  TReply Follow(acquire::TTransfer& transfer);
  TJson Parse(std::string_view text);
  TResource Answer(const TReply& reply, const std::string& address);
  void NoteBounds();
  bool OpenSession(const std::string& address, std::string body);
  void LogOut();

  acquire::ITransport& transport;
  const acquire::TWatch& watch;
  std::string origin;
  TClientLimits limits;
  std::string secret;   // A header that says who asks; empty where nobody need to.
  std::string session;  // The address of an open one.
  std::string exhausted;
  std::size_t bytes = 0;
  std::size_t requests = 0;
  std::size_t values = 0;
};

// Scheme, host and port of the address of a service, which may name its root as well. Throws TError
// (kUsage) for what is none, for one with a user or a password in it, which everybody could read in
// the list of processes, and for one without TLS that leads off this machine.
std::string ServiceOrigin(const std::string& url);

}  // namespace svc::collect

#endif  // COLLECT_REDFISH_CLIENT_H_
