// Workers that are copies of this process: they share what it has read of the catalogue.
#include <fcntl.h>
#include <malloc.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <set>
#include <utility>

#include "host/hskcore/os_specific.h"
#include "runtime/hskcore/host_setup.h"
#include "svcheck/fleet/byte_source.h"
#include "svcheck/fleet/workers.h"
#include "svcheck/system/failure.h"

namespace svc::fleet {

namespace {

constexpr std::size_t kBlock = std::size_t{1} << 18;

// The memory of one machine is the next one's, here and in the workers: to give it back in between
// costs a worker as much as the comparison.
void KeepMemory() {
  constexpr int kMost = 1 << 25;
  ::mallopt(M_MMAP_THRESHOLD, kMost);
  ::mallopt(M_TRIM_THRESHOLD, kMost);
}

class TSocketChannel : public ITaskChannel {
 public:
  explicit TSocketChannel(int socket) : socket(socket) {}

  std::size_t Read(char* block, std::size_t size) override {
    return static_cast<std::size_t>(std::max<ssize_t>(::recv(socket, block, size, 0), 0));
  }
  bool Write(std::string_view bytes) override {
    while (!bytes.empty()) {
      const ssize_t count = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (count <= 0) return false;
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
  }

 private:
  int socket;
};

// A worker's side.
[[noreturn]] void Serve(int socket, TMachineCheck& check) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) ::signal(signal, SIG_DFL);
  WatchMemory();  // What this process is a copy of may have run out of it before.
  TSocketChannel channel(socket);
  TFrameReader tasks(channel);
  ::_exit(AnswerTasks(tasks, channel, check));
}

// What all workers have in common on this side.
struct TShared {
  std::set<int> sockets;
  std::vector<char> block = std::vector<char>(kBlock);  // Of what is received.
};

class TCopy : public IWorkerProcess {
 public:
  TCopy(pid_t process, int socket, TShared& shared)
      : process(process), socket(socket), shared(shared) {
    shared.sockets.insert(socket);
    ::fcntl(socket, F_SETFL, O_NONBLOCK);
    // A worker is to find its next task whole; the system gives what it allows.
    constexpr int kTasks = 1 << 20;
    ::setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &kTasks, sizeof kTasks);
  }
  ~TCopy() override {
    shared.sockets.erase(socket);
    ::close(socket);
    if (process != -1) ::waitpid(process, nullptr, 0);
  }
  TCopy(const TCopy&) = delete;
  TCopy& operator=(const TCopy&) = delete;

  int Socket() const { return socket; }
  bool HasBegun() const override { return true; }

  void Send(std::string& bytes) override {
    while (!bytes.empty()) {
      const ssize_t count = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (count <= 0) return;  // Also when it has ended: Receive sees that.
      bytes.erase(0, static_cast<std::size_t>(count));
    }
  }

  bool Receive(std::string& bytes) override {
    const ssize_t count = ::recv(socket, shared.block.data(), shared.block.size(), 0);
    bytes.append(shared.block.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return count > 0 || (count == -1 && (errno == EAGAIN || errno == EINTR));
  }

  std::string CauseOfEnd() override {
    int status = 0;
    ::waitpid(std::exchange(process, -1), &status, 0);
    if (WIFSIGNALED(status)) {
      const int signal = WTERMSIG(status);
      return CauseOf("by signal " + std::to_string(signal) + " (" + ::strsignal(signal) + ")");
    }
    const int exit = WEXITSTATUS(status);
    return exit == kExitMemory ? kMemoryRanOut : CauseOf("with status " + std::to_string(exit));
  }

  void Kill() override { ::kill(process, SIGKILL); }

 private:
  pid_t process;
  int socket;
  TShared& shared;
};

class TCopies : public IWorkerSystem {
 public:
  explicit TCopies(const TCheckSettings& settings) : check(settings) { KeepMemory(); }

  std::unique_ptr<IWorkerProcess> Start() override {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) FailWorker("reach", errno);
    std::fflush(nullptr);
    const pid_t process = ::fork();
    if (process == -1) {
      const int error = errno;
      ::close(ends[0]);
      ::close(ends[1]);
      FailWorker("start", error);
    }
    if (process == 0) {
      ::close(ends[0]);
      for (const int other : shared.sockets) ::close(other);
      Serve(ends[1], check);
    }
    ::close(ends[1]);
    return std::make_unique<TCopy>(process, ends[0], shared);
  }

  void Wait(std::vector<TAwaited>& awaited,
            std::optional<std::chrono::milliseconds> most) override {
    std::vector<pollfd> polled;
    for (const TAwaited& one : awaited) {
      const int events = POLLIN | (one.hasToSend ? POLLOUT : 0);
      polled.push_back({static_cast<TCopy*>(one.process)->Socket(), static_cast<short>(events), 0});
    }
    const int wait = most ? static_cast<int>(most->count()) : -1;
    if (::poll(polled.data(), polled.size(), wait) == -1) {
      if (errno == EINTR) return;
      FailWorker("hear", errno);
    }
    for (std::size_t i = 0; i < polled.size(); ++i) awaited[i].isReady = polled[i].revents != 0;
  }

 private:
  TMachineCheck check;
  TShared shared;
};

}  // namespace

std::unique_ptr<IWorkers> StartWorkers(int jobs, std::chrono::seconds mostTime,
                                       const TCheckSettings& settings) {
  return MakeWorkers(jobs, std::make_unique<TCopies>(settings), {.mostTime = mostTime});
}

// Workers are copies of the program that hands out the tasks.
std::optional<int> RunWorker(const std::string& /*channel*/) { return {}; }

std::optional<std::size_t> ReadSome(std::FILE* file, char* block, std::size_t size) {
  ssize_t count = 0;
  do {
    count = ::read(::fileno(file), block, size);
  } while (count == -1 && errno == EINTR);
  if (count == -1) return {};
  return static_cast<std::size_t>(count);
}

bool HasSome(std::FILE* file) {
  pollfd polled{::fileno(file), POLLIN, 0};
  return ::poll(&polled, 1, 0) != 0;
}

}  // namespace svc::fleet
