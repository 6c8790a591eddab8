// Workers that are programs: the system copies no process. Each reads the catalogue itself.
#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <system_error>
#include <utility>
#include <vector>

#include "svcheck/fleet/frame.h"
#include "svcheck/fleet/handle_windows.h"
#include "svcheck/fleet/pipe_windows.h"
#include "svcheck/fleet/program_windows.h"
#include "svcheck/fleet/settings_frame.h"
#include "svcheck/fleet/worker_loop.h"
#include "svcheck/fleet/worker_process.h"
#include "svcheck/system/failure.h"

namespace svc::fleet {

namespace {

// The statuses with which the system, or the C runtime, ends a process (Windows, ntstatus.h).
struct TMeaning {
  DWORD status;
  const char* text;
};
constexpr std::array kMeanings = {
    TMeaning{3, "aborted"},
    TMeaning{0xC0000005, "access violation"},
    TMeaning{0xC000001D, "illegal instruction"},
    TMeaning{0xC0000094, "division by zero"},
    TMeaning{0xC00000FD, "stack overflow"},
    TMeaning{0xC0000374, "heap corruption"},
    TMeaning{0xC0000409, "stack buffer overrun"},
};

// "with status 3 (aborted)".
std::string HowOf(DWORD status) {
  const auto* const meaning =
      std::find_if(kMeanings.begin(), kMeanings.end(),
                   [&](const TMeaning& known) { return known.status == status; });
  constexpr DWORD kError = 0xC0000000;
  char number[16];
  std::snprintf(number, sizeof number, status < kError ? "%lu" : "0x%08lX", status);
  const std::string text =
      meaning == kMeanings.end() ? "" : std::string(" (") + meaning->text + ')';
  return std::string("with status ") + number + text;
}

class TProgram : public IWorkerProcess {
 public:
  TProgram(THandle process, std::shared_ptr<TPipe> pipe, std::string settings)
      : process(std::move(process)), pipe(std::move(pipe)) {
    this->pipe->Send(settings);
  }
  ~TProgram() override {
    pipe->Close();
    WaitForSingleObject(process.get(), INFINITE);
  }
  TProgram(const TProgram&) = delete;
  TProgram& operator=(const TProgram&) = delete;

  const TPipe& Pipe() const { return *pipe; }
  bool HasBegun() const override { return hasBegun; }
  void Send(std::string& bytes) override { pipe->Send(bytes); }

  bool Receive(std::string& bytes) override {
    if (hasBegun) return pipe->Receive(bytes);
    if (!pipe->Receive(start)) FailWorker("start", "it ended " + HowOf(Status()));
    TakeStart(bytes);
    return true;
  }

  std::string CauseOfEnd() override {
    const DWORD status = Status();
    return status == kExitMemory ? kMemoryRanOut : CauseOf(HowOf(status));
  }

  void Kill() override { TerminateProcess(process.get(), kExitFailure); }

 private:
  DWORD Status() const {
    DWORD status = 0;
    WaitForSingleObject(process.get(), INFINITE);
    GetExitCodeProcess(process.get(), &status);
    return status;
  }

  // First it says that it is ready, or why it cannot be, behind the exit status for that.
  void TakeStart(std::string& bytes) {
    std::string_view rest = start;
    const auto text = TakeFrame(rest);
    if (!text) return;
    if (!text->empty()) throw TFailure(std::string(text->substr(1)), text->front());
    hasBegun = true;
    bytes += rest;
  }

  THandle process;
  std::shared_ptr<TPipe> pipe;
  std::string start;
  bool hasBegun = false;
};

class TPrograms : public IWorkerSystem {
 public:
  explicit TPrograms(const TCheckSettings& settings) : settings(FrameOfSettings(settings)) {}

  std::unique_ptr<IWorkerProcess> Start() override {
    THandle other;
    std::shared_ptr<TPipe> pipe = TPipe::Make(port, other);
    return std::make_unique<TProgram>(starter.Start(other.get()), std::move(pipe), settings);
  }

  void Wait(std::vector<TAwaited>& awaited) override {
    while (!Mark(awaited)) port.Await();
  }

 private:
  // Whether one of them is ready.
  static bool Mark(std::vector<TAwaited>& awaited) {
    for (TAwaited& one : awaited) {
      const TPipe& pipe = static_cast<const TProgram*>(one.process)->Pipe();
      one.isReady = pipe.HasNews() || (one.hasToSend && pipe.HasRoom());
    }
    return std::any_of(awaited.begin(), awaited.end(),
                       [](const TAwaited& one) { return one.isReady; });
  }

  std::string settings;
  TPort port;
  TProgramStarter starter;
};

}  // namespace

std::unique_ptr<IWorkers> StartWorkers(int jobs, const TCheckSettings& settings) {
  return MakeWorkers(jobs, std::make_unique<TPrograms>(settings));
}

}  // namespace svc::fleet
