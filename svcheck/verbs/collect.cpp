// `svcheck collect`: writes the inventory of a machine.

#include <memory>

#include "base/error.h"
#include "base/files.h"
#include "base/json_writer.h"
#include "base/shown_text.h"
#include "collect/collector.h"
#include "collect/firmware_device.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "svcheck/cli/command_line.h"
#include "svcheck/cli/verb_description.h"
#include "svcheck/session/record_origins.h"
#include "svcheck/session/request.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/paths.h"
#include "svcheck/system/process.h"

namespace svc {

namespace {

constexpr std::size_t kLongestPassword = 4096;

std::string ReadUpTo(std::size_t most, std::FILE* file) {
  std::string bytes(most, '\0');
  bytes.resize(std::fread(bytes.data(), 1, most, file));
  return bytes;
}

std::string ReadUpTo(std::size_t most, const std::string& path) {
  const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(
      files::OpenToRead(path, files::EPipes::kGiven), &std::fclose);
  return ReadUpTo(most, file.get());
}

TError BadPassword(const std::string& path, const std::string& reason) {
  return TError("--password-file " + path + ": " + reason +
                "; give a file with the password on its one line");
}

// The one line of a file.
std::string ReadPassword(const std::string& path) {
  std::string password =
      Retold([&path] { return ReadUpTo(kLongestPassword + 2, path); },
             [&path](const TError& error) { return BadPassword(path, error.what()); });
  if (password.ends_with('\n')) password.pop_back();
  if (password.ends_with('\r')) password.pop_back();
  if (password.empty()) throw BadPassword(path, "it is empty");
  if (password.size() > kLongestPassword) throw BadPassword(path, "it is too long");
  if (password.find_first_of(std::string_view("\n\r\0", 3)) != std::string::npos)
    throw BadPassword(path, "it has more than one line");
  return password;
}

std::vector<collect::TFirmwareDevice> ReadClientFile(const std::string& path) {
  constexpr std::size_t kMost = collect::kMostClientBytes + 1;
  const auto read = [&path] {
    return collect::ReadClientDevices(path == "-" ? ReadUpTo(kMost, stdin)
                                                  : ReadUpTo(kMost, Absolute(path).string()));
  };
  return Retold(read, [&path](const TError& error) {
    return TError("--fwupd " + path + ": " + error.what() +
                  "; give what `fwupdmgr get-devices --json` prints");
  });
}

std::string DocumentOf(const std::vector<collect::TFirmwareDevice>& devices) {
  collect::TInventory inventory;
  collect::MergeDevices(devices, inventory);
  return collect::ToCimXml(inventory.Instances());
}

void Demand(bool isRight, const char* text) {
  if (!isRight) throw TError(text, EErrorKind::kUsage);
}

// An interruption ends a session with a server before it ends the process.
class TPoliteStop {
 public:
  TPoliteStop() { StartPoliteStop(); }
  ~TPoliteStop() { EndPoliteStop(); }
  TPoliteStop(const TPoliteStop&) = delete;
  TPoliteStop& operator=(const TPoliteStop&) = delete;
};

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
    AddServiceOptions(app);
    AddClientOptions(app);
  }

  int Run() override {
    CheckServiceOptions();
    CheckClientOptions();
    Demand(
        !redact || format != "ndjson" || !machine.empty() || !service.url.empty() ||
            !captureFile.empty() || !shown.empty(),
        "--redact leaves the host name out, and a line for `svcheck fleet` needs a name; give one "
        "with --machine NAME");
    ShowNotes(captureFile.empty() ? WriteInventory() : Capture());
    return kExitDone;
  }

 private:
  std::vector<std::string> WriteInventory() const {
    std::vector<collect::TFirmwareDevice> devices;
    if (!clientFile.empty()) devices = ReadClientFile(clientFile);
    const auto output = OpenOutput(outputFile);
    std::vector<std::string> notes;
    const std::string document = isClientAlone ? DocumentOf(devices) : Read(devices, notes);
    output->Write(!shown.empty()       ? MachineType(document)
                  : format == "ndjson" ? Line(document)
                                       : document);
    output->Commit();
    return notes;
  }

  std::string Read(const std::vector<collect::TFirmwareDevice>& devices,
                   std::vector<std::string>& notes) const {
    collect::Outcome outcome =
        service.url.empty()
            ? collect::LoadCollector().Collect({Absolute(root).string(), redact, devices})
            : AskService(devices);
    notes = std::move(outcome.notes);
    return std::move(outcome.document);
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
    return ShownLine(type) + '\n';
  }

  std::string Line(const std::string& document) const {
    std::string name = machine;
    if (name.empty()) name = service.url.empty() ? HostName(Absolute(root)) : ServiceHost();
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

  void AddServiceOptions(CLI::App& app) {
    AddText(app, "--redfish", service.url,
            "Ask a server's management controller instead of this machine", "URL")
        .CommandLineOnly();
    AddText(app, "--user", service.user, "Who logs in there", "NAME").CommandLineOnly();
    AddText(app, "--password-file", passwordFile, "File with the password on its one line", "FILE")
        .CommandLineOnly();
    AddText(app, "--ca-file", service.caFile, "Certificates to trust instead of the system's",
            "FILE");
    AddText(app, "--system", service.system, "One of several systems there, by its id", "ID")
        .CommandLineOnly();
  }

  void CheckServiceOptions() const {
    const bool isService = !service.url.empty();
    Demand(isService || (service.user.empty() && passwordFile.empty() && service.system.empty()),
           "--user, --password-file and --system say how to ask a management controller; give its "
           "address with --redfish URL");
    Demand(service.user.empty() == passwordFile.empty(),
           "--user and --password-file go together; give both");
    Demand(service.user.find(':') == std::string::npos, "--user: a user has no colon in his name");
    Demand(!isService || (captureFile.empty() && root == "/"),
           "--redfish asks another machine: it goes with neither --root nor --capture");
  }

  void AddClientOptions(CLI::App& app) {
    AddText(app, "--fwupd", clientFile,
            "Merge the devices in that `fwupdmgr get-devices --json` told; \"-\" is standard input",
            "FILE")
        .CommandLineOnly();
    AddFlag(app, "--only-fwupd", isClientAlone, "Nothing but those devices, as of another machine");
  }

  void CheckClientOptions() const {
    Demand(clientFile.empty() || captureFile.empty(),
           "--fwupd is merged into an inventory: it does not go with --capture");
    if (!isClientAlone) return;
    Demand(!clientFile.empty(), "--only-fwupd says what to take of --fwupd; give its FILE");
    Demand(service.url.empty() && root == "/",
           "--only-fwupd reads no machine: it goes with neither --root nor --redfish");
    Demand(format != "ndjson" || !machine.empty(),
           "--only-fwupd does not know the machine's name; give it with --machine NAME");
  }

  collect::Outcome AskService(const std::vector<collect::TFirmwareDevice>& devices) const {
    collect::ServiceOptions options = service;
    options.devices = devices;
    ForbidCoreFiles();
    if (!passwordFile.empty()) options.password = ReadPassword(Absolute(passwordFile).string());
    if (!options.caFile.empty()) options.caFile = Absolute(options.caFile).string();
    options.redact = redact;
    options.stopRequested = &StopRequested;
    const TPoliteStop polite;
    return collect::CollectFromService(options);
  }

  // "bmc.example.com:8443" of "https://bmc.example.com:8443/".
  std::string ServiceHost() const {
    const std::size_t begin = service.url.find("://") + 3;
    return service.url.substr(begin, service.url.find('/', begin) - begin);
  }

  static void ShowNotes(const std::vector<std::string>& notes) {
    for (const std::string& note : notes) ReportNote(note);
  }

  std::string outputFile = "-";
  std::string captureFile;
  std::string passwordFile;
  std::string clientFile;
  bool isClientAlone = false;
  collect::ServiceOptions service;
  std::string format = "xml";
  std::string shown;
  std::string machine;
  std::string root = "/";
  bool redact = false;
};

}  // namespace

std::unique_ptr<IVerb> MakeCollect(CLI::App& app) { return std::make_unique<TCollectVerb>(app); }

}  // namespace svc
