// `svcheck doctor`: what this machine can and cannot do, and how to mend it.
#include <algorithm>
#include <array>
#include <string_view>

#include "report/text.h"
#include "svcheck/cli/options.h"
#include "svcheck/cli/verb_description.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/output.h"
#include "svcheck/system/paths.h"
#include "svcheck/verbs/doctor_findings.h"

namespace svc {

namespace {

using report::JsonString;

constexpr std::array<std::string_view, 4> kKinds = {"good", "unset", "warning", "problem"};

std::string_view NameOf(EFinding kind) { return kKinds[static_cast<std::size_t>(kind)]; }

std::ptrdiff_t Count(const std::vector<TFinding>& findings, EFinding kind) {
  return std::count_if(findings.begin(), findings.end(),
                       [&](const TFinding& finding) { return finding.kind == kind; });
}

// "1 problem", "2 problems".
std::string Counted(const std::vector<TFinding>& findings, EFinding kind) {
  const std::ptrdiff_t count = Count(findings, kind);
  return std::to_string(count) + ' ' + std::string(NameOf(kind)) + (count == 1 ? "" : "s");
}

std::string Padded(std::string_view text, std::size_t width) {
  return std::string(text) + std::string(width - std::min(width, text.size()), ' ');
}

std::string TableOf(const std::vector<TFinding>& findings) {
  constexpr std::size_t kSubject = 23, kKind = 9;
  std::string table;
  for (const TFinding& finding : findings) {
    table += Padded(finding.subject, kSubject) + Padded(NameOf(finding.kind), kKind) +
             report::PlainLine(finding.text) + '\n';
    if (finding.advice.empty()) continue;
    table += std::string(kSubject + kKind, ' ') + "-> " + report::PlainLine(finding.advice) + '\n';
  }
  return table + '\n' + Counted(findings, EFinding::kProblem) + ", " +
         Counted(findings, EFinding::kWarning) + ".\n";
}

std::string JsonOf(const std::vector<TFinding>& findings) {
  std::string json = "{\"schema\":1,\"findings\":[";
  const char* separator = "\n";
  for (const TFinding& finding : findings) {
    json += separator;
    json += "{\"subject\":" + JsonString(finding.subject) +
            ",\"state\":" + JsonString(NameOf(finding.kind)) +
            ",\"text\":" + JsonString(finding.text) +
            ",\"advice\":" + (finding.advice.empty() ? "null" : JsonString(finding.advice)) + '}';
    separator = ",\n";
  }
  return json + "\n],\"problems\":" + std::to_string(Count(findings, EFinding::kProblem)) +
         ",\"warnings\":" + std::to_string(Count(findings, EFinding::kWarning)) + "}\n";
}

class TDoctorVerb : public IVerb {
 public:
  explicit TDoctorVerb(CLI::App& app) {
    AddText(app, "--catalogue", catalogue, "Folder of the catalogue", "DIR");
    AddPlaceOptions(app, options);
    AddRepositoryOptions(app, options);
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
    for (auto* examine : {ExamineSources, ExamineInventory}) {
      for (TFinding& finding : examine()) findings.push_back(std::move(finding));
    }
    return findings;
  }

  TQueryOptions options;
  std::string catalogue;
  std::string format = "table";
};

}  // namespace

std::unique_ptr<IVerb> MakeDoctor(CLI::App& app) { return std::make_unique<TDoctorVerb>(app); }

}  // namespace svc
