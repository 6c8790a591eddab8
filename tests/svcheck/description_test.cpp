// What is made of the description of a verb: its manual page and what a shell completes.
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>

#include "svcheck/cli/command_line.h"

namespace svc {
namespace {

// A verb with a command below it, and with texts that a manual page would take for commands.
TCommandDescription MadeVerb() {
  TOptionDescription dotted;
  dotted.names = {"-d", "--dotted"};
  dotted.value = "FILE";
  dotted.text = ".deb or 'rpm', in C:\\new";
  TOptionDescription quoted;
  quoted.names = {"--quoted"};
  quoted.text = "'rpm' first.\n.deb\n'rpm' next, `.typed` and `a-b`";
  TOptionDescription folder;
  folder.names = {"DIR"};
  folder.text = "Folder";
  folder.required = true;
  TCommandDescription build;
  build.name = "svcheck made build";
  build.summary = ".Builds it";
  build.positionals = {folder};
  build.options = {quoted};
  TCommandDescription verb;
  verb.name = "svcheck made";
  verb.summary = "Makes - it's all";
  verb.details = ".First\n\n'Second";
  verb.examples = {"svcheck made build a\\b", ".hidden"};
  verb.options = {dotted};
  verb.commands = {build};
  return verb;
}

TEST(VerbPage, ShowsTextsAsTheyAreWhateverTheyBeginWith) {
  const std::string page = VerbPage(MadeVerb(), "2026-11-21");
  EXPECT_TRUE(page.starts_with(".TH \"SVCHECK-MADE\" \"1\" \"2026-11-21\" \"svcheck ")) << page;
  const std::size_t name = page.find(".SH NAME\n"), status = page.find(".SH EXIT STATUS\n");
  ASSERT_TRUE(name < status && status < page.size()) << page;
  EXPECT_EQ(page.substr(name, status - name), R"(.SH NAME
svcheck\-made \- Makes \- it's all
.SH SYNOPSIS
\fBsvcheck made\fR COMMAND [OPTIONS]
.SH DESCRIPTION
\&.First
.PP
\&'Second
.SH OPTIONS
.TP
\fB\-d\fR, \fB\-\-dotted\fR \fIFILE\fR
\&.deb or 'rpm', in C:\enew.
.SH COMMANDS
.SS "svcheck made build"
\fBsvcheck made build\fR [OPTIONS] DIR
.PP
\&.Builds it.
.TP
\fBDIR\fR
Folder (required).
.TP
\fB\-\-quoted\fR
\&'rpm' first.
\&.deb
\&'rpm' next, \fB\&.typed\fR and \fBa\-b\fR.
.SH EXAMPLES
.nf
svcheck made build a\eb
\&.hidden
.fi
)");
}

TEST(VerbPage, HasNoPartForWhatAVerbHasNot) {
  TCommandDescription verb;
  verb.name = "svcheck made";
  verb.summary = "Makes it";
  const std::string page = VerbPage(verb, "2026-11-21");
  const std::size_t name = page.find(".SH NAME\n"), status = page.find(".SH EXIT STATUS\n");
  ASSERT_TRUE(name < status && status < page.size()) << page;
  EXPECT_EQ(page.substr(name, status - name),
            ".SH NAME\nsvcheck\\-made \\- Makes it\n.SH SYNOPSIS\n\\fBsvcheck made\\fR "
            "[OPTIONS]\n.SH DESCRIPTION\nMakes it.\n.SH OPTIONS\n");
  EXPECT_TRUE(page.ends_with("\n.SH SEE ALSO\n.BR svcheck (1)\n")) << page;
}

std::string HelpOf(const TCommandDescription& command) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(PrintHelp(command), kExitDone);
  return testing::internal::GetCapturedStdout();
}

TEST(Help, HasHeadingsForWhatACommandHasAndForNothingElse) {
  TCommandDescription verb = MadeVerb();
  verb.details.clear();
  verb.commands.front().options.clear();
  EXPECT_EQ(HelpOf(verb), R"(Makes - it's all

Usage: svcheck made COMMAND [OPTIONS]

Commands:
  build                     .Builds it

Options:
  -d, --dotted FILE         .deb or 'rpm', in C:\new

Examples:
  svcheck made build a\b
  .hidden
)");
  EXPECT_EQ(HelpOf(verb.commands.front()), R"(.Builds it

Usage: svcheck made build [OPTIONS] DIR

Arguments:
  DIR                       Folder (required)
)");
}

TEST(Description, NamesWhatMayBeGivenByItsPlaceByThatNameAlone) {
  CLI::App app("Made");
  std::string folder, file;
  app.add_option("DIR,-d,--dir", folder, "Folder");
  app.add_option("-f,--file", file, "File")->option_text(" FILE ");
  const TCommandDescription described = Describe(TVerb{"made", "Makes", nullptr, {}}, app);
  ASSERT_EQ(described.positionals.size(), 1U);
  EXPECT_EQ(described.positionals[0].names, std::vector<std::string>{"DIR"});
  EXPECT_EQ(described.positionals[0].value, "");
  ASSERT_EQ(described.options.size(), 2U) << "with --help";
  EXPECT_EQ(described.options[0].names, (std::vector<std::string>{"-f", "--file"}));
  EXPECT_EQ(described.options[0].value, "FILE");
  EXPECT_EQ(described.options[1].names, (std::vector<std::string>{"-h", "--help"}));
}

TEST(BashCompletion, OffersWordsAndBesideThemWhatStandsInTheirPlace) {
  const auto casesOf = [](const TCommandDescription& verb) {
    const std::string script = BashCompletion({verb});
    const std::size_t begin = script.find("    case $command in\n");
    EXPECT_NE(begin, script.npos) << script;
    return script.substr(std::min(begin, script.size()));
  };
  constexpr const char* kEnd = "    esac\n}\n\ncomplete -F _svcheck svcheck\n";
  constexpr const char* kBegin = R"(    case $command in
        '') _svcheck_words 'made help --help --version' ;;
        'made') _svcheck_words 'build --dotted' ;;
)";
  TCommandDescription verb = MadeVerb();
  EXPECT_EQ(casesOf(verb), std::string(kBegin) + R"(        'made build')
            if [[ $current == -* ]]; then
                _svcheck_words '--quoted'
            else
                _svcheck_paths -d
            fi
            ;;
)" + kEnd);
  verb.commands.front().positionals.front().names = {"NAME"};
  EXPECT_EQ(casesOf(verb),
            std::string(kBegin) + "        'made build') _svcheck_words '--quoted' ;;\n" + kEnd)
      << "nobody can guess a name";
}

TEST(FishCompletion, OffersWhatBelongsToTheWordsThatStandThere) {
  EXPECT_EQ(FishCompletion({MadeVerb()}),
            R"(# Completion of svcheck for fish, made by `svcheck completion fish`.

complete -c svcheck -f
complete -c svcheck -n '__fish_use_subcommand' -a made -d 'Makes - it'"'"'s all'
complete -c svcheck -n '__fish_use_subcommand' -a help -d 'Show the options of a verb'
complete -c svcheck -n '__fish_use_subcommand' -l help -d 'List the verbs'
complete -c svcheck -n '__fish_use_subcommand' -l version -d 'Show the versions'
complete -c svcheck -n '__fish_seen_subcommand_from made; and not __fish_seen_subcommand_from build' -a build -d '.Builds it'
complete -c svcheck -n '__fish_seen_subcommand_from made; and not __fish_seen_subcommand_from build' -s d -l dotted -r -F -d '.deb or '"'"'rpm'"'"', in C:\new'
complete -c svcheck -n '__fish_seen_subcommand_from made; and __fish_seen_subcommand_from build' -l quoted -d ''"'"'rpm'"'"' first.
.deb
'"'"'rpm'"'"' next, `.typed` and `a-b`'
complete -c svcheck -n '__fish_seen_subcommand_from made; and __fish_seen_subcommand_from build' -a '(__fish_complete_directories)'
)");
}

TEST(FishCompletion, OffersFilesWhereACommandTakesThem) {
  const auto lastLine = [](const char* positional) {
    TCommandDescription verb = MadeVerb();
    verb.commands.front().positionals.front().names = {positional};
    std::string text = FishCompletion({verb});
    text.pop_back();
    return text.substr(text.rfind('\n') + 1);
  };
  const std::string build =
      "complete -c svcheck -n '__fish_seen_subcommand_from made; and __fish_seen_subcommand_from "
      "build' ";
  EXPECT_EQ(lastLine("FILE"), build + "-F");
  EXPECT_EQ(lastLine("DIR"), build + "-a '(__fish_complete_directories)'");
  EXPECT_EQ(lastLine("NAME"), "'\"'\"'rpm'\"'\"' next, `.typed` and `a-b`'") << "the option before";
}

TEST(BashCompletion, OffersWhatBelongsToTheWordBefore) {
  TCommandDescription verb = MadeVerb();
  const auto option = [](std::vector<std::string> names, const char* value,
                         std::vector<std::string> choices = {}) {
    TOptionDescription made;
    made.names = std::move(names);
    made.value = value;
    made.choices = std::move(choices);
    return made;
  };
  verb.commands.front().options = {option({"-c", "--colour"}, "WHEN", {"always", "never"}),
                                   option({"--into"}, "DIR"), option({"--all"}, ""),
                                   option({"--days"}, "N")};
  TCommandDescription other;
  other.name = "svcheck other";
  const std::string script = BashCompletion({verb, other});
  EXPECT_TRUE(script.starts_with("# Completion of svcheck for bash, made by")) << script;
  const std::size_t begin = script.find("        case $word in\n");
  ASSERT_NE(begin, script.npos);
  EXPECT_EQ(script.substr(begin), R"(        case $word in
            'made' | 'made build' | 'other') command=$word ;;
        esac
    done
    COMPREPLY=()
    case "$command $previous" in
        'made -d' | 'made --dotted') _svcheck_paths -f; return ;;
        'made build -c' | 'made build --colour') _svcheck_words 'always never'; return ;;
        'made build --into') _svcheck_paths -d; return ;;
        'made build --days') return ;;
    esac
    case $command in
        '') _svcheck_words 'made other help --help --version' ;;
        'made') _svcheck_words 'build --dotted' ;;
        'made build')
            if [[ $current == -* ]]; then
                _svcheck_words '--colour --into --all --days'
            else
                _svcheck_paths -d
            fi
            ;;
        'other') _svcheck_words '' ;;
    esac
}

complete -F _svcheck svcheck
)");
}

TEST(FishCompletion, OffersTheWordsThatAnOptionTakes) {
  TCommandDescription verb;
  verb.name = "svcheck made";
  TOptionDescription option;
  option.names = {"--colour"};
  option.value = "WHEN";
  option.text = "When";
  option.choices = {"always", "never"};
  verb.options = {option};
  option.names = {"-n", "--number"};
  option.choices.clear();
  verb.options.push_back(option);
  verb.positionals = {TOptionDescription()};
  verb.positionals.front().names = {"SHELL"};
  verb.positionals.front().choices = {"bash", "fish"};
  const std::string script = FishCompletion({verb});
  const std::string begin = "complete -c svcheck -n '__fish_seen_subcommand_from made'";
  EXPECT_EQ(script.substr(script.find(begin)),
            begin + " -l colour -x -a 'always never' -d 'When'\n" + begin +
                " -s n -l number -x -d 'When'\n" + begin + " -a 'bash fish'\n");
}

TEST(ZshCompletion, HasAFunctionForEachCommand) {
  TCommandDescription verb = MadeVerb();
  TOptionDescription words;
  words.names = {"-c", "--colour"};
  words.value = "WHEN";
  words.text = "When: [a\\b]";
  words.choices = {"always", "never"};
  words.repeatable = true;
  verb.commands.front().options.push_back(words);
  words.names = {"--into"};
  words.value = "DIR";
  words.text = "Where";
  words.choices.clear();
  words.repeatable = false;
  verb.commands.front().options.push_back(words);
  words.names = {"--days"};
  words.value = "N:M";
  verb.commands.front().options.push_back(words);
  TCommandDescription other;
  other.name = "svcheck other";
  other.summary = "Other: yes";
  other.positionals = {TOptionDescription()};
  other.positionals.front().names = {"FILE"};
  other.options = {MadeVerb().options};
  EXPECT_EQ(ZshCompletion({verb, other}),
            R"ZSH(#compdef svcheck
# Completion of svcheck for zsh, made by `svcheck completion zsh`.

_svcheck_made()
{
    local -a commands=(
        'build:.Builds it'
    )
    if (( CURRENT == 2 )); then
        _describe -t commands command commands
        return
    fi
    shift words
    (( CURRENT-- ))
    case $words[1] in
        build) _svcheck_made_build ;;
    esac
}

_svcheck_made_build()
{
    _arguments \
        '--quoted['"'"'rpm'"'"' first.
.deb
'"'"'rpm'"'"' next, `.typed` and `a-b`]' \
        '*-c+[When\: \[a\\b\]]:WHEN:(always never)' \
        '*--colour=[When\: \[a\\b\]]:WHEN:(always never)' \
        '--into=[Where]:DIR:_files -/' \
        '--days=[Where]:N\:M:' \
        '*:DIR:_files -/'
}

_svcheck_other()
{
    _arguments \
        '-d+[.deb or '"'"'rpm'"'"', in C\:\\new]:FILE:_files' \
        '--dotted=[.deb or '"'"'rpm'"'"', in C\:\\new]:FILE:_files' \
        '*:FILE:_files'
}

_svcheck()
{
    local -a commands=(
        'made:Makes - it'"'"'s all'
        'other:Other\: yes'
    )
    if (( CURRENT == 2 )); then
        _describe -t commands command commands
        return
    fi
    shift words
    (( CURRENT-- ))
    case $words[1] in
        made) _svcheck_made ;;
        other) _svcheck_other ;;
    esac
}

if [[ $funcstack[1] == _svcheck ]]; then
    _svcheck "$@"
else
    compdef _svcheck svcheck
fi
)ZSH");
}

// A line has room for 96 characters, and a text begins at the 29th.
TEST(Help, BreaksTextsAtBlanksWhereTheyDoNotFit) {
  const auto rowOf = [](const std::string& name, const std::string& text) {
    TCommandDescription command;
    command.name = "svcheck made";
    TOptionDescription option;
    option.names = {name};
    option.text = text;
    command.options = {option};
    const std::string help = HelpOf(command);
    return help.substr(help.find("Options:\n") + 9);
  };
  const std::string gap(28, ' ');
  const std::string fits(68, 'x'), half(34, 'y'), long100(100, 'z');
  EXPECT_EQ(rowOf("--a", fits), "  --a" + gap.substr(5) + fits + "\n");
  EXPECT_EQ(rowOf("--a", half + " " + half.substr(1)),
            "  --a" + gap.substr(5) + half + " " + half.substr(1) + "\n");
  EXPECT_EQ(rowOf("--a", half + " " + half),
            "  --a" + gap.substr(5) + half + "\n" + gap + half + "\n");
  EXPECT_EQ(rowOf("--a", fits + " b"), "  --a" + gap.substr(5) + fits + "\n" + gap + "b\n");
  EXPECT_EQ(rowOf("--a", long100 + " b"), "  --a" + gap.substr(5) + long100 + "\n" + gap + "b\n");
  EXPECT_EQ(rowOf("--a", long100), "  --a" + gap.substr(5) + long100 + "\n");
  const std::string name24 = "--" + std::string(22, 'n');
  EXPECT_EQ(rowOf(name24, "b"), "  " + name24 + "  b\n");
  EXPECT_EQ(rowOf(name24 + "n", "b"), "  " + name24 + "n\n" + gap + "b\n");
}

TEST(ProgramPage, ListsTheVerbsAndSaysWhereThereIsMore) {
  TCommandDescription other;
  other.name = "svcheck other";
  other.summary = "Does `that`";
  const std::string page = ProgramPage({MadeVerb(), other}, "2026-11-21");
  EXPECT_TRUE(page.starts_with(".TH \"SVCHECK\" \"1\" \"2026-11-21\" \"svcheck ")) << page;
  const std::size_t verbs = page.find(".SH VERBS\n"), options = page.find(".SH OPTIONS\n");
  ASSERT_TRUE(verbs < options && options < page.size()) << page;
  EXPECT_EQ(page.substr(verbs, options - verbs), R"(.SH VERBS
.TP
\fBsvcheck made\fR
Makes \- it's all.
.TP
\fBsvcheck other\fR
Does \fBthat\fR.
)");
  EXPECT_TRUE(page.ends_with(".SH SEE ALSO\n.BR svcheck\\-made (1),\n.BR svcheck\\-other (1)\n"))
      << page;
  std::size_t before = 0;
  for (const char* part :
       {"\n.SH NAME\nsvcheck \\- tell which firmware and drivers an update catalogue offers\n",
        "\n.SH SYNOPSIS\n\\fBsvcheck\\fR \\fIVERB\\fR [OPTIONS]\n",
        "\n.SH DESCRIPTION\nReads what ", "\n.SH ENVIRONMENT\n.TP\n\\fBSVCHECK_",
        "\n.TP\n\\fBNO_COLOR\\fR\nWhen it is set, ",
        "\n.SH FILES\n.TP\n\\fB/etc/svcheck/config.toml\\fR\nThe machine's settings.\n",
        "\n.SH EXIT STATUS\n.TP\n\\fB0\\fR\n", "\n.SH SEE ALSO\n"}) {
    const std::size_t at = page.find(part, before);
    ASSERT_NE(at, page.npos) << part;
    before = at;
  }
}

TEST(Description, SaysOfAnOptionAllThatHoldsOfIt) {
  CLI::App app("Made");
  std::string colour = "auto", plain, output, late;
  std::vector<std::string> some;
  std::vector<std::string> more;
  bool flag = false;
  const TOption asked = AddText(app, "--catalogue", plain, "Folder", "DIR").Required();
  AddText(app, "--colour", colour, "When", "WHEN").OneOf({"auto", "never"}).Excludes(asked);
  AddList(app, "--list", some, "Some", "TEXT");
  AddTexts(app, "--texts", more, "More", "TEXT");
  AddFlag(app, "--flag", flag, "Flag");
  AddText(app, "--output", output, "Output", "FILE");
  AddText(app, "--late", late, "Late", "FILE").CommandLineOnly();
  const TCommandDescription described = Describe(
      TVerb{"made", "Makes", nullptr, "svcheck made\nsvcheck maded\nsvcheck made x\n"}, app);
  EXPECT_EQ(described.name, "svcheck made");
  EXPECT_EQ(described.summary, "Makes");
  EXPECT_EQ(described.examples, (std::vector<std::string>{"svcheck made", "svcheck made x"}));
  std::vector<std::string> told;
  for (const TOptionDescription& option : described.options) {
    told.push_back(UsageOf(option) + ": " + TextOf(option) + (option.repeatable ? " *" : "") +
                   (option.configurable ? " $" : ""));
  }
  EXPECT_EQ(told, (std::vector<std::string>{
                      "-c, --catalogue DIR: Folder (required; not with --colour) $",
                      "--colour WHEN: When: auto, never (default auto; not with --catalogue) $",
                      "--list TEXT: Some * $", "--texts TEXT: More * $", "--flag: Flag $",
                      "-o, --output FILE: Output", "--late FILE: Late",
                      "-h, --help: Show this help and end"}));
}

TEST(Description, TellsWhatAValueIsByItsName) {
  const auto kindOf = [](const char* value, std::vector<std::string> choices = {}) {
    TOptionDescription option;
    option.value = value;
    option.choices = choices;
    TCommandDescription command;
    command.positionals = {option};
    command.positionals.front().names = {value};
    if (*value != '\0') {
      EXPECT_EQ(KindOf(option), KindOfPositional(command)) << value;
    }
    return KindOf(option);
  };
  EXPECT_EQ(kindOf(""), EValueKind::kNone);
  EXPECT_EQ(KindOfPositional({}), EValueKind::kNone);
  for (const char* file : {"FILE", "FILE|DIR", "PATH", "OLD"})
    EXPECT_EQ(kindOf(file), EValueKind::kFile) << file;
  for (const char* folder : {"DIR", "DIR|FILE"})
    EXPECT_EQ(kindOf(folder), EValueKind::kFolder) << folder;
  for (const char* other : {"N", "TEXT", "PATHS", "OLDER", "AFILE"})
    EXPECT_EQ(kindOf(other), EValueKind::kOther) << other;
  EXPECT_EQ(kindOf("FILE", {"a"}), EValueKind::kChoice);
}

TEST(Usage, HasWhatMayBeLeftOutInBrackets) {
  TCommandDescription command;
  command.name = "svcheck made";
  EXPECT_EQ(UsageOf(command), "svcheck made [OPTIONS]");
  TOptionDescription one, more;
  one.names = {"OLD"};
  one.required = true;
  more.names = {"NAME"};
  more.repeatable = true;
  command.positionals = {one, more};
  EXPECT_EQ(UsageOf(command), "svcheck made [OPTIONS] OLD [NAME...]");
  command.commands = {TCommandDescription()};
  EXPECT_EQ(UsageOf(command), "svcheck made COMMAND [OPTIONS]");
}

}  // namespace
}  // namespace svc
