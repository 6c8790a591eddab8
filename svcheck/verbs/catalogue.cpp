// `svcheck catalogue`: the author's side of a catalogue. Its work is in a module that is loaded
// here, so that no other verb pays for it.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

#include "base/error.h"
#include "base/files.h"
#include "report/text.h"
#include "rules/names.h"
#include "runtime/acquire/address.h"
#include "runtime/acquire/engine.h"
#include "runtime/hskcore/host_setup.h"
#include "svcheck/author/command.h"
#include "svcheck/cli/command_line.h"
#include "svcheck/cli/verb_description.h"
#include "svcheck/session/catalogue.h"
#include "svcheck/session/report_files.h"
#include "svcheck/session/request.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/paths.h"
#include "svcheck/system/process.h"

namespace svc {

namespace {

using catalogue::EAction;
using catalogue::TCommand;

class TProgram : public catalogue::IProgram {
 public:
  std::unique_ptr<TOutput> Open(const std::string& path) const override { return OpenOutput(path); }
  void Report(const std::string& text) const override { ReportError(text); }
  void Note(const std::string& text) const override { ReportNote(text); }
};

// What holds for checks (--live, --format) means something else here: the data folder alone may be
// set elsewhere.
void AddReading(CLI::App& app, TCommand& command, const std::vector<std::string>& formats) {
  AddWord(app, "DIR", command.folder, "Folder of the catalogue").Required();
  AddFlag(app, "--live", command.isLive, "Read it as the download folder of live checks")
      .CommandLineOnly();
  AddText(app, "--format", command.format, "How to write it", "FORMAT")
      .OneOf(formats)
      .CommandLineOnly();
  AddText(app, "--output", command.output, "Where to write it instead of standard output", "FILE");
}

void AddDataFolder(CLI::App& app, TCommand& command) {
  AddText(app, "--data-dir", command.dataFolder,
          "Folder that holds sv/sv.definitions.xml; the installed one if not given", "DIR");
}

void AddChoice(CLI::App& app, const char* name, std::vector<std::string>& values, const char* what,
               const char* valueName) {
  AddList(app, name, values, what, valueName).CommandLineOnly();
}

// What a catalogue was fetched for, as a comment of XML may say it.
std::string MarkOf(const std::string& repository, const std::vector<std::string>& machineTypes) {
  std::string mark = "svcheck catalogue fetch " + acquire::ShownAddress(repository);
  for (const std::string& type : machineTypes) mark += " | " + type;
  mark = report::PlainLine(mark);
  for (auto at = mark.find("--"); at != mark.npos; at = mark.find("--")) mark.insert(at + 1, " ");
  return mark;
}

// The beginning of a file; empty where there is none that can be read.
std::string HeadOf(const std::filesystem::path& path) {
  constexpr std::size_t kHead = 65536;
  std::string head(kHead, '\0');
  try {
    const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(
        files::OpenToRead(path.string(), files::EPipes::kNone), &std::fclose);
    head.resize(std::fread(head.data(), 1, head.size(), file.get()));
  } catch (const TError&) {
    head.clear();
  }
  return head;
}

// Whether the catalogue came so long ago at most, by the same request.
bool IsFresh(const std::filesystem::path& index, const std::string& mark, int days) {
  std::error_code error;
  const auto modified = std::filesystem::last_write_time(index, error);
  const auto age = std::filesystem::file_time_type::clock::now() - modified;
  if (error || age < age.zero() || age >= std::chrono::days(days)) return false;
  return HeadOf(index).find("<!-- " + mark + " -->\n") != std::string::npos;
}

class TCatalogueVerb : public IVerb {
 public:
  explicit TCatalogueVerb(CLI::App& app) {
    DemandCommand(app);
    AddLint(app);
    AddListing(app);
    AddBuild(app);
    AddImport(app);
    AddFetch(app);
  }

  int Run() override {
    if (command.dataFolder.empty()) command.dataFolder = DefaultDataFolder().string();
    if (command.action == EAction::kFetch && !Fetch()) return kExitDone;
    const bool imports = command.action == EAction::kImport;
    const auto act = acquire::FindInModule<catalogue::TModuleFunction>(
        imports ? catalogue::kImportModule : catalogue::kModule,
        imports ? catalogue::kImportFunction : catalogue::kModuleFunction);
    return act(command, TProgram());
  }

 private:
  CLI::App& AddAction(CLI::App& app, const char* name, const char* summary, EAction action) {
    return AddCommand(app, name, summary, [this, action] { command.action = action; });
  }

  void AddLint(CLI::App& app) {
    CLI::App& verb = AddAction(app, "lint", "Tell what would never match, or look odd in a report",
                               EAction::kLint);
    AddReading(verb, command, {"table", "json"});
    AddDataFolder(verb, command);
  }

  void AddListing(CLI::App& app) {
    CLI::App& verb =
        AddAction(app, "list", "List the update elements, as a check sees them", EAction::kList);
    AddReading(verb, command, {"table", "json", "csv"});
    AddCsvRawOption(verb, command.csvRaw).CommandLineOnly();
    AddChoice(verb, "--machine", command.machineTypes, "Only those for the machine type", "TYPE");
    AddChoice(verb, "--os", command.systems, "Only those for the operating-system code", "CODE");
    AddDataFolder(verb, command);
  }

  void AddBuild(CLI::App& app) {
    CLI::App& verb =
        AddAction(app, "build", "Make a catalogue of driver files, packages and firmware lists",
                  EAction::kBuild);
    AddText(verb, "--output", command.folder, "Folder of the catalogue to make", "DIR");
    AddText(verb, "--merge", command.merged,
            "Catalogue to add to, and to bring to what is newer; written in its place, or to "
            "--output",
            "DIR")
        .CommandLineOnly();
    AddChoice(verb, "--drivers", command.drivers,
              "Folder of drivers and packages (.ko, .ko.xz, .ko.zst, .sys, .inf, dkms.conf, .deb, "
              ".rpm, .zip, .cab, .iso), or one such file",
              "PATH");
    AddChoice(verb, "--firmware", command.firmware,
              "List with the columns type, name, version, machine types, operating systems",
              "FILE.csv");
    AddChoice(verb, "--machine", command.machineTypes, "Machine type that drivers are for", "TYPE");
    AddChoice(verb, "--os", command.systems,
              "Operating-system code that drivers are for; otherwise every one of their kind",
              "CODE");
    AddQuiet(verb);
    AddDataFolder(verb, command);
  }

  void AddImport(CLI::App& app) {
    CLI::App& verb =
        AddAction(app, "import", "Take over what a public firmware service offers for any machine",
                  EAction::kImport);
    AddText(verb, "--lvfs", command.metadata,
            "Metadata of the Linux Vendor Firmware Service (.xml, .xml.gz, .xml.xz, .xml.zst), or "
            "a folder of .cab archives",
            "PATH")
        .Required()
        .CommandLineOnly();
    const TOption signature =
        AddText(verb, "--jcat", command.signature, "Signature file of the metadata", "FILE")
            .CommandLineOnly();
    AddText(verb, "--keys", command.keys, "Folder of the certificates that signatures are of",
            "DIR")
        .ShowDefault()
        .CommandLineOnly();
    AddFlag(verb, "--allow-unsigned", command.allowUnsigned, "Take metadata without a signature")
        .Excludes(signature)
        .CommandLineOnly();
    AddText(verb, "--output", command.folder,
            "Folder of the catalogue; firmware.xml is written to it, and nothing else", "DIR")
        .Required();
  }

  void AddFetch(CLI::App& app) {
    CLI::App& verb = AddAction(
        app, "fetch", "Make a catalogue of what a repository has, for any system", EAction::kFetch);
    AddText(verb, "--output", command.folder, "Folder of the catalogue to make", "DIR").Required();
    AddChoice(verb, "--machine", command.machineTypes,
              "Take only what is for this machine type; otherwise everything", "TYPE");
    AddNumber(verb, "--max-age", maxAge,
              "Do nothing while the catalogue in DIR came by the same command less than so many "
              "days ago",
              "DAYS")
        .Within(0, 36500);
    AddText(verb, "--progress", progress, "Show progress on standard error", "WHEN")
        .OneOf({"auto", "always", "never"});
    AddQuiet(verb);
    AddRepositoryOptions(verb, options);
    AddDataFolder(verb, command);
  }

  void CheckFetch() const {
    if (options.repository.empty()) {
      throw TError("there is nothing to fetch from: give --repository URL", EErrorKind::kUsage);
    }
    DemandTrust(options);
    if (std::ranges::count(command.machineTypes, "") != 0) {
      throw TError("--machine \"\" is no machine type; name one, or leave it out for all",
                   EErrorKind::kUsage);
    }
  }

  // False when what is there will do.
  bool Fetch() {
    CheckFetch();
    command.mark = MarkOf(options.repository, command.machineTypes);
    const std::filesystem::path index = Absolute(command.folder) / rules::kIndexFile;
    if (IsFresh(index, command.mark, maxAge)) {
      const auto output = OpenOutput("-");
      output->Write(index.string() + ": came less than --max-age ago, and stays\n");
      output->Commit();
      return false;
    }
    Download();
    return true;
  }

  void Download() {
    ApplyDownloadSettings(options);
    TDownloadWatch watch(progress == "always" ||
                         (progress == "auto" && !IsQuiet() && StandardErrorIsTerminal()));
    acquire::TDownloadJob job;
    job.machineTypes = command.machineTypes;
    job.settings = acquire::GetSettings();
    job.settings.observer = &watch;
    const auto fetch = acquire::FindInModule<acquire::TFetchFunction>(acquire::kEngineModule,
                                                                      acquire::kFetchFunction);
    acquire::TFetched fetched;
    acquire::TOutcome outcome;
    fetch(job, fetched, outcome);
    if (outcome.code != acquire::EOutcome::kDone) {
      throw TError(outcome.text, EErrorKind::kCatalogue);
    }
    command.serial = fetched.serial;
    for (const auto& file : fetched.files) command.descriptions.push_back({file.path, file.here});
  }

  TCommand command;
  TQueryOptions options;
  int maxAge = 0;
  std::string progress = "auto";
};

}  // namespace

std::unique_ptr<IVerb> MakeCatalogue(CLI::App& app) {
  return std::make_unique<TCatalogueVerb>(app);
}

}  // namespace svc
