// News of requests, from the system's threads to the one of the download.
#ifndef RUNTIME_ACQUIRE_WINHTTP_EXCHANGE_H_
#define RUNTIME_ACQUIRE_WINHTTP_EXCHANGE_H_

#include <windows.h>
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
#include <vector>

#include "runtime/acquire/certificate_file_windows.h"
#include "runtime/acquire/transport.h"
#include "runtime/acquire/transport_winhttp.h"

namespace svc::acquire {

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

// Owners of what WinHTTP hands out.

struct TCloseInternet {
  void operator()(HINTERNET handle) const { WinHttpCloseHandle(handle); }
};
using TInternet = std::unique_ptr<void, TCloseInternet>;

// One transfer under way over WinHTTP.

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

#endif  // RUNTIME_ACQUIRE_WINHTTP_EXCHANGE_H_
