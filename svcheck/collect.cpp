// `svcheck collect`: writes the inventory of a machine.

#include "collect/load.h"
#include "svcheck/failure.h"
#include "svcheck/interruption.h"
#include "svcheck/inventory_source.h"
#include "svcheck/options.h"
#include "svcheck/output.h"
#include "svcheck/paths.h"
#include "svcheck/verb.h"

namespace svc {

namespace {

class TCollectVerb : public IVerb {
 public:
  explicit TCollectVerb(CLI::App& app) {
    const TOption output = AddText(app, "--output", outputFile,
                                   "Where the inventory goes; \"-\" is standard output", "FILE");
    AddText(app, "--root", root, "Read another system tree than this machine's", "DIR");
    AddFlag(app, "--redact", redact, "Leave serial numbers and UUIDs out");
    AddText(app, "--capture", captureFile,
            "Write the files that the inventory is made of into a tar archive instead", "FILE")
        .Excludes(output);
  }

  int Run() override {
    ShowNotes(captureFile.empty() ? WriteInventory() : Capture());
    return kExitDone;
  }

 private:
  std::vector<std::string> WriteInventory() const {
    const auto output = OpenOutput(outputFile);
    std::vector<std::string> notes;
    output->Write(CollectInventory(root, redact, notes));
    output->Commit();
    return notes;
  }

  std::vector<std::string> Capture() const {
    try {
      const collect::ICollector& collector = collect::LoadCollector();
      const std::string file = Absolute(captureFile).string();
      const TTemporaryFile removal(collector.UnfinishedCapture(file));
      return collector.Capture({Absolute(root).string(), redact}, file);
    } catch (const std::runtime_error& error) {
      throw TFailure(error.what());
    }
  }

  static void ShowNotes(const std::vector<std::string>& notes) {
    for (const std::string& note : notes) ReportError(note);
  }

  std::string outputFile = "-";
  std::string captureFile;
  std::string root = "/";
  bool redact = false;
};

}  // namespace

std::unique_ptr<IVerb> MakeCollect(CLI::App& app) { return std::make_unique<TCollectVerb>(app); }

}  // namespace svc
