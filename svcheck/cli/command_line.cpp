#include "svcheck/cli/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/join.hpp>
#include <boost/algorithm/string/replace.hpp>
#include <boost/algorithm/string/split.hpp>
#include <charconv>
#include <system_error>
#include <type_traits>
#include <utility>

#include "base/shown_text.h"

namespace svc {
namespace {

// Described as the library describes its own check of this kind: "{a,b}".
CLI::Validator Choice(const std::vector<std::string>& words) {
  const auto complaint = [words](const std::string& value) -> std::string {
    if (std::find(words.begin(), words.end(), value) != words.end()) return {};
    const std::string text = '"' + value + "\" is none of " + boost::join(words, ", ");
    const std::string suggestion = DidYouMean(value, words);
    return suggestion.empty() ? text : text + "; " + suggestion.substr(0, suggestion.size() - 1);
  };
  return {complaint, '{' + boost::join(words, ",") + '}'};
}

// The same for each part of a list.
CLI::Validator ChoiceOfSome(const std::vector<std::string>& words, const std::string& none) {
  std::vector<std::string> all = {none};
  all.insert(all.end(), words.begin(), words.end());
  const auto complaint = [none, all](const std::string& value) -> std::string {
    std::vector<std::string> parts;
    boost::split(parts, value, boost::is_any_of(","));
    for (std::string& part : parts) {
      if (part == none && parts.size() > 1) {
        return '"' + none + "\" stands alone, and here it is one of " +
               std::to_string(parts.size());
      }
      if (std::string text = Choice(all)(part); !text.empty()) return text;
    }
    return {};
  };
  return {complaint, '{' + boost::join(all, ",") + '}'};
}

// Numbers in tens alone: the library would read "010" as eight, and take one that is too large, or
// below nothing, for the largest that there is.
template <typename TNumber>
CLI::Validator WholeNumber() {
  const auto check = [](std::string& text) -> std::string {
    TNumber number{};
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || last != end) {
      return '"' + text + "\" is no whole number" +
             (std::is_signed_v<TNumber> ? "" : ", or below 0 or too large");
    }
    text = std::to_string(number);
    return {};
  };
  return {check, ""};
}

// What is typed most has a letter as well, the same one wherever a verb has the option.
struct TShort {
  std::string_view name;
  std::string_view letter;
};
constexpr std::array kShorts = {TShort{"--catalogue", "-c"},   TShort{"--inventory", "-i"},
                                TShort{"--inventories", "-i"}, TShort{"--format", "-f"},
                                TShort{"--output", "-o"},      TShort{"--quiet", "-q"},
                                TShort{"--verbose", "-v"}};

// "-c,--catalogue" of "--catalogue".
std::string Names(std::string_view name) {
  const auto* const found = std::ranges::find(kShorts, name, &TShort::name);
  if (found == kShorts.end()) return std::string(name);
  return std::string(found->letter) + ',' + std::string(name);
}

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
  const auto set = [&] {
    for (const std::string& value : holding.values) {
      option->add_result(value);
      if (option->get_trigger_on_parse()) option->run_callback();
    }
    if (!option->get_trigger_on_parse()) option->run_callback();
  };
  Retold<CLI::Error>(set, [&holding](const CLI::Error& error) {
    return TError(holding.setting->Place() + ": " + error.what(), EErrorKind::kUsage);
  });
}

}  // namespace

const TOption& TOption::Required() const {
  option->required();
  return *this;
}

const TOption& TOption::Excludes(const TOption& other) const {
  option->excludes(other.option);
  return *this;
}

const TOption& TOption::OneOf(const std::vector<std::string>& words) const {
  option->check(Choice(words));
  return ShowDefault();
}

const TOption& TOption::ListOf(const std::vector<std::string>& words,
                               const std::string& none) const {
  option->check(ChoiceOfSome(words, none));
  return ShowDefault();
}

const TOption& TOption::Within(int low, int high) const {
  option->check(CLI::Range(low, high));
  return *this;
}

const TOption& TOption::NotEmpty() const {
  option->check([](const std::string& text) { return text.empty() ? "it is empty" : ""; });
  return *this;
}

const TOption& TOption::CommandLineOnly() const {
  option->configurable(false);
  return *this;
}

const TOption& TOption::ShowDefault() const {
  option->capture_default_str();
  return *this;
}

TOption AddText(CLI::App& app, const char* name, std::string& value, const char* description,
                const char* valueName) {
  return TOption(app.add_option(Names(name), value, description)->option_text(valueName));
}

TOption AddList(CLI::App& app, const char* name, std::vector<std::string>& values,
                const char* description, const char* valueName) {
  return TOption(app.add_option_function<std::string>(
                        Names(name),
                        [&values](const std::string& value) { values.push_back(value); },
                        description)
                     ->option_text(valueName)
                     ->trigger_on_parse()
                     ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast));
}

TOption AddTexts(CLI::App& app, const char* name, std::vector<std::string>& values,
                 const char* description, const char* valueName) {
  return TOption(app.add_option(Names(name), values, description)->option_text(valueName));
}

TOption AddNumber(CLI::App& app, const char* name, int& value, const char* description,
                  const char* valueName) {
  CLI::Option* const option =
      app.add_option(Names(name), value, description)->option_text(valueName);
  return TOption(option->transform(WholeNumber<std::int64_t>()));
}

TOption AddCount(CLI::App& app, const char* name, std::optional<std::uint64_t>& value,
                 const char* description, const char* valueName) {
  CLI::Option* const option =
      app.add_option(Names(name), value, description)->option_text(valueName);
  return TOption(option->transform(WholeNumber<std::uint64_t>()));
}

TOption AddFlag(CLI::App& app, const char* name, bool& value, const char* description) {
  return TOption(app.add_flag(Names(name), value, description));
}

TOption AddQuiet(CLI::App& app) {
  return TOption(app.add_flag_callback(Names("--quiet"), BeQuiet,
                                       "Tell nothing on standard error but what went wrong"));
}

TOption AddWord(CLI::App& app, const char* name, std::string& value, const char* description) {
  return TOption(app.add_option(name, value, description)->option_text(" "));
}

CLI::App& AddCommand(CLI::App& app, const char* name, const char* summary,
                     std::function<void()> chosen) {
  CLI::App* const command = app.add_subcommand(name, summary);
  command->final_callback(std::move(chosen));
  return *command;
}

void DemandCommand(CLI::App& app) { app.require_subcommand(1); }

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
