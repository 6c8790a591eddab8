// Options of the program's verbs. The command-line library stays behind these few functions: a verb
// that includes this compiles in a moment.
#ifndef SVCHECK_CLI_OPTIONS_H_
#define SVCHECK_CLI_OPTIONS_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace svc {

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

}  // namespace svc

#endif  // SVCHECK_CLI_OPTIONS_H_
