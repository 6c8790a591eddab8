// The machines of a fleet, one a line.
#include <algorithm>

#include "svcheck/fleet/inputs.h"
#include "svcheck/fleet/machine_check.h"
#include "tests/fuzz/fuzz_support.h"

using namespace svc::fleet;
using svc::fuzz::Require;

namespace {

// As a worker gets it.
TTask HandedOn(const TTask& task) {
  const std::string frame = FrameOfTask(task);
  std::string_view bytes = frame;
  const auto body = TakeFrame(bytes);
  Require(body && bytes.empty(), "a frame holds a task and nothing else");
  return TaskOfBody(*body);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const svc::fuzz::TScratchFolder folder;
  const std::string_view text = svc::fuzz::AsText(data, size);
  folder.Write("machines.ndjson", text);
  TInputs inputs({(folder.Root() / "machines.ndjson").string()});
  const auto lines = std::count(text.begin(), text.end(), '\n') + 1;
  std::ptrdiff_t tasks = 0;
  while (const auto task = inputs.Next()) {
    Require(++tasks <= lines, "a line is one machine");
    Require(task->inventory != TTask::EInventory::kFile, "a line names no file");
    Require(task->inventory != TTask::EInventory::kNone || !task->text.empty(),
            "a machine without an inventory has a cause");
    const TTask again = HandedOn(*task);
    Require(again.machine == task->machine && again.text == task->text, "a worker gets the same");
  }
  return 0;
}
