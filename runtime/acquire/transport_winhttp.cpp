#include <windows.h>
#include <winhttp.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <vector>

#include "runtime/acquire/native_text_windows.h"
#include "runtime/acquire/transport.h"
#include "runtime/acquire/winhttp_exchange.h"

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
    throw std::runtime_error("WinHTTP does not start: " + SystemText(GetLastError()));
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

}  // namespace

std::unique_ptr<ITransport> MakeTransport(const TTransportOptions& options) {
  return std::make_unique<TWinHttpTransport>(options);
}

}  // namespace svc::acquire
