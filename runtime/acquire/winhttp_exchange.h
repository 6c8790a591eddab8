// One transfer under way over WinHTTP.
#ifndef RUNTIME_ACQUIRE_WINHTTP_EXCHANGE_H_
#define RUNTIME_ACQUIRE_WINHTTP_EXCHANGE_H_

#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "runtime/acquire/certificate_file_windows.h"
#include "runtime/acquire/transport.h"
#include "runtime/acquire/winhttp_events.h"
#include "runtime/acquire/winhttp_handle.h"
#include "runtime/acquire/winhttp_proxy.h"

namespace svc::acquire {

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
  std::wstring Header(DWORD which) const;
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

#endif  // RUNTIME_ACQUIRE_WINHTTP_EXCHANGE_H_
