// The report as one page: no outside references, readable without its script, on paper and by a
// screen reader.
#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <vector>

#include "report/ascii.h"
#include "report/html_page.h"
#include "report/render.h"
#include "report/text.h"

namespace svc::report {

namespace {

std::string Title(const TReport& report) {
  return "Firmware and drivers of machine " +
         (report.machine.type.empty() ? "unknown" : XmlText(report.machine.type));
}

// What to do, at a glance.
std::string Lead(const TReport& report) {
  if (!WasCompared(report.outcome)) {
    return fmt::format("<strong>Not checked.</strong> {}", RowOf(report.outcome).sentence);
  }
  if (report.records.empty()) return XmlText(ReasonForNothing(report));
  const TSummary summary = Summarize(report);
  const std::size_t updates = summary.Of(EVerdict::kOutdated);
  std::string text = updates == 0 ? "Nothing is known to be outdated."
                                  : fmt::format("<strong>{} update{} to install.</strong>", updates,
                                                updates == 1 ? "" : "s");
  return fmt::format("{} {} compared: {}.", text, report.records.size(), Sentence(summary));
}

std::string Fact(std::string_view name, std::string_view value) {
  if (value.empty()) return {};
  return fmt::format("<dt>{}</dt><dd>{}</dd>\n", name, XmlText(value));
}

std::string CatalogueAge(const TReport& report) {
  if (!report.catalogue.modified) return {};
  return fmt::format("{} ({})", Age(report.generated - *report.catalogue.modified),
                     UtcTime(*report.catalogue.modified));
}

std::string Facts(const TReport& report) {
  const TMachine& machine = report.machine;
  std::string text = "<dl class=\"facts\">\n";
  text += Fact("Machine", machine.type) + Fact("Maker", machine.manufacturer) +
          Fact("Model", machine.model) + Fact("Serial number", machine.serialNumber) +
          Fact("Operating system", report.system.caption) +
          Fact("Catalogue", report.catalogue.path);
  if (report.catalogue.elements) {
    text += Fact("Update elements", std::to_string(*report.catalogue.elements));
  }
  text += Fact("Catalogue age", CatalogueAge(report)) + Fact("Checked", UtcTime(report.generated)) +
          Fact("By", report.tool + " " + report.toolVersion);
  return text + "</dl>\n";
}

std::string Errors(const TReport& report) {
  if (report.errors.empty()) return {};
  std::string text = "<div class=\"errors\" role=\"alert\"><strong>Messages</strong><ul>\n";
  for (const std::string& error : report.errors) text += "<li>" + XmlText(error) + "</li>\n";
  return text + "</ul></div>\n";
}

std::string FilterButton(std::string_view verdict, std::size_t count) {
  return fmt::format(
      "<button type=\"button\" data-verdict=\"{0}\" aria-pressed=\"true\"><span class=\"{0}\">{0}"
      "</span> {1}</button>\n",
      verdict, count);
}

// Shown by the script, without which it could do nothing.
std::string Controls(const TSummary& summary) {
  std::string text =
      "<fieldset class=\"controls\" id=\"controls\" hidden aria-label=\"Filters\">\n";
  for (const EVerdict verdict : kVerdicts) {
    if (summary.Of(verdict) > 0) text += FilterButton(NameOf(verdict), summary.Of(verdict));
  }
  if (summary.waived > 0) text += FilterButton("waived", summary.waived);
  return text +
         "<label>Search<input id=\"search\" type=\"search\" autocomplete=\"off\"></label>\n"
         "<output id=\"shown\" aria-live=\"polite\"></output>\n</fieldset>\n";
}

constexpr std::string_view kTableHead =
    "<table id=\"records\"><caption hidden>Records</caption>\n<thead><tr>"
    "<th scope=\"col\"><button type=\"button\">Type</button></th>"
    "<th scope=\"col\"><button type=\"button\">Name</button></th>"
    "<th scope=\"col\"><button type=\"button\">Installed</button></th>"
    "<th scope=\"col\"><button type=\"button\">Offered</button></th>"
    "<th scope=\"col\"><button type=\"button\">Verdict</button></th></tr></thead>\n";

std::string VersionCell(std::string_view text) {
  const std::string_view trimmed = Trim(text);
  return "<td class=\"version\">" + (trimmed.empty() ? "&ndash;" : XmlText(trimmed)) + "</td>";
}

std::string VerdictCell(const TRecord& record) {
  const std::string_view name = NameOf(record.verdict);
  if (!record.waived) return fmt::format("<td class=\"{0}\">{0}</td>", name);
  return fmt::format("<td class=\"{0}\">{0} <span class=\"waived\">waived: {1}</span></td>", name,
                     XmlText(record.waived->reason));
}

std::string Row(const TRecord& record) {
  return fmt::format("<tr data-verdict=\"{}\" data-rank=\"{}\"><td>{}</td><td>{}</td>{}{}{}</tr>\n",
                     record.waived ? "waived" : NameOf(record.verdict),
                     record.waived ? kVerdicts.size() : IndexOf(record.verdict),
                     XmlText(record.type), XmlText(record.name), VersionCell(record.installed),
                     VersionCell(record.offered), VerdictCell(record));
}

std::vector<std::string> TypesInOrder(const TReport& report) {
  std::vector<std::string> types;
  for (const TRecord& record : report.records) {
    if (std::find(types.begin(), types.end(), record.type) == types.end()) {
      types.push_back(record.type);
    }
  }
  return types;
}

void WriteGroup(const TReport& report, const std::string& type, IOutput& output) {
  const auto isOfType = [&](const TRecord& record) { return record.type == type; };
  const auto count = std::count_if(report.records.begin(), report.records.end(), isOfType);
  output.Write(fmt::format(
      "<tbody data-type=\"{0}\"><tr><th colspan=\"5\" scope=\"rowgroup\">{0} ({1})</th></tr>\n",
      XmlText(type), count));
  for (const TRecord& record : report.records) {
    if (isOfType(record)) output.Write(Row(record));
  }
  output.Write("</tbody>\n");
}

}  // namespace

void RenderHtml(const TReport& report, const TRenderOptions& /*options*/, IOutput& output) {
  output.Write(
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
      "style-src 'unsafe-inline'; script-src 'unsafe-inline'\">\n");
  output.Write(
      fmt::format("<title>{0}</title>\n<style>{1}</style>\n</head>\n<body>\n<main>\n"
                  "<h1>{0}</h1>\n<p class=\"lead\">{2}</p>\n",
                  Title(report), kHtmlStyle, Lead(report)));
  output.Write(Errors(report) + Facts(report));
  if (!report.records.empty()) {
    output.Write(Controls(Summarize(report)));
    output.Write(kTableHead);
    for (const std::string& type : TypesInOrder(report)) WriteGroup(report, type, output);
    output.Write("</table>\n");
  }
  output.Write(fmt::format("</main>\n<script>{}</script>\n</body>\n</html>\n", kHtmlScript));
}

}  // namespace svc::report
