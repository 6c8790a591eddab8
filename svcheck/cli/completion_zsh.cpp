#include <fmt/format.h>

#include <boost/algorithm/string.hpp>

#include "svcheck/cli/completion_script.h"

namespace svc {

namespace {

// Inside an argument of _arguments these have a meaning of their own.
std::string Plain(std::string text) {
  for (const char* special : {"\\", ":", "[", "]"}) {
    boost::replace_all(text, special, std::string("\\") + special);
  }
  return text;
}

std::string Action(EValueKind kind, const std::vector<std::string>& choices) {
  switch (kind) {
    case EValueKind::kFile:
      return "_files";
    case EValueKind::kFolder:
      return "_files -/";
    case EValueKind::kChoice:
      return '(' + boost::join(choices, " ") + ')';
    case EValueKind::kNone:
    case EValueKind::kOther:
      break;
  }
  return {};
}

std::string Argument(const TOptionDescription& option) {
  const std::string& name = option.names.back();
  std::string argument = option.repeatable ? "*" : "";
  argument += name + (option.value.empty() ? "" : "=") + '[' + Plain(option.text) + ']';
  if (!option.value.empty()) {
    argument += ':' + Plain(option.value) + ':' + Action(KindOf(option), option.choices);
  }
  return Quoted(argument);
}

std::string Names(const std::vector<TCommandDescription>& commands) {
  std::string names;
  for (const TCommandDescription& command : commands) {
    names += "\n        " + Quoted(Plain(LastWordOf(command)) + ':' + Plain(command.summary));
  }
  return names;
}

std::string FunctionName(const TCommandDescription& command) {
  return "_" + boost::replace_all_copy(command.name, " ", "_");
}

// Offers the commands, then hands over to that of the one given.
std::string Choice(const std::vector<TCommandDescription>& commands) {
  std::string text = "    local -a commands=(" + Names(commands) +
                     "\n    )\n    if (( CURRENT == 2 )); then\n"
                     "        _describe -t commands command commands\n        return\n    fi\n"
                     "    shift words\n    (( CURRENT-- ))\n    case $words[1] in\n";
  for (const TCommandDescription& command : commands) {
    text += fmt::format("        {}) {} ;;\n", LastWordOf(command), FunctionName(command));
  }
  return text + "    esac\n";
}

std::string Arguments(const TCommandDescription& command) {
  std::string text = "    _arguments";
  for (const TOptionDescription& option : command.options) {
    text += " \\\n        " + Argument(option);
  }
  for (const TOptionDescription& positional : command.positionals) {
    text += " \\\n        " + Quoted("*:" + Plain(positional.names.front()) + ':' +
                                     Action(KindOfPositional(command), positional.choices));
  }
  return text + '\n';
}

}  // namespace

std::string ZshCompletion(const std::vector<TCommandDescription>& verbs) {
  std::string script =
      "#compdef svcheck\n# Completion of svcheck for zsh, made by `svcheck completion zsh`.\n\n";
  for (const TCommandDescription* command : Flattened(verbs)) {
    script += FunctionName(*command) + "()\n{\n" +
              (command->commands.empty() ? Arguments(*command) : Choice(command->commands)) +
              "}\n\n";
  }
  script += "_svcheck()\n{\n" + Choice(verbs) + "}\n\n";
  return script +
         "if [[ $funcstack[1] == _svcheck ]]; then\n    _svcheck \"$@\"\nelse\n"
         "    compdef _svcheck svcheck\nfi\n";
}

}  // namespace svc
