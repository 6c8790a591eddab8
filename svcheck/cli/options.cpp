#include "svcheck/cli/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/join.hpp>
#include <boost/algorithm/string/split.hpp>
#include <charconv>
#include <cstdint>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>

#include "base/shown_text.h"
#include "svcheck/system/failure.h"

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

}  // namespace svc
