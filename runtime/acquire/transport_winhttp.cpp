#include <windows.h>
#include <winhttp.h>
#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <charconv>
#include <memory>
#include <vector>

#include "base/error.h"
#include "base/shown_text.h"
#include "runtime/acquire/settings.h"
#include "runtime/acquire/transport_winhttp.h"

namespace svc::acquire {

namespace {

constexpr DWORD kTold = WINHTTP_CALLBACK_FLAG_ALL_COMPLETIONS | WINHTTP_CALLBACK_FLAG_HANDLES;

// Called by threads of the system. The last news of a request is that its handle is closed.
void CALLBACK OnNews(HINTERNET /*handle*/, DWORD_PTR context, DWORD status, void* info,
                     DWORD length) {
  auto* const request = reinterpret_cast<TWinHttpContext*>(context);
  if (request == nullptr) return;
  if (status == WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING) {
    delete request;
    return;
  }
  TWinHttpEvent event{request->exchange, status, 0};
  if (status == WINHTTP_CALLBACK_STATUS_READ_COMPLETE) event.value = length;
  if (status == WINHTTP_CALLBACK_STATUS_REQUEST_ERROR)
    event.value = static_cast<const WINHTTP_ASYNC_RESULT*>(info)->dwError;
  request->events->Push(event);
}

TInternet OpenSession(const TTransportOptions& options, TCredentials& credentials) {
  DWORD access = WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY;
  std::wstring server;
  if (options.proxy.kind == TProxyChoice::EKind::kDirect) access = WINHTTP_ACCESS_TYPE_NO_PROXY;
  if (options.proxy.kind == TProxyChoice::EKind::kGiven) {
    access = WINHTTP_ACCESS_TYPE_NAMED_PROXY;
    TWinHttpProxy proxy = WinHttpProxyOf(options.proxy);
    server = std::move(proxy.server);
    credentials = std::move(proxy.credentials);
  }
  TInternet session(WinHttpOpen(L"svcheck", access,
                                server.empty() ? WINHTTP_NO_PROXY_NAME : server.c_str(),
                                WINHTTP_NO_PROXY_BYPASS, WINHTTP_FLAG_ASYNC));
  if (!session ||
      WinHttpSetStatusCallback(session.get(), OnNews, kTold, 0) == WINHTTP_INVALID_STATUS_CALLBACK)
    throw TError("WinHTTP does not start: " + SystemText(GetLastError()));
  return session;
}

TWinHttpSession MakeSession(const TTransportOptions& options) {
  TWinHttpSession session;
  session.handle = OpenSession(options, session.proxyCredentials);
  if (!options.caFile.empty()) session.trusted = std::make_unique<TCertificateFile>(options.caFile);
  session.connect = options.connect;
  session.stall = options.stall;
  return session;
}

class TWinHttpTransport : public ITransport {
 public:
  explicit TWinHttpTransport(const TTransportOptions& options) : session(MakeSession(options)) {}

  void Start(TTransfer& transfer) override {
    exchanges.push_back(
        std::make_unique<TWinHttpExchange>(transfer, session, events, ++lastNumber));
  }

  std::optional<TTransferResult> Wait(std::chrono::milliseconds limit) override {
    using TClock = TWinHttpExchange::TClock;
    const auto end = TClock::now() + limit;
    for (auto now = TClock::now(); now <= end; now = TClock::now()) {
      const auto event = events->Pop(std::chrono::ceil<std::chrono::milliseconds>(end - now));
      if (!event) break;
      if (auto result = Pass(*event)) return result;
    }
    return TakeStalled();
  }

  void CancelAll() override { exchanges.clear(); }

 private:
  using TExchanges = std::vector<std::unique_ptr<TWinHttpExchange>>;

  // News of an exchange that is over is no news.
  std::optional<TTransferResult> Pass(const TWinHttpEvent& event) {
    const auto found = std::ranges::find(exchanges, event.exchange, &TWinHttpExchange::Number);
    if (found == exchanges.end()) return std::nullopt;
    auto result = (*found)->OnEvent(event);
    if (result) exchanges.erase(found);
    return result;
  }

  std::optional<TTransferResult> TakeStalled() {
    const auto now = TWinHttpExchange::TClock::now();
    for (auto exchange = exchanges.begin(); exchange != exchanges.end(); ++exchange) {
      auto result = (*exchange)->OnTime(now);
      if (!result) continue;
      exchanges.erase(exchange);
      return result;
    }
    return std::nullopt;
  }

  TWinHttpSession session;
  std::shared_ptr<TWinHttpEvents> events = std::make_shared<TWinHttpEvents>();
  std::uint64_t lastNumber = 0;
  TExchanges exchanges;
};

constexpr std::string_view kScheme = "http://";
constexpr const char* kUsualPort = "1080";  // As the proxy options of other programs have it.

TError Unusable(const std::string& address) {
  return DownloadError(EOutcome::kProxyUnusable,
                       "\"" + address + "\" is no proxy's address; it looks like http://host:port");
}

// The part behind the scheme, without what follows the server.
std::string_view Server(const std::string& address, std::string_view shown) {
  std::string_view rest = address;
  if (boost::istarts_with(rest, kScheme)) rest.remove_prefix(kScheme.size());
  if (rest.find("://") != std::string_view::npos) throw Unusable(std::string(shown));
  return rest.substr(0, rest.find('/'));
}

bool HasPort(std::string_view server) {
  const auto colon = server.rfind(':');
  return colon != std::string_view::npos && server.find(']', colon) == std::string_view::npos;
}

TCredentials CredentialsOf(std::string_view text) {
  const auto colon = text.find(':');
  if (colon == std::string_view::npos) return {Unescaped(text), {}};
  return {Unescaped(text.substr(0, colon)), Unescaped(text.substr(colon + 1))};
}

}  // namespace

std::unique_ptr<ITransport> MakeTransport(const TTransportOptions& options) {
  return std::make_unique<TWinHttpTransport>(options);
}

// A chain up to a named certificate is built only when the request has been sent.
bool VerifiesBeforeSending(const TTransportOptions& options) { return options.caFile.empty(); }

std::wstring Unescaped(std::string_view text) {
  std::string bytes;
  for (std::size_t at = 0; at < text.size(); ++at) {
    unsigned char byte = 0;
    const char* const digits = text.data() + at + 1;
    const bool isEscaped = text[at] == '%' && at + 2 < text.size() &&
                           std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2;
    bytes += isEscaped ? static_cast<char>(byte) : text[at];
    if (isEscaped) at += 2;
  }
  return Widen(bytes);
}

TWinHttpProxy WinHttpProxyOf(const TProxyChoice& choice) {
  const auto at = choice.host.rfind('@');
  const std::string shown = at == std::string::npos ? choice.host : choice.host.substr(at + 1);
  std::string_view server = Server(choice.host, shown);
  TWinHttpProxy proxy{{}, {Widen(choice.user), Widen(choice.password)}};
  if (const auto end = server.rfind('@'); end != std::string_view::npos) {
    if (choice.user.empty()) proxy.credentials = CredentialsOf(server.substr(0, end));
    server.remove_prefix(end + 1);
  }
  if (server.empty()) throw Unusable(shown);
  std::string name(server);
  if (!HasPort(server))
    name += ":" + (choice.port != 0 ? std::to_string(choice.port) : std::string(kUsualPort));
  proxy.server = Widen(name);
  return proxy;
}

}  // namespace svc::acquire
