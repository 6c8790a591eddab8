// What a worker does: it answers tasks, one after the other, until there are no more. Used by one
// thread.
#ifndef SVCHECK_FLEET_WORKER_LOOP_H_
#define SVCHECK_FLEET_WORKER_LOOP_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "svcheck/fleet/machine_check.h"

namespace svc::fleet {

// The end of a worker that had no memory left; of the kind that no verb ends with.
inline constexpr int kExitMemory = 127;

// The way to the process that hands out the tasks. Both functions wait.
class ITaskChannel {
 public:
  virtual ~ITaskChannel() = default;
  // 0 when nothing more will come.
  virtual std::size_t Read(char* block, std::size_t size) = 0;
  // False when nobody is there any more.
  virtual bool Write(std::string_view bytes) = 0;
};

// The frames that come through a channel.
class TFrameReader {
 public:
  explicit TFrameReader(ITaskChannel& channel);
  // The next frame's text, valid until the next call; none when there are no more.
  std::optional<std::string_view> Next();

 private:
  ITaskChannel& channel;
  std::vector<char> block;  // Read last.
  std::string received;
  std::size_t taken = 0;
};

// Returns the exit status of the worker.
int AnswerTasks(TFrameReader& tasks, ITaskChannel& channel, TMachineCheck& check);

}  // namespace svc::fleet

#endif  // SVCHECK_FLEET_WORKER_LOOP_H_
