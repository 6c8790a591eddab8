// What a verb offers, as data: the one source of help, manual and completion. Pure functions.
#ifndef SVCHECK_CLI_VERB_DESCRIPTION_H_
#define SVCHECK_CLI_VERB_DESCRIPTION_H_

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace svc {

struct TVerb;

struct TOptionDescription {
  std::vector<std::string> names;    // "--output"; of a positional its name alone, such as "DIR".
  std::string value;                 // What stands for its value: "FILE"; empty for a flag.
  std::string text;                  // What it does.
  std::vector<std::string> choices;  // The only values there are; empty for any.
  std::string defaultValue;
  std::vector<std::string> excludes;  // Names of options that it does not go together with.
  bool required = false;
  bool repeatable = false;
  bool configurable = false;  // May be set by the environment and configuration files.
};

struct TCommandDescription {
  std::string name;  // "svcheck repository build"
  std::string summary;
  std::string details;
  std::vector<std::string> examples;
  std::vector<TOptionDescription> positionals;
  std::vector<TOptionDescription> options;
  std::vector<TCommandDescription> commands;
};

// `app` holds the options of the verb.
TCommandDescription Describe(const TVerb& verb, const CLI::App& app);
TCommandDescription Describe(const TVerb& verb);
// Of every verb but hidden ones.
std::vector<TCommandDescription> DescribeVerbs();
// Of those that take settings from the environment and configuration files.
std::vector<TCommandDescription> DescribeConfiguredVerbs();

// "output" of "--output".
std::string SettingNameOf(const TOptionDescription& option);

// "--output FILE", "--live", "[DIR]".
std::string UsageOf(const TOptionDescription& option);
// The whole sentence: what it does, its choices, its default, what it excludes.
std::string TextOf(const TOptionDescription& option);
// "svcheck repository build [OPTIONS] DIR"
std::string UsageOf(const TCommandDescription& command);

}  // namespace svc

#endif  // SVCHECK_CLI_VERB_DESCRIPTION_H_
