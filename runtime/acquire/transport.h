// One request over HTTP, for a file or whatever else a server answers with: what differs between
// the systems' libraries, and nothing else. When to try again, what to accept and where to put it
// is the caller's business.
#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace svc::acquire {

// What a server says before the content.
struct TResponse {
  int status = 0;
  std::string etag;                         // As written; empty without one.
  std::optional<std::uint64_t> length;      // Of what follows.
  std::optional<std::uint64_t> rangeStart;  // Where in the file it begins, with status 206.
  std::string redirect;                     // An absolute address, with status 3xx and 201.
  std::chrono::seconds retryAfter{0};
  std::string sessionToken = {};  // X-Auth-Token, by which the server knows a session.
};

// Receives a response with status 200 or 206, or 201 to a request with a method. What it throws
// breaks the transfer off.
class ITransferSink {
 public:
  virtual ~ITransferSink() = default;
  virtual void OnResponse(const TResponse& response) = 0;
  virtual void OnData(std::string_view bytes) = 0;
};

// One request. Borrowed by the transport from Start to its end.
struct TTransfer {
  std::string url;
  std::uint64_t offset = 0;  // Bytes at the beginning that are not wanted again.
  std::string etag;          // Of the file that they are from; empty where it is not known.
  ITransferSink* sink = nullptr;
  // What makes it another request than one for a file. The headers, each "Name: value", go to the
  // server alone, never to a proxy that tunnels; they may hold secrets.
  std::string method = {};  // Empty: GET.
  std::vector<std::string> headers = {};
  std::string body = {};
};

enum class ETransferEnd {
  kAnswered,  // The response is complete, or has a status that the sink is not told of.
  kUnreachable,
  kNotTrusted,
  kProxyRefused,
  kTooSlow,
  kBroken,
  kSinkThrew
};

struct TTransferResult {
  TTransfer* transfer = nullptr;
  ETransferEnd end = ETransferEnd::kBroken;
  TResponse response;
  std::string reason;         // For people, where the end is a failure.
  std::exception_ptr thrown;  // By the sink.
};

struct TProxyChoice {
  enum class EKind { kEnvironment, kDirect, kGiven };
  EKind kind = EKind::kEnvironment;
  std::string host;  // A name, or an address with scheme, port, user and password.
  int port = 0;      // 0: that of the address.
  std::string user;
  std::string password;
};

struct TTransportOptions {
  TProxyChoice proxy;
  std::string caFile;  // Empty: the system's certificates.
  std::chrono::milliseconds connect{0};
  std::chrono::milliseconds stall{0};
};

// Follows no redirect; asks for no compression; verifies every certificate. One thread, which is
// also the one that calls the sinks, from Wait.
class ITransport {
 public:
  virtual ~ITransport() = default;
  virtual void Start(TTransfer& transfer) = 0;
  // The next transfer that ended; nothing when none did for so long.
  virtual std::optional<TTransferResult> Wait(std::chrono::milliseconds limit) = 0;
  // Gives every borrowed transfer back.
  virtual void CancelAll() = 0;
};

std::unique_ptr<ITransport> MakeTransport(const TTransportOptions& options);

// Whether a server's certificate is verified before any part of a request goes out, so that a
// request may hold secrets.
bool VerifiesBeforeSending(const TTransportOptions& options);

// Reading what a server says before the content, which may be anything: what is not understood
// counts as not said. Pure functions.

// Digits and nothing else, of a number that fits.
std::optional<std::uint64_t> WholeNumber(std::string_view text);

// Where the part begins that a Content-Range header describes (RFC 9110, section 14.4).
std::optional<std::uint64_t> RangeStart(std::string_view value);

// Takes an entity tag, a place to go to, a range or a session's token from one line, "Name: value".
void ReadHeaderLine(std::string_view line, TResponse& response);

// The absolute form of a place to go to, which may be relative to the address that names it; the
// place as it is where it has no such form.
std::string AbsoluteAddress(const std::string& base, const std::string& location);

}  // namespace svc::acquire
