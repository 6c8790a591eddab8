// Transfers over WinHTTP: what the transport and its exchanges share. How a proxy is named, which
// certificates a file makes trusted, what the system's errors mean, and how news of requests come
// from the system's threads to the one of the download.
#pragma once

#include <windows.h>

// Both need what windows.h declares.
#include <wincrypt.h>
#include <winhttp.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/acquire/transport.h"

namespace svc::acquire {

// --- Proxies ---

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

// --- What error codes mean for a transfer ---

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

// --- Certificates from a file, trusted instead of the system's own ---

struct TCloseStore {
  void operator()(HCERTSTORE store) const { CertCloseStore(store, 0); }
};
struct TFreeEngine {
  void operator()(HCERTCHAINENGINE engine) const { CertFreeCertificateChainEngine(engine); }
};

// Immutable; one thread.
class TCertificateFile {
 public:
  // Reads a file of PEM blocks (RFC 7468). Throws TError (kNotTrusted).
  explicit TCertificateFile(const std::string& path);

  // Why a server's certificate is not to be trusted for that host; empty when it is.
  std::string WhyNot(PCCERT_CONTEXT certificate, const std::wstring& host) const;

 private:
  void Add(std::string_view block);

  std::unique_ptr<void, TCloseStore> store;
  std::unique_ptr<void, TFreeEngine> engine;
};

// --- News of requests ---

// What happened (a WINHTTP_CALLBACK_STATUS value), with its number: bytes read or an error code.
struct TWinHttpEvent {
  std::uint64_t exchange = 0;
  DWORD status = 0;
  DWORD value = 0;
};

// Any thread.
class TWinHttpEvents {
 public:
  void Push(const TWinHttpEvent& event) {
    const std::scoped_lock lock(mutex);
    events.push_back(event);
    changed.notify_one();
  }

  // The oldest one; nothing when none came for so long.
  std::optional<TWinHttpEvent> Pop(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex);
    if (!changed.wait_for(lock, limit, [this] { return !events.empty(); })) return std::nullopt;
    const TWinHttpEvent event = events.front();
    events.pop_front();
    return event;
  }

 private:
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<TWinHttpEvent> events;
};

// What the system uses of a request until the request's handle is closed for good, which may be
// after its exchange is over. Owned by the handle.
struct TWinHttpContext {
  std::shared_ptr<TWinHttpEvents> events;
  std::uint64_t exchange = 0;
  std::vector<char> buffer = std::vector<char>(std::size_t{1} << 16);
};

struct TCloseInternet {
  void operator()(HINTERNET handle) const { WinHttpCloseHandle(handle); }
};
// Owns what WinHTTP hands out.
using TInternet = std::unique_ptr<void, TCloseInternet>;

// What the transfers of one transport share. Immutable.
struct TWinHttpSession {
  TInternet handle;
  TCredentials proxyCredentials;
  std::unique_ptr<TCertificateFile> trusted;  // Empty: the system's certificates.
  std::chrono::milliseconds connect{0};
  std::chrono::milliseconds stall{0};
};

// Goes from event to event, each of which asks the system for the next. One thread.
class TWinHttpExchange {
 public:
  using TClock = std::chrono::steady_clock;

  // Starts at once; a failure comes as an event too.
  TWinHttpExchange(TTransfer& transfer, const TWinHttpSession& session,
                   std::shared_ptr<TWinHttpEvents> events, std::uint64_t number);

  std::uint64_t Number() const noexcept { return number; }
  // The result when that was the end.
  std::optional<TTransferResult> OnEvent(const TWinHttpEvent& event);
  // The result when next to nothing has arrived for too long.
  std::optional<TTransferResult> OnTime(TClock::time_point now);

 private:
  bool Open();
  bool SetOptions();
  bool AddHeaders();
  bool Send();
  bool Read();
  void FailLater(DWORD error);

  std::optional<TTransferResult> OnSent();
  std::optional<TTransferResult> OnHeaders();
  std::optional<TTransferResult> OnBytes(DWORD count);
  std::optional<TTransferResult> OnFailure(DWORD error);
  std::optional<TTransferResult> GoOn(bool isUnderWay);
  std::string WhyNotTrusted() const;
  void ReadResponse();
  bool AnswerWithCredentials();
  // By its number, or by its name where that is WINHTTP_QUERY_CUSTOM.
  std::wstring Header(DWORD which, const wchar_t* name = WINHTTP_HEADER_NAME_BY_INDEX) const;
  TTransferResult End(ETransferEnd end, std::string reason = "") const;

  TTransfer& transfer;
  const TWinHttpSession& session;
  std::shared_ptr<TWinHttpEvents> events;
  std::uint64_t number;
  TInternet connection;
  TInternet request;
  TWinHttpContext* context = nullptr;  // Owned by the request.
  std::wstring host;
  bool isSecure = false;
  TCredentials serverCredentials;
  int resends = 0;
  TResponse response;
  std::exception_ptr thrown;
  bool isConnected = false;
  TClock::time_point since = TClock::now();
  std::uint64_t bytesSince = 0;
};

}  // namespace svc::acquire
