// How a management controller is asked: bounds, sessions, attempts and redirects.
#include "collect/redfish/redfish.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <string_view>

#include "base/bounded_json.h"
#include "base/error.h"
#include "collect/cim_xml.h"
#include "runtime/acquire/address.h"
#include "runtime/acquire/crypto.h"
#include "runtime/acquire/fetcher.h"

namespace svc::collect {
namespace {

using acquire::EOutcome;
using acquire::ETransferEnd;
using acquire::TTransfer;
using acquire::TTransferResult;

constexpr std::chrono::milliseconds kTurn{100};
constexpr int kLastTurns = 50;  // For the end of a session, also when everything else was stopped.
constexpr std::size_t kMaxRedirects = 5;
constexpr std::size_t kLongestShown = 200;
constexpr std::size_t kMaxDepth = 64;  // Of objects and lists in each other; DMTF's need a dozen.

// Keeps what a server answers with, up to a number of bytes.
class TBoundedText : public acquire::ITransferSink {
 public:
  explicit TBoundedText(std::size_t room) : room(room) {}

  void OnResponse(const acquire::TResponse& response) override {
    if (response.length.value_or(0) > room) Refuse();
  }
  void OnData(std::string_view more) override {
    if (more.size() > room - text.size()) Refuse();
    text += more;
  }

  std::string text;

 private:
  [[noreturn]] void Refuse() const {
    throw TError(fmt::format("the answer has more than {} bytes", room));
  }

  std::size_t room;
};

// Only characters that stand in an address (RFC 3986); a "%" stays what it is.
std::string Escaped(std::string_view path) {
  std::string escaped;
  for (const char c : path) {
    const bool isPlain =
        c > ' ' && c < 0x7F && std::string_view("\"<>\\^`{|}").find(c) == path.npos;
    if (isPlain)
      escaped += c;
    else
      escaped += fmt::format("%{:02X}", static_cast<unsigned char>(c));
  }
  return escaped;
}

// Whether the service may answer in a moment. A plain 500 says of a resource that it cannot be
// had, as a rule.
bool MayAnswerSoon(const TTransferResult& result) {
  const int status = result.response.status;
  if (result.end == ETransferEnd::kAnswered)
    return status == 408 || status == 429 || (status >= 502 && status <= 504);
  return result.end == ETransferEnd::kUnreachable || result.end == ETransferEnd::kBroken;
}

std::string AdviceFor(int status) {
  if (status == 401) return "; check user and password";
  if (status == 403) return "; the user may not read it";
  return "";
}

TError BadUrl(const std::string& url, const std::string& what) {
  return TError("--redfish " + acquire::ShownAddress(url) + ": " + what +
                    "; it looks like https://bmc.example.com",
                EErrorKind::kUsage);
}

bool IsThisMachine(std::string_view host) {
  const bool isNumber = host.find_first_not_of("0123456789.") == host.npos;
  return host == "localhost" || host == "[::1]" || (isNumber && host.starts_with("127."));
}

// A path that means the service's root.
bool IsRoot(std::string_view path) {
  while (path.ends_with('/')) path.remove_suffix(1);
  return path.empty() || path == "/redfish" || path == "/redfish/v1";
}

}  // namespace

struct TClient::TReply {
  TTransferResult result;
  std::string body;
};

TClient::TClient(acquire::ITransport& transport, const acquire::TWatch& watch, std::string origin,
                 const TClientLimits& limits)
    : transport(transport), watch(watch), origin(std::move(origin)), limits(limits) {}

TClient::~TClient() {
  try {
    LogOut();
  } catch (const std::exception&) {
    // The service closes a session that nobody uses by itself.
  }
}

std::optional<std::string> TClient::AddressOf(const std::string& place) const {
  if (place.find('#') != std::string::npos) return std::nullopt;  // A part of a resource.
  if (place.size() > kLongestPlace) return std::nullopt;
  const std::string escaped = Escaped(place);
  const bool isPath = escaped.starts_with('/') && !escaped.starts_with("//");
  const std::string address = isPath ? origin + escaped : escaped;
  if (!acquire::IsSameServer(address, origin)) return std::nullopt;
  return address;
}

void TClient::Start(TTransfer& transfer) {
  transfer.headers = {"Accept: application/json", "OData-Version: 4.0"};
  if (!transfer.body.empty()) transfer.headers.emplace_back("Content-Type: application/json");
  if (!secret.empty()) transfer.headers.push_back(secret);
  transport.Start(transfer);
}

TClient::TReply TClient::Send(TTransfer& transfer) {
  struct TCancelOnExit {
    acquire::ITransport& transport;
    ~TCancelOnExit() { transport.CancelAll(); }
  };
  if (++requests > limits.requests)
    throw acquire::DownloadError(EOutcome::kTooSlow,
                                 fmt::format("{} requests were made", limits.requests));
  TBoundedText text(std::min(limits.resource, limits.total - std::min(limits.total, bytes)));
  transfer.sink = &text;
  const TCancelOnExit cancel{transport};
  Start(transfer);
  for (;;) {
    watch.Check();
    if (auto result = transport.Wait(kTurn)) {
      bytes += text.text.size();
      return {std::move(*result), std::move(text.text)};
    }
  }
}

TClient::TReply TClient::SendPatiently(TTransfer& transfer) {
  for (int attempt = 1;; ++attempt) {
    TReply reply = Send(transfer);
    if (!MayAnswerSoon(reply.result) || attempt >= limits.attempts) return reply;
    const std::chrono::milliseconds asked =
        std::clamp(reply.result.response.retryAfter, std::chrono::seconds(0), limits.longestPause);
    const auto until = watch.Now() + std::max(limits.firstPause * (1 << (attempt - 1)), asked);
    for (; watch.Now() < until; watch.Sleep(kTurn)) watch.Check();
  }
}

// Redirects lead on as long as they stay at this origin.
TClient::TReply TClient::Follow(TTransfer& transfer) {
  std::vector<std::string> asked;
  for (;;) {
    TReply reply = SendPatiently(transfer);
    const acquire::TResponse& response = reply.result.response;
    const bool leadsOn = reply.result.end == ETransferEnd::kAnswered && response.status >= 300 &&
                         response.status < 400 && asked.size() < kMaxRedirects &&
                         acquire::IsSameServer(response.redirect, origin);
    asked.push_back(transfer.url);
    if (!leadsOn || std::ranges::count(asked, response.redirect) != 0) return reply;
    transfer.url = response.redirect;
  }
}

TJson TClient::Parse(std::string_view text) {
  const TJsonBounds bounds{.levels = kMaxDepth, .values = limits.values};
  return TBoundedJson<TJson>(bounds, values).Read(text);
}

TResource TClient::Answer(const TReply& reply, const std::string& address) {
  const TTransferResult& result = reply.result;
  TResource resource{nullptr, "", result.response.status};
  try {
    if (result.thrown) std::rethrow_exception(result.thrown);
    if (result.end != ETransferEnd::kAnswered) {
      resource.status = 0;
      resource.problem = CleanText(acquire::FailureOf(result).what());
    } else if (result.response.status >= 300 && result.response.status < 400) {
      resource.problem = address + ": the server sends on in a way that is not followed: to " +
                         CleanText(acquire::ShownAddress(result.response.redirect));
    } else if (result.response.status != 200 && result.response.status != 201) {
      resource.problem = fmt::format("{}: the server answered with status {}{}", address,
                                     result.response.status, AdviceFor(result.response.status));
    } else {
      resource.content = Parse(reply.body);
      if (!resource.content.is_object()) resource.problem = address + ": it is no JSON object";
    }
  } catch (const TJson::exception&) {
    resource.problem = address + ": the answer is no JSON";
  } catch (const TError& error) {
    resource.problem = address + ": " + error.what();
  }
  return resource;
}

void TClient::NoteBounds() {
  if (bytes >= limits.total) exhausted = fmt::format("it sent {} bytes", bytes);
  if (values > limits.values) exhausted = fmt::format("it sent more than {} values", limits.values);
}

TResource TClient::Get(const std::string& place) {
  if (!exhausted.empty()) return {nullptr, exhausted, 0};
  const auto address = AddressOf(place);
  if (!address)
    return {nullptr,
            origin + ": names a place that is not its own: " +
                CleanText(std::string_view(place).substr(0, kLongestShown)),
            0};
  TTransfer transfer;
  transfer.url = *address;
  try {
    TResource resource = Answer(Follow(transfer), *address);
    NoteBounds();
    return resource;
  } catch (const TError& error) {
    if (acquire::OutcomeOf(error) != EOutcome::kTooSlow) throw;
    const bool isByCount = requests > limits.requests;
    exhausted = isByCount ? error.what() : "the time for one server is over";
    return {nullptr, exhausted, 0};
  }
}

bool TClient::OpenSession(const std::string& address, std::string body) {
  TTransfer transfer;
  transfer.url = address;
  transfer.method = "POST";
  transfer.body = std::move(body);
  TReply reply = Send(transfer);
  const TResource resource = Answer(reply, address);
  if (resource.IsRefused()) throw TError(resource.problem);
  const acquire::TResponse& response = reply.result.response;
  if (reply.result.end != ETransferEnd::kAnswered || response.sessionToken.empty()) return false;
  secret = "X-Auth-Token: " + response.sessionToken;
  std::string place = response.redirect;
  if (place.empty()) {  // Then the session itself tells where it is.
    const TJson& made = resource.content;
    if (made.is_object() && made.contains("@odata.id") && made["@odata.id"].is_string())
      place = made["@odata.id"];
  }
  session = AddressOf(place).value_or("");
  return true;
}

void TClient::LogIn(const std::string& sessions, const std::string& user,
                    const std::string& password) {
  const auto address = sessions.empty() ? std::nullopt : AddressOf(sessions);
  try {
    const TJson who = {{"UserName", user}, {"Password", password}};
    if (address && OpenSession(*address, who.dump())) return;
  } catch (const TJson::exception&) {
    // What is no UTF-8 stands in no JSON.
  }
  secret = "Authorization: Basic " + acquire::ToBase64(user + ":" + password);
}

void TClient::LogOut() {
  if (session.empty()) return;
  TTransfer transfer;
  transfer.url = std::exchange(session, "");
  transfer.method = "DELETE";
  TBoundedText text(limits.resource);
  transfer.sink = &text;
  Start(transfer);
  for (int turn = 0; turn < kLastTurns && !transport.Wait(kTurn); ++turn) continue;
  transport.CancelAll();
}

std::string ServiceOrigin(const std::string& url) {
  const std::size_t begin = acquire::HostBegin(url);
  const std::size_t end = acquire::HostEnd(url);
  const std::string scheme = Lowered(url.substr(0, begin));
  if (scheme != "https://" && scheme != "http://") throw BadUrl(url, "is no address of a server");
  const std::string server = Lowered(url.substr(begin, end - begin));
  if (server.find('@') != server.npos)
    throw BadUrl(url,
                 "others can read a user or a password there; give --user and --password-file");
  std::string origin = scheme + server;
  if (server.find_first_of("?#") != server.npos || Escaped(origin) != origin ||
      !acquire::IsSameServer(origin, origin))
    throw BadUrl(url, "is no address of a server");
  if (!IsRoot(url.substr(end))) throw BadUrl(url, "has a path behind the server's name");
  const std::string_view host = std::string_view(server).substr(0, server.rfind(':'));
  if (scheme == "http://" && !IsThisMachine(host) && !IsThisMachine(server))
    throw BadUrl(url, "without TLS everybody on the way reads along and may answer");
  return origin;
}

}  // namespace svc::collect
