// The verbs of the program. The files of svcheck/verbs define what the rows name. Help, manual,
// completion and configuration follow from the rows and the options that each verb adds.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace svc {

// One verb with its options, made when the command line names it.
class IVerb {
 public:
  virtual ~IVerb() = default;
  // Returns the exit status. Throws TError.
  virtual int Run() = 0;
};

// Adds the verb's options to `app`, or subcommands that have options; the verb outlives the
// parsing. It is called for help as well: nothing but the options is made here. A verb that needs
// large libraries keeps its work in a module, which Run loads; see repository.cpp.
using TMakeVerb = std::unique_ptr<IVerb>(CLI::App& app);

TMakeVerb MakeCheck;
TMakeVerb MakeCollect;
TMakeVerb MakeCatalogue;
TMakeVerb MakeCompletion;
TMakeVerb MakeConfig;
TMakeVerb MakeDiff;
TMakeVerb MakeDoctor;
TMakeVerb MakeExplain;
TMakeVerb MakeFleet;
TMakeVerb MakeFleetWorker;
TMakeVerb MakeManual;
TMakeVerb MakeQuery;
TMakeVerb MakeReport;
TMakeVerb MakeRepository;

enum class EVerbKind {
  kOrdinary,
  kExact,   // Goes by its command line alone: takes nothing from configuration.
  kHidden,  // Exact, and for programs alone: not in help, manual and completion.
};

struct TVerb {
  std::string_view name;
  std::string_view summary;
  TMakeVerb* make;
  std::string_view examples;      // Lines of commands.
  std::string_view details = {};  // Paragraphs for the manual, with a blank line between.
  EVerbKind kind = EVerbKind::kOrdinary;
};

// In the order in which a person meets them.
inline constexpr std::array kVerbs = {
    TVerb{
        "check", "Compare this machine, or an inventory, with a catalogue", MakeCheck,
        "svcheck check --catalogue /srv/catalogue\n"
        "svcheck check --catalogue /srv/catalogue --format json --output report.json\n"
        "svcheck check --catalogue /srv/catalogue --inventory machine.xml --fail-on outdated\n"
        "svcheck check --catalogue /srv/catalogue --waivers waivers.toml\n"
        "svcheck check --live --repository https://updates.example/sv "
        "--repository-key updates.pub\n",
        "Collects what is installed on this machine, or reads it from --inventory, pairs it with "
        "what the catalogue offers for it, and shows one record for each pair with a verdict: "
        "current, outdated, newer or unknown.\n\n"
        "--machine names the machine type where the machine does not tell it, such as one without "
        "DMI, or to ask what another type would get.\n\n"
        "The catalogue is a folder (--catalogue) or comes from a repository (--live), whose "
        "manifest is signed: name the publisher's key with --repository-key.\n\n"
        "--fail-on takes `none` or a list such as `outdated,nothing`: `outdated`, `unknown` and "
        "`newer` hold when a record has that verdict, `nothing` when no record could be ordered, "
        "`different` when any of the four does.\n\n"
        "With `--format nagios` it ends as a plug-in of Nagios does: 0 OK; 1 WARNING, a record is "
        "outdated or the catalogue older than --max-age; 2 CRITICAL, the condition of --fail-on "
        "holds; 3 UNKNOWN, the check did not take place or nothing could be compared.\n\n"
        "--waivers names a TOML file of records that are accepted as they are, one `[[waiver]]` "
        "each, with name = \"MEGARAID_SAS\" (`*` and `?` as in names of files) and reason = "
        "\"vendor holds it back\"; if wanted type = \"Driver\", offered = \"4.17*\" and "
        "expires = 2027-01-31, its last day."},
    TVerb{"explain", "Tell for each update element why it is, or is not, in the report",
          MakeExplain,
          "svcheck explain --catalogue /srv/catalogue\n"
          "svcheck explain --catalogue /srv/catalogue --inventory machine.xml e1000e\n",
          "Runs the same query as `svcheck check` and tells which test decided about each update "
          "element and each offered driver."},
    TVerb{"report", "Show a saved report again, in any format", MakeReport,
          "svcheck report report.json\n"
          "svcheck report report.json --format html --output report.html\n"
          "svcheck report report.json --waivers waivers.toml --fail-on outdated\n",
          "Reads what `svcheck check --format json` wrote. Ends with the status of that check, or "
          "with 2 when the condition of --fail-on holds."},
    TVerb{"diff", "Tell what changed from one saved report to another", MakeDiff,
          "svcheck diff yesterday.json today.json\n"
          "svcheck diff yesterday.json today.json --format json --fail-on outdated\n",
          "Compares two reports of `svcheck check --format json` record by record: what is new, "
          "gone, or has another verdict or version."},
    TVerb{
        "fleet", "Compare many machines, by their inventories, with one catalogue", MakeFleet,
        "svcheck fleet --catalogue /srv/catalogue --inventories inventories --output all.ndjson\n"
        "svcheck fleet --catalogue /srv/catalogue --inventories fleet.ndjson.zst "
        "--output all.ndjson --html report\n"
        "svcheck fleet --merge part-1.ndjson part-2.ndjson --output all.ndjson\n",
        "Runs the query of each machine against a catalogue that is read once, in several "
        "processes, and writes one JSON object a line, in the order of the inventories. A machine "
        "that cannot be checked is reported as failed and costs nobody else an answer."},
    TVerb{
        "collect", "Write the inventory of this machine", MakeCollect,
        "svcheck collect --output machine.xml\n"
        "svcheck collect --redact\n",
        "Reads firmware tables, the management processor, network and storage adapters and kernel "
        "modules, and writes an inventory that `svcheck check --inventory` takes on any machine. "
        "What could not be found is told on standard error. Root sees most."},
    TVerb{"query", "Run one raw query of the plug-in and print its records", MakeQuery,
          "svcheck query --inventory machine.xml --context svPath=/srv/catalogue\n",
          "Hands inventory and context to the plug-in as they are, calls it once and writes the "
          "records that it delivered, one JSON object a line, without a verdict. It goes by its "
          "command line alone: no environment variable and no configuration file changes it.",
          EVerbKind::kExact},
    TVerb{"catalogue", "Check, list or make a catalogue", MakeCatalogue,
          "svcheck catalogue lint /srv/catalogue\n"
          "svcheck catalogue lint --live --format json /srv/descriptions\n"
          "svcheck catalogue list /srv/catalogue --machine 4638 --os RHEL5_64\n"
          "svcheck catalogue list /srv/catalogue --format csv --output elements.csv\n"
          "svcheck catalogue build --output /srv/catalogue --drivers /srv/packages --machine 4638\n"
          "svcheck catalogue build --output /srv/catalogue --firmware firmware.csv\n"
          "svcheck catalogue fetch --repository https://updates.example/sv "
          "--repository-key updates.pub --output /srv/catalogue\n",
          "Lint tells what would never match or look odd in a report, with file, line and advice; "
          "it ends with status 2 when there are errors, and with 4 when the catalogue cannot be "
          "read. List shows the update elements as a check sees them. Build makes a catalogue of "
          "driver files, packages and firmware lists. Fetch makes one of what a signed repository "
          "has, also for systems that live checks do not know."},
    TVerb{"repository", "Publish update descriptions for live queries", MakeRepository,
          "svcheck repository keygen --repository-key publisher.pub --secret-key publisher.sec\n"
          "svcheck repository build /srv/sv\n"
          "svcheck repository sign /srv/sv --secret-key publisher.sec\n"
          "svcheck repository verify /srv/sv --repository-key publisher.pub\n",
          "Makes a folder of static files for any web server: descriptions, a manifest that says "
          "for which machines they are, and its signature in the form of minisign."},
    TVerb{"doctor", "Tell what this machine can and cannot do, and how to mend it", MakeDoctor,
          "svcheck doctor\n"
          "svcheck doctor --catalogue /srv/catalogue --format json\n",
          "Tries what a check needs: plug-in, data folder, catalogue and its age, repository and "
          "its key, the sources of the inventory, the state folder. Each line says what was found; "
          "what is wrong has a line on how to mend it. A warning leaves something out of the "
          "inventory or may become a problem; a problem keeps a check from working, and ends the "
          "program with status 1."},
    TVerb{
        "config", "Show which settings hold and where they come from", MakeConfig,
        "svcheck config\n"
        "svcheck config check --format json\n",
        "An option that is not given may be set elsewhere. The first of these that has it counts: "
        "the command line; the environment (SVCHECK_FAIL_ON for --fail-on); the user's file, "
        "$XDG_CONFIG_HOME/svcheck/config.toml or ~/.config/svcheck/config.toml; the machine's "
        "file, /etc/svcheck/config.toml.\n\n"
        "A file is TOML: a line such as catalogue = \"/srv/catalogue\" is for every verb with "
        "that option, one below [check] for that verb alone. A relative path is seen from the "
        "file's folder. A key that names nothing, or a value that does not fit, is an error.\n\n"
        "The plug-in is code: it is named on the command line or in /etc/svcheck/config.toml.",
        EVerbKind::kExact},
    TVerb{"completion", "Print what makes a shell complete verbs and options", MakeCompletion,
          "svcheck completion bash\n"
          "svcheck completion fish\n",
          "The script goes where the shell looks for it: "
          "/etc/bash_completion.d/svcheck, a folder of zsh's fpath as _svcheck, or "
          "~/.config/fish/completions/svcheck.fish. The Debian package brings them.",
          EVerbKind::kExact},
    TVerb{"fleet-worker", "Answer `svcheck fleet`", MakeFleetWorker, {}, {}, EVerbKind::kHidden},
    TVerb{"manual", "Write the manual pages", MakeManual, {}, {}, EVerbKind::kHidden},
};

// Null for an unknown name.
const TVerb* FindVerb(std::string_view name) noexcept;

// What a verb offers, as data: the one source of help, manual and completion. Pure functions.

struct TOptionDescription {
  std::vector<std::string> names;    // "--output"; of a positional its name alone, such as "DIR".
  std::string value;                 // What stands for its value: "FILE"; empty for a flag.
  std::string text;                  // What it does.
  std::vector<std::string> choices;  // The only values there are; empty for any.
  std::string defaultValue;
  std::vector<std::string> excludes;  // Names of options that it does not go together with.
  bool required = false;
  bool repeatable = false;
  bool configurable = false;  // May be set by the environment and configuration files.
};

struct TCommandDescription {
  std::string name;  // "svcheck repository build"
  std::string summary;
  std::string details;
  std::vector<std::string> examples;
  std::vector<TOptionDescription> positionals;
  std::vector<TOptionDescription> options;
  std::vector<TCommandDescription> commands;
};

// `app` holds the options of the verb.
TCommandDescription Describe(const TVerb& verb, const CLI::App& app);
TCommandDescription Describe(const TVerb& verb);
// Of every verb but hidden ones.
std::vector<TCommandDescription> DescribeVerbs();
// Of those that take settings from the environment and configuration files.
std::vector<TCommandDescription> DescribeConfiguredVerbs();

// "output" of "--output".
std::string SettingNameOf(const TOptionDescription& option);

// "--output FILE", "--live", "[DIR]".
std::string UsageOf(const TOptionDescription& option);
// The whole sentence: what it does, its choices, its default, what it excludes.
std::string TextOf(const TOptionDescription& option);
// "svcheck repository build [OPTIONS] DIR"
std::string UsageOf(const TCommandDescription& command);

// What an option's value, or a positional, is.
enum class EValueKind { kNone, kFile, kFolder, kChoice, kOther };
EValueKind KindOf(const TOptionDescription& option);
EValueKind KindOfPositional(const TCommandDescription& command);

// The commands with all below them, each before those below it.
std::vector<const TCommandDescription*> Flattened(const std::vector<TCommandDescription>& commands);

// "repository build" of "svcheck repository build".
std::string WordsOf(const TCommandDescription& command);
// The last of these words.
std::string LastWordOf(const TCommandDescription& command);

}  // namespace svc
