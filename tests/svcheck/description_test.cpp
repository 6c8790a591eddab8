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

}  // namespace
}  // namespace svc
