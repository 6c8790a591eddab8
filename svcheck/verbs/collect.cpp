// `svcheck collect`: writes the inventory of a machine.

#include "base/error.h"
#include "base/json_writer.h"
#include "collect/collector.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "svcheck/cli/options.h"
#include "svcheck/cli/verb_description.h"
#include "svcheck/session/instances.h"
#include "svcheck/session/request.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/output.h"
#include "svcheck/system/paths.h"
#include "svcheck/system/process.h"

namespace svc {

namespace {

class TCollectVerb : public IVerb {
 public:
  explicit TCollectVerb(CLI::App& app) {
    const TOption output = AddText(app, "--output", outputFile,
                                   "Where the inventory goes; \"-\" is standard output", "FILE");
    AddText(app, "--root", root, "Read another system tree than this machine's", "DIR");
    AddText(app, "--format", format, "As a CIM-XML document, or as a line for `svcheck fleet`",
            "FORMAT")
        .OneOf({"xml", "ndjson"})
        .CommandLineOnly();
    AddText(app, "--machine", machine, "The machine's name in that line, not its host name", "NAME")
        .CommandLineOnly();
    AddFlag(app, "--redact", redact, "Leave serial numbers, UUIDs and the host name out");
    AddText(app, "--capture", captureFile,
            "Write the files that the inventory is made of into a tar archive instead", "FILE")
        .Excludes(output);
    AddText(app, "--show", shown, "Print nothing but this of the inventory", "WHAT")
        .OneOf({"machine-type"})
        .CommandLineOnly();
    AddQuiet(app);
  }

  int Run() override {
    ShowNotes(captureFile.empty() ? WriteInventory() : Capture());
    return kExitDone;
  }

 private:
  std::vector<std::string> WriteInventory() const {
    const auto output = OpenOutput(outputFile);
    std::vector<std::string> notes;
    const std::string document = CollectInventory(root, redact, notes);
    output->Write(!shown.empty()       ? MachineType(document)
                  : format == "ndjson" ? Line(document)
                                       : document);
    output->Commit();
    return notes;
  }

  // As a catalogue, a list and --machine name it.
  static std::string MachineType(const std::string& document) {
    const auto inventory = MakeInMemoryNamespace();
    DeclareBuiltinClasses(inventory);
    ParseDocument(inventory, document);
    const std::string type = MachineIn(inventory).type;
    if (type.empty()) {
      throw TError(
          "this machine does not tell its type: its firmware has no product name, as in many "
          "virtual machines; name one yourself");
    }
    return type + '\n';
  }

  std::string Line(const std::string& document) const {
    const std::string name = machine.empty() ? HostName(Absolute(root)) : machine;
    std::string line;
    TJsonWriter(line).Object().Text("machine", name).Text("inventory", document).End();
    return line + '\n';
  }

  std::vector<std::string> Capture() const {
    const collect::ICollector& collector = collect::LoadCollector();
    const auto output = OpenOutput(Absolute(captureFile).string());
    std::vector<std::string> notes =
        collector.Capture({Absolute(root).string(), redact},
                          [&output](std::string_view bytes) { output->Write(bytes); });
    output->Commit();
    return notes;
  }

  static void ShowNotes(const std::vector<std::string>& notes) {
    for (const std::string& note : notes) ReportNote(note);
  }

  std::string outputFile = "-";
  std::string captureFile;
  std::string format = "xml";
  std::string shown;
  std::string machine;
  std::string root = "/";
  bool redact = false;
};

}  // namespace

std::unique_ptr<IVerb> MakeCollect(CLI::App& app) { return std::make_unique<TCollectVerb>(app); }

}  // namespace svc
