// `svcheck explain`: why something is, or is not, in the report.
#include "host/hskcore/schema_helper.h"
#include "rules/names.h"
#include "svcheck/cli/options.h"
#include "svcheck/cli/verb_description.h"
#include "svcheck/session/catalogue_folder.h"
#include "svcheck/session/outcome.h"
#include "svcheck/session/query_session.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/output.h"
#include "svcheck/system/paths.h"
#include "svcheck/verbs/explanation.h"

using namespace NQRXHSK20;

namespace svc {

namespace {

class TExplainVerb : public IVerb {
 public:
  explicit TExplainVerb(CLI::App& app);
  int Run() override;

 private:
  TQueryRequest MakeRequest();
  void Explain(TQueryRequest request);
  void DemandComparison(const TQuerySession& session) const;

  TQueryOptions options;
  std::string catalogue;
  std::string root = "/";
  std::string component;
};

TExplainVerb::TExplainVerb(CLI::App& app) {
  AddWord(app, "COMPONENT", component,
          "Show only what goes by this: part of the name of an element, record or driver");
  AddText(app, "--catalogue", catalogue, "Folder of the catalogue", "DIR");
  const TOption inventory = AddInventoryOption(app, options);
  AddText(app, "--root", root, "Collect the inventory of another system tree", "DIR")
      .Excludes(inventory);
  AddMachineOption(app, options);
  AddQuiet(app);
  AddFolderQueryOptions(app, options);
}

TQueryRequest TExplainVerb::MakeRequest() {
  if (catalogue.empty()) {
    throw TError("there is nothing to explain: give --catalogue DIR", EErrorKind::kUsage);
  }
  options.context.push_back(std::string(rules::kCatalogueEntry) + "=" +
                            Absolute(catalogue).string());
  return RequestOf(options);
}

int TExplainVerb::Run() {
  TQueryRequest request = MakeRequest();
  const std::filesystem::path data = request.dataFolder;
  try {
    Explain(std::move(request));
  } catch (const TError& error) {
    report::TReport failed;
    failed.errors.emplace_back(error.what());
    if (StatusOf(error) != kExitFailure || !TellOfCatalogueToo(Absolute(catalogue), data, failed)) {
      throw;
    }
    throw TError(FailureLine(failed), EErrorKind::kCatalogue);
  }
  return kExitDone;
}

void TExplainVerb::Explain(TQueryRequest request) {
  const auto output = OpenOutput("-");
  std::vector<std::string> notes;
  CompleteInventory(request, root, notes);
  for (const std::string& note : notes) ReportNote(note);
  TQuerySession session(std::move(request));
  if (!session.IsOfOurPlugin()) {
    throw TError("the steps of the plug-in \"" + session.Plugin().Name() +
                 "\" are not known here; `svcheck query --log FILE` shows what it logs");
  }
  TLogFile log(options);
  const boost::shared_ptr<TQueryTrace> trace(new TQueryTrace(log.Logger()));
  session.Run({.log = trace, .inventory = trace->OfInventory(), .catalogue = trace->OfCatalogue()});
  DemandComparison(session);
  const auto records = session.Records();
  WriteExplanation(
      {*trace, *records, TCIMSchemaHelper::GetMachineType(session.Inventory()), component},
      *output);
  output->Commit();
  log.DemandWhole();
}

// What a query that took place has to say all the same goes to standard error.
void TExplainVerb::DemandComparison(const TQuerySession& session) const {
  report::TReport report;
  report.catalogue.source = "folder";
  report.catalogue.path = Absolute(catalogue).string();
  session.Conclude(report);
  if (const auto kind = FailureOf(report.outcome)) throw TError(FailureLine(report), *kind);
  for (const std::string& error : report.errors) ReportNote(error);
}

}  // namespace

std::unique_ptr<IVerb> MakeExplain(CLI::App& app) { return std::make_unique<TExplainVerb>(app); }

}  // namespace svc
