#include <fmt/format.h>

#include <boost/algorithm/string.hpp>

#include "svcheck/cli/completion_script.h"

namespace svc {

namespace {

// Holds when the words of the command stand on the line and none of those below it.
std::string Condition(const TCommandDescription& command) {
  std::vector<std::string> words;
  boost::split(words, WordsOf(command), [](char c) { return c == ' '; });
  std::string condition;
  for (const std::string& word : words) {
    condition += (condition.empty() ? "" : "; and ") + ("__fish_seen_subcommand_from " + word);
  }
  if (command.commands.empty()) return condition;
  condition += "; and not __fish_seen_subcommand_from";
  for (const TCommandDescription& inner : command.commands) condition += ' ' + LastWordOf(inner);
  return condition;
}

std::string Values(EValueKind kind, const std::vector<std::string>& choices) {
  switch (kind) {
    case EValueKind::kFile:
      return " -r -F";
    case EValueKind::kFolder:
      return " -x -a '(__fish_complete_directories)'";
    case EValueKind::kChoice:
      return " -x -a " + Quoted(boost::join(choices, " "));
    case EValueKind::kOther:
      return " -x";
    case EValueKind::kNone:
      break;
  }
  return {};
}

std::string Line(const std::string& condition, const std::string& rest) {
  return "complete -c svcheck -n " + Quoted(condition) + rest + '\n';
}

std::string Offer(const std::string& condition, const TCommandDescription& command) {
  return Line(condition, " -a " + LastWordOf(command) + " -d " + Quoted(command.summary));
}

std::string LinesOf(const TCommandDescription& command) {
  const std::string condition = Condition(command);
  std::string lines;
  for (const TCommandDescription& inner : command.commands) lines += Offer(condition, inner);
  for (const TOptionDescription& option : command.options) {
    lines +=
        Line(condition, " -l " + option.names.back().substr(2) +
                            Values(KindOf(option), option.choices) + " -d " + Quoted(option.text));
  }
  if (command.positionals.empty()) return lines;
  const EValueKind kind = KindOfPositional(command);
  if (kind == EValueKind::kFile) return lines + Line(condition, " -F");
  const std::string values = Values(kind, command.positionals.front().choices);
  const std::size_t list = values.find(" -a ");
  return list == std::string::npos ? lines : lines + Line(condition, values.substr(list));
}

}  // namespace

std::string FishCompletion(const std::vector<TCommandDescription>& verbs) {
  std::string script =
      "# Completion of svcheck for fish, made by `svcheck completion fish`.\n\n"
      "complete -c svcheck -f\n";
  for (const TCommandDescription& verb : verbs) script += Offer("__fish_use_subcommand", verb);
  script += Line("__fish_use_subcommand", " -l help -d 'List the verbs'");
  script += Line("__fish_use_subcommand", " -l version -d 'Show the versions'");
  for (const TCommandDescription* command : Flattened(verbs)) script += LinesOf(*command);
  return script;
}

}  // namespace svc
