// Options of the program's verbs, on top of the command-line library.
#ifndef SVCHECK_OPTIONS_H_
#define SVCHECK_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace svc {

// A text taken as it is. `valueName` stands for it in the help.
inline CLI::Option* AddText(CLI::App& app, const char* name, std::string& value,
                            const char* description, const char* valueName) {
  return app.add_option(name, value, description)->option_text(valueName);
}

// A text that may be given several times, one at a time, each taken as it is.
inline CLI::Option* AddList(CLI::App& app, const char* name, std::vector<std::string>& values,
                            const char* description, const char* valueName) {
  return app
      .add_option_function<std::string>(
          name, [&values](const std::string& value) { values.push_back(value); }, description)
      ->option_text(valueName)
      ->trigger_on_parse()
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
}

}  // namespace svc

#endif  // SVCHECK_OPTIONS_H_
