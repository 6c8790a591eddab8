#include "svcheck/fleet/comparison.h"

#include <utility>

#include "svcheck/fleet/frame.h"

namespace svc::fleet {

void TComparison::Run() {
  bool isMore = true;
  while (isMore || !workers.IsIdle()) {
    while (isMore && workers.HasRoom() && given - written < mostAhead) {
      // Whoever writes slowly gets each answer before the next machine is there.
      if (!workers.IsIdle() && !machines.IsReady()) break;
      isMore = Begin();
    }
    if (!workers.IsIdle()) Receive(workers.Wait());
  }
}

bool TComparison::Begin() {
  auto task = machines.Next();
  if (!task) return false;
  TWaiting& machine = waiting.emplace_back();
  machine.machine = task->machine;
  auto known = isShared ? kept.Find(given, *task) : std::nullopt;
  if (known) {
    machine.answer = std::move(known->lines);
    machine.counted = std::move(known->counted);
    ++given;
    Deliver();
  } else {
    workers.Give(given++, *std::move(task));
  }
  return true;
}

void TComparison::Receive(TAnswer answer) {
  const TAnswerParts parts = PartsOf(answer.text);
  if (isShared) kept.Learn(answer.number, parts.lines, parts.reads);
  answer.text.resize(parts.lines.size());
  waiting[answer.number - written].answer = std::move(answer.text);
  Deliver();
}

void TComparison::Deliver() {
  for (; !waiting.empty() && waiting.front().answer; ++written) {
    const TWaiting& first = waiting.front();
    machines.Take(first.machine, *first.answer, first.counted.get());
    waiting.pop_front();
  }
}

}  // namespace svc::fleet
