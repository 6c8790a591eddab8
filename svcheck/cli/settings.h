// What environment and configuration files say in place of options. The command line is stronger
// than the environment, the environment than the user's file, that file than the system's.
#ifndef SVCHECK_CLI_SETTINGS_H_
#define SVCHECK_CLI_SETTINGS_H_

#include <filesystem>
#include <string>
#include <vector>

#include "svcheck/cli/verb_description.h"

namespace svc {

enum class ELayer { kEnvironment, kUserFile, kSystemFile };  // The strongest first.

enum class EValueForm { kText, kNumber, kTruth };

// One variable of the environment or one key of a file.
struct TSetting {
  ELayer layer = ELayer::kEnvironment;
  std::string verb;  // Empty: for every verb that has the option.
  std::string name;  // The option without its dashes.
  std::vector<std::string> values;
  EValueForm form = EValueForm::kText;  // As it is written in a file.
  bool isArray = false;
  std::string file;      // Empty for a variable.
  std::string variable;  // Empty for a file.
  unsigned line = 0;

  // "/etc/svcheck/config.toml:3" or "environment SVCHECK_FORMAT".
  std::string Place() const;
};

// The files in the order of their strength, whether they exist or not.
std::vector<std::filesystem::path> SettingFiles();

// The keys of a TOML file (toml.io), those of a verb's table before the general ones; none when
// there is no such file. Throws TError (kUsage) with file, line and advice.
std::vector<TSetting> ReadSettingsFile(const std::filesystem::path& file, ELayer layer);

// Every setting, the strongest first, each one that a verb has. Throws TError (kUsage) with file
// and line for what cannot be read or names nothing; a variable that names nothing is told on
// standard error, since others may have variables of such a name. `verbs` are all that there are.
std::vector<TSetting> ReadSettings(const std::vector<TCommandDescription>& verbs);

// Whether there is anything to read, at little cost.
bool AreThereSettings();

// A setting that holds for a command, with its option.
struct THolding {
  const TSetting* setting;
  const TOptionDescription* option;
  std::vector<std::string> values;  // Paths of a file seen from its folder.
};

// Those of the settings that hold for the command beside the options that its command line gives
// ("--format"). A stronger one sets aside what it does not go together with. Throws TError (kUsage)
// for two of equal strength that do not go together. The result borrows from its arguments.
std::vector<THolding> HoldingFor(const TCommandDescription& command,
                                 const std::vector<TSetting>& settings,
                                 const std::vector<std::string>& given);

// The value as it may be shown: without passwords.
std::string ShownValue(const std::string& name, const std::string& value);

}  // namespace svc

#endif  // SVCHECK_CLI_SETTINGS_H_
