// The verbs of the program. Each has a file of its own, which defines what its row names.
#ifndef SVCHECK_VERB_H_
#define SVCHECK_VERB_H_

#include <array>
#include <memory>
#include <string_view>

#include "svcheck/catalogue/verb_catalogue.h"
#include "svcheck/repository/verb_repository.h"

namespace CLI {
class App;
}

namespace svc {

// One verb with its options, made when the command line names it.
class IVerb {
 public:
  virtual ~IVerb() = default;
  // Returns the exit status. Throws TFailure.
  virtual int Run() = 0;
};

// Adds the verb's options to `app`; the verb outlives the parsing.
using TMakeVerb = std::unique_ptr<IVerb>(CLI::App& app);

// For a verb with a command line of its own; arguments[0] is its name. Returns the exit status.
using TRunVerb = int(int count, char** arguments);

TMakeVerb MakeCheck;
TMakeVerb MakeCollect;
TMakeVerb MakeDiff;
TMakeVerb MakeExplain;
TMakeVerb MakeFleet;
TMakeVerb MakeQuery;
TMakeVerb MakeReport;

struct TVerb {
  std::string_view name;
  std::string_view summary;
  TMakeVerb* make;            // Null when there is `run`.
  std::string_view examples;  // Lines of commands.
  TRunVerb* run = nullptr;
};

// In the order in which a person meets them.
inline constexpr std::array kVerbs = {
    TVerb{"check", "Compare this machine, or an inventory, with a catalogue", MakeCheck,
          "svcheck check --catalogue /srv/catalogue\n"
          "svcheck check --catalogue /srv/catalogue --format json --output report.json\n"
          "svcheck check --catalogue /srv/catalogue --inventory machine.xml --fail-on outdated\n"
          "svcheck check --catalogue /srv/catalogue --waivers waivers.toml\n"
          "svcheck check --live --repository https://updates.example/sv "
          "--repository-key updates.pub\n"},
    TVerb{"explain", "Tell for each update element why it is, or is not, in the report",
          MakeExplain,
          "svcheck explain --catalogue /srv/catalogue\n"
          "svcheck explain --catalogue /srv/catalogue --inventory machine.xml e1000e\n"},
    TVerb{"report", "Show a saved report again, in any format", MakeReport,
          "svcheck report report.json\n"
          "svcheck report report.json --format html --output report.html\n"
          "svcheck report report.json --waivers waivers.toml --fail-on outdated\n"},
    TVerb{"diff", "Tell what changed from one saved report to another", MakeDiff,
          "svcheck diff yesterday.json today.json\n"
          "svcheck diff yesterday.json today.json --format json --fail-on outdated\n"},
    TVerb{"fleet", "Compare many machines, by their inventories, with one catalogue", MakeFleet,
          "svcheck fleet --catalogue /srv/catalogue --inventories inventories --output all.ndjson\n"
          "svcheck fleet --catalogue /srv/catalogue --inventories fleet.ndjson.zst "
          "--output all.ndjson --html report\n"
          "svcheck fleet --merge part-1.ndjson part-2.ndjson --output all.ndjson\n"},
    TVerb{"collect", "Write the inventory of this machine", MakeCollect,
          "svcheck collect --output machine.xml\n"
          "svcheck collect --redact\n"},
    TVerb{"query", "Run one raw query of the plug-in and print its records", MakeQuery,
          "svcheck query --inventory machine.xml --context svPath=/srv/catalogue\n"},
    TVerb{"catalogue", "Check, list or make a catalogue", nullptr, {}, RunCatalogueVerb},
    TVerb{"repository",
          "Publish update descriptions for live queries",
          nullptr,
          {},
          RunRepositoryVerb},
};

// Null for an unknown name.
const TVerb* FindVerb(std::string_view name) noexcept;

}  // namespace svc

#endif  // SVCHECK_VERB_H_
