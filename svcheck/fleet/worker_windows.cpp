// A worker, from its own side.
#include <windows.h>

#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <exception>

#include "svcheck/fleet/frame.h"
#include "svcheck/fleet/handle_windows.h"
#include "svcheck/fleet/settings_frame.h"
#include "svcheck/fleet/worker_loop.h"
#include "svcheck/fleet/workers.h"
#include "svcheck/system/failure.h"

namespace svc::fleet {

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
  } catch (const TFailure& failure) {
    return Tell(channel, failure, failure.Status());
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

}  // namespace svc::fleet
