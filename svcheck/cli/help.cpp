#include "svcheck/cli/help.h"

#include <fmt/format.h>
#include <algorithm>
#include <cstddef>
#include <vector>

#include "base/shown_text.h"
#include "svcheck/session/query_session.h"
#include "svcheck/system/output.h"
#include "svcheck/system/paths.h"

namespace svc {

namespace {

constexpr std::size_t kColumns = 96;
constexpr std::size_t kTextColumn = 28;

void Print(std::FILE* file, const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), file);
}

// Breaks at blanks; every line but the first begins at the column.
std::string Wrapped(std::string_view text, std::size_t column) {
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
std::string Row(const std::string& name, const std::string& text) {
  const std::string gap = name.size() + 4 <= kTextColumn
                              ? std::string(kTextColumn - 2 - name.size(), ' ')
                              : '\n' + std::string(kTextColumn, ' ');
  return "  " + name + gap + Wrapped(text, kTextColumn) + '\n';
}

std::string Rows(const char* title, const std::vector<TOptionDescription>& options) {
  if (options.empty()) return {};
  std::string text = fmt::format("\n{}:\n", title);
  for (const TOptionDescription& option : options) text += Row(UsageOf(option), TextOf(option));
  return text;
}

std::string Examples(const TCommandDescription& command) {
  if (command.examples.empty()) return {};
  std::string text = "\nExamples:\n";
  for (const std::string& example : command.examples) text += fmt::format("  {}\n", example);
  return text;
}

}  // namespace

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

}  // namespace svc
