// A handle of the system's, closed by its holder. Empty is null, never INVALID_HANDLE_VALUE.
#pragma once

#include <windows.h>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace svc::fleet {

struct TCloseHandle {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using THandle = std::unique_ptr<HANDLE, TCloseHandle>;

inline THandle Held(HANDLE handle) {
  return THandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

// Starts this program again, as a worker. What it starts ends with this process, however that ends.
// Used by one thread.

class TProgramStarter {
 public:
  // Throws TError.
  TProgramStarter();

  // Returns its process. It inherits `channel`, standard error and nothing else. Throws TError.
  THandle Start(HANDLE channel) const;

 private:
  std::wstring program;
  THandle job;
  THandle nothing;  // Standard input and output of those processes.
  THandle errors;
};

// Pipes to other processes that are written and read without waiting for any one of them. Used by
// one thread.

class TPipe;

// Where the system tells what has become of what was begun on the pipes. Outlives them.
class TPort {
 public:
  // Throws TError.
  TPort();
  // What closed pipes had begun uses their memory until the system says that it is over.
  ~TPort();
  TPort(const TPort&) = delete;
  TPort& operator=(const TPort&) = delete;

  // Waits until something is over that was begun on one of the pipes, and no longer than `most`
  // where that is given; false when nothing was over by then. Throws TError.
  bool Await(std::optional<std::chrono::milliseconds> most = {});

 private:
  friend class TPipe;
  THandle port;
  std::size_t begun = 0;
};

// This process's end of a pipe. Reads ahead.
class TPipe : public std::enable_shared_from_this<TPipe> {
 public:
  // `other` receives the end for a process that inherits it, where reading and writing wait. Throws
  // TError.
  static std::shared_ptr<TPipe> Make(TPort& port, THandle& other);

  // Whether Send would take something.
  bool HasRoom() const { return !writing.pipe; }
  // Whether Receive would tell something new.
  bool HasNews() const { return !received.empty() || hasEnded; }

  // Takes all of the bytes, or none while the ones before them are not read.
  void Send(std::string& bytes);
  // Adds what came; false when nothing did and nobody is at the other end any more.
  bool Receive(std::string& bytes);
  void Close();

 private:
  friend class TPort;
  struct TOperation : OVERLAPPED {
    std::shared_ptr<TPipe> pipe;  // While it is under way.
  };

  TPipe(TPort& port, THandle end);
  void Read();
  void Begin(TOperation& operation, BOOL isDone);
  void End(const TOperation& operation, bool hasWorked, std::size_t count);

  TPort& port;
  THandle end;
  TOperation reading{};
  TOperation writing{};
  std::vector<char> block;  // Being read.
  std::string sent;         // Being written.
  std::string received;
  bool hasEnded = false;
};

}  // namespace svc::fleet
