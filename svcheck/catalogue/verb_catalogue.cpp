#include "svcheck/catalogue/verb_catalogue.h"

#include "runtime/acquire/module.h"
#include "runtime/acquire/outcome.h"
#include "svcheck/catalogue/program.h"
#include "svcheck/failure.h"
#include "svcheck/paths.h"

namespace svc {

namespace {

class TProgram : public catalogue::IProgram {
 public:
  std::string DataFolder() const override { return DefaultDataFolder().string(); }
  std::unique_ptr<TOutput> Open(const std::string& path) const override { return OpenOutput(path); }
  void Report(const std::string& text) const override { ReportError(text); }
};

catalogue::TEntry* LoadEntry() {
  try {
    return reinterpret_cast<catalogue::TEntry*>(
        acquire::FindInModule(catalogue::kModule, catalogue::kEntry));
  } catch (const acquire::TFailure& failure) {
    throw TFailure(failure.what());
  }
}

}  // namespace

int RunCatalogueVerb(int count, char** arguments) {
  return LoadEntry()(count, arguments, TProgram());
}

}  // namespace svc
