#include "svcheck/fleet/workers.h"

#include <algorithm>
#include <deque>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "svcheck/failure.h"
#include "svcheck/fleet/frame.h"
#include "svcheck/fleet/worker_process.h"

namespace svc::fleet {

namespace {

// One task is worked on and one waits, so that no worker waits for this process.
constexpr std::size_t kTasksEach = 2;

struct TWorker {
  struct TGiven {
    std::uint64_t number;
    TTask task;
  };

  std::unique_ptr<IWorkerProcess> process;
  std::deque<TGiven> given;
  std::string toSend;
  std::string received;
};

class TWorkers : public IWorkers {
 public:
  TWorkers(int jobs, std::unique_ptr<IWorkerSystem> given)
      : system(std::move(given)), workers(static_cast<std::size_t>(jobs)) {
    for (TWorker& worker : workers) worker.process = system->Start();
    while (!std::all_of(workers.begin(), workers.end(),
                        [](const TWorker& worker) { return worker.process->HasBegun(); })) {
      Exchange();
    }
  }
  ~TWorkers() override {
    // One that still works has nobody left to answer.
    for (const TWorker& worker : workers) {
      if (worker.process && !worker.given.empty()) worker.process->Kill();
    }
  }
  TWorkers(const TWorkers&) = delete;
  TWorkers& operator=(const TWorkers&) = delete;

  bool HasRoom() const override { return FewestGiven().given.size() < kTasksEach; }
  bool IsIdle() const override {
    return std::all_of(workers.begin(), workers.end(),
                       [](const TWorker& worker) { return worker.given.empty(); });
  }

  void Give(std::uint64_t number, TTask task) override {
    auto& worker = const_cast<TWorker&>(FewestGiven());
    worker.toSend += FrameOfTask(task);
    worker.given.push_back({number, std::move(task)});
    worker.process->Send(worker.toSend);
  }

  TAnswer Wait() override {
    for (;;) {
      for (TWorker& worker : workers) {
        if (auto answer = TakeAnswer(worker)) return *std::move(answer);
      }
      Exchange();
    }
  }

 private:
  const TWorker& FewestGiven() const {
    return *std::min_element(
        workers.begin(), workers.end(),
        [](const TWorker& a, const TWorker& b) { return a.given.size() < b.given.size(); });
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

  void Exchange() {
    std::vector<IWorkerSystem::TAwaited> awaited;
    for (const TWorker& worker : workers) {
      awaited.push_back({worker.process.get(), !worker.toSend.empty()});
    }
    system->Wait(awaited);
    for (std::size_t i = 0; i < awaited.size(); ++i) {
      if (!awaited[i].isReady) continue;
      // What does not fit is sent when the worker has taken some.
      workers[i].process->Send(workers[i].toSend);
      if (!workers[i].process->Receive(workers[i].received)) Replace(workers[i]);
    }
  }

  // The worker ended by the task that it was at; the tasks behind that one are another's.
  void Replace(TWorker& worker) {
    worker.toSend.clear();
    worker.received.clear();
    if (!worker.given.empty()) {
      const TTask& task = worker.given.front().task;
      AppendFrame(worker.received, FailedAnswer(task.machine, worker.process->CauseOfEnd()));
    }
    worker.process.reset();
    worker.process = system->Start();
    for (std::size_t next = 1; next < worker.given.size(); ++next) {
      worker.toSend += FrameOfTask(worker.given[next].task);
    }
    worker.process->Send(worker.toSend);
  }

  std::unique_ptr<IWorkerSystem> system;
  std::vector<TWorker> workers;
};

}  // namespace

std::unique_ptr<IWorkers> MakeWorkers(int jobs, std::unique_ptr<IWorkerSystem> system) {
  return std::make_unique<TWorkers>(jobs, std::move(system));
}

void FailWorker(const char* action, const std::string& why) {
  throw TFailure(std::string("cannot ") + action + " a worker process: " + why +
                 "; give fewer --jobs");
}

std::string CauseOf(const std::string& how) {
  return "the process that compared this machine ended " + how;
}

}  // namespace svc::fleet
