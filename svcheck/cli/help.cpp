#include "svcheck/cli/command_line.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/algorithm/string.hpp>
#include <cstddef>

#include "base/shown_text.h"
#include "svcheck/session/query_session.h"
#include "svcheck/system/paths.h"

namespace svc {

constexpr std::size_t kColumns = 96;
constexpr std::size_t kTextColumn = 28;

static void Print(std::FILE* file, const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), file);
}

// Breaks at blanks; every line but the first begins at the column.
static std::string Wrapped(std::string_view text, std::size_t column) {
  const std::size_t room = kColumns - column;
  std::string lines;
  while (text.size() > room) {
    std::size_t end = text.rfind(' ', room);
    if (end == std::string_view::npos) end = std::min(text.find(' '), text.size());
    lines += text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (!text.empty()) lines += '\n' + std::string(column, ' ');
  }
  return lines + std::string(text);
}

// A name on the left, its text on the right.
static std::string Row(const std::string& name, const std::string& text) {
  const std::string gap = name.size() + 4 <= kTextColumn
                              ? std::string(kTextColumn - 2 - name.size(), ' ')
                              : '\n' + std::string(kTextColumn, ' ');
  return "  " + name + gap + Wrapped(text, kTextColumn) + '\n';
}

static std::string Rows(const char* title, const std::vector<TOptionDescription>& options) {
  if (options.empty()) return {};
  std::string text = fmt::format("\n{}:\n", title);
  for (const TOptionDescription& option : options) text += Row(UsageOf(option), TextOf(option));
  return text;
}

static std::string Examples(const TCommandDescription& command) {
  if (command.examples.empty()) return {};
  std::string text = "\nExamples:\n";
  for (const std::string& example : command.examples) text += fmt::format("  {}\n", example);
  return text;
}

int PrintProgramHelp(std::FILE* file) {
  std::string text =
      "Which firmware and drivers of this machine does the update catalogue offer?\n\n"
      "Usage: svcheck VERB [OPTIONS]\n\nVerbs:\n";
  for (const TVerb& verb : kVerbs) {
    if (verb.kind != EVerbKind::kHidden)
      text += fmt::format("  {:<12} {}\n", verb.name, verb.summary);
  }
  text += "\n`svcheck help VERB` tells the options of a verb, `svcheck --version` the version.\n";
  Print(file, text);
  if (file == stdout) FlushStandardOutput();
  return kExitDone;
}

int PrintHelp(const TCommandDescription& command) {
  std::string text = fmt::format("{}\n\nUsage: {}\n", command.summary, UsageOf(command));
  if (!command.commands.empty()) text += "\nCommands:\n";
  for (const TCommandDescription& inner : command.commands) {
    text += Row(inner.name.substr(command.name.size() + 1), inner.summary);
  }
  text +=
      Rows("Arguments", command.positionals) + Rows("Options", command.options) + Examples(command);
  Print(stdout, text);
  FlushStandardOutput();
  return kExitDone;
}

int PrintVersion() {
  Print(stdout, "svcheck " SVCHECK_VERSION "\n");
  const TLoadedPlugin plugin(DefaultPlugin());
  Print(stdout,
        fmt::format("{} {}, {}\n", plugin.Name(), plugin.Version(), DefaultPlugin().string()));
  FlushStandardOutput();
  return kExitDone;
}

std::string UnknownVerb(std::string_view word) {
  std::vector<std::string> names;
  for (const TVerb& verb : kVerbs) {
    if (verb.kind != EVerbKind::kHidden) names.emplace_back(verb.name);
  }
  return fmt::format("there is no verb \"{}\"; {}`svcheck --help` lists them all", word,
                     DidYouMean(word, names));
}

const TVerb* FindVerb(std::string_view name) noexcept {
  const auto found = std::find_if(kVerbs.begin(), kVerbs.end(),
                                  [&](const TVerb& verb) { return verb.name == name; });
  return found == kVerbs.end() ? nullptr : &*found;
}

// --- Manual pages ---

namespace {

// A text as roff shows it: what it takes for a command is escaped, and a minus can be copied.
std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '\\') {
      escaped += "\\e";
    } else if (c == '-') {
      escaped += "\\-";
    } else if ((c == '.' || c == '\'') && (escaped.empty() || escaped.back() == '\n')) {
      escaped += std::string("\\&") + c;
    } else {
      escaped += c;
    }
  }
  return escaped;
}

// What stands between backquotes is to be typed.
std::string Prose(std::string_view text) {
  std::string prose;
  bool typed = false;
  for (std::size_t begin = 0; begin <= text.size(); typed = !typed) {
    const std::size_t end = std::min(text.find('`', begin), text.size());
    const std::string part = Escaped(text.substr(begin, end - begin));
    prose += typed ? "\\fB" + part + "\\fR" : part;
    begin = end + 1;
  }
  return prose;
}

std::string Head(const std::string& name, const std::string& summary, const std::string& date) {
  return fmt::format(
      ".TH \"{}\" \"1\" \"{}\" \"svcheck {}\" \"User Commands\"\n.SH NAME\n{} \\- {}\n",
      boost::to_upper_copy(name), date, SVCHECK_VERSION, Escaped(name), Escaped(summary));
}

std::string Paragraphs(std::string_view text) {
  std::string roff;
  while (!text.empty()) {
    const std::size_t end = text.find("\n\n");
    if (!roff.empty()) roff += ".PP\n";
    roff += Prose(text.substr(0, end)) + '\n';
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 2);
  }
  return roff;
}

std::string OptionHead(const TOptionDescription& option) {
  std::string head;
  for (const std::string& name : option.names) {
    head += (head.empty() ? "\\fB" : ", \\fB") + Escaped(name) + "\\fR";
  }
  return option.value.empty() ? head : head + " \\fI" + Escaped(option.value) + "\\fR";
}

std::string Options(const std::vector<TOptionDescription>& options) {
  std::string roff;
  for (const TOptionDescription& option : options) {
    roff += ".TP\n" + OptionHead(option) + '\n' + Prose(TextOf(option)) + ".\n";
  }
  return roff;
}

std::string Examples(const std::vector<std::string>& examples) {
  if (examples.empty()) return {};
  std::string roff = ".SH EXAMPLES\n.nf\n";
  for (const std::string& example : examples) roff += Escaped(example) + '\n';
  return roff + ".fi\n";
}

std::string ExitStatuses() {
  std::string roff = ".SH EXIT STATUS\n";
  for (const TExitStatus& row : kExitStatuses) {
    roff += fmt::format(".TP\n\\fB{}\\fR\n{}.\n", row.status, Prose(row.meaning));
  }
  return roff;
}

struct TEntry {
  std::string_view name;
  std::string_view meaning;
};

constexpr std::array kVariables = {
    TEntry{"SVCHECK_…",
           "The option of that name, for every verb that has it: SVCHECK_FAIL_ON for "
           "`--fail-on`. See svcheck-config(1)."},
    TEntry{"NO_COLOR", "When it is set, nothing is coloured unless `--color` asks for it."},
    TEntry{"TERM", "When it is dumb, likewise."},
    TEntry{"XDG_CONFIG_HOME, XDG_STATE_HOME",
           "Where the user's settings and what is kept between runs lie."}};

constexpr std::array kFiles = {
    TEntry{"/etc/svcheck/config.toml", "The machine's settings."},
    TEntry{"~/.config/svcheck/config.toml", "The user's settings, which go before those."},
    TEntry{"/var/lib/svcheck, ~/.local/state/svcheck",
           "Live catalogues and descriptions that were downloaded, and the last serial of each "
           "repository: of root, "
           "and of other users."}};

template <std::size_t kSize>
std::string Entries(std::string_view title, const std::array<TEntry, kSize>& entries) {
  std::string roff = ".SH " + std::string(title) + '\n';
  for (const TEntry& entry : entries) {
    roff += ".TP\n\\fB" + Escaped(entry.name) + "\\fR\n" + Prose(entry.meaning) + '\n';
  }
  return roff;
}

std::string Usage(const TCommandDescription& command) {
  const std::string usage = UsageOf(command);
  return "\\fB" + Escaped(command.name) + "\\fR" + Escaped(usage.substr(command.name.size())) +
         '\n';
}

// Of a subcommand, as a section of the verb's page.
std::string Section(const TCommandDescription& command) {
  return ".SS \"" + Escaped(command.name) + "\"\n" + Usage(command) + ".PP\n" +
         Prose(command.summary) + ".\n" + Options(command.positionals) + Options(command.options);
}

}  // namespace

std::string PageName(const TCommandDescription& command) {
  return boost::replace_all_copy(command.name, " ", "-");
}

std::string VerbPage(const TCommandDescription& verb, const std::string& date) {
  std::string page = Head(PageName(verb), verb.summary, date) + ".SH SYNOPSIS\n" + Usage(verb) +
                     ".SH DESCRIPTION\n" +
                     Paragraphs(verb.details.empty() ? verb.summary + '.' : verb.details) +
                     ".SH OPTIONS\n" + Options(verb.positionals) + Options(verb.options);
  if (!verb.commands.empty()) page += ".SH COMMANDS\n";
  for (const TCommandDescription& command : verb.commands) page += Section(command);
  return page + Examples(verb.examples) + ExitStatuses() + ".SH SEE ALSO\n.BR svcheck (1)\n";
}

std::string ProgramPage(const std::vector<TCommandDescription>& verbs, const std::string& date) {
  std::string page =
      Head("svcheck", "tell which firmware and drivers an update catalogue offers", date) +
      ".SH SYNOPSIS\n\\fBsvcheck\\fR \\fIVERB\\fR [OPTIONS]\n.SH DESCRIPTION\n" +
      Paragraphs(
          "Reads what is installed on a machine (system firmware, management "
          "processors, network and storage adapters, drivers), loads an update "
          "catalogue, keeps what is for this machine and pairs both sides.") +
      ".SH VERBS\n";
  std::string others;
  for (const TCommandDescription& verb : verbs) {
    page += ".TP\n\\fB" + Escaped(verb.name) + "\\fR\n" + Prose(verb.summary) + ".\n";
    others += (others.empty() ? "" : ",\n") + (".BR " + Escaped(PageName(verb)) + " (1)");
  }
  page +=
      ".SH OPTIONS\n.TP\n\\fB\\-\\-version\\fR\nShow the versions of the program and of the "
      "installed plug\\-in.\n.TP\n\\fB\\-h\\fR, \\fB\\-\\-help\\fR\nShow a list of the verbs; "
      "after a verb, its options, as \\fBsvcheck help\\fR \\fIVERB\\fR does.\n";
  return page + Entries("ENVIRONMENT", kVariables) + Entries("FILES", kFiles) + ExitStatuses() +
         ".SH SEE ALSO\n" + others + '\n';
}

}  // namespace svc
