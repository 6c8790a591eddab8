// `svcheck doctor`: what this machine can and cannot do, and how to mend it.
#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

#include "base/json_writer.h"
#include "base/shown_text.h"
#include "report/table.h"
#include "report/text.h"
#include "svcheck/cli/command_line.h"
#include "svcheck/cli/verb_description.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/paths.h"
#include "svcheck/verbs/doctor_findings.h"

namespace svc {

namespace {

constexpr std::array<std::string_view, 4> kKinds = {"good", "unset", "warning", "problem"};

std::string_view NameOf(EFinding kind) { return kKinds[static_cast<std::size_t>(kind)]; }

std::size_t Count(const std::vector<TFinding>& findings, EFinding kind) {
  return static_cast<std::size_t>(std::ranges::count(findings, kind, &TFinding::kind));
}

std::string TableOf(const std::vector<TFinding>& findings) {
  constexpr std::size_t kSubject = 23, kKind = 9;
  std::string table;
  for (const TFinding& finding : findings) {
    table += report::Padded(finding.subject, kSubject) +
             report::Padded(std::string(NameOf(finding.kind)), kKind) +
             report::PlainLine(finding.text) + '\n';
    if (finding.advice.empty()) continue;
    table += std::string(kSubject + kKind, ' ') + "-> " + report::PlainLine(finding.advice) + '\n';
  }
  return table + '\n' + Counted(Count(findings, EFinding::kProblem), NameOf(EFinding::kProblem)) +
         ", " + Counted(Count(findings, EFinding::kWarning), NameOf(EFinding::kWarning)) + ".\n";
}

std::string JsonOf(const std::vector<TFinding>& findings) {
  std::string text;
  TJsonWriter json(text);
  json.Object().Number("schema", 1).List("findings", kJsonLines);
  for (const TFinding& finding : findings) {
    json.Object().Text("subject", finding.subject).Text("state", NameOf(finding.kind));
    json.Text("text", finding.text).TextOrNull("advice", finding.advice).End();
  }
  json.End().Number("problems", Count(findings, EFinding::kProblem));
  json.Number("warnings", Count(findings, EFinding::kWarning)).End();
  return text + '\n';
}

class TDoctorVerb : public IVerb {
 public:
  explicit TDoctorVerb(CLI::App& app) {
    AddText(app, "--catalogue", catalogue, "Folder of the catalogue", "DIR");
    AddInventoryOption(app, options);
    AddMachineOption(app, options);
    AddPlaceOptions(app, options);
    AddRepositoryOptions(app, options);
    AddOfflineOption(app, options);
    AddText(app, "--format", format, "Format", "FORMAT").OneOf({"table", "json"}).CommandLineOnly();
  }

  int Run() override {
    const auto output = OpenOutput("-");
    const std::vector<TFinding> findings = Examine();
    output->Write(format == "json" ? JsonOf(findings) : TableOf(findings));
    output->Commit();
    return Count(findings, EFinding::kProblem) == 0 ? kExitDone : kExitFailure;
  }

 private:
  std::vector<TFinding> Examine() const {
    const auto data =
        options.dataFolder.empty() ? DefaultDataFolder() : Absolute(options.dataFolder);
    const auto plugin = options.plugin.empty() ? DefaultPlugin() : Absolute(options.plugin);
    std::vector<TFinding> findings = {ExamineSettings(),          ExaminePlugin(plugin),
                                      ExamineDataFolder(data),    ExamineCatalogue(catalogue, data),
                                      ExamineRepository(options), ExamineStateFolder()};
    const auto add = [&](std::vector<TFinding> more) {
      std::ranges::move(more, std::back_inserter(findings));
    };
    add(ExamineSources());
    if (options.inventories.empty()) add(ExamineInventory());
    if (!catalogue.empty()) add(ExamineComparison(options, catalogue));
    return findings;
  }

  TQueryOptions options;
  std::string catalogue;
  std::string format = "table";
};

}  // namespace

std::unique_ptr<IVerb> MakeDoctor(CLI::App& app) { return std::make_unique<TDoctorVerb>(app); }

}  // namespace svc
