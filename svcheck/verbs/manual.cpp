// `svcheck manual`: writes the manual pages when the program is built.

#include "runtime/hskcore/path_of.h"
#include "svcheck/cli/manual_page.h"
#include "svcheck/cli/options.h"
#include "svcheck/cli/verb.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/output.h"

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

}  // namespace svc
