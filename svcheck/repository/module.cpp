// The command line of "svcheck repository".
#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

#include "host/hskcore/export.h"
#include "runtime/acquire/outcome.h"
#include "svcheck/repository/data_folder.h"
#include "svcheck/repository/verbs.h"

namespace svc::repository {
namespace {

constexpr int kFailed = 1;
constexpr int kNotTrusted = 4;
constexpr int kBadCommandLine = 64;

CLI::App* AddVerb(CLI::App& app, const char* name, const char* what, void (*run)(const TCommand&),
                  const TCommand& command) {
  CLI::App* verb = app.add_subcommand(name, what);
  verb->final_callback([run, &command] { run(command); });
  return verb;
}

void AddFolder(CLI::App& verb, TCommand& command) {
  verb.add_option("DIR", command.folder, "Folder of the repository")
      ->required()
      ->check(CLI::ExistingDirectory);
}

void AddKeygen(CLI::App& app, TCommand& command) {
  auto* verb =
      AddVerb(app, "keygen", "Make a pair of keys, as minisign -G does", MakeKeys, command);
  verb->add_option("--repository-key", command.publicKeyFile, "Public key file to write")
      ->required();
  verb->add_option("--secret-key", command.secretKeyFile, "Secret key file to write")->required();
  verb->add_flag("--no-password", command.noPassword, "Let the file alone protect the secret key");
}

void AddBuild(CLI::App& app, TCommand& command) {
  auto* verb = AddVerb(app, "build", "Make or refresh the manifest of a folder of descriptions",
                       BuildManifest, command);
  AddFolder(*verb, command);
  verb->add_option("--serial", command.serial, "Serial; otherwise one more than the last");
  verb->add_option("--expires", command.expires, "When the manifest ends, as 2027-06-30T00:00:00Z");
  verb->add_option("--days", command.days, "When it ends, in days from now")
      ->capture_default_str()
      ->excludes("--expires");
  verb->add_option("--data-dir", command.dataFolder, "Folder that holds sv/sv.definitions.xml");
}

void AddSign(CLI::App& app, TCommand& command) {
  auto* verb =
      AddVerb(app, "sign", "Sign the manifest, as minisign -S does", SignManifest, command);
  AddFolder(*verb, command);
  verb->add_option("--secret-key", command.secretKeyFile, "Secret key file")->required();
  verb->add_option("--comment", command.comment, "Trusted comment");
}

void AddVerify(CLI::App& app, TCommand& command) {
  auto* verb = AddVerb(app, "verify", "Check the signature, the manifest and every file",
                       VerifyRepository, command);
  AddFolder(*verb, command);
  auto* whom = verb->add_option_group("trust");
  whom->add_option("--repository-key", command.publicKeyFile, "Public key file");
  whom->add_flag("--allow-unsigned", command.allowUnsigned, "Check everything but a signature");
  whom->require_option(1);
}

int Fail(int status, const std::string& text) {
  std::cerr << "svcheck: " << text << '\n';
  return status;
}

// Faults of the repository have numbers from 30 on, those of this machine from 40 on.
int StatusOf(acquire::EOutcome outcome) {
  const int number = static_cast<int>(outcome);
  return number >= 30 && number < 40 ? kNotTrusted : kFailed;
}

int Parse(CLI::App& app, int count, char** arguments) {
  try {
    app.parse(count, arguments);
    return 0;
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);
    return Fail(kBadCommandLine,
                std::string(error.what()) + "; svcheck repository --help shows what there is");
  } catch (const acquire::TFailure& failure) {
    return Fail(StatusOf(failure.Outcome()), failure.what());
  } catch (const std::exception& failure) {
    return Fail(kFailed, failure.what());
  }
}

int Run(int count, char** arguments) {
  TCommand command;
  command.dataFolder = InstalledDataFolder();
  CLI::App app("Publish update descriptions for live queries", "svcheck repository");
  app.require_subcommand(1);
  AddKeygen(app, command);
  AddBuild(app, command);
  AddSign(app, command);
  AddVerify(app, command);
  return Parse(app, count, arguments);
}

}  // namespace
}  // namespace svc::repository

extern "C" HOST_EXPORT int SvcRepository(int count, char** arguments) noexcept {
  try {
    return svc::repository::Run(count, arguments);
  } catch (const std::exception& failure) {
    return svc::repository::Fail(svc::repository::kFailed, failure.what());
  }
}
