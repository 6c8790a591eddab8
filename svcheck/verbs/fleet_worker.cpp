// `svcheck fleet-worker`: what `svcheck fleet` starts where a process cannot be copied.
#include <string>

#include "svcheck/cli/command_line.h"
#include "svcheck/cli/verb_description.h"
#include "svcheck/fleet/workers.h"
#include "svcheck/system/failure.h"

namespace svc {

namespace {

class TFleetWorkerVerb : public IVerb {
 public:
  explicit TFleetWorkerVerb(CLI::App& app) {
    AddWord(app, "CHANNEL", channel, "What `svcheck fleet` says to it");
  }

  int Run() override {
    if (const auto status = fleet::RunWorker(channel)) return *status;
    throw TError("`svcheck fleet` alone starts a worker; use that, with --jobs N for N of them",
                 EErrorKind::kUsage);
  }

 private:
  std::string channel;
};

}  // namespace

std::unique_ptr<IVerb> MakeFleetWorker(CLI::App& app) {
  return std::make_unique<TFleetWorkerVerb>(app);
}

}  // namespace svc
