#include "svcheck/cli/verb_description.h"

#include <CLI/CLI.hpp>
#include <boost/algorithm/string.hpp>

namespace svc {

static std::vector<std::string> LinesOf(std::string_view text) {
  std::vector<std::string> lines;
  if (text.empty()) return lines;
  boost::split(lines, text, [](char c) { return c == '\n'; });
  if (lines.back().empty()) lines.pop_back();
  return lines;
}

// The library tells of a check only in words: "TEXT:{a,b}".
static std::vector<std::string> ChoicesOf(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  const std::size_t begin = type.find('{');
  const std::size_t end = type.find('}', begin);
  std::vector<std::string> choices;
  if (begin == std::string::npos || end == std::string::npos) return choices;
  const std::string list = type.substr(begin + 1, end - begin - 1);
  boost::split(choices, list, [](char c) { return c == ','; });
  return choices;
}

static std::vector<std::string> NamesOf(const CLI::Option& option) {
  if (option.get_positional()) return {option.get_name(true)};
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

static std::string ValueOf(const CLI::Option& option) {
  if (option.get_items_expected_max() == 0 || option.get_positional()) return {};
  if (!option.get_option_text().empty()) return boost::trim_copy(option.get_option_text());
  return "VALUE";
}

// What a single run writes is said by its command line alone: no two runs share a file unasked.
static bool NamesAResult(const CLI::Option& option) {
  return option.check_lname("output") || option.check_lname("capture");
}

static TOptionDescription DescribeOption(const CLI::Option& option) {
  TOptionDescription described;
  described.names = NamesOf(option);
  described.value = ValueOf(option);
  described.text = option.get_description();
  described.choices = ChoicesOf(option);
  described.defaultValue = described.value.empty() ? std::string() : option.get_default_str();
  for (const CLI::Option* other : option.get_excludes()) {
    described.excludes.push_back(NamesOf(*other).back());
  }
  described.required = option.get_required();
  described.repeatable = option.get_trigger_on_parse() || option.get_items_expected_max() > 1;
  described.configurable =
      option.get_configurable() && !option.get_lnames().empty() && !NamesAResult(option);
  return described;
}

// Options of a group, which is an application without a name, are those of the one around it.
static void AddOptions(const CLI::App& app, TCommandDescription& command) {
  for (const CLI::Option* option : app.get_options()) {
    if (option == app.get_help_ptr() || option->get_group().empty()) continue;
    auto& list = option->get_positional() ? command.positionals : command.options;
    list.push_back(DescribeOption(*option));
  }
  for (const CLI::App* group : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (group->get_name().empty()) AddOptions(*group, command);
  }
}

static bool IsExampleOf(const std::string& example, const std::string& command) {
  return example == command || example.starts_with(command + ' ');
}

static TCommandDescription DescribeCommand(const CLI::App& app, const std::string& name,
                                           const std::vector<std::string>& examples) {
  TCommandDescription command;
  command.name = name;
  command.summary = app.get_description();
  for (const std::string& example : examples) {
    if (IsExampleOf(example, name)) command.examples.push_back(example);
  }
  AddOptions(app, command);
  for (const CLI::App* inner : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (inner->get_name().empty()) continue;
    command.commands.push_back(DescribeCommand(*inner, name + ' ' + inner->get_name(), examples));
  }
  TOptionDescription help;
  help.names = {"-h", "--help"};
  help.text = "Show this help and end";
  command.options.push_back(std::move(help));
  return command;
}

static EValueKind KindOfName(const std::string& name) {
  if (name.starts_with("FILE") || name == "PATH" || name == "OLD") return EValueKind::kFile;
  return name.starts_with("DIR") ? EValueKind::kFolder : EValueKind::kOther;
}

TCommandDescription Describe(const TVerb& verb, const CLI::App& app) {
  TCommandDescription command =
      DescribeCommand(app, "svcheck " + std::string(verb.name), LinesOf(verb.examples));
  command.summary = verb.summary;
  command.details = verb.details;
  return command;
}

TCommandDescription Describe(const TVerb& verb) {
  CLI::App app;
  const std::unique_ptr<IVerb> made = verb.make(app);
  return Describe(verb, app);
}

std::vector<TCommandDescription> DescribeVerbs() {
  std::vector<TCommandDescription> commands;
  for (const TVerb& verb : kVerbs) {
    if (verb.kind != EVerbKind::kHidden) commands.push_back(Describe(verb));
  }
  return commands;
}

std::vector<TCommandDescription> DescribeConfiguredVerbs() {
  std::vector<TCommandDescription> commands;
  for (const TVerb& verb : kVerbs) {
    if (verb.kind == EVerbKind::kOrdinary) commands.push_back(Describe(verb));
  }
  return commands;
}

std::string SettingNameOf(const TOptionDescription& option) {
  const std::string& name = option.names.back();
  return name.starts_with("--") ? name.substr(2) : name;
}

std::string UsageOf(const TOptionDescription& option) {
  const std::string names = boost::join(option.names, ", ");
  return option.value.empty() ? names : names + ' ' + option.value;
}

std::string TextOf(const TOptionDescription& option) {
  std::string text = option.text;
  if (!option.choices.empty()) text += ": " + boost::join(option.choices, ", ");
  std::vector<std::string> notes;
  if (option.required) notes.emplace_back("required");
  if (!option.defaultValue.empty()) notes.push_back("default " + option.defaultValue);
  if (!option.excludes.empty()) notes.push_back("not with " + boost::join(option.excludes, ", "));
  if (!notes.empty()) text += " (" + boost::join(notes, "; ") + ")";
  return text;
}

std::string UsageOf(const TCommandDescription& command) {
  std::string usage = command.name;
  if (!command.commands.empty()) return usage + " COMMAND [OPTIONS]";
  usage += " [OPTIONS]";
  for (const TOptionDescription& positional : command.positionals) {
    const std::string name = positional.names.front() + (positional.repeatable ? "..." : "");
    usage += positional.required ? ' ' + name : " [" + name + ']';
  }
  return usage;
}

EValueKind KindOf(const TOptionDescription& option) {
  if (option.value.empty()) return EValueKind::kNone;
  return option.choices.empty() ? KindOfName(option.value) : EValueKind::kChoice;
}

EValueKind KindOfPositional(const TCommandDescription& command) {
  if (command.positionals.empty()) return EValueKind::kNone;
  const TOptionDescription& first = command.positionals.front();
  return first.choices.empty() ? KindOfName(first.names.front()) : EValueKind::kChoice;
}

std::vector<const TCommandDescription*> Flattened(
    const std::vector<TCommandDescription>& commands) {
  std::vector<const TCommandDescription*> flat;
  for (const TCommandDescription& command : commands) {
    flat.push_back(&command);
    for (const TCommandDescription* inner : Flattened(command.commands)) flat.push_back(inner);
  }
  return flat;
}

std::string WordsOf(const TCommandDescription& command) {
  return command.name.substr(command.name.find(' ') + 1);
}

std::string LastWordOf(const TCommandDescription& command) {
  return command.name.substr(command.name.rfind(' ') + 1);
}

}  // namespace svc
