#include "svcheck/fleet/worker_loop.h"

#include "svcheck/fleet/frame.h"
#include "svcheck/system/failure.h"

namespace svc::fleet {

namespace {

constexpr std::size_t kBlock = std::size_t{1} << 18;

}  // namespace

TFrameReader::TFrameReader(ITaskChannel& channel) : channel(channel), block(kBlock) {}

std::optional<std::string_view> TFrameReader::Next() {
  for (;;) {
    std::string_view rest = std::string_view(received).substr(taken);
    if (const auto text = TakeFrame(rest)) {
      taken = received.size() - rest.size();
      return text;
    }
    received.erase(0, taken);
    taken = 0;
    const std::size_t count = channel.Read(block.data(), block.size());
    if (count == 0) return {};
    received.append(block.data(), count);
  }
}

int AnswerTasks(TFrameReader& tasks, ITaskChannel& channel, TMachineCheck& check) {
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
