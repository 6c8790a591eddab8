// Workers that are programs: the system copies no process. Each reads the catalogue itself.
#include <io.h>
#include <windows.h>
#include <algorithm>
#include <array>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <system_error>
#include <utility>

#include "svcheck/fleet/byte_source.h"
#include "svcheck/fleet/process_windows.h"
#include "svcheck/fleet/workers.h"
#include "svcheck/system/failure.h"

namespace svc::fleet {

namespace {

// What a worker that is a program of its own has to know is the first frame that it is sent.
// Both sides are the same program.
constexpr const char* kGreeting = "svcheck fleet " SVCHECK_VERSION;

std::string FrameOfSettings(const TCheckSettings& settings) {
  const TQueryOptions& query = settings.query;
  std::vector<std::string> texts = {kGreeting,
                                    settings.catalogue,
                                    settings.logFolder,
                                    settings.waivers,
                                    query.dataFolder,
                                    query.plugin,
                                    std::to_string(query.logLevel),
                                    query.noBuiltinClasses ? "bare" : "",
                                    query.onlyUrgency};
  texts.insert(texts.end(), query.context.begin(), query.context.end());
  std::string body;
  for (const std::string& text : texts) AppendFrame(body, text);
  std::string frame;
  AppendFrame(frame, body);
  return frame;
}

// None for what FrameOfSettings did not make.
std::optional<TCheckSettings> SettingsOfBody(std::string_view body) {
  if (TakeFrame(body) != kGreeting) return {};
  std::vector<std::string> texts;
  while (const auto text = TakeFrame(body)) texts.emplace_back(*text);
  constexpr std::size_t kAlways = 8;
  if (texts.size() < kAlways) return {};
  TCheckSettings settings;
  settings.catalogue = texts[0];
  settings.logFolder = texts[1];
  settings.waivers = texts[2];
  settings.query.dataFolder = texts[3];
  settings.query.plugin = texts[4];
  settings.query.logLevel = std::stoi(texts[5]);
  settings.query.noBuiltinClasses = !texts[6].empty();
  settings.query.onlyUrgency = texts[7];
  settings.query.context.assign(texts.begin() + kAlways, texts.end());
  return settings;
}

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
    if (!text->empty()) throw TError(std::string(text->substr(1)), KindOfStatus(text->front()));
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

  void Wait(std::vector<TAwaited>& awaited,
            std::optional<std::chrono::milliseconds> most) override {
    while (!Mark(awaited) && port.Await(most)) {
    }
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

std::unique_ptr<IWorkers> StartWorkers(int jobs, std::chrono::seconds mostTime,
                                       const TCheckSettings& settings) {
  return MakeWorkers(jobs, std::make_unique<TPrograms>(settings), {.mostTime = mostTime});
}

// A worker, from its own side.

namespace {

class TPipeChannel : public ITaskChannel {
 public:
  explicit TPipeChannel(HANDLE pipe) : pipe(pipe) {}

  std::size_t Read(char* block, std::size_t size) override {
    DWORD count = 0;
    if (!ReadFile(pipe.get(), block, static_cast<DWORD>(size), &count, nullptr)) return 0;
    return count;
  }
  bool Write(std::string_view bytes) override {
    while (!bytes.empty()) {
      DWORD count = 0;
      if (!WriteFile(pipe.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr))
        return false;
      bytes.remove_prefix(count);
    }
    return true;
  }

 private:
  THandle pipe;
};

// Null where the text names no pipe that this process inherited.
HANDLE PipeOf(const std::string& text) {
  std::uintptr_t number = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  const auto pipe = reinterpret_cast<HANDLE>(number);
  const bool isNumber = read.ec == std::errc() && read.ptr == end;
  if (!isNumber || GetFileType(pipe) != FILE_TYPE_PIPE) return nullptr;
  SetHandleInformation(pipe, HANDLE_FLAG_INHERIT, 0);
  return pipe;
}

// An interruption is for who handed out the tasks; the system ends this process with that one. A
// comparison that ends this process is told by its status, and not on standard error.
void LeaveTellingToOthers() {
  SetConsoleCtrlHandler([](DWORD) -> BOOL { return TRUE; }, TRUE);
  // With the status of the C runtime's own abort, and without its message.
  std::signal(SIGABRT, [](int) { std::_Exit(3); });
}

int Tell(ITaskChannel& channel, const std::exception& error, int status) {
  std::string frame;
  AppendFrame(frame, static_cast<char>(status) + ReasonOf(error));
  channel.Write(frame);
  return status;
}

int Work(const TCheckSettings& settings, TFrameReader& tasks, ITaskChannel& channel) {
  std::optional<TMachineCheck> check;
  try {
    check.emplace(settings);
  } catch (const TError& failure) {
    return Tell(channel, failure, StatusOf(failure));
  } catch (const std::exception& error) {
    return Tell(channel, error, kExitFailure);
  }
  std::string ready;
  AppendFrame(ready, "");
  return channel.Write(ready) ? AnswerTasks(tasks, channel, *check) : kExitFailure;
}

}  // namespace

std::optional<int> RunWorker(const std::string& name) {
  const HANDLE pipe = PipeOf(name);
  if (pipe == nullptr) return {};
  TPipeChannel channel(pipe);
  TFrameReader frames(channel);
  const auto first = frames.Next();
  const auto settings = first ? SettingsOfBody(*first) : std::nullopt;
  if (!settings) return {};
  LeaveTellingToOthers();
  return Work(*settings, frames, channel);
}

std::optional<std::size_t> ReadSome(std::FILE* file, char* block, std::size_t size) {
  const int count = _read(_fileno(file), block, static_cast<unsigned>(size));
  if (count == -1) return {};
  return static_cast<std::size_t>(count);
}

bool HasSome(std::FILE* /*file*/) { return true; }

}  // namespace svc::fleet
