#include "svcheck/cli/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <boost/algorithm/string/replace.hpp>
#include <string>

#include "base/shown_text.h"
#include "svcheck/system/failure.h"

namespace svc {

namespace {

std::vector<CLI::App*> CommandsOf(CLI::App& app) {
  return app.get_subcommands([](const CLI::App*) { return true; });
}

// The command that the line has come to: the verb, or one of those below it.
CLI::App& Reached(CLI::App& app) {
  const std::vector<CLI::App*> inner = app.get_subcommands();
  return inner.empty() ? app : Reached(*inner.back());
}

std::string NameOf(const CLI::App& app) {
  const CLI::App* const parent = app.get_parent();
  return (parent == nullptr ? "svcheck" : NameOf(*parent)) + ' ' + app.get_name();
}

std::vector<std::string> WordsOf(CLI::App& app) {
  std::vector<std::string> words;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) words.push_back("--" + name);
  }
  for (const CLI::App* command : CommandsOf(app)) words.push_back(command->get_name());
  return words;
}

// Options that must be given are demanded when the settings are in force.
void TakeDemands(CLI::App& app, std::vector<const CLI::Option*>& demanded) {
  for (CLI::Option* option : app.get_options([](CLI::Option*) { return true; })) {
    if (!option->get_required()) continue;
    option->required(false);
    demanded.push_back(option);
  }
  for (CLI::App* command : CommandsOf(app)) TakeDemands(*command, demanded);
}

const TCommandDescription& Find(const TCommandDescription& command, const std::string& name) {
  for (const TCommandDescription& inner : command.commands) {
    if (name == inner.name || name.starts_with(inner.name + ' ')) return Find(inner, name);
  }
  return command;
}

[[noreturn]] void Refuse(const CLI::App& app, const std::string& text) {
  const bool isQuestion = text.ends_with('?');
  throw TError(text + (isQuestion ? " See `" : "; see `") + NameOf(app) + " --help`",
               EErrorKind::kUsage);
}

// What the library finds wrong about how often something is there, in words for a person.
std::string InPlainWords(CLI::App& app, const CLI::ParseError& error) {
  const std::string_view text = error.what();
  const std::string name(text.substr(0, text.find(':')));
  if (error.get_name() == "ArgumentMismatch") {
    return name + (text.find("At Most") == std::string_view::npos ? " needs a value"
                                                                  : " may be given once only");
  }
  if (error.get_name() == "ExcludesError") {
    return boost::replace_first_copy(std::string(text), " excludes ",
                                     " does not go together with ");
  }
  if (error.get_name() == "RequiredError" && !CommandsOf(app).empty()) {
    std::string names;
    for (const CLI::App* command : CommandsOf(app)) {
      names += (names.empty() ? "" : ", ") + command->get_name();
    }
    return "say what to do: " + names;
  }
  return std::string(text);
}

// Says what is wrong with the command line. A word that the library could not place is the cause,
// whatever the library says.
[[noreturn]] void Explain(CLI::App& root, const CLI::ParseError& error) {
  CLI::App& app = Reached(root);
  const std::vector<std::string> unknown = root.remaining(true);
  if (unknown.empty()) Refuse(app, InPlainWords(app, error));
  std::string word = unknown.front();
  if (word.starts_with('-')) word.resize(std::min(word.find('='), word.size()));
  std::string text = "there is no \"" + word + "\" here";
  const std::string suggestion = DidYouMean(word, WordsOf(app));
  if (!suggestion.empty()) text += "; " + suggestion.substr(0, suggestion.size() - 1);
  Refuse(app, text);
}

void Apply(CLI::App& app, const THolding& holding) {
  CLI::Option* const option = app.get_option(holding.option->names.back());
  try {
    for (const std::string& value : holding.values) {
      option->add_result(value);
      if (option->get_trigger_on_parse()) option->run_callback();
    }
    if (!option->get_trigger_on_parse()) option->run_callback();
  } catch (const CLI::Error& error) {
    throw TError(holding.setting->Place() + ": " + error.what(), EErrorKind::kUsage);
  }
}

}  // namespace

TCommandLine::TCommandLine(const TVerb& verb)
    : verb(verb),
      app(std::make_unique<CLI::App>(std::string(verb.summary), std::string(verb.name))),
      made(verb.make(*app)) {}

TCommandLine::~TCommandLine() = default;

TCommandLine::EAsked TCommandLine::Parse(int count, char** arguments) {
  if (verb.kind == EVerbKind::kOrdinary) TakeDemands(*app, demanded);
  try {
    app->parse(count, arguments);
  } catch (const CLI::CallForHelp&) {
    return EAsked::kHelp;
  } catch (const CLI::ParseError& error) {
    Explain(*app, error);
  }
  if (verb.kind == EVerbKind::kOrdinary && AreThereSettings()) {
    Apply(ReadSettings(DescribeConfiguredVerbs()));
  }
  DemandRequired();
  return EAsked::kRun;
}

TCommandDescription TCommandLine::Asked() const {
  return Find(Describe(verb), NameOf(Reached(*app)));
}

void TCommandLine::Apply(const std::vector<TSetting>& settings) {
  CLI::App& reached = Reached(*app);
  const TCommandDescription described = Describe(verb, *app);
  std::vector<std::string> given;
  for (const CLI::Option* option : reached.get_options()) {
    if (option->count() == 0) continue;
    for (const std::string& name : option->get_lnames()) given.push_back("--" + name);
  }
  const TCommandDescription& command = Find(described, NameOf(reached));
  for (const THolding& holding : HoldingFor(command, settings, given)) {
    svc::Apply(reached, holding);
  }
}

void TCommandLine::DemandRequired() const {
  CLI::App& reached = Reached(*app);
  const auto options = reached.get_options();
  for (const CLI::Option* option : demanded) {
    if (option->count() != 0) continue;
    if (std::find(options.begin(), options.end(), option) == options.end()) continue;
    Refuse(reached, option->get_name() + " is missing");
  }
}

}  // namespace svc
