// `svcheck catalogue lint`.
#include <fmt/format.h>

#include "base/json_writer.h"
#include "base/shown_text.h"
#include "report/text.h"
#include "runtime/hskcore/host_setup.h"
#include "svcheck/author/command.h"
#include "svcheck/author/rules.h"
#include "svcheck/system/failure.h"

namespace svc::catalogue {

namespace {

std::string PlaceOf(const TToldFinding& finding) {
  const std::string name = report::PlainLine(finding.file.name);
  return finding.line == 0 ? name : fmt::format("{}:{}", name, finding.line);
}

// As compilers have it, so that editors find the place, with the advice below.
std::string Line(const TToldFinding& finding) {
  std::string text = fmt::format("{}: {}: ", PlaceOf(finding), NameOf(finding.rule.severity));
  if (!finding.element.empty()) text += report::PlainLine(finding.element) + ": ";
  text += finding.rule.what;
  if (!finding.detail.empty()) text += ": " + report::PlainLine(finding.detail);
  return fmt::format("{} [{}]\n    {}\n", text, finding.rule.id, finding.rule.advice);
}

void WriteTable(const TCatalogue& catalogue, const std::vector<TUpdate>& updates,
                const std::vector<TFinding>& findings, TOutput& output) {
  TellEach(catalogue, updates, findings,
           [&](const TToldFinding& finding) { output.Write(Line(finding)); });
  output.Write(fmt::format("{}: {}, {}.\n", Counted(catalogue.CountElements(), "update element"),
                           Counted(CountOf(ESeverity::kError, findings), "error"),
                           Counted(CountOf(ESeverity::kWarning, findings), "warning")));
}

void WriteFinding(const TToldFinding& finding, TJsonWriter& json) {
  json.Object(kJsonSpaced).Text("rule", finding.rule.id);
  json.Text("severity", NameOf(finding.rule.severity)).Text("file", finding.file.name).Name("line");
  finding.line == 0 ? json.Null() : json.Number(finding.line);
  json.Text("element", finding.element).Text("what", finding.rule.what);
  json.Text("detail", finding.detail).Text("advice", finding.rule.advice).End();
}

void WriteJson(const TCommand& command, const TCatalogue& catalogue,
               const std::vector<TUpdate>& updates, const std::vector<TFinding>& findings,
               TOutput& output) {
  std::string text;
  TJsonWriter json(text);
  json.Object(kJsonDocument).Number("schema", 1).Text("catalogue", command.folder);
  json.Number("elements", catalogue.CountElements()).List("findings", kJsonRows);
  TellEach(catalogue, updates, findings, [&](const TToldFinding& finding) {
    WriteFinding(finding, json);
    output.Write(text);
    text.clear();
  });
  json.End().Object("summary", kJsonSpaced);
  json.Number("error", CountOf(ESeverity::kError, findings));
  json.Number("warning", CountOf(ESeverity::kWarning, findings)).End().End();
  output.Write(text + '\n');
}

// A file that cannot be read at all leaves nothing to judge.
bool IsUnread(const TFile& file) { return file.unreadable || file.malformed; }

int StatusOf(const TCatalogue& catalogue, const std::vector<TFinding>& findings) {
  for (const TFile& file : catalogue.files) {
    if (IsUnread(file)) return kExitCatalogue;
  }
  return CountOf(ESeverity::kError, findings) > 0 ? kExitCondition : kExitDone;
}

}  // namespace

int LintCatalogue(const TCommand& command, const IProgram& program) {
  const TCatalogue catalogue =
      ReadCatalogue(PathOf(command.folder), command.isLive, PathOf(command.dataFolder));
  const std::vector<TUpdate> updates = UpdatesOf(catalogue);
  const std::vector<TFinding> findings = Lint(catalogue, updates);
  const auto output = program.Open(command.output);
  if (command.format == "json") {
    WriteJson(command, catalogue, updates, findings, *output);
  } else {
    WriteTable(catalogue, updates, findings, *output);
  }
  output->Commit();
  return StatusOf(catalogue, findings);
}

}  // namespace svc::catalogue
