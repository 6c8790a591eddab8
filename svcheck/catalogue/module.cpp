// The command line of "svcheck catalogue".
#include <CLI/CLI.hpp>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "host/hskcore/export.h"
#include "svcheck/catalogue/verbs.h"
#include "svcheck/failure.h"
#include "svcheck/options.h"

namespace svc::catalogue {

namespace {

using TRunCommand = int (*)(const TCommand&, const IProgram&);

struct TChoice {
  TCommand command;
  TRunCommand run = nullptr;
};

CLI::App* AddVerb(CLI::App& app, const char* name, const char* what, TRunCommand run,
                  TChoice& choice) {
  CLI::App* const verb = app.add_subcommand(name, what);
  verb->final_callback([run, &choice] { choice.run = run; });
  return verb;
}

void AddReading(CLI::App& verb, TCommand& command, const std::vector<std::string>& formats) {
  AddWord(verb, "DIR", command.folder, "Folder of the catalogue").Required();
  AddFlag(verb, "--live", command.isLive, "Read it as the download folder of live checks");
  AddText(verb, "--format", command.format, "How to write it", "FORMAT").OneOf(formats);
  AddText(verb, "--output", command.output, "Where to write it instead of standard output", "FILE");
}

void AddDataFolder(CLI::App& verb, TCommand& command) {
  AddText(verb, "--data-dir", command.dataFolder, "Folder that holds sv/sv.definitions.xml", "DIR");
}

void AddLint(CLI::App& app, TChoice& choice) {
  CLI::App* const verb = AddVerb(
      app, "lint", "Tell what would never match, or look odd in a report", LintCatalogue, choice);
  AddReading(*verb, choice.command, {"table", "json"});
  AddDataFolder(*verb, choice.command);
  verb->footer(
      "Exit status: 0 no errors, 2 errors were found, 4 the catalogue cannot be read.\n\n"
      "Examples:\n  svcheck catalogue lint /srv/catalogue\n"
      "  svcheck catalogue lint --live --format json /srv/descriptions\n");
}

void AddList(CLI::App& app, TChoice& choice) {
  CLI::App* const verb =
      AddVerb(app, "list", "List the update elements, as a check sees them", ListCatalogue, choice);
  AddReading(*verb, choice.command, {"table", "json", "csv"});
  svc::AddList(*verb, "--machine", choice.command.machineTypes, "Only those for the machine type",
               "TYPE");
  svc::AddList(*verb, "--os", choice.command.systems, "Only those for the operating-system code",
               "CODE");
  AddDataFolder(*verb, choice.command);
  verb->footer(
      "Examples:\n  svcheck catalogue list /srv/catalogue --machine 4638 --os RHEL5_64\n"
      "  svcheck catalogue list /srv/catalogue --format csv --output elements.csv\n");
}

void AddBuild(CLI::App& app, TChoice& choice) {
  TCommand& command = choice.command;
  CLI::App* const verb =
      AddVerb(app, "build", "Make a catalogue of driver files, packages and firmware lists",
              BuildCatalogue, choice);
  AddText(*verb, "--output", command.folder, "Folder of the catalogue to make", "DIR").Required();
  svc::AddList(*verb, "--drivers", command.drivers,
               "Folder of drivers and packages (.ko, .ko.xz, .ko.zst, .sys, .deb, .rpm), or one "
               "such file",
               "PATH");
  svc::AddList(*verb, "--firmware", command.firmware,
               "List with the columns type, name, version, machine types, operating systems",
               "FILE.csv");
  svc::AddList(*verb, "--machine", command.machineTypes, "Machine type that drivers are for",
               "TYPE");
  svc::AddList(*verb, "--os", command.systems,
               "Operating-system code that drivers are for; otherwise every one of their kind",
               "CODE");
  AddDataFolder(*verb, command);
  verb->footer(
      "Examples:\n"
      "  svcheck catalogue build --output /srv/catalogue --drivers /srv/packages --machine 4638\n"
      "  svcheck catalogue build --output /srv/catalogue --firmware firmware.csv\n");
}

int Run(int count, char** arguments, const IProgram& program) {
  TChoice choice;
  choice.command.dataFolder = program.DataFolder();
  CLI::App app("Check, list or make a catalogue", "svcheck catalogue");
  app.require_subcommand(1);
  AddLint(app, choice);
  AddList(app, choice);
  AddBuild(app, choice);
  try {
    app.parse(count, arguments);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);
    throw TFailure(std::string(error.what()) + "; see `svcheck catalogue --help`", kExitUsage);
  }
  return choice.run(choice.command, program);
}

}  // namespace

}  // namespace svc::catalogue

extern "C" HOST_EXPORT int SvcCatalogue(int count, char** arguments,
                                        const svc::catalogue::IProgram& program) noexcept {
  try {
    return svc::catalogue::Run(count, arguments, program);
  } catch (const svc::TFailure& failure) {
    program.Report(failure.what());
    return failure.Status();
  } catch (const std::bad_alloc&) {
    program.Report("out of memory; free some, or give a smaller catalogue");
  } catch (const std::exception& error) {
    program.Report(error.what());
  }
  return svc::kExitFailure;
}
