// `svcheck repository`: the publisher's side of live queries. Its work is in a module that is
// loaded here, so that no other verb pays for it.
#include <filesystem>
#include <system_error>

#include "runtime/acquire/engine.h"
#include "runtime/hskcore/host_setup.h"
#include "svcheck/cli/command_line.h"
#include "svcheck/cli/verb_description.h"
#include "svcheck/publisher/build.h"
#include "svcheck/system/failure.h"

namespace svc {

namespace {

using repository::EAction;

class TRepositoryVerb : public IVerb {
 public:
  explicit TRepositoryVerb(CLI::App& app) {
    DemandCommand(app);
    AddKeygen(app);
    AddBuild(app);
    AddSign(app);
    AddVerify(app);
  }

  int Run() override {
    DemandTrust();
    DemandFolder();
    command.isQuiet = IsQuiet();
    const auto act = acquire::FindInModule<repository::TModuleFunction>(
        repository::kModule, repository::kModuleFunction);
    return act(command);
  }

 private:
  CLI::App& AddAction(CLI::App& app, const char* name, const char* summary, EAction action) {
    return AddCommand(app, name, summary, [this, action] { command.action = action; });
  }

  void AddFolder(CLI::App& verb) {
    AddWord(verb, "DIR", command.folder, "Folder of the repository").Required();
  }

  void AddKeygen(CLI::App& app) {
    CLI::App& verb =
        AddAction(app, "keygen", "Make a pair of keys, as minisign -G does", EAction::kKeygen);
    AddText(verb, "--repository-key", command.publicKeyFile, "Public key file to write", "FILE")
        .Required()
        .CommandLineOnly();
    AddText(verb, "--secret-key", command.secretKeyFile, "Secret key file to write", "FILE")
        .Required()
        .CommandLineOnly();
    AddFlag(verb, "--no-password", command.noPassword, "Let the file alone protect the secret key")
        .CommandLineOnly();
  }

  void AddBuild(CLI::App& app) {
    CLI::App& verb = AddAction(
        app, "build", "Make or refresh the manifest of a folder of descriptions", EAction::kBuild);
    AddFolder(verb);
    AddCount(verb, "--serial", command.serial, "Serial; otherwise one more than the last", "N")
        .CommandLineOnly();
    const TOption expires = AddText(verb, "--expires", command.expires,
                                    "When the manifest ends, as 2027-06-30T00:00:00Z", "TIME")
                                .CommandLineOnly();
    AddNumber(verb, "--days", command.days, "When it ends, in days from now", "N")
        .Within(0, 36500)
        .ShowDefault()
        .Excludes(expires);
    AddText(verb, "--data-dir", command.dataFolder,
            "Folder that holds sv/; the installed one if not given", "DIR");
    AddQuiet(verb);
  }

  void AddSign(CLI::App& app) {
    CLI::App& verb =
        AddAction(app, "sign", "Sign the manifest, as minisign -S does", EAction::kSign);
    AddFolder(verb);
    AddText(verb, "--secret-key", command.secretKeyFile, "Secret key file", "FILE").Required();
    AddText(verb, "--comment", command.comment, "Trusted comment", "TEXT").CommandLineOnly();
  }

  void AddVerify(CLI::App& app) {
    CLI::App& verb = AddAction(app, "verify", "Check the signature, the manifest and every file",
                               EAction::kVerify);
    AddFolder(verb);
    const TOption key =
        AddText(verb, "--repository-key", command.publicKeyFile, "Public key file", "FILE");
    AddFlag(verb, "--allow-unsigned", command.allowUnsigned, "Check everything but a signature")
        .Excludes(key);
  }

  void DemandTrust() const {
    if (command.action != EAction::kVerify) return;
    if (!command.publicKeyFile.empty() || command.allowUnsigned) return;
    throw TError("say whom to trust: give --repository-key FILE, or --allow-unsigned",
                 EErrorKind::kUsage);
  }

  void DemandFolder() const {
    std::error_code error;
    if (command.action == EAction::kKeygen ||
        std::filesystem::is_directory(PathOf(command.folder), error))
      return;
    throw TError("there is no folder " + command.folder + "; name that of a repository");
  }

  repository::TCommand command;
};

}  // namespace

std::unique_ptr<IVerb> MakeRepository(CLI::App& app) {
  return std::make_unique<TRepositoryVerb>(app);
}

}  // namespace svc
