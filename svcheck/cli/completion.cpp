#include <fmt/format.h>
#include <boost/algorithm/string.hpp>

#include "svcheck/cli/command_line.h"

namespace svc {

// In single quotes, for every shell.
static std::string Quoted(const std::string& text) {
  return '\'' + boost::replace_all_copy(text, "'", "'\"'\"'") + '\'';
}

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
static std::string Offer(EValueKind kind, const std::vector<std::string>& choices) {
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

static std::string ValueCases(const TCommandDescription& command) {
  std::string cases;
  for (const TOptionDescription& option : command.options) {
    if (option.value.empty()) continue;
    const std::string offer = Offer(KindOf(option), option.choices);
    std::string words;
    for (const std::string& name : option.names) {
      words += fmt::format("{}'{} {}'", words.empty() ? "" : " | ", WordsOf(command), name);
    }
    cases +=
        fmt::format("        {}) {} ;;\n", words, offer.empty() ? "return" : offer + "; return");
  }
  return cases;
}

static std::string NextWords(const TCommandDescription& command) {
  std::string words;
  for (const TCommandDescription& inner : command.commands) words += LastWordOf(inner) + ' ';
  for (const TOptionDescription& option : command.options) words += option.names.back() + ' ';
  return boost::trim_right_copy(words);
}

static std::string CommandCase(const TCommandDescription& command) {
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
         "    case $command in\n        '') _svcheck_words '" + first +
         "help --help --version' ;;\n" + commands + kTail;
}

// A test of the shell: the words of the command stand on the line, and none of a command below it.
static std::string Condition(const TCommandDescription& command) {
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

static std::string Values(EValueKind kind, const std::vector<std::string>& choices) {
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

static std::string Line(const std::string& condition, const std::string& rest) {
  return "complete -c svcheck -n " + Quoted(condition) + rest + '\n';
}

static std::string Offer(const std::string& condition, const TCommandDescription& command) {
  return Line(condition, " -a " + LastWordOf(command) + " -d " + Quoted(command.summary));
}

static std::string LetterOf(const TOptionDescription& option) {
  const std::string& first = option.names.front();
  return first.starts_with("--") ? std::string() : " -s " + first.substr(1);
}

static std::string LinesOf(const TCommandDescription& command) {
  const std::string condition = Condition(command);
  std::string lines;
  for (const TCommandDescription& inner : command.commands) lines += Offer(condition, inner);
  for (const TOptionDescription& option : command.options) {
    lines +=
        Line(condition, LetterOf(option) + " -l " + option.names.back().substr(2) +
                            Values(KindOf(option), option.choices) + " -d " + Quoted(option.text));
  }
  if (command.positionals.empty()) return lines;
  const EValueKind kind = KindOfPositional(command);
  if (kind == EValueKind::kFile) return lines + Line(condition, " -F");
  const std::string values = Values(kind, command.positionals.front().choices);
  const std::size_t list = values.find(" -a ");
  return list == std::string::npos ? lines : lines + Line(condition, values.substr(list));
}

std::string FishCompletion(const std::vector<TCommandDescription>& verbs) {
  std::string script =
      "# Completion of svcheck for fish, made by `svcheck completion fish`.\n\n"
      "complete -c svcheck -f\n";
  for (const TCommandDescription& verb : verbs) script += Offer("__fish_use_subcommand", verb);
  script += Line("__fish_use_subcommand", " -a help -d 'Show the options of a verb'");
  script += Line("__fish_use_subcommand", " -l help -d 'List the verbs'");
  script += Line("__fish_use_subcommand", " -l version -d 'Show the versions'");
  for (const TCommandDescription* command : Flattened(verbs)) script += LinesOf(*command);
  return script;
}

// Inside an argument of _arguments these have a meaning of their own.
static std::string Plain(std::string text) {
  for (const char* special : {"\\", ":", "[", "]"}) {
    boost::replace_all(text, special, std::string("\\") + special);
  }
  return text;
}

static std::string Action(EValueKind kind, const std::vector<std::string>& choices) {
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

static std::string Argument(const TOptionDescription& option, const std::string& name) {
  std::string argument = option.repeatable ? "*" : "";
  const char* const behind = name.starts_with("--") ? "=" : "+";
  argument += name + (option.value.empty() ? "" : behind) + '[' + Plain(option.text) + ']';
  if (!option.value.empty()) {
    argument += ':' + Plain(option.value) + ':' + Action(KindOf(option), option.choices);
  }
  return Quoted(argument);
}

static std::string Names(const std::vector<TCommandDescription>& commands) {
  std::string names;
  for (const TCommandDescription& command : commands) {
    names += "\n        " + Quoted(Plain(LastWordOf(command)) + ':' + Plain(command.summary));
  }
  return names;
}

static std::string FunctionName(const TCommandDescription& command) {
  return "_" + boost::replace_all_copy(command.name, " ", "_");
}

// Offers the commands, then hands over to that of the one given.
static std::string Choice(const std::vector<TCommandDescription>& commands) {
  std::string text = "    local -a commands=(" + Names(commands) +
                     "\n    )\n    if (( CURRENT == 2 )); then\n"
                     "        _describe -t commands command commands\n        return\n    fi\n"
                     "    shift words\n    (( CURRENT-- ))\n    case $words[1] in\n";
  for (const TCommandDescription& command : commands) {
    text += fmt::format("        {}) {} ;;\n", LastWordOf(command), FunctionName(command));
  }
  return text + "    esac\n";
}

static std::string Arguments(const TCommandDescription& command) {
  std::string text = "    _arguments";
  for (const TOptionDescription& option : command.options) {
    for (const std::string& name : option.names) {
      text += " \\\n        " + Argument(option, name);
    }
  }
  for (const TOptionDescription& positional : command.positionals) {
    text += " \\\n        " + Quoted("*:" + Plain(positional.names.front()) + ':' +
                                     Action(KindOfPositional(command), positional.choices));
  }
  return text + '\n';
}

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
