// The command line of one verb: the options that it adds, and the line that is read by them,
// completed by the settings of environment and configuration files. The command-line library stays
// behind these few functions: a verb that includes this compiles in a moment. Used by one thread.
#ifndef SVCHECK_CLI_COMMAND_LINE_H_
#define SVCHECK_CLI_COMMAND_LINE_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "svcheck/cli/settings.h"
#include "svcheck/cli/verb_description.h"

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

}  // namespace svc

#endif  // SVCHECK_CLI_COMMAND_LINE_H_
