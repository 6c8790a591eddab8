// The seam between the command line of "svcheck repository" and the module that does its work.
#ifndef SVCHECK_PUBLISHER_COMMAND_H_
#define SVCHECK_PUBLISHER_COMMAND_H_

#include <cstdint>
#include <optional>
#include <string>

namespace svc::repository {

enum class EAction { kNone, kKeygen, kBuild, kSign, kVerify };

// What the command line says.
struct TCommand {
  EAction action = EAction::kNone;
  std::string folder;
  std::string dataFolder;  // Empty: the installed one.
  std::optional<std::uint64_t> serial;
  std::string expires;  // Empty: so many days from now.
  int days = 180;
  std::string publicKeyFile;
  std::string secretKeyFile;
  std::string comment;
  bool allowUnsigned = false;
  bool noPassword = false;
  bool isQuiet = false;  // Nothing is told on standard error but what went wrong.
};

inline constexpr const char* kModule = "svcheck-repository";
inline constexpr const char* kModuleFunction = "SvcRepository";

// Does it, tells a failure on standard error and returns the program's exit status.
using TModuleFunction = int (*)(const TCommand& command) noexcept;

}  // namespace svc::repository

#endif  // SVCHECK_PUBLISHER_COMMAND_H_
