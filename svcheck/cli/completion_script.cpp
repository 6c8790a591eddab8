#include "svcheck/cli/completion_script.h"

#include <boost/algorithm/string.hpp>

namespace svc {

namespace {

EValueKind KindOfName(const std::string& name) {
  if (name.starts_with("FILE") || name == "PATH" || name == "OLD") return EValueKind::kFile;
  return name.starts_with("DIR") ? EValueKind::kFolder : EValueKind::kOther;
}

}  // namespace

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

std::string Quoted(const std::string& text) {
  return '\'' + boost::replace_all_copy(text, "'", "'\"'\"'") + '\'';
}

}  // namespace svc
