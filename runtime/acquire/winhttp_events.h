// News of requests, from the system's threads to the one of the download.
#ifndef RUNTIME_ACQUIRE_WINHTTP_EVENTS_H_
#define RUNTIME_ACQUIRE_WINHTTP_EVENTS_H_

#include <windows.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

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

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_WINHTTP_EVENTS_H_
