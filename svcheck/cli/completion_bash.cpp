#include <fmt/format.h>

#include <boost/algorithm/string.hpp>

#include "svcheck/cli/completion_script.h"

namespace svc {

namespace {

constexpr const char* kHead =
    R"(# Completion of svcheck for bash, made by `svcheck completion bash`.

_svcheck_words() { mapfile -t COMPREPLY < <(compgen -W "$1" -- "$current"); }

_svcheck_paths() {
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen "$1" -- "$current")
}

_svcheck()
{
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command='' word index
    # Bash takes the "=" of "--option=value" for a word of its own.
    if [[ $current == '=' ]]; then
        current=''
    elif [[ $previous == '=' ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    for ((index = 1; index < COMP_CWORD; index++)); do
        word="${command:+$command }${COMP_WORDS[index]}"
        case $word in
)";

constexpr const char* kTail = R"(    esac
}

complete -F _svcheck svcheck
)";

// How the values of a kind are offered; empty for values that nobody can guess.
std::string Offer(EValueKind kind, const std::vector<std::string>& choices) {
  switch (kind) {
    case EValueKind::kFile:
      return "_svcheck_paths -f";
    case EValueKind::kFolder:
      return "_svcheck_paths -d";
    case EValueKind::kChoice:
      return "_svcheck_words '" + boost::join(choices, " ") + "'";
    case EValueKind::kNone:
    case EValueKind::kOther:
      break;
  }
  return {};
}

std::string ValueCases(const TCommandDescription& command) {
  std::string cases;
  for (const TOptionDescription& option : command.options) {
    if (option.value.empty()) continue;
    const std::string offer = Offer(KindOf(option), option.choices);
    cases += fmt::format("        '{} {}') {} ;;\n", WordsOf(command), option.names.back(),
                         offer.empty() ? "return" : offer + "; return");
  }
  return cases;
}

std::string NextWords(const TCommandDescription& command) {
  std::string words;
  for (const TCommandDescription& inner : command.commands) words += LastWordOf(inner) + ' ';
  for (const TOptionDescription& option : command.options) words += option.names.back() + ' ';
  return boost::trim_right_copy(words);
}

std::string CommandCase(const TCommandDescription& command) {
  std::string offer;
  if (!command.positionals.empty()) {
    offer = Offer(KindOfPositional(command), command.positionals.front().choices);
  }
  const std::string options = "_svcheck_words '" + NextWords(command) + "'";
  if (offer.empty()) return fmt::format("        '{}') {} ;;\n", WordsOf(command), options);
  return fmt::format(
      "        '{}')\n            if [[ $current == -* ]]; then\n"
      "                {}\n            else\n                {}\n"
      "            fi\n            ;;\n",
      WordsOf(command), options, offer);
}

}  // namespace

std::string BashCompletion(const std::vector<TCommandDescription>& verbs) {
  std::string names, values, commands, first;
  for (const TCommandDescription* command : Flattened(verbs)) {
    names += fmt::format("{}'{}'", names.empty() ? "            " : " | ", WordsOf(*command));
    values += ValueCases(*command);
    commands += CommandCase(*command);
  }
  for (const TCommandDescription& verb : verbs) first += LastWordOf(verb) + ' ';
  return kHead + names + ") command=$word ;;\n        esac\n    done\n    COMPREPLY=()\n" +
         "    case \"$command $previous\" in\n" + values + "    esac\n" +
         "    case $command in\n        '') _svcheck_words '" + first + "--help --version' ;;\n" +
         commands + kTail;
}

}  // namespace svc
