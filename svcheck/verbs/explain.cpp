// `svcheck explain`: why something is, or is not, in the report.
#include <utility>

#include "host/hskcore/root_object.h"
#include "host/hskcore/schema_helper.h"
#include "report/text.h"
#include "rules/names.h"
#include "svcheck/cli/command_line.h"
#include "svcheck/cli/verb_description.h"
#include "svcheck/session/catalogue.h"
#include "svcheck/session/instances.h"
#include "svcheck/session/outcome.h"
#include "svcheck/session/query_session.h"
#include "svcheck/session/spool.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/output.h"
#include "svcheck/system/paths.h"
#include "svcheck/verbs/explanation.h"

using namespace NQRXHSK20;

namespace svc {

namespace {

// Takes down what the plug-in for public firmware says of each device.
class TPublicFirmwareTrace : public ILogger {
 public:
  explicit TPublicFirmwareTrace(boost::shared_ptr<ILogger> next) : next(std::move(next)) {}

  void Log(int level, std::string_view message) override {
    if (next && next->IsLogged(level)) next->Log(level, message);
    if (!message.starts_with(kPublicFirmwareEntry)) return;
    lines.Add(message.substr(kPublicFirmwareEntry.size()));
  }
  bool IsLogged(int /*level*/) const noexcept override { return true; }

  void Write(const std::string& component, report::IOutput& output) const {
    bool isFirst = true;
    lines.ForEach([&](std::string_view line) {
      if (!report::ContainsAnyCase(line, component)) return;
      if (std::exchange(isFirst, false)) output.Write("\nPublic firmware\n");
      output.Write("  " + report::PlainLine(line) + '\n');
    });
  }

 private:
  boost::shared_ptr<ILogger> next;
  TTextSpool lines;
};

class TExplainVerb : public IVerb {
 public:
  explicit TExplainVerb(CLI::App& app);
  int Run() override;

 private:
  TQueryRequest MakeRequest();
  void Explain(TQueryRequest request);
  void ExplainElements(TQuerySession& session, const TLogFile& log,
                       const boost::shared_ptr<ILogger>& companionLog,
                       report::IOutput& output) const;
  void DemandComparison(const TQuerySession& session) const;

  TQueryOptions options;
  std::string catalogue;
  std::string root = "/";
  std::string component;
  std::string format = "text";
};

TExplainVerb::TExplainVerb(CLI::App& app) {
  AddWord(app, "COMPONENT", component,
          "Show only what goes by this: part of the name of an element, record or driver");
  AddText(app, "--catalogue", catalogue, "Folder of the catalogue", "DIR");
  const TOption inventory = AddInventoryOption(app, options);
  AddText(app, "--root", root, "Collect the inventory of another system tree", "DIR")
      .Excludes(inventory);
  AddMachineOption(app, options);
  // The formats of reports are others.
  AddText(app, "--format", format, "How it is told", "FORMAT")
      .OneOf({"text", "json"})
      .CommandLineOnly();
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
  if (!session.IsOfOurPlugin() && !session.IsForPublicFirmware()) {
    throw TError("the steps of the plug-in \"" + session.Plugin().Name() +
                 "\" are not known here; `svcheck query --log FILE` shows what it logs");
  }
  TLogFile log(options);
  const boost::shared_ptr<TPublicFirmwareTrace> devices(new TPublicFirmwareTrace(log.Logger()));
  if (session.IsForPublicFirmware()) {
    if (format != "text") {
      throw TError("public firmware is explained as text alone; leave --format out",
                   EErrorKind::kUsage);
    }
    session.Run({.log = devices});
    DemandComparison(session);
  } else {
    ExplainElements(session, log, devices, *output);
  }
  if (format == "text") devices->Write(component, *output);
  output->Commit();
  log.DemandWhole();
}

void TExplainVerb::ExplainElements(TQuerySession& session, const TLogFile& log,
                                   const boost::shared_ptr<ILogger>& companionLog,
                                   report::IOutput& output) const {
  const boost::shared_ptr<TQueryTrace> trace(new TQueryTrace(log.Logger()));
  session.Run({.log = trace,
               .companionLog = companionLog,
               .inventory = trace->OfInventory(),
               .catalogue = trace->OfCatalogue()});
  DemandComparison(session);
  const auto records = WithSources(session.Records(), session.Inventory(), session.Catalogue());
  const TExplained explained{*trace, *records,
                             TCIMSchemaHelper::GetMachineType(session.Inventory()),
                             SystemCodeIn(session.Inventory()).value_or(""), component};
  format == "json" ? WriteExplanationJson(explained, output) : WriteExplanation(explained, output);
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
