#include <fcntl.h>
#include <malloc.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <deque>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "svcheck/failure.h"
#include "svcheck/fleet/frame.h"
#include "svcheck/fleet/machine_check.h"
#include "svcheck/fleet/workers.h"

namespace svc::fleet {

namespace {

// One task is worked on and one waits, so that no worker waits for this process.
constexpr std::size_t kTasksEach = 2;
constexpr std::size_t kBlock = std::size_t{1} << 18;
// The end of a worker that had no memory left; of the kind that no verb ends with.
constexpr int kExitMemory = 127;

[[noreturn]] void Fail(const char* action, int error) {
  throw TFailure(std::string("cannot ") + action + " a worker process: " +
                 std::generic_category().message(error) + "; give fewer --jobs");
}

std::string CauseOf(int status) {
  constexpr const char* kEnded = "the process that compared this machine ended ";
  if (WIFSIGNALED(status)) {
    const int signal = WTERMSIG(status);
    return std::string(kEnded) + "by signal " + std::to_string(signal) + " (" +
           ::strsignal(signal) + ")";
  }
  if (WEXITSTATUS(status) == kExitMemory) {
    return "out of memory while this machine was compared; give fewer --jobs";
  }
  return std::string(kEnded) + "with status " + std::to_string(WEXITSTATUS(status));
}

// The memory of one comparison is the next one's: to give it back in between would cost as much as
// the comparison.
void KeepMemory() {
  constexpr int kMost = 1 << 25;
  ::mallopt(M_MMAP_THRESHOLD, kMost);
  ::mallopt(M_TRIM_THRESHOLD, kMost);
}

// A worker's side: answers tasks until there are no more.
[[noreturn]] void Serve(int socket, const TWork& work) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) ::signal(signal, SIG_DFL);
  KeepMemory();
  std::string received;
  std::string sent;
  std::vector<char> block(kBlock);
  for (;;) {
    std::string_view rest = received;
    while (const auto body = TakeFrame(rest)) {
      sent.clear();
      AppendFrame(sent, work(TaskOfBody(*body)));
      // What has run out of memory once says so of every machine from then on.
      if (HasMemoryRunOut()) ::_exit(kExitMemory);
      for (std::string_view left = sent; !left.empty();) {
        const ssize_t count = ::send(socket, left.data(), left.size(), MSG_NOSIGNAL);
        if (count <= 0) ::_exit(kExitFailure);
        left.remove_prefix(static_cast<std::size_t>(count));
      }
    }
    received.erase(0, received.size() - rest.size());
    const ssize_t count = ::recv(socket, block.data(), block.size(), 0);
    if (count <= 0) ::_exit(kExitDone);
    received.append(block.data(), static_cast<std::size_t>(count));
  }
}

struct TWorker {
  struct TGiven {
    std::uint64_t number;
    TTask task;
  };

  pid_t process = -1;
  int socket = -1;
  std::deque<TGiven> given;
  std::string toSend;
  std::string received;
};

class TProcesses : public IWorkers {
 public:
  TProcesses(int jobs, TWork work)
      : work(std::move(work)), workers(static_cast<std::size_t>(jobs)) {
    for (TWorker& worker : workers) Start(worker);
  }
  ~TProcesses() override {
    for (const TWorker& worker : workers) {
      if (worker.socket != -1) ::close(worker.socket);
      if (worker.process == -1) continue;
      // One that still works has nobody left to answer.
      if (!worker.given.empty()) ::kill(worker.process, SIGKILL);
      ::waitpid(worker.process, nullptr, 0);
    }
  }
  TProcesses(const TProcesses&) = delete;
  TProcesses& operator=(const TProcesses&) = delete;

  bool HasRoom() const override { return FewestGiven().given.size() < kTasksEach; }
  bool IsIdle() const override {
    return std::all_of(workers.begin(), workers.end(),
                       [](const TWorker& worker) { return worker.given.empty(); });
  }

  void Give(std::uint64_t number, TTask task) override {
    auto& worker = const_cast<TWorker&>(FewestGiven());
    worker.toSend += FrameOfTask(task);
    worker.given.push_back({number, std::move(task)});
    Send(worker);
  }

  TAnswer Wait() override {
    for (;;) {
      for (TWorker& worker : workers) {
        if (auto answer = TakeAnswer(worker)) return *std::move(answer);
      }
      Poll();
    }
  }

 private:
  const TWorker& FewestGiven() const {
    return *std::min_element(
        workers.begin(), workers.end(),
        [](const TWorker& a, const TWorker& b) { return a.given.size() < b.given.size(); });
  }

  void Start(TWorker& worker) {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) Fail("reach", errno);
    std::fflush(nullptr);
    worker.process = ::fork();
    if (worker.process == -1) {
      const int error = errno;
      ::close(ends[0]);
      ::close(ends[1]);
      Fail("start", error);
    }
    if (worker.process == 0) {
      ::close(ends[0]);
      for (const TWorker& other : workers) {
        if (other.socket != -1) ::close(other.socket);
      }
      Serve(ends[1], work);
    }
    ::close(ends[1]);
    worker.socket = ends[0];
    ::fcntl(worker.socket, F_SETFL, O_NONBLOCK);
    // A worker is to find its next task whole; the system gives what it allows.
    constexpr int kTasks = 1 << 20;
    ::setsockopt(worker.socket, SOL_SOCKET, SO_SNDBUF, &kTasks, sizeof kTasks);
  }

  static std::optional<TAnswer> TakeAnswer(TWorker& worker) {
    std::string_view rest = worker.received;
    const auto text = TakeFrame(rest);
    if (!text) return {};
    TAnswer answer{worker.given.front().number, std::string(*text)};
    worker.given.pop_front();
    worker.received.erase(0, worker.received.size() - rest.size());
    return answer;
  }

  // What does not fit is sent when the worker has taken some.
  static void Send(TWorker& worker) {
    while (!worker.toSend.empty()) {
      const ssize_t count =
          ::send(worker.socket, worker.toSend.data(), worker.toSend.size(), MSG_NOSIGNAL);
      if (count <= 0) return;  // Also when it has ended: Receive sees that.
      worker.toSend.erase(0, static_cast<std::size_t>(count));
    }
  }

  void Receive(TWorker& worker) {
    const ssize_t count = ::recv(worker.socket, block.data(), block.size(), 0);
    worker.received.append(block.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    const bool isLater = count == -1 && (errno == EAGAIN || errno == EINTR);
    if (count <= 0 && !isLater) Replace(worker);
  }

  // The worker ended by the task that it was at; the tasks behind that one are another's.
  void Replace(TWorker& worker) {
    int status = 0;
    ::close(std::exchange(worker.socket, -1));
    ::waitpid(std::exchange(worker.process, -1), &status, 0);
    std::deque<TWorker::TGiven> given = std::exchange(worker.given, {});
    worker.toSend.clear();
    worker.received.clear();
    if (!given.empty()) {
      const TTask& task = given.front().task;
      AppendFrame(worker.received, FailedAnswer(task.machine, CauseOf(status)));
    }
    Start(worker);
    bool isFirst = true;
    for (TWorker::TGiven& next : given) {
      if (!std::exchange(isFirst, false)) worker.toSend += FrameOfTask(next.task);
      worker.given.push_back(std::move(next));
    }
    Send(worker);
  }

  void Poll() {
    std::vector<pollfd> polled;
    for (const TWorker& worker : workers) {
      const int events = POLLIN | (worker.toSend.empty() ? 0 : POLLOUT);
      polled.push_back({worker.socket, static_cast<short>(events), 0});
    }
    if (::poll(polled.data(), polled.size(), -1) == -1) {
      if (errno == EINTR) return;
      Fail("hear", errno);
    }
    for (std::size_t i = 0; i < polled.size(); ++i) {
      if ((polled[i].revents & POLLOUT) != 0) Send(workers[i]);
      if ((polled[i].revents & (POLLIN | POLLHUP | POLLERR)) != 0) Receive(workers[i]);
    }
  }

  TWork work;
  std::vector<TWorker> workers;
  std::vector<char> block = std::vector<char>(kBlock);  // Of what is received.
};

}  // namespace

std::unique_ptr<IWorkers> StartWorkers(int jobs, TWork work) {
  return std::make_unique<TProcesses>(jobs, std::move(work));
}

}  // namespace svc::fleet
