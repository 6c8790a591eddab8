// `svcheck completion`: prints what makes a shell complete verbs and options.
#include <vector>

#include "svcheck/cli/completion_script.h"
#include "svcheck/cli/options.h"
#include "svcheck/cli/verb.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/output.h"

namespace svc {

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
