// What the descriptions of the verbs become: `svcheck manual` writes the manual pages when the
// program is built, `svcheck completion` prints what makes a shell complete verbs and options.
#include <vector>

#include "runtime/hskcore/host_setup.h"
#include "svcheck/cli/command_line.h"
#include "svcheck/cli/verb_description.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/paths.h"

namespace svc {

namespace {

class TManualVerb : public IVerb {
 public:
  explicit TManualVerb(CLI::App& app) {
    AddWord(app, "DIR", folder, "Folder for the pages").Required();
    AddText(app, "--date", date, "Date on the pages", "DATE");
  }

  int Run() override {
    const std::vector<TCommandDescription> verbs = DescribeVerbs();
    Write("svcheck", ProgramPage(verbs, date));
    for (const TCommandDescription& verb : verbs) Write(PageName(verb), VerbPage(verb, date));
    return kExitDone;
  }

 private:
  void Write(const std::string& name, const std::string& page) const {
    const auto output = OpenOutput((PathOf(folder) / (name + ".1")).string());
    output->Write(page);
    output->Commit();
  }

  std::string folder;
  std::string date;
};

}  // namespace

std::unique_ptr<IVerb> MakeManual(CLI::App& app) { return std::make_unique<TManualVerb>(app); }

namespace {

struct TShell {
  const char* name;
  TCompletionScript* script;
};
constexpr TShell kShells[] = {
    {"bash", BashCompletion}, {"zsh", ZshCompletion}, {"fish", FishCompletion}};

class TCompletionVerb : public IVerb {
 public:
  explicit TCompletionVerb(CLI::App& app) {
    std::vector<std::string> names;
    for (const TShell& row : kShells) names.emplace_back(row.name);
    AddWord(app, "SHELL", shell, "The shell").Required().OneOf(names);
  }

  int Run() override {
    const auto output = OpenOutput("-");
    for (const TShell& row : kShells) {
      if (shell == row.name) output->Write(row.script(DescribeVerbs()));
    }
    output->Commit();
    return kExitDone;
  }

 private:
  std::string shell;
};

}  // namespace

std::unique_ptr<IVerb> MakeCompletion(CLI::App& app) {
  return std::make_unique<TCompletionVerb>(app);
}

}  // namespace svc
