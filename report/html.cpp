// The report as one page: no outside references, readable without its script, on paper and by a
// screen reader. Nothing runs in it but its own script, whatever the records hold: the page names
// the hashes of its style and script (W3C, Content Security Policy Level 3).
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "report/html_page.h"
#include "report/model.h"
#include "report/records.h"
#include "report/text.h"

namespace svc::report {

namespace {

// Types that have a group of their own; records of further ones share the last group.
constexpr std::size_t kMostGroups = 16;
constexpr std::string_view kOtherTypes = "Other types";

// What the page says first, and the class that gives it its colour.
struct TLead {
  std::string text;
  std::string_view style;
};

// One that others stand beside: letters that read from right to left do not move those.
std::string Isolated(std::string_view text) { return "<bdi>" + PageText(text) + "</bdi>"; }

TLead LeadOf(const TReport& report, const TSummary& summary) {
  if (!WasCompared(report.outcome)) return {"Not checked", "error"};
  if (RecordsOf(report).empty()) return {"Nothing to compare", "unknown"};
  const std::size_t updates = summary.Of(EVerdict::kOutdated);
  if (updates > 0) {
    return {fmt::format("{} update{} to install", updates, updates == 1 ? "" : "s"), "outdated"};
  }
  if (summary.Of(EVerdict::kUnknown) > 0) return {"Nothing is known to be outdated", "unknown"};
  return {"Nothing to install", "current"};
}

std::string Explanation(const TReport& report, const TSummary& summary) {
  if (!WasCompared(report.outcome)) return PageText(RowOf(report.outcome).sentence);
  if (RecordsOf(report).empty()) return PageText(ReasonForNothing(report));
  return fmt::format("{} compared: {}.", RecordsOf(report).size(), Sentence(summary));
}

std::string MachineName(const TMachine& machine) {
  if (!machine.model.empty()) return machine.model;
  return "Machine " + (machine.type.empty() ? "unknown" : machine.type);
}

// A hash as a policy names it, in base64 (RFC 4648).
std::string PolicyHash(std::string_view hexadecimal) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  constexpr std::size_t kBitsOfHexadecimal = 4;
  constexpr std::size_t kBitsOfBase64 = 6;
  std::string text = "'sha256-";
  unsigned bits = 0;
  std::size_t count = 0;
  for (const char c : hexadecimal) {
    bits = bits << kBitsOfHexadecimal | static_cast<unsigned>(IsDigit(c) ? c - '0' : c - 'a' + 10);
    count += kBitsOfHexadecimal;
    if (count < kBitsOfBase64) continue;
    count -= kBitsOfBase64;
    text += kDigits[bits >> count & 0x3F];
  }
  text += kDigits[bits << (kBitsOfBase64 - count) & 0x3F];  // 256 bits leave four.
  return text + "='";
}

void WriteHead(const TReport& report, std::string_view lead, IOutput& output) {
  output.Write(fmt::format(
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta name=\"color-scheme\" content=\"light dark\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src {}; "
      "script-src {}; base-uri 'none'; form-action 'none'\">\n<title>{} – {}</title>\n<style>",
      PolicyHash(kHtmlStyleHash), PolicyHash(kHtmlScriptHash), lead,
      PageText(MachineName(report.machine))));
  output.Write(kHtmlStyle);
  output.Write("</style>\n</head>\n<body>\n");
}

// How the records divide, as a bar.
std::string Parts(const TSummary& summary) {
  std::string text = fmt::format(
      "<svg class=\"parts\" viewBox=\"0 0 {} 1\" preserveAspectRatio=\"none\" "
      "role=\"img\" aria-label=\"{}\">",
      summary.Total(), Sentence(summary));
  std::size_t place = 0;
  const auto add = [&](std::string_view style, std::size_t count) {
    if (count == 0) return;
    text +=
        fmt::format("<rect class=\"{}\" x=\"{}\" width=\"{}\" height=\"1\"/>", style, place, count);
    place += count;
  };
  for (const EVerdict verdict : kVerdicts) add(NameOf(verdict), summary.Of(verdict));
  add("waived", summary.waived);
  return text + "</svg>\n";
}

// A count that is a filter as well once the script runs.
std::string Tile(std::string_view name, std::size_t count, std::string_view meaning) {
  return fmt::format(
      "<button type=\"button\" class=\"tile {0}\" data-verdict=\"{0}\" aria-pressed=\"false\" "
      "disabled><b>{1}</b> <span>{0}</span> <small>{2}</small></button>\n",
      name, count, meaning);
}

std::string Tiles(const TReport& report, const TSummary& summary) {
  constexpr std::array<std::string_view, kVerdicts.size()> kMeanings = {
      "a later version is offered", "could not be compared", "later than what is offered",
      "as the catalogue has it"};
  std::string text = "<fieldset class=\"tiles\" aria-label=\"Show only\">\n";
  for (const EVerdict verdict : kVerdicts) {
    text += Tile(NameOf(verdict), summary.Of(verdict), kMeanings[IndexOf(verdict)]);
  }
  if (report.hasWaivers) text += Tile("waived", summary.waived, "accepted as it is");
  return text + "</fieldset>\n";
}

std::string Fact(std::string_view name, std::string_view value) {
  if (value.empty()) return {};
  return fmt::format("<dt>{}</dt><dd>{}</dd>\n", name, PageText(value));
}

std::string CatalogueAge(const TReport& report) {
  if (!report.catalogue.modified) return {};
  return fmt::format("{}, from {}", Age(report.generated - *report.catalogue.modified),
                     UtcTime(*report.catalogue.modified));
}

std::string Facts(const TReport& report) {
  const TMachine& machine = report.machine;
  const TCatalogue& catalogue = report.catalogue;
  std::string text = "<div class=\"facts\">\n<section class=\"card\"><h2>Machine</h2>\n<dl>\n";
  text += Fact("Type", machine.type.empty() ? "unknown" : std::string_view(machine.type)) +
          Fact("Model", machine.model) + Fact("Maker", machine.manufacturer) +
          Fact("Serial number", machine.serialNumber) + Fact("System", report.system.caption) +
          Fact("Kernel", report.system.version) + Fact("Platform", report.system.platform);
  text += "</dl></section>\n<section class=\"card\"><h2>Catalogue</h2>\n<dl>\n";
  text += Fact(catalogue.source == "live" ? "Repository" : "Folder", catalogue.path);
  if (catalogue.elements) text += Fact("Elements", std::to_string(*catalogue.elements));
  text += Fact("Age", CatalogueAge(report)) + Fact("Checked", UtcTime(report.generated));
  return text + "</dl></section>\n</div>\n";
}

std::string Errors(const TReport& report) {
  if (report.errors.empty()) return {};
  std::string text = fmt::format("<section class=\"card messages {}\"><h2>{}</h2><ul>\n",
                                 WasCompared(report.outcome) ? "unknown" : "error",
                                 WasCompared(report.outcome) ? "Messages" : "Why, and what to do");
  for (const std::string& error : report.errors) text += "<li>" + PageText(error) + "</li>\n";
  return text + "</ul></section>\n";
}

// The groups of the page, in the order of their first records.
std::vector<std::string> GroupsOf(const TReport& report) {
  std::vector<std::string> groups;
  for (const TRecord& record : RecordsOf(report)) {
    if (std::find(groups.begin(), groups.end(), record.type) != groups.end()) continue;
    if (groups.size() + 1 == kMostGroups) {
      groups.emplace_back(kOtherTypes);
      break;
    }
    groups.push_back(record.type);
  }
  return groups;
}

// Shown by the script, without which they could do nothing.
std::string Tools(const std::vector<std::string>& groups) {
  std::string text =
      "<div class=\"tools\" id=\"tools\" role=\"search\" hidden>\n"
      "<input id=\"search\" type=\"search\" placeholder=\"Find by name or version\" "
      "aria-label=\"Find by name or version\" autocomplete=\"off\">\n";
  for (const std::string& group : groups) {
    text += fmt::format(
        "<button type=\"button\" data-type=\"{0}\" aria-pressed=\"false\">{0}</button>\n",
        PageText(group));
  }
  return text +
         "<label>Sort by <select id=\"sort\"><option value=\"\">catalogue</option>"
         "<option>verdict</option><option>name</option><option>type</option>"
         "<option>installed</option><option>offered</option></select></label>\n"
         "<output id=\"shown\"></output>\n</div>\n";
}

std::string VersionCell(std::string_view name, std::string_view title, std::string_view text) {
  const std::string_view trimmed = Trim(text);
  return fmt::format("<td class=\"version {}\" data-label=\"{}\">{}</td>", name, title,
                     trimmed.empty() ? "–" : PageText(trimmed));
}

std::string Pill(std::string_view name) {
  return fmt::format("<span class=\"pill {0}\">{0}</span>", name);
}

std::string VerdictCell(const TRecord& record) {
  const std::string_view verdict = NameOf(record.verdict);
  std::string text = Pill(record.waived ? "waived" : verdict);
  if (record.waived) {
    const TAcceptance& waiver = *record.waived;
    const std::string until = waiver.expires.empty() ? "" : " until " + PageText(waiver.expires);
    text +=
        fmt::format("<small>{}, accepted{}: {}</small>", verdict, until, PageText(waiver.reason));
  }
  if (record.expiredWaiver) {
    text +=
        fmt::format("<small>waiver expired {}: {}</small>", PageText(record.expiredWaiver->expires),
                    PageText(record.expiredWaiver->reason));
  }
  return "<td class=\"verdict\">" + text + "</td>";
}

std::string Row(const TRecord& record, bool withType) {
  const std::string type =
      withType ? fmt::format("<small>{}</small>", PageText(record.type)) : std::string();
  return fmt::format(
      "<tr data-verdict=\"{}\" data-rank=\"{}\"><th scope=\"row\">{}{}</th>{}{}{}</tr>\n",
      record.waived ? "waived" : NameOf(record.verdict),
      record.waived ? kVerdicts.size() : IndexOf(record.verdict), PageText(record.name), type,
      VersionCell("installed", "Installed", record.installed),
      VersionCell("offered", "Offered", record.offered), VerdictCell(record));
}

std::string GroupHead(std::string_view name, const TSummary& summary) {
  return fmt::format(
      "<tbody data-type=\"{0}\"><tr class=\"group\"><th colspan=\"4\" scope=\"rowgroup\">"
      "<bdi>{0}</bdi> <small>{1}</small></th></tr>\n",
      PageText(name), Sentence(summary));
}

// A walk over all records for each group, so that none of them is kept.
template <typename TBelongs>
void WriteGroup(const TReport& report, std::string_view name, bool withType,
                const TBelongs& belongs, IOutput& output) {
  TSummary summary;
  for (const TRecord& record : RecordsOf(report)) {
    if (belongs(record)) summary.Add(record);
  }
  output.Write(GroupHead(name, summary));
  for (const TRecord& record : RecordsOf(report)) {
    if (belongs(record)) output.Write(Row(record, withType));
  }
  output.Write("</tbody>\n");
}

void WriteRecords(const TReport& report, IOutput& output) {
  const std::vector<std::string> groups = GroupsOf(report);
  output.Write(Tools(groups));
  output.Write("<div class=\"card records\">\n<table id=\"records\"><thead><tr>");
  for (const std::string_view title : {"Name", "Installed", "Offered", "Verdict"}) {
    output.Write(
        fmt::format("<th scope=\"col\" data-by=\"{}{}\"><button type=\"button\" disabled>"
                    "{}</button></th>",
                    ToLower(title.front()), title.substr(1), title));
  }
  output.Write("</tr></thead>\n");
  const bool hasOthers = groups.size() == kMostGroups;
  const auto firstOther = groups.end() - (hasOthers ? 1 : 0);
  for (auto group = groups.begin(); group != firstOther; ++group) {
    const auto belongs = [&](const TRecord& record) { return record.type == *group; };
    WriteGroup(report, *group, false, belongs, output);
  }
  if (hasOthers) {
    const auto belongs = [&](const TRecord& record) {
      return std::find(groups.begin(), firstOther, record.type) == firstOther;
    };
    WriteGroup(report, kOtherTypes, true, belongs, output);
  }
  output.Write(
      "</table>\n<p class=\"nothing tools\" id=\"nothing\" hidden>Nothing goes by these filters. "
      "<button type=\"button\" id=\"all\">Show all</button></p>\n</div>\n");
}

}  // namespace

void RenderHtml(const TReport& report, const TRenderOptions& /*options*/, IOutput& output) {
  const TSummary summary = Summarize(report);
  const TLead lead = LeadOf(report, summary);
  WriteHead(report, lead.text, output);
  output.Write(fmt::format(
      "{}<main>\n<header class=\"lead {}\"><div><h1>{}</h1>\n<p>{} {}</p></div>"
      "</header>\n",
      RecordsOf(report).empty() ? "" : "<a class=\"skip\" href=\"#records\">To the records</a>\n",
      lead.style, lead.text, Isolated(MachineName(report.machine)) + ".",
      Explanation(report, summary)));
  if (!RecordsOf(report).empty()) output.Write(Parts(summary) + Tiles(report, summary));
  output.Write(Errors(report) + Facts(report));
  if (!RecordsOf(report).empty()) WriteRecords(report, output);
  output.Write(fmt::format("<footer>{} {}</footer>\n</main>\n<script>", PageText(report.tool),
                           PageText(report.toolVersion)));
  output.Write(kHtmlScript);
  output.Write("</script>\n</body>\n</html>\n");
}

}  // namespace svc::report
