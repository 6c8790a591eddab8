// The report as one page.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "report/model.h"
#include "report/page_parts.h"
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

TLead LeadOf(const TReport& report, const TSummary& summary) {
  const EState state = StateOf(report, summary);
  if (state == EState::kFailed) return {"Not checked", "error"};
  if (state == EState::kNothingCompared) return {"Nothing was compared", "unknown"};
  if (const std::size_t updates = CountUpdates(report); updates > 0) {
    return {fmt::format("{} update{} to install", updates, updates == 1 ? "" : "s"), "outdated"};
  }
  if (summary.Of(EVerdict::kUnknown) > 0) return {"Nothing is known to be outdated", "unknown"};
  return {"Nothing to install", "current"};
}

std::string Explanation(const TReport& report, const TSummary& summary) {
  if (!WasCompared(report.outcome)) return PageText(RowOf(report.outcome).sentence);
  std::string text;
  if (summary.compared == 0) text = "Why: " + PageText(StateReason(report, summary)) + ". ";
  if (RecordsOf(report).empty()) return text + "No records.";
  const std::size_t count = RecordsOf(report).size();
  return text + fmt::format("{} record{}: {}.", count, count == 1 ? "" : "s", Sentence(summary));
}

std::string MachineName(const TMachine& machine) {
  if (!machine.host.empty()) return machine.host;
  if (!machine.model.empty()) return machine.model;
  return "Machine " + (machine.type.empty() ? "unknown" : machine.type);
}

// How the records divide.
std::vector<TPart> PartsOf(const TReport& report, const TSummary& summary) {
  constexpr std::array<std::string_view, kVerdicts.size()> kMeanings = {
      "a later version is offered", "could not be compared", "later than what is offered",
      "as the catalogue has it"};
  std::vector<TPart> parts;
  for (const EVerdict verdict : kVerdicts) {
    parts.push_back(
        {NameOf(verdict), NameOf(verdict), summary.Of(verdict), kMeanings[IndexOf(verdict)]});
  }
  if (report.hasWaivers || summary.waived > 0) {
    parts.push_back({"waived", "waived", summary.waived, "accepted as it is"});
  }
  return parts;
}

std::string Facts(const TReport& report) {
  const TMachine& machine = report.machine;
  std::string text = "<div class=\"facts\">\n<section class=\"card\"><h2>Machine</h2>\n<dl>\n";
  text += Fact("Host", machine.host) +
          Fact("Type", machine.type.empty() ? "unknown" : std::string_view(machine.type)) +
          Fact("Model", machine.model) + Fact("Maker", machine.manufacturer) +
          Fact("Serial number", machine.serialNumber) + Fact("System", report.system.caption) +
          Fact("Kernel", report.system.version) + Fact("Platform", report.system.platform);
  return text + "</dl></section>\n" + CatalogueCard(report) + "</div>\n";
}

std::string Errors(const TReport& report) {
  if (report.errors.empty()) return {};
  std::string text = fmt::format("<section class=\"card messages {}\"><h2>{}</h2><ul>\n",
                                 WasCompared(report.outcome) ? "unknown" : "error",
                                 WasCompared(report.outcome) ? "Messages" : "Why, and what to do");
  for (const std::string& error : report.errors) text += "<li>" + PageText(error) + "</li>\n";
  return text + "</ul></section>\n";
}

std::string NoticesOf(const TReport& report, const TRenderOptions& options) {
  const std::vector<std::string> notices = Notices(report, options);
  if (notices.empty()) return {};
  std::string text = "<section class=\"card messages unknown\"><h2>Please note</h2><ul>\n";
  for (const std::string& notice : notices) text += "<li>" + PageText(notice) + "</li>\n";
  return text + "</ul></section>\n";
}

// Folded: of interest to whoever wonders what the records leave out.
void WriteNotCompared(const TReport& report, IOutput& output) {
  if (!report.coverage) return;
  const std::string sentence = Sentence(*report.coverage);
  if (report.coverage->notCompared.empty()) {
    return output.Write(fmt::format("<p class=\"coverage\">{}</p>\n", sentence));
  }
  output.Write(
      fmt::format("<details class=\"card coverage\"><summary>{}</summary>\n<table><thead><tr>"
                  "<th scope=\"col\">Name</th><th scope=\"col\">Type</th><th scope=\"col\">"
                  "Installed</th><th scope=\"col\">Why not</th></tr></thead>\n<tbody>\n",
                  sentence));
  for (const TPiece& piece : report.coverage->notCompared) {
    output.Write(
        fmt::format("<tr><th scope=\"row\">{}</th><td>{}</td><td class=\"version\">{}</td>"
                    "<td>{}</td></tr>\n",
                    PageText(piece.name), PageText(piece.type),
                    piece.version.empty() ? "–" : PageText(piece.version), RowOf(piece.why).one));
  }
  output.Write("</tbody></table></details>\n");
}

// The groups of the page, in the order of their first records.
std::vector<std::string> GroupsOf(const TReport& report) {
  std::vector<std::string> groups;
  for (const TRecord& record : ShownIn(report)) {
    if (std::find(groups.begin(), groups.end(), record.type) != groups.end()) continue;
    if (groups.size() + 1 == kMostGroups) {
      groups.emplace_back(kOtherTypes);
      break;
    }
    groups.push_back(record.type);
  }
  return groups;
}

std::string VersionCell(std::string_view name, std::string_view title, std::string_view text) {
  const std::string_view trimmed = Trim(text);
  return fmt::format("<td class=\"version {}\" data-label=\"{}\">{}</td>", name, title,
                     trimmed.empty() ? "–" : PageText(trimmed));
}

// What is told of the offered release, the notes folded away.
std::string ReleaseText(const TRelease& release) {
  std::string text;
  const std::string urgency = release.urgency.empty() ? "" : "urgency " + release.urgency;
  const std::string between = urgency.empty() || release.date.empty() ? "" : ", ";
  const std::string told = urgency + between + release.date;
  if (!told.empty()) text = "<small>" + PageText(told) + "</small>";
  if (release.notes.empty()) return text;
  text += "<details><summary>Release notes</summary>";
  std::string_view rest = release.notes;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    text += "<small>" + PageText(rest.substr(0, end)) + "</small>";
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return text + "</details>";
}

std::string VerdictCell(const TRecord& record) {
  const std::string_view verdict = NameOf(record.verdict);
  std::string text = Pill(record.waived ? "waived" : verdict, record.waived ? "waived" : verdict);
  if (record.verdict == EVerdict::kUnknown && record.why) {
    text += fmt::format("<small>{}</small>", TextOf(*record.why));
  }
  if (record.hasSameSource && Trim(record.installed) != Trim(record.offered)) {
    text += "<small>built of the same source</small>";
  }
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
  if (record.release) text += ReleaseText(*record.release);
  return "<td class=\"verdict\">" + text + "</td>";
}

std::string UpdateNote(const TRecord& record) {
  if (!record.update) return {};
  const TUpdate& update = *record.update;
  return fmt::format("<small class=\"update\" title=\"{}{}:{}\">{}</small>",
                     update.package.empty() ? "" : PageText(update.package) + ", ",
                     PageText(update.file), update.line, PageText(TitleOf(update)));
}

// What a row begins with, up to its name; `attributes` stand among its own.
std::string RowBegin(const TRecord& record, std::string_view attributes) {
  return fmt::format("<tr data-verdict=\"{}\" data-rank=\"{}\"{}><th scope=\"row\">",
                     record.waived ? "waived" : NameOf(record.verdict),
                     record.waived ? kVerdicts.size() : IndexOf(record.verdict), attributes);
}

// What follows the name.
std::string RowEnd(const TRecord& record, bool withType, std::string_view update) {
  const std::string type =
      withType ? fmt::format("<small>{}</small>", PageText(record.type)) : std::string();
  return fmt::format("{}{}</th>{}{}{}</tr>\n", type, update,
                     VersionCell("installed", "Installed", record.installed),
                     VersionCell("offered", "Offered", record.offered), VerdictCell(record));
}

std::string Row(const TRecord& record, bool withType) {
  return RowBegin(record, {}) + PageText(record.name) +
         RowEnd(record, withType, UpdateNote(record));
}

// Several elements that bring the drivers of one kernel go by the place of the first.
std::string UpdateNote(const TKernelRow& kernel) {
  if (kernel.isOneUpdate || !kernel.first.update) return UpdateNote(kernel.first);
  return fmt::format("<small class=\"update\" title=\"from {}:{}\">several update elements</small>",
                     PageText(kernel.first.update->file), kernel.first.update->line);
}

// The drivers of a kernel: a row that unfolds into their names. All else that it says holds for
// each of them.
void WriteKernel(const TReport& report, const TKernelRows& kernels, const TKernelRow& kernel,
                 bool withType, TPageTable& table, IOutput& output) {
  table.Row(RowBegin(kernel.first, fmt::format(" data-records=\"{}\"", kernel.records)) +
            fmt::format("<details><summary>{}</summary><ul>", PageText(TitleOf(kernel))));
  for (const TRecord& record : ShownIn(report)) {
    if (kernels.Of(record) != &kernel) continue;
    output.Write(fmt::format("<li>{}</li>", PageText(record.name)));
  }
  output.Write("</ul></details>" + RowEnd(kernel.first, withType, UpdateNote(kernel)));
}

// A walk over all records for each group, so that none of them is kept.
template <typename TBelongs>
void WriteGroup(const TReport& report, const TKernelRows& kernels, std::string_view name,
                bool withType, const TBelongs& belongs, TPageTable& table, IOutput& output) {
  TSummary summary;
  for (const TRecord& record : ShownIn(report)) {
    if (belongs(record)) summary.Add(record);
  }
  std::size_t rows = summary.Total();
  for (const TKernelRow& kernel : kernels.All()) {
    if (belongs(kernel.first)) rows -= kernel.records - 1;
  }
  table.Group(name, Sentence(summary), rows);
  ForEachRow(ShownIn(report), kernels, [&](const TRecord& record, const TKernelRow* kernel) {
    if (!belongs(record)) return;
    if (kernel == nullptr) return table.Row(Row(record, withType));
    WriteKernel(report, kernels, *kernel, withType, table, output);
  });
}

void WriteRecords(const TReport& report, IOutput& output) {
  constexpr std::array<std::string_view, 5> kOrders = {"verdict", "name", "type", "installed",
                                                       "offered"};
  constexpr std::array kColumns = {TColumn{"Name"}, TColumn{"Installed"}, TColumn{"Offered"},
                                   TColumn{"Verdict"}};
  const std::vector<std::string> groups = GroupsOf(report);
  const bool isSorted = report.shown && !std::ranges::is_sorted(report.shown->numbers);
  output.Write(
      Tools("Find by name or version", groups, isSorted ? "as given" : "catalogue", kOrders));
  TPageTable table("report", kColumns, output);
  const TKernelRows kernels(ShownIn(report));
  const bool hasOthers = groups.size() == kMostGroups;
  const auto firstOther = groups.end() - (hasOthers ? 1 : 0);
  for (auto group = groups.begin(); group != firstOther; ++group) {
    const auto belongs = [&](const TRecord& record) { return record.type == *group; };
    WriteGroup(report, kernels, *group, false, belongs, table, output);
  }
  if (hasOthers) {
    const auto belongs = [&](const TRecord& record) {
      return std::find(groups.begin(), firstOther, record.type) == firstOther;
    };
    WriteGroup(report, kernels, kOtherTypes, true, belongs, table, output);
  }
  table.End();
}

}  // namespace

void RenderHtml(const TReport& report, const TRenderOptions& options, IOutput& output) {
  const TSummary summary = Summarize(report);
  const TLead lead = LeadOf(report, summary);
  const std::string machine = MachineName(report.machine);
  const bool isEmpty = ShownIn(report).empty();
  WritePageHead(lead.text + " – " + machine, output);
  if (!isEmpty) output.Write("<a class=\"skip\" href=\"#records\">To the records</a>\n");
  output.Write("<main>\n" + LeadPart(lead.style, lead.text,
                                     Isolated(machine) + ". " + Explanation(report, summary)));
  if (summary.Total() > 0) {
    const std::vector<TPart> parts = PartsOf(report, summary);
    output.Write(PartsBar(parts, Sentence(summary)) + (isEmpty ? "" : Tiles(parts)));
  }
  output.Write(NoticesOf(report, options) + Errors(report) + Facts(report));
  if (!isEmpty) WriteRecords(report, output);
  WriteNotCompared(report, output);
  WritePageEnd(report.tool, report.toolVersion, output);
}

}  // namespace svc::report
