#include "svcheck/options.h"

#include <CLI/CLI.hpp>

namespace svc {

const TOption& TOption::Required() const {
  option->required();
  return *this;
}

const TOption& TOption::Excludes(const TOption& other) const {
  option->excludes(other.option);
  return *this;
}

const TOption& TOption::OneOf(const std::vector<std::string>& words) const {
  option->check(CLI::IsMember(words));
  return ShowDefault();
}

const TOption& TOption::Within(int low, int high) const {
  option->check(CLI::Range(low, high));
  return *this;
}

const TOption& TOption::ShowDefault() const {
  option->capture_default_str();
  return *this;
}

TOption AddText(CLI::App& app, const char* name, std::string& value, const char* description,
                const char* valueName) {
  return TOption(app.add_option(name, value, description)->option_text(valueName));
}

TOption AddList(CLI::App& app, const char* name, std::vector<std::string>& values,
                const char* description, const char* valueName) {
  return TOption(
      app.add_option_function<std::string>(
             name, [&values](const std::string& value) { values.push_back(value); }, description)
          ->option_text(valueName)
          ->trigger_on_parse()
          ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast));
}

TOption AddTexts(CLI::App& app, const char* name, std::vector<std::string>& values,
                 const char* description, const char* valueName) {
  return TOption(app.add_option(name, values, description)->option_text(valueName));
}

TOption AddNumber(CLI::App& app, const char* name, int& value, const char* description,
                  const char* valueName) {
  return TOption(app.add_option(name, value, description)->option_text(valueName));
}

TOption AddFlag(CLI::App& app, const char* name, bool& value, const char* description) {
  return TOption(app.add_flag(name, value, description));
}

TOption AddWord(CLI::App& app, const char* name, std::string& value, const char* description) {
  return TOption(app.add_option(name, value, description)->option_text(" "));
}

}  // namespace svc
