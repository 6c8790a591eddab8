// The page as a whole but for style and script, as tests/report/pages has it, of reports that have
// something for each part of it.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "sample_report.h"

namespace svc::report {
namespace {

// What stands between style and script.
std::string BodyOf(const TReport& report, const TRenderOptions& options = {}) {
  const std::string page = Rendered("html", report, options);
  const std::size_t begin = page.find("<body>\n") + 7;
  return page.substr(begin, page.find("<script>") - begin);
}

std::string PageOf(const std::string& name) {
  std::ifstream file(std::string(PAGES_FOLDER) + "/" + name + ".html", std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::shared_ptr<const TUpdate> Update(const std::string& name, const std::string& package,
                                      std::size_t line) {
  return std::make_shared<TUpdate>(TUpdate{name, package, "index.xml", line});
}

TReport FullReport() {
  TReport report = SampleReport();
  report.machine.host = "web<02>";
  report.catalogue.source = "live";
  report.osKnown = false;
  report.errors = {"first & last"};
  report.hasWaivers = true;
  std::vector<TRecord>& records = report.records;
  records[0].expiredWaiver = TAcceptance{"late", "2027-01-01"};
  records[0].release = TRelease{"high", "2027-06-30", "one\n<two>\n"};
  records[0].update = Update("BIOS <1>", "pkg", 7);
  records[1].why = EUnordered::kContradiction;
  records[2].waived = TAcceptance{"fine & good", "2028-01-01"};
  records[2].hasSameSource = true;
  records[2].release = TRelease{"", "2027-05-01", ""};
  records[3].waived = TAcceptance{"kept", ""};
  records[3].release = TRelease{"low", "", ""};
  for (const char* name : {"zlib", "ah<ci"}) {
    records.push_back(
        {"Driver", name, "6.1.0-47-amd64", "6.12.117-amd64", EVerdict::kOutdated, {}});
    records.back().update = Update("Kernel", "", records.size());
  }
  records.push_back({"Disk", "Empty", "", "2", EVerdict::kUnknown, {}});
  report.coverage = TCoverage{9,
                              {{"Firmware", "A<B", "1&2", EPassedOver::kNotOffered},
                               {"Driver", "C", "", EPassedOver::kNoVersion}}};
  return report;
}

TEST(Page, HasAPartForAllThatAReportTells) {
  TRenderOptions options;
  options.maxAge = 1;
  EXPECT_EQ(BodyOf(FullReport(), options), PageOf("full"));
}

TEST(Page, OfACheckThatFailedHasNoTable) { EXPECT_EQ(BodyOf(FailedReport()), PageOf("failed")); }

TEST(Page, OfNothingInstalledSaysWhy) {
  TReport report = SampleReport();
  report.records.clear();
  report.catalogue.elements = 0;
  report.catalogue.modified.reset();
  report.machine = {};
  report.system = {};
  report.outcome = EOutcome::kEmptyCatalogue;
  report.coverage = TCoverage{0, {}};
  EXPECT_EQ(BodyOf(report), PageOf("empty"));
}

}  // namespace
}  // namespace svc::report
