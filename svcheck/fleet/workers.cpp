#include "svcheck/fleet/workers.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <system_error>
#include <utility>

#include "runtime/xmlparser/document_window.h"
#include "svcheck/system/failure.h"

namespace svc::fleet {

namespace {

// One task is worked on and one waits, so that no worker waits for this process.
constexpr std::size_t kTasksEach = 2;

constexpr const char* kGarbled =
    "the process that compared this machine answered what cannot be read";

// So long is waited at once where the time counts: a stop of this process counts for no more.
constexpr std::chrono::milliseconds kSlice{1000};

std::string CauseOfSilence(std::chrono::seconds mostTime) {
  return "no answer within " + std::to_string(mostTime.count()) +
         " s; its process was ended; give more with --machine-timeout";
}

struct TWorker {
  struct TGiven {
    std::uint64_t number;
    TTask task;
  };

  std::unique_ptr<IWorkerProcess> process;
  std::deque<TGiven> given;
  std::string toSend;
  std::string received;
  std::chrono::steady_clock::duration waited{};  // For the answer to the first task given.
};

class TWorkers : public IWorkers {
 public:
  TWorkers(int jobs, std::unique_ptr<IWorkerSystem> given, const TWorkerLimits& limits)
      : system(std::move(given)), workers(static_cast<std::size_t>(jobs)), limits(limits) {
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

  bool HasRoom() const override {
    return FewestGiven().given.size() < kTasksEach && givenBytes < limits.mostBytes;
  }
  bool IsIdle() const override {
    return std::all_of(workers.begin(), workers.end(),
                       [](const TWorker& worker) { return worker.given.empty(); });
  }

  void Give(std::uint64_t number, TTask task) override {
    auto& worker = const_cast<TWorker&>(FewestGiven());
    worker.toSend += FrameOfTask(task);
    givenBytes += task.text.size();
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

  std::optional<TAnswer> TakeAnswer(TWorker& worker) {
    std::string_view rest = worker.received;
    const auto text = TakeFrame(rest);
    if (!text || worker.given.empty()) return {};
    TAnswer answer{worker.given.front().number, std::string(*text)};
    givenBytes -= worker.given.front().task.text.size();
    worker.given.pop_front();
    worker.waited = {};
    worker.received.erase(0, worker.received.size() - rest.size());
    return answer;
  }

  // Whether a worker has answered what it was not asked, or begins an answer that no memory holds.
  static bool IsGarbled(const TWorker& worker) {
    std::string_view rest = worker.received;
    std::size_t answers = 0;
    while (TakeFrame(rest)) ++answers;
    const std::size_t asked = worker.given.size();
    return answers > asked || (answers == asked && !rest.empty()) ||
           AnnouncedLength(rest) > kMostAnswer;
  }

  void Exchange() {
    std::vector<IWorkerSystem::TAwaited> awaited;
    for (const TWorker& worker : workers) {
      awaited.push_back({worker.process.get(), !worker.toSend.empty()});
    }
    const auto waited = Await(awaited);
    for (std::size_t i = 0; i < awaited.size(); ++i) {
      if (awaited[i].isReady) Exchange(workers[i]);
      if (IsAtWork(workers[i])) CountTime(workers[i], waited);
    }
  }

  // Returns for how long it waited, of the time that counts.
  std::chrono::steady_clock::duration Await(std::vector<IWorkerSystem::TAwaited>& awaited) {
    if (limits.mostTime.count() == 0) {
      system->Wait(awaited, {});
      return {};
    }
    const auto begin = system->Now();
    system->Wait(awaited, kSlice);
    return std::min<std::chrono::steady_clock::duration>(system->Now() - begin, kSlice);
  }

  void Exchange(TWorker& worker) {
    // What does not fit is sent when the worker has taken some.
    worker.process->Send(worker.toSend);
    if (!worker.process->Receive(worker.received)) {
      Replace(worker, worker.process->CauseOfEnd());
    } else if (IsGarbled(worker)) {
      worker.process->Kill();
      Replace(worker, kGarbled);
    }
  }

  // Whether it has a task that is not answered to the end.
  static bool IsAtWork(const TWorker& worker) {
    std::string_view rest = worker.received;
    return !worker.given.empty() && worker.process->HasBegun() && !TakeFrame(rest);
  }

  void CountTime(TWorker& worker, std::chrono::steady_clock::duration waited) {
    worker.waited += waited;
    if (limits.mostTime.count() == 0 || worker.waited < limits.mostTime) return;
    worker.process->Kill();
    Replace(worker, CauseOfSilence(limits.mostTime));
  }

  // The worker ended by the task that it was at; the tasks behind that one are another's.
  void Replace(TWorker& worker, const std::string& cause) {
    worker.toSend.clear();
    worker.received.clear();
    worker.waited = {};
    if (!worker.given.empty()) {
      const TTask& task = worker.given.front().task;
      AppendFrame(worker.received, FailedAnswer(task.machine, cause));
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
  TWorkerLimits limits;
  std::size_t givenBytes = 0;  // Of the texts of all tasks that have no answer yet.
};

}  // namespace

std::unique_ptr<IWorkers> MakeWorkers(int jobs, std::unique_ptr<IWorkerSystem> system,
                                      const TWorkerLimits& limits) {
  return std::make_unique<TWorkers>(jobs, std::move(system), limits);
}

void FailWorker(const char* action, const std::string& why) {
  throw TError(std::string("cannot ") + action + " a worker process: " + why +
               "; give fewer --jobs");
}

void FailWorker(const char* action, int error) {
  FailWorker(action, std::system_category().message(error));
}

std::string CauseOf(const std::string& how) {
  return "the process that compared this machine ended " + how;
}

// Room for two tasks of the usual size.
constexpr std::size_t kBlock = std::size_t{1} << 19;

TFrameReader::TFrameReader(ITaskChannel& channel) : channel(channel), block(kBlock) {}

std::optional<std::string_view> TFrameReader::Next() {
  for (;;) {
    std::string_view rest(block.data() + begin, end - begin);
    if (const auto text = TakeFrame(rest)) {
      begin = end - rest.size();
      return text;
    }
    if (!Receive()) return {};
  }
}

// A frame that was cut is moved to the front when the room behind it is short; the block grows for
// one that is longer.
bool TFrameReader::Receive() {
  if (begin == end || block.size() - end < block.size() / 2) {
    std::memmove(block.data(), block.data() + begin, end - begin);
    end -= std::exchange(begin, 0);
  }
  if (end > block.size() / 2) block.resize(block.size() * 2);
  const std::size_t count = channel.Read(block.data() + end, block.size() - end);
  end += count;
  return count != 0;
}

int AnswerTasks(TFrameReader& tasks, ITaskChannel& channel, TMachineCheck& check) {
  // An inventory that was a file when it was listed may be a pipe by now.
  xml::AllowWaiting(false);
  check.SettleIn();
  std::string sent;
  while (const auto body = tasks.Next()) {
    sent.clear();
    AppendFrame(sent, check.Answer(TaskOfBody(*body)));
    // What has run out of memory once says so of every machine from then on.
    if (HasMemoryRunOut()) return kExitMemory;
    if (!channel.Write(sent)) return kExitFailure;
  }
  return kExitDone;
}

}  // namespace svc::fleet
