#include "svcheck/fleet/summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <system_error>
#include <utility>
#include <vector>

#include "report/page_parts.h"
#include "report/text.h"
#include "runtime/hskcore/host_setup.h"
#include "svcheck/fleet/machine_check.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/process.h"

namespace fs = std::filesystem;

namespace svc::fleet {

using report::EVerdict;
using report::PageText;
using report::TColumn;

namespace {

constexpr std::string_view kMachines = "machines";
constexpr std::string_view kTitle = "Firmware and drivers of the fleet";
// Machine types that have a button; all of them are found by their text.
constexpr std::size_t kMostTypes = 16;

// The groups of the index, in its order: what needs somebody comes first.
struct TGroup {
  std::string_view style;
  std::string_view name;  // Of one machine's state.
  std::string_view title;
  std::string_view meaning;
};
constexpr std::array<TGroup, TPages::kGroups> kGroupRows = {{
    {"error", "failed", "Not compared", "no comparison took place"},
    {"outdated", "outdated", "Updates to install", "something later is offered"},
    {"unknown", "unknown", "Nothing is known to be outdated", "something could not be compared"},
    {"current", "current", "Nothing to install", "nothing later is offered"},
}};

std::size_t GroupOf(const report::TReport& report, const report::TSummary& summary) {
  if (!report::WasCompared(report.outcome)) return 0;
  if (summary.Of(EVerdict::kOutdated) > 0) return 1;
  return summary.Of(EVerdict::kUnknown) > 0 || summary.Total() == 0 ? 2 : 3;
}

// A "%" of a file's name stands for itself in an address only as "%25".
std::string AddressOf(const std::string& page) {
  std::string address;
  for (const char c : page) {
    if (c == '%') {
      address += "%25";
    } else {
      address += c;
    }
  }
  return address;
}

// Why there is nothing to count.
std::string WhyNothing(const report::TReport& report, const report::TSummary& summary) {
  return report.errors.empty() ? report::StateReason(report, summary) : report.errors.front();
}

std::string RowOf(const std::string& machine, const std::string& page,
                  const report::TReport& report) {
  const report::TSummary summary = report::Summarize(report);
  const TGroup& group = kGroupRows[GroupOf(report, summary)];
  const bool isCounted = report::WasCompared(report.outcome) && summary.Total() > 0;
  const std::string_view result =
      report::WasCompared(report.outcome) ? group.name : report::RowOf(report.outcome).name;
  const std::string why =
      isCounted ? "" : "<small>" + PageText(WhyNothing(report, summary)) + "</small>";
  const std::string type = PageText(report.machine.type);
  std::string row = fmt::format(
      "<tr data-verdict=\"{}\"{}><th scope=\"row\"><a href=\"{}/{}\">{}</a></th><td>{}</td>"
      "<td class=\"verdict\">{}{}</td>",
      group.style, isCounted ? "" : " class=\"none\"", kMachines, AddressOf(page),
      PageText(machine), type.empty() ? "–" : type, report::Pill(group.style, result), why);
  for (const EVerdict verdict : report::kVerdicts) {
    row += isCounted ? fmt::format("<td>{}</td>", summary.Of(verdict)) : "<td>–</td>";
  }
  return row + "</tr>\n";
}

std::string TypesCard(const TSummary& summary) {
  const auto& types = summary.MachineTypes();
  if (types.empty()) return {};
  std::string text = fmt::format(
      "<details class=\"card types\"{}><summary>Machine types: {}</summary>\n<table><thead><tr>"
      "<th scope=\"col\">Type</th>",
      types.size() <= kMostTypes ? " open" : "", types.size());
  for (const std::string_view title : {"Machines", "Outdated", "Unknown", "Newer", "Current"}) {
    text += fmt::format("<th scope=\"col\" class=\"number\">{}</th>", title);
  }
  text += "</tr></thead>\n<tbody>\n";
  for (const auto& [type, counts] : types) {
    text +=
        fmt::format("<tr><th scope=\"row\">{}</th><td>{}</td>", PageText(type), counts.machines);
    for (const std::uint64_t count : counts.verdicts) text += fmt::format("<td>{}</td>", count);
    text += "</tr>\n";
  }
  return text + "</tbody></table></details>\n";
}

// Those with most machines.
std::vector<std::string> TypesWithButtons(const TSummary& summary) {
  std::vector<std::pair<std::uint64_t, std::string>> types;
  for (const auto& [type, counts] : summary.MachineTypes()) {
    if (!type.empty()) types.emplace_back(counts.machines, type);
  }
  std::stable_sort(types.begin(), types.end(),
                   [](const auto& a, const auto& b) { return a.first > b.first; });
  if (types.size() > kMostTypes) types.resize(kMostTypes);
  std::vector<std::string> names;
  for (auto& [count, type] : types) names.push_back(std::move(type));
  return names;
}

// What the index says first, in the colour of the first group that has a machine.
template <typename TCounts>
std::string Lead(const TSummary& summary, const TCounts& counts) {
  const std::uint64_t failed = summary.Failed().size();
  const std::uint64_t compared = summary.Machines() - failed;
  const auto first =
      std::find_if(counts.begin(), counts.end(), [](const auto& part) { return part.count > 0; });
  return report::LeadPart(first == counts.end() ? "unknown" : first->style,
                          fmt::format("{} of {} machines have updates to install",
                                      summary.OutdatedMachines(), compared),
                          fmt::format("{}. {} could not be compared.", kTitle,
                                      failed == 0 ? "None" : fmt::to_string(failed)));
}

[[noreturn]] void FailToKeep() {
  throw TError(
      "the rows of the index cannot be put aside: " + std::generic_category().message(errno) +
      "; make space in the folder for temporary files, or name another with TMPDIR");
}

}  // namespace

TPages::TPages(const std::string& folder, report::TCatalogue catalogue) : folder(PathOf(folder)) {
  frame.tool = "svcheck";
  frame.toolVersion = SVCHECK_VERSION;
  frame.generated = std::chrono::duration_cast<std::chrono::seconds>(
                        std::chrono::system_clock::now().time_since_epoch())
                        .count();
  frame.catalogue = std::move(catalogue);
  std::error_code error;
  fs::create_directories(this->folder / kMachines, error);
  if (error) throw TError("cannot make the folder " + folder + ": " + error.message());
  index = OpenOutput((this->folder / "index.html").string());
}

void TPages::Add(const std::string& machine, std::string_view lines) {
  report::TReport report = ReportOf(lines);
  report.machine.host = machine;
  report.tool = frame.tool;
  report.toolVersion = frame.toolVersion;
  report.generated = frame.generated;
  report.catalogue = frame.catalogue;
  const std::string page = FileNameOf(machine) + ".html";
  Keep(RowOf(machine, page, report), groups[GroupOf(report, report::Summarize(report))]);
  const auto output = OpenOutput((folder / kMachines / PathOf(page)).string());
  report::RenderHtml(report, {}, *output);
  output->Commit();
}

void TPages::Keep(std::string_view row, TRows& rows) {
  if (!rows.file) rows.file.reset(OpenUnnamedFile());
  if (!rows.file) FailToKeep();
  if (std::fwrite(row.data(), 1, row.size(), rows.file.get()) != row.size()) FailToKeep();
  ++rows.count;
}

template <typename TTake>
void TPages::TakeBack(const TRows& rows, const TTake& take) {
  if (!rows.file) return;
  if (std::fflush(rows.file.get()) != 0 || !SeekIn(rows.file.get(), 0)) FailToKeep();
  std::array<char, 1 << 16> block;
  std::string text;
  while (const std::size_t size = std::fread(block.data(), 1, block.size(), rows.file.get())) {
    text.append(block.data(), size);
    std::string_view rest = text;
    while (const auto row = TakeLine(rest)) take(*row);
    text.erase(0, text.size() - rest.size());
  }
  if (std::ferror(rows.file.get()) != 0) FailToKeep();
}

void TPages::WriteRows(const TSummary& summary) {
  constexpr std::array<TColumn, 7> kColumns = {TColumn{"Machine"},       TColumn{"Type"},
                                               TColumn{"Result"},        TColumn{"Outdated", true},
                                               TColumn{"Unknown", true}, TColumn{"Newer", true},
                                               TColumn{"Current", true}};
  constexpr std::array<std::string_view, 7> kOrders = {"machine", "type",  "result", "outdated",
                                                       "unknown", "newer", "current"};
  index->Write(report::Tools("Find by name, type or result", TypesWithButtons(summary), "inventory",
                             kOrders));
  report::TPageTable table("fleet", kColumns, *index);
  for (std::size_t i = 0; i < kGroups; ++i) {
    if (groups[i].count == 0) continue;
    table.Group(kGroupRows[i].title,
                fmt::format("{} machine{}", groups[i].count, groups[i].count == 1 ? "" : "s"),
                groups[i].count);
    TakeBack(groups[i], [&](std::string_view row) { table.Row(row); });
  }
  table.End();
}

void TPages::Finish(const TSummary& summary) {
  std::array<report::TPart, kGroups> parts;
  for (std::size_t i = 0; i < kGroups; ++i) {
    parts[i] = {kGroupRows[i].style, kGroupRows[i].name, groups[i].count, kGroupRows[i].meaning};
  }
  std::string label;
  for (const report::TPart& part : parts) {
    if (part.count == 0) continue;
    label += fmt::format("{}{} {}", label.empty() ? "" : ", ", part.count, part.name);
  }
  report::WritePageHead(kTitle, *index);
  index->Write("<a class=\"skip\" href=\"#records\">To the machines</a>\n<main>\n" +
               Lead(summary, parts) + report::PartsBar(parts, label) + report::Tiles(parts) +
               "<div class=\"facts\">\n" + report::CatalogueCard(frame) + "</div>\n" +
               TypesCard(summary));
  WriteRows(summary);
  report::WritePageEnd(frame.tool, frame.toolVersion, *index);
  index->Commit();
}

}  // namespace svc::fleet
