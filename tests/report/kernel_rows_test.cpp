#include "report/records.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "sample_report.h"

namespace svc::report {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr const char* kOld = "6.1.0-47-amd64";
constexpr const char* kNew = "6.12.117-amd64";

TRecord Driver(const std::string& name, const std::string& installed = kOld,
               const std::string& offered = kNew, std::size_t line = 0) {
  TRecord record{"Driver", name, installed, offered, {}, {}};
  Judge(record);
  if (line > 0) record.update = std::make_shared<TUpdate>(TUpdate{"e", "", "index.xml", line});
  return record;
}

TReport ReportOf(std::vector<TRecord> records) {
  TReport report = SampleReport();
  report.records = std::move(records);
  return report;
}

std::vector<std::string> TitlesOf(const TReport& report) {
  const TKernelRows rows(ShownIn(report));
  std::vector<std::string> titles;
  for (const TKernelRow& row : rows.All()) titles.push_back(TitleOf(row));
  return titles;
}

TEST(KernelRows, AreOfDriversThatSayTheSameButForTheirNames) {
  const TReport report =
      ReportOf({Driver("A"), Driver("OWN", "1.0", "2.0"), Driver("B"), Driver("C", kOld, kOld),
                Driver("D", kOld, kOld), Driver("LONE", "6.5.0-1-amd64")});
  EXPECT_THAT(TitlesOf(report), ElementsAre("kernel 6.1.0-47-amd64 → 6.12.117-amd64: 2 drivers",
                                            "kernel 6.1.0-47-amd64: 2 drivers"));
  const TKernelRows rows(ShownIn(report));
  EXPECT_EQ(rows.All()[0].place, 0u);
  EXPECT_EQ(rows.All()[1].place, 3u);
  EXPECT_EQ(rows.Of(report.records[2]), &rows.All()[0]);
  EXPECT_EQ(rows.Of(report.records[4]), &rows.All()[1]);
  EXPECT_EQ(rows.Of(report.records[1]), nullptr);
  EXPECT_EQ(rows.Of(report.records[5]), nullptr) << "one is no row of many";
}

TEST(KernelRows, HoldNothingThatDiffersInAnotherText) {
  const TRecord plain = Driver("A");
  std::vector<TRecord> others(6, Driver("B"));
  others[0].type = "Firmware";
  others[1].waived = TAcceptance{"r", ""};
  others[2].expiredWaiver = TAcceptance{"r", "2020-01-01"};
  others[3].hasSameSource = true;
  others[4].verdict = EVerdict::kCurrent;
  others[5].release = TRelease{"low", "", ""};
  for (const TRecord& other : others)
    EXPECT_THAT(TitlesOf(ReportOf({plain, other})), ElementsAre());
  EXPECT_THAT(TitlesOf(ReportOf({others[1], others[1]})).size(), 1u);
  TRecord until = others[1];
  until.waived->expires = "2999-01-01";
  EXPECT_THAT(TitlesOf(ReportOf({others[1], until})), ElementsAre());
  EXPECT_THAT(TitlesOf(ReportOf({Driver("A", kOld, "6.2"), Driver("B", kOld, "6.2")})),
              ElementsAre());
}

TEST(KernelRows, AreSixteenAtMost) {
  std::vector<TRecord> records;
  for (int kernel = 0; kernel < 17; ++kernel) {
    for (const char* name : {"A", "B"}) {
      records.push_back(Driver(name, "6." + std::to_string(kernel) + ".0-amd64"));
    }
  }
  const TReport report = ReportOf(records);
  const TKernelRows rows(ShownIn(report));
  EXPECT_EQ(rows.All().size(), 16u);
  EXPECT_NE(rows.Of(report.records[31]), nullptr);
  EXPECT_EQ(rows.Of(report.records[32]), nullptr);
}

TEST(KernelRows, AreLinesOfTheTableWhichUnfold) {
  const TReport report = ReportOf({Driver("A"), Driver("OWN", "1.0", "2.0"), Driver("B")});
  EXPECT_THAT(Rendered("table", report),
              HasSubstr("TYPE    NAME                           INSTALLED  OFFERED  VERDICT\n"
                        "Driver  kernel 6.1.0-47-amd64 → 6.12.117-amd64: 2 drivers  outdated\n"
                        "Driver  OWN                            1.0        2.0      outdated\n"
                        "\n"
                        "3 records: 3 outdated.\n"));
  TRenderOptions options;
  options.unfold = true;
  const std::string unfolded = Rendered("table", report, options);
  EXPECT_THAT(unfolded, HasSubstr("Driver  A     6.1.0-47-amd64  6.12.117-amd64  outdated\n"
                                  "Driver  OWN   1.0             2.0             outdated\n"
                                  "Driver  B     6.1.0-47-amd64  6.12.117-amd64  outdated\n"));
  EXPECT_THAT(unfolded, Not(HasSubstr("kernel ")));
}

TEST(KernelRows, NameTheirUpdateInAWideTable) {
  TRenderOptions options;
  options.width = 120;
  EXPECT_THAT(Rendered("table", ReportOf({Driver("A", kOld, kNew, 4), Driver("B", kOld, kNew, 4)}),
                       options),
              HasSubstr(": 2 drivers  e       outdated\n"));
  EXPECT_THAT(Rendered("table", ReportOf({Driver("A", kOld, kNew, 4), Driver("B", kOld, kNew, 5)}),
                       options),
              HasSubstr(": 2 drivers  several  outdated\n"));
}

TEST(KernelRows, LeaveOtherFormatsARecordForEachDriver) {
  const TReport report = ReportOf({Driver("A"), Driver("B"), Driver("C")});
  for (const char* format : {"json", "ndjson", "csv", "junit", "cyclonedx", "sarif"}) {
    const std::string text = Rendered(format, report);
    EXPECT_THAT(text, Not(HasSubstr("3 drivers"))) << format;
    for (const char* name : {"A", "B", "C"}) {
      EXPECT_TRUE(text.find('"' + std::string(name) + '"') != text.npos ||
                  text.find(',' + std::string(name) + ',') != text.npos ||
                  text.find(std::string(" ") + name) != text.npos)
          << format << ' ' << name;
    }
  }
}

TEST(KernelRows, AreRowsOfThePageThatHoldTheNames) {
  const std::string page =
      Rendered("html", ReportOf({Driver("<A>"), Driver("OWN", "1.0", "2.0"), Driver("B")}));
  EXPECT_THAT(page, HasSubstr("<tr data-verdict=\"outdated\" data-rank=\"0\" data-records=\"2\">"
                              "<th scope=\"row\"><details><summary>kernel 6.1.0-47-amd64 → "
                              "6.12.117-amd64: 2 drivers</summary><ul><li>&lt;A&gt;</li><li>B</li>"
                              "</ul></details></th>"));
  EXPECT_THAT(page, HasSubstr("<th scope=\"row\">OWN</th>"));
  EXPECT_THAT(page, Not(HasSubstr("<th scope=\"row\">B</th>")));
  EXPECT_THAT(page, HasSubstr("<small>3 outdated</small>"));
}

// Bodies of the page's table by the rows in them, with a "+" where they are marked as full.
std::string BodiesOf(const std::string& page) {
  std::string bodies;
  for (std::size_t at = page.find("<tbody"); at != page.npos; at = page.find("<tbody", at + 1)) {
    const std::string body = page.substr(at, page.find("</tbody>", at) - at);
    std::size_t rows = 0;
    for (std::size_t row = body.find("<tr data-"); row != body.npos;
         row = body.find("<tr data-", row + 1))
      ++rows;
    const bool isFull = body.substr(0, body.find('>')).ends_with(" class=\"full\"");
    bodies += (bodies.empty() ? "" : ", ") + std::to_string(rows) + (isFull ? "+" : "");
  }
  return bodies;
}

// The rows of two kernels stand for two and three drivers.
TEST(KernelRows, FillABodyOfThePageByOneRowEach) {
  struct TCase {
    int others;
    const char* bodies;
  };
  for (const TCase& test :
       {TCase{0, "2"}, TCase{46, "48"}, TCase{47, "49"}, TCase{48, "50+"}, TCase{49, "50+, 1"},
        TCase{97, "50+, 49"}, TCase{98, "50+, 50+"}, TCase{99, "50+, 50+, 1"}}) {
    const std::string other = "6.5.0-1-amd64";
    std::vector<TRecord> records = {Driver("A"), Driver("B"), Driver("C", other),
                                    Driver("D", other), Driver("E", other)};
    for (int i = 0; i < test.others; ++i)
      records.push_back(Driver("OWN" + std::to_string(i), "1.0", "2.0"));
    EXPECT_EQ(BodiesOf(Rendered("html", ReportOf(records))), test.bodies) << test.others;
  }
}

TEST(Updates, OfOneKernelAreOne) {
  EXPECT_EQ(CountUpdates(ReportOf({Driver("A", kOld, kNew, 4), Driver("B", kOld, kNew, 5)})), 1u);
  EXPECT_EQ(CountUpdates(ReportOf({Driver("A"), Driver("B")})), 1u);
  // Another update; and one that brings a driver of the kernel as well.
  EXPECT_EQ(CountUpdates(ReportOf({Driver("A", kOld, kNew, 4), Driver("B", kOld, kNew, 5),
                                   Driver("OWN", "1.0", "2.0", 6)})),
            2u);
  EXPECT_EQ(CountUpdates(ReportOf({Driver("A", kOld, kNew, 4), Driver("OWN", "1.0", "2.0", 5),
                                   Driver("B", kOld, kNew, 5)})),
            1u);
  // Two kernels, apart and in one element.
  const std::string older = "5.10.0-1-amd64";
  EXPECT_EQ(
      CountUpdates(ReportOf({Driver("A"), Driver("B"), Driver("C", older), Driver("D", older)})),
      2u);
  EXPECT_EQ(CountUpdates(ReportOf({Driver("A", kOld, kNew, 4), Driver("B", kOld, kNew, 4),
                                   Driver("C", older, kNew, 4), Driver("D", older, kNew, 4)})),
            1u);
  EXPECT_EQ(CountUpdates(ReportOf({Driver("A", kNew, kNew, 4), Driver("B", kNew, kNew, 5)})), 0u);
}

TEST(SameSource, IsToldWhereTheVersionsDiffer) {
  TRecord same = Driver("A");
  same.hasSameSource = true;
  same.verdict = EVerdict::kCurrent;
  const TReport report = ReportOf({same});
  EXPECT_THAT(Rendered("table", report), HasSubstr("current (same source)\n"));
  EXPECT_THAT(Rendered("html", report), HasSubstr("<small>built of the same source</small>"));
  EXPECT_THAT(Rendered("json", report), HasSubstr(R"("verdict":"current","sameSource":true)"));
  same.offered = same.installed;
  const TReport equal = ReportOf({same});
  EXPECT_THAT(Rendered("table", equal), HasSubstr(" current\n"));
  EXPECT_THAT(Rendered("html", equal), Not(HasSubstr("same source")));
  EXPECT_THAT(Rendered("json", equal), HasSubstr(R"("sameSource":true)"));
  EXPECT_THAT(Rendered("json", ReportOf({Driver("A")})), Not(HasSubstr("sameSource")));
}

}  // namespace
}  // namespace svc::report
