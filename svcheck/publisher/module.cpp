// The module that does the work of "svcheck repository".
#include <fmt/core.h>
#include <chrono>
#include <exception>
#include <set>
#include <stdexcept>

#include "base/error.h"
#include "base/shown_text.h"
#include "host/hskcore/export.h"
#include "runtime/acquire/manifest.h"
#include "runtime/acquire/settings.h"
#include "svcheck/publisher/build.h"
#include "svcheck/publisher/secret_key.h"
#include "svcheck/system/failure.h"

namespace svc::repository {

namespace {

using acquire::TManifest;

std::chrono::sys_seconds Now() {
  return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
}

std::string ManifestPath(const TCommand& command) {
  return command.folder + "/" + acquire::kManifestName;
}

std::chrono::sys_seconds Expiry(const TCommand& command) {
  if (command.expires.empty()) return Now() + std::chrono::days(command.days);
  return Retold<std::invalid_argument>(
      [&] { return acquire::ParseTime(command.expires); },
      [&](const std::exception& error) {
        return TError("--expires " + command.expires + " " + error.what(), EErrorKind::kUsage);
      });
}

std::string Described(const TManifest& manifest) {
  std::set<std::string> paths;
  std::set<std::string> machineTypes;
  for (const acquire::TManifestFile& file : manifest.files) {
    paths.insert(file.path);
    machineTypes.insert(file.machineTypes.begin(), file.machineTypes.end());
  }
  return fmt::format("serial {}, good until {}, {} for {}", manifest.serial,
                     acquire::FormatTime(manifest.expires), Counted(paths.size(), "file"),
                     Counted(machineTypes.size(), "machine type"));
}

TSecretKey ReadSecretKey(const std::string& path) {
  const TSecret text(ReadText(path));
  return Retold(
      [&] { return OpenSecretKey(text.Bytes(), [&path] { return AskPassword("of " + path); }); },
      [&path](const TError& error) { return TError(path + ": " + error.what()); });
}

// What was mistyped would be seen when the first manifest is to be signed.
std::string AskNewPassword(const std::string& file) {
  std::string password = AskPassword("for the new " + file);
  if (!IsTypedBlindly() || AskPassword("once more") == password) return password;
  throw TError("the two passwords differ, and no key was made; begin again");
}

void MakeKeys(const TCommand& command) {
  const TSecretKey key = NewSecretKey();
  std::optional<std::string> password;
  if (!command.noPassword) password = AskNewPassword(command.secretKeyFile);
  WriteSecret(command.secretKeyFile, SecretKeyText(key, password));
  WriteText(command.publicKeyFile, PublicKeyText(PublicKeyOf(key)));
  fmt::print("{}: key {}, to be given to those who download; {} stays here\n",
             ShownLine(command.publicKeyFile), acquire::KeyNumber(key.id),
             ShownLine(command.secretKeyFile));
}

void BuildManifest(const TCommand& command) {
  const TBuildResult result =
      Build({command.folder, command.dataFolder, command.serial, Expiry(command)});
  if (!command.isQuiet) {
    for (const std::string& line : result.warnings.Lines()) ShowLine("svcheck: warning: " + line);
  }
  fmt::print("{}: {}; sign it next\n", ShownLine(ManifestPath(command)),
             Described(result.manifest));
}

void SignManifest(const TCommand& command) {
  if (command.comment.find_first_of("\r\n") != std::string::npos)
    throw TError("a trusted comment is one line; give --comment without a line end",
                 EErrorKind::kUsage);
  const std::string text = ReadText(ManifestPath(command));
  const TManifest manifest = acquire::ParseManifest(text);
  acquire::CheckManifest(manifest, Now(), {});
  const TSecretKey key = ReadSecretKey(command.secretKeyFile);
  const std::string comment =
      command.comment.empty()
          ? fmt::format("serial:{}\texpires:{}\tfile:{}\thashed", manifest.serial,
                        acquire::FormatTime(manifest.expires), acquire::kManifestName)
          : command.comment;
  WriteText(ManifestPath(command) + acquire::kSignatureSuffix, SignatureText(key, text, comment));
  fmt::print("{}{}: signed with key {}\n", ShownLine(ManifestPath(command)),
             acquire::kSignatureSuffix, acquire::KeyNumber(key.id));
}

void VerifyRepository(const TCommand& command) {
  std::optional<acquire::TPublicKey> key;
  if (!command.publicKeyFile.empty()) key = acquire::ReadPublicKey(command.publicKeyFile);
  const TManifest manifest = Verify(command.folder, key, Now());
  fmt::print("{}: {}, all whole{}\n", ShownLine(command.folder), Described(manifest),
             key ? ", signed with key " + acquire::KeyNumber(key->id) : ", not signed");
}

void Act(TCommand command) {
  if (command.dataFolder.empty()) command.dataFolder = InstalledDataFolder();
  switch (command.action) {
    case EAction::kKeygen:
      return MakeKeys(command);
    case EAction::kBuild:
      return BuildManifest(command);
    case EAction::kSign:
      return SignManifest(command);
    case EAction::kVerify:
      return VerifyRepository(command);
    case EAction::kNone:
      break;
  }
}

int Run(const TCommand& command) {
  const auto act = [&command] {
    Act(command);
    return kExitDone;
  };
  return StatusOfRun(act, [](const std::string& reason) { ShowLine("svcheck: " + reason); });
}

}  // namespace

}  // namespace svc::repository

extern "C" HOST_EXPORT int SvcRepository(const svc::repository::TCommand& command) noexcept {
  return svc::repository::Run(command);
}
