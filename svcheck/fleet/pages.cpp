#include "svcheck/fleet/pages.h"

#include <fmt/format.h>

#include <chrono>
#include <system_error>

#include "report/model.h"
#include "report/text.h"
#include "runtime/hskcore/host_setup.h"
#include "svcheck/fleet/machine_check.h"
#include "svcheck/fleet/results.h"
#include "svcheck/system/failure.h"

namespace fs = std::filesystem;

namespace svc::fleet {

using report::EVerdict;
using report::PageText;

namespace {

constexpr std::string_view kMachines = "machines";

// The totals are known last and read first.
constexpr std::string_view kIndexStyle = R"css(
:root { color-scheme: light dark; }
body { margin: 0; font: 16px/1.5 system-ui, sans-serif; }
main { max-width: 66rem; margin: 0 auto; padding: 2rem 1.25rem; display: flex;
  flex-direction: column; }
table { width: 100%; margin-bottom: 2rem; border-collapse: collapse; }
th, td { padding: .35rem .6rem; border-bottom: 1px solid #8886; text-align: left;
  overflow-wrap: anywhere; }
h1 { order: -2; } .totals { order: -1; }
td.number, th.number { text-align: right; }
)css";

constexpr std::string_view kIndexHead =
    "<table id=\"machines\">\n<thead><tr><th scope=\"col\">Machine</th><th scope=\"col\">Type</th>"
    "<th scope=\"col\">Result</th><th scope=\"col\" class=\"number\">Outdated</th>"
    "<th scope=\"col\" class=\"number\">Unknown</th><th scope=\"col\" class=\"number\">Newer</th>"
    "<th scope=\"col\" class=\"number\">Current</th></tr></thead>\n<tbody>\n";

std::string Head(std::string_view title) {
  return fmt::format(
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
      "style-src 'unsafe-inline'\">\n<title>{0}</title>\n<style>{1}</style>\n</head>\n<body>\n"
      "<main>\n<h1>{0}</h1>\n",
      title, kIndexStyle);
}

std::string CountCells(const TVerdictCounts& counts) {
  std::string cells;
  for (const std::uint64_t count : counts) {
    cells += fmt::format("<td class=\"number\">{}</td>", count);
  }
  return cells;
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

std::string Totals(const TSummary& summary) {
  const std::uint64_t compared = summary.Machines() - summary.Failed().size();
  std::string text = fmt::format(
      "<section class=\"totals\">\n<p class=\"lead\"><strong>{} of {} machines have updates to "
      "install.</strong> {} could not be compared.</p>\n"
      "<table><caption hidden>Machine types</caption><thead><tr><th scope=\"col\">Machine type</th>"
      "<th scope=\"col\" class=\"number\">Machines</th>"
      "<th scope=\"col\" class=\"number\">Outdated</th>"
      "<th scope=\"col\" class=\"number\">Unknown</th><th scope=\"col\" class=\"number\">Newer</th>"
      "<th scope=\"col\" class=\"number\">Current</th></tr></thead>\n<tbody>\n",
      summary.OutdatedMachines(), compared, summary.Failed().size());
  for (const auto& [type, counts] : summary.MachineTypes()) {
    text += fmt::format("<tr><td>{}</td><td class=\"number\">{}</td>{}</tr>\n", PageText(type),
                        counts.machines, CountCells(counts.verdicts));
  }
  return text + "</tbody></table>\n</section>\n";
}

}  // namespace

TPages::TPages(const std::string& folder)
    : folder(PathOf(folder)),
      generated(std::chrono::duration_cast<std::chrono::seconds>(
                    std::chrono::system_clock::now().time_since_epoch())
                    .count()) {
  std::error_code error;
  fs::create_directories(this->folder / kMachines, error);
  if (error) throw TError("cannot make the folder " + folder + ": " + error.message());
  index = OpenOutput((this->folder / "index.html").string());
  index->Write(Head("Firmware and drivers of the fleet"));
  index->Write(kIndexHead);
}

void TPages::Add(const std::string& machine, std::string_view lines) {
  report::TReport report = ReportOf(lines);
  const report::TSummary summary = report::Summarize(report);
  TVerdictCounts counts{};
  for (const EVerdict verdict : report::kVerdicts) {
    counts[report::IndexOf(verdict)] = summary.Of(verdict);
  }
  const std::string page = FileNameOf(machine) + ".html";
  index->Write(fmt::format("<tr><td><a href=\"{}/{}\">{}</a></td><td>{}</td><td>{}</td>{}</tr>\n",
                           kMachines, AddressOf(page), PageText(machine),
                           PageText(report.machine.type), report::RowOf(report.outcome).name,
                           CountCells(counts)));
  report.machine.type = machine + (report.machine.type.empty() ? "" : ", " + report.machine.type);
  report.generated = generated;
  report.tool = "svcheck";
  report.toolVersion = SVCHECK_VERSION;
  const auto output = OpenOutput((folder / kMachines / PathOf(page)).string());
  report::RenderHtml(report, {}, *output);
  output->Commit();
}

void TPages::Finish(const TSummary& summary) {
  index->Write("</tbody></table>\n" + Totals(summary) + "</main>\n</body>\n</html>\n");
  index->Commit();
}

}  // namespace svc::fleet
