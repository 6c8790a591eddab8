#include "report/selection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "base/error.h"
#include "report/records.h"
#include "sample_report.h"

namespace svc::report {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::ThrowsMessage;

std::vector<std::string> NamesIn(const TReport& report) {
  std::vector<std::string> names;
  for (const TRecord& record : ShownIn(report)) names.push_back(record.name);
  return names;
}

TReport Only(std::string_view verdicts, TReport report = SampleReport()) {
  ShowOnly(report, verdicts);
  return report;
}

std::vector<std::string> Sorted(std::string_view keys, TReport report = SampleReport()) {
  Sort(report, keys);
  return NamesIn(report);
}

// Records that lie elsewhere, as those of a query do.
class TOtherRecords : public IRecordSource {
 public:
  explicit TOtherRecords(std::vector<TRecord> records) : records(std::move(records)) {}
  std::size_t Count() const noexcept override { return records.size(); }
  void Read(std::size_t number, TRecord& record) const override { record = records[number]; }

 private:
  std::vector<TRecord> records;
};

TReport WithSource(TReport report) {
  report.source = std::make_shared<TOtherRecords>(std::move(report.records));
  report.records.clear();
  return report;
}

TEST(Selection, ShowsTheRecordsOfEachVerdictThatIsAskedFor) {
  EXPECT_THAT(NamesIn(Only("outdated")), ElementsAre("System BIOS"));
  EXPECT_THAT(NamesIn(Only("unknown")), ElementsAre("Remote <Watch> Adapter"));
  EXPECT_THAT(NamesIn(Only("newer")), ElementsAre("E1000E"));
  EXPECT_THAT(NamesIn(Only("current")), ElementsAre("BNX2"));
  EXPECT_THAT(NamesIn(Only("current,outdated")), ElementsAre("System BIOS", "BNX2"));
  EXPECT_THAT(NamesIn(Only("current,outdated", WithSource(SampleReport()))),
              ElementsAre("System BIOS", "BNX2"));
  EXPECT_EQ(CountHidden(Only("current,outdated", WithSource(SampleReport()))), 2U);
}

TEST(Selection, AWaivedRecordGoesByItsVerdict) {
  TReport report = SampleReport();
  report.records[0].waived = TAcceptance{"agreed", ""};
  EXPECT_THAT(NamesIn(Only("outdated", report)), ElementsAre("System BIOS"));
  EXPECT_THAT(Sorted("verdict", report),
              ElementsAre("Remote <Watch> Adapter", "E1000E", "BNX2", "System BIOS"));
}

TEST(Selection, TellsHowManyAreHidden) {
  EXPECT_EQ(CountHidden(SampleReport()), std::nullopt);
  EXPECT_EQ(CountHidden(Only("all")), std::nullopt);
  EXPECT_EQ(CountHidden(Only("outdated,unknown,newer,current")), 0U);
  EXPECT_EQ(HiddenNotice(Only("outdated,unknown,newer,current")), "");
  EXPECT_EQ(HiddenNotice(Only("outdated,unknown,newer")),
            "1 record not shown: --only outdated,unknown,newer.");
  EXPECT_EQ(HiddenNotice(Only("outdated,newer")), "2 records not shown: --only outdated,newer.");
  TReport sorted = SampleReport();
  Sort(sorted, "name");
  EXPECT_EQ(CountHidden(sorted), std::nullopt);
}

TEST(Selection, WhatNobodyAsksForChangesNoFormat) {
  TReport same = Only("all");
  Sort(same, "query");
  EXPECT_FALSE(same.shown);
  for (const TFormat& format : kFormats) {
    const std::string text = Rendered(format.name, SampleReport());
    EXPECT_EQ(Rendered(format.name, same), text) << format.name;
    EXPECT_THAT(text, AllOf(Not(HasSubstr("hidden\"")), Not(HasSubstr("not shown"))));
  }
}

// Two that show no record for a reader count all.
TEST(Selection, EachFormatLeavesTheOthersOutAndSaysSo) {
  const TReport report = Only("unknown");
  for (const TFormat& format : kFormats) {
    const std::string text = Rendered(format.name, report);
    SCOPED_TRACE(format.name);
    if (format.name == "prometheus") {
      EXPECT_EQ(text, Rendered(format.name, SampleReport()));
      continue;
    }
    EXPECT_THAT(text, HasSubstr("3 records not shown: --only unknown."));
    for (const char* name : {"System BIOS", "E1000E", "BNX2"}) {
      EXPECT_THAT(text, Not(HasSubstr(name)));
    }
    EXPECT_EQ(text.find("Adapter") != std::string::npos, format.name != "nagios");
  }
  for (const TFormat& format : kFormats) {
    EXPECT_EQ(format.isOfAll, format.name == "nagios" || format.name == "prometheus");
  }
}

TEST(Selection, CountsStateAndConditionsStayThoseOfAll) {
  const TReport all = SampleReport();
  for (const char* const verdicts : {"unknown", "current", "outdated", "newer"}) {
    const TReport report = Only(verdicts);
    const TSummary summary = Summarize(report);
    EXPECT_EQ(Sentence(summary), "1 outdated, 1 unknown, 1 newer, 1 current");
    EXPECT_EQ(StateOf(report, summary), EState::kUpdates);
    EXPECT_EQ(CountUpdates(report), 1U);
    for (const EFailOn one : {EFailOn::kOutdated, EFailOn::kUnknown, EFailOn::kNewer}) {
      EXPECT_TRUE(FailsOn(report, one));
    }
    EXPECT_FALSE(FailsOn(report, EFailOn::kNothing));
    EXPECT_EQ(NagiosStatus(report, {}), NagiosStatus(all, {}));
    EXPECT_THAT(Rendered("table", report),
                HasSubstr("\n4 records: 1 outdated, 1 unknown, 1 newer, 1 current.\n"));
    EXPECT_THAT(Rendered("html", report), HasSubstr("1 update to install"));
    EXPECT_THAT(Rendered("json", report),
                AllOf(HasSubstr("\"hidden\": 3"), HasSubstr("\"state\": \"updates\"")));
    EXPECT_THAT(Rendered("ndjson", report), HasSubstr("\"hidden\":3,"));
  }
}

TEST(Selection, WhereNothingWasComparedTheReasonIsThatOfAll) {
  TReport report = SampleReport();
  for (TRecord& record : report.records) record.verdict = EVerdict::kUnknown;
  const std::string reason = StateReason(report, Summarize(report));
  ShowOnly(report, "current");
  EXPECT_EQ(StateReason(report, Summarize(report)), reason);
  EXPECT_THAT(reason, HasSubstr("none of 4 records"));
}

TEST(Selection, ATableOfNothingSaysThatAllIsHidden) {
  TReport report = SampleReport();
  report.records.erase(report.records.begin() + 1);
  EXPECT_EQ(Rendered("table", Only("unknown", report)),
            "Machine 4638 (QRX Rackwell 4638), Some Linux 5\n"
            "Catalogue /srv/catalogue, 17 update elements, 3 days old\n"
            "\n"
            "  3 records not shown: --only unknown.\n"
            "\n"
            "3 records: 1 outdated, 1 newer, 1 current.\n");
  const std::string page = Rendered("html", Only("unknown", report));
  EXPECT_THAT(page, AllOf(HasSubstr("3 records: 1 outdated"), Not(HasSubstr("No records.")),
                          Not(HasSubstr("<table")), Not(HasSubstr("href=\"#records"))));
}

// Readers of these hold what is said against what is there.
TEST(Selection, TestCasesAreCountedAsTheyStandThere) {
  EXPECT_THAT(Rendered("junit", Only("current,outdated")),
              HasSubstr(R"(tests="2" failures="1" errors="0" skipped="0")"));
  EXPECT_THAT(Rendered("junit", Only("unknown")),
              HasSubstr(R"(tests="1" failures="0" errors="0" skipped="1")"));
}

TEST(Selection, ABillOfMaterialsIsIncompleteAndAnotherOne) {
  TReport report = SampleReport();
  report.coverage = TCoverage{4, {}};
  const auto serialNumber = [](const std::string& text) {
    return text.substr(text.find("urn:uuid:"), 45);
  };
  const std::string all = Rendered("cyclonedx", report);
  const std::string some = Rendered("cyclonedx", Only("newer", report));
  EXPECT_THAT(all, HasSubstr("\"aggregate\":\"unknown\""));
  EXPECT_THAT(some, HasSubstr("\"aggregate\":\"incomplete\""));
  EXPECT_NE(serialNumber(all), serialNumber(some));
  EXPECT_THAT(some, AllOf(HasSubstr("record-3\""), Not(HasSubstr("record-1\""))));
}

TEST(Selection, OfASavedReportNoRecordMayBeMissing) {
  const std::string some = Rendered("json", Only("newer"));
  EXPECT_THAT([&] { ReadSavedReport(some); },
              ThrowsMessage<TError>(AllOf(HasSubstr("3 of its records"), HasSubstr("--only all"))));
  const TReport all = ReadSavedReport(Rendered("json", Only("outdated,unknown,newer,current")));
  EXPECT_EQ(Rendered("json", all), Rendered("json", SampleReport()));
}

TEST(Order, IsOfEachKeyAndTheOtherWayRound) {
  EXPECT_THAT(Sorted("name"),
              ElementsAre("BNX2", "E1000E", "Remote <Watch> Adapter", "System BIOS"));
  EXPECT_THAT(Sorted("-name"),
              ElementsAre("System BIOS", "Remote <Watch> Adapter", "E1000E", "BNX2"));
  EXPECT_THAT(Sorted("verdict"),
              ElementsAre("System BIOS", "Remote <Watch> Adapter", "E1000E", "BNX2"));
  EXPECT_THAT(Sorted("-verdict"),
              ElementsAre("BNX2", "E1000E", "Remote <Watch> Adapter", "System BIOS"));
  EXPECT_THAT(Sorted("name", WithSource(SampleReport())),
              ElementsAre("BNX2", "E1000E", "Remote <Watch> Adapter", "System BIOS"));
}

TEST(Order, OfEqualOnesIsThatOfTheQueryOrOfTheNextKey) {
  EXPECT_THAT(Sorted("type"),
              ElementsAre("E1000E", "BNX2", "System BIOS", "Remote <Watch> Adapter"));
  EXPECT_THAT(Sorted("-type"),
              ElementsAre("System BIOS", "Remote <Watch> Adapter", "E1000E", "BNX2"));
  EXPECT_THAT(Sorted("type,name"),
              ElementsAre("BNX2", "E1000E", "Remote <Watch> Adapter", "System BIOS"));
  EXPECT_THAT(Sorted("type,-name"),
              ElementsAre("E1000E", "BNX2", "System BIOS", "Remote <Watch> Adapter"));
}

TEST(Order, IsOfWhatIsShown) {
  TReport report = Only("newer,current");
  Sort(report, "name");
  EXPECT_THAT(NamesIn(report), ElementsAre("BNX2", "E1000E"));
  EXPECT_EQ(CountHidden(report), 2U);
}

TReport WithTexts(const std::vector<std::string>& texts) {
  TReport report = SampleReport();
  report.records.clear();
  for (const std::string& text : texts) {
    report.records.push_back({"Driver", text, "1", text, EVerdict::kUnknown, {}});
  }
  return report;
}

TEST(Order, OfVersionsIsTheirOwnAndThatOfNamesByNumbers) {
  EXPECT_THAT(Sorted("offered", WithTexts({"1.10", "1.9", " 1.2 ", "1_1"})),
              ElementsAre("1_1", " 1.2 ", "1.9", "1.10"));
  EXPECT_THAT(Sorted("name", WithTexts({"1_1", "1.2"})), ElementsAre("1.2", "1_1"));
  TReport installed = WithTexts({"1.10", "1.9", " 1.2 ", "1_1"});
  for (TRecord& record : installed.records) std::swap(record.installed, record.offered);
  EXPECT_THAT(Sorted("installed", installed), ElementsAre("1_1", " 1.2 ", "1.9", "1.10"));
  EXPECT_THAT(Sorted("-installed", installed), ElementsAre("1.10", "1.9", " 1.2 ", "1_1"));
  EXPECT_THAT(Sorted("name", WithTexts({"eth10", "Eth9", "eth010", "eth", ""})),
              ElementsAre("", "eth", "Eth9", "eth10", "eth010"));
  EXPECT_THAT(Sorted("-offered", WithTexts({"", "2", "10"})), ElementsAre("10", "2", ""));
  EXPECT_THAT(Sorted("name", WithTexts({})), IsEmpty());
}

// Versions of any forms together: none is lost, and no two neighbours stand against their order.
TEST(Order, OfVersionsWithoutOneEndsAndKeepsThemAll) {
  const std::vector<std::string> forms = {"1.10", "YUE110B", "1.9-rc1", "1.9",  "0x1f", "beta",
                                          "A05",  "2024-01", "1.9a",    "DSYT", "",     "7.0.1-30"};
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < 500; ++i) texts.push_back(forms[i * i % 37 % forms.size()]);
  std::vector<std::string> sorted = Sorted("offered", WithTexts(texts));
  for (std::size_t i = 1; i < sorted.size(); ++i) {
    const TVersionOrder order = CompareVersions(sorted[i - 1], sorted[i]);
    EXPECT_FALSE(order && *order > 0) << sorted[i - 1] << " before " << sorted[i];
  }
  std::ranges::sort(texts);
  std::ranges::sort(sorted);
  EXPECT_EQ(sorted, texts);
}

}  // namespace
}  // namespace svc::report
