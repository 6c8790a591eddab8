// The command line of one verb: the options that it adds, the line that is read by them, and the
// help that tells of them. What the line leaves out, the settings say: the command line is stronger
// than the environment, the environment than the user's file, that file than the system's. The
// command-line library stays behind these few functions: a verb that includes this compiles in a
// moment. Used by one thread.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "svcheck/cli/verb_description.h"
#include "svcheck/system/failure.h"

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

namespace CLI {

class App;
class Option;

}  // namespace CLI

namespace svc {

// --- The options of a verb ---

// One option that was added, to say more of it. Refers to it; the verb's CLI::App owns it.
class TOption {
 public:
  explicit TOption(CLI::Option* option) noexcept : option(option) {}

  const TOption& Required() const;
  const TOption& Excludes(const TOption& other) const;
  // Takes one of these words only, and shows the one that holds when the option is not given.
  const TOption& OneOf(const std::vector<std::string>& words) const;
  // Takes some of these words, parted by commas, or the one that stands for none of them.
  const TOption& ListOf(const std::vector<std::string>& words, const std::string& none) const;
  // Takes a whole number from `low` to `high` only.
  const TOption& Within(int low, int high) const;
  // Takes no empty text.
  const TOption& NotEmpty() const;
  // Shows in the help what holds when the option is not given.
  const TOption& ShowDefault() const;
  // Is not set by environment and configuration files: said anew for each run.
  const TOption& CommandLineOnly() const;

 private:
  CLI::Option* option;
};

// Each adds an option to `app`, with the letter for it where it has one. `value` outlives the
// parsing; `valueName` stands for it in the help.

// A text taken as it is.
TOption AddText(CLI::App& app, const char* name, std::string& value, const char* description,
                const char* valueName);
// A text that may be given several times, one at a time, each taken as it is.
TOption AddList(CLI::App& app, const char* name, std::vector<std::string>& values,
                const char* description, const char* valueName);
// A text that takes several values, one behind the other.
TOption AddTexts(CLI::App& app, const char* name, std::vector<std::string>& values,
                 const char* description, const char* valueName);
TOption AddNumber(CLI::App& app, const char* name, int& value, const char* description,
                  const char* valueName);
// Empty when it is not given.
TOption AddCount(CLI::App& app, const char* name, std::optional<std::uint64_t>& value,
                 const char* description, const char* valueName);
TOption AddFlag(CLI::App& app, const char* name, bool& value, const char* description);
// --quiet: from its parsing on ReportNote says nothing.
TOption AddQuiet(CLI::App& app);
// A word that stands without an option's name; `name` is in capitals.
TOption AddWord(CLI::App& app, const char* name, std::string& value, const char* description);

// A command below the verb, with options of its own; `chosen` is called when it is given.
CLI::App& AddCommand(CLI::App& app, const char* name, const char* summary,
                     std::function<void()> chosen);
// Demands one of the commands.
void DemandCommand(CLI::App& app);

// --- The line ---

// A verb with its options, and what was given for them.
class TCommandLine {
 public:
  enum class EAsked { kRun, kHelp };

  // Makes the verb. `verb` outlives the object.
  explicit TCommandLine(const TVerb& verb);
  ~TCommandLine();
  TCommandLine(const TCommandLine&) = delete;
  TCommandLine& operator=(const TCommandLine&) = delete;

  // arguments[0] is the verb's name. Throws TError (kUsage).
  EAsked Parse(int count, char** arguments);
  // What was asked for help: the verb, or one of its commands.
  TCommandDescription Asked() const;
  // Fills in what the command line does not give. Throws TError (kUsage).
  void Apply(const std::vector<TSetting>& settings);

  IVerb& Verb() const noexcept { return *made; }

 private:
  void DemandRequired() const;

  const TVerb& verb;
  std::unique_ptr<CLI::App> app;
  std::unique_ptr<IVerb> made;
  std::vector<const CLI::Option*> demanded;  // Once the settings are in force.
};

// What the program says about itself. A function that prints returns the exit status.

struct TExitStatus {
  int status;
  std::string_view meaning;
};

inline constexpr std::array kExitStatuses = {
    TExitStatus{kExitDone, "done, whatever was found"},
    TExitStatus{kExitFailure, "any failure without a number of its own"},
    TExitStatus{kExitCondition,
                "the condition of --fail-on holds; catalogue lint: there are errors"},
    TExitStatus{
        kExitException,
        "query: an exception left the plug-in; --format nagios: the check did not take place, or "
        "nothing could be compared"},
    TExitStatus{kExitCatalogue,
                "the catalogue is missing, unreadable, too old or not trusted, or the download "
                "failed, also "
                "when something else is wrong as well"},
    TExitStatus{kExitUsage, "the command line or the configuration is wrong"},
};

int PrintProgramHelp(std::FILE* file);
int PrintHelp(const TCommandDescription& command);
// The program's version and the identity of the installed plug-in, where it can be loaded.
int PrintVersion();

// Says that there is no such verb, and which one may have been meant.
std::string UnknownVerb(std::string_view word);

// --- What is installed beside the program and made by it of its verbs: manual pages in the form of
// man(7), and what makes a shell complete verbs, options and values. Pure functions. ---

// svcheck(1). The date is that of the release, such as "2026-11-21".
std::string ProgramPage(const std::vector<TCommandDescription>& verbs, const std::string& date);
// The page of one verb, its subcommands included: svcheck-check(1).
std::string VerbPage(const TCommandDescription& verb, const std::string& date);
// "svcheck-check"
std::string PageName(const TCommandDescription& command);

// The whole script for one shell.
using TCompletionScript = std::string(const std::vector<TCommandDescription>& verbs);
TCompletionScript BashCompletion;
TCompletionScript FishCompletion;
TCompletionScript ZshCompletion;

}  // namespace svc
