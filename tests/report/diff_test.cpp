#include "report/selection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

#include "report/text.h"
#include "sample_report.h"

namespace svc::report {
namespace {

std::string Shown(const TReport& before, const TReport& after,
                  decltype(RenderDiffTable)& render = RenderDiffTable) {
  TDiff diff = CompareReports(before, after);
  diff.beforeName = "old.json";
  diff.afterName = "new.json";
  TTextOutput output;
  render(diff, {}, output);
  return output.text;
}

TReport LaterReport() {
  TReport report = SampleReport();
  report.generated += 86400;
  report.records[0].installed = "YUE112A";
  report.records[0].verdict = EVerdict::kCurrent;
  report.records.erase(report.records.begin() + 2);
  report.records.push_back({"Driver", "IXGBE", "1", "2", EVerdict::kOutdated, {}});
  return report;
}

TEST(Diff, SaysWhatChanged) {
  EXPECT_EQ(Shown(SampleReport(), LaterReport()),
            "Old old.json: machine 4638, 2027-06-30T00:00:00Z, 17 update elements\n"
            "New new.json: machine 4638, 2027-07-01T00:00:00Z, 17 update elements\n"
            "\n"
            "CHANGE   TYPE      NAME         INSTALLED          OFFERED  VERDICT\n"
            "changed  Firmware  System BIOS  YUE110B → YUE112A  YUE112A  outdated → current\n"
            "added    Driver    IXGBE        1                  2        outdated\n"
            "removed  Driver    E1000E       1.3.10             1.2.20   newer\n"
            "\n"
            "1 changed, 1 added, 1 removed; 2 records are the same.\n");
}

TEST(Diff, TellsProgramsAsWell) {
  const std::string json = Shown(SampleReport(), LaterReport(), RenderDiffJson);
  for (const char* const part :
       {R"({"change":"changed","Type":"Firmware","Name":"System BIOS","old":{"InstalledVersion":)"
        R"("YUE110B","SVVersion":"YUE112A","verdict":"outdated"},"new":{"InstalledVersion":)"
        R"("YUE112A","SVVersion":"YUE112A","verdict":"current"}})",
        R"("Name":"IXGBE","old":null,"new":{)",
        R"("summary": {"changed":1,"added":1,"removed":1,"same":2})"}) {
    EXPECT_NE(json.find(part), std::string::npos) << part << "\n" << json;
  }
}

TEST(Diff, IsADocumentThatSaysOfWhichReports) {
  TReport before = SampleReport();
  before.machine.host = "web1";
  before.records.resize(1);
  TReport after = FailedReport();
  after.errors.clear();
  EXPECT_EQ(Shown(before, after, RenderDiffJson), R"({
  "schema": 1,
  "old": {"file":"old.json","generated":"2027-06-30T00:00:00Z","machine":{"type":"4638","manufacturer":"QRX","model":"QRX Rackwell 4638","serialNumber":"06C4638","host":"web1"},"operatingSystem":{"caption":"Some Linux 5","version":"2.6.18","platform":"x86_64"},"catalogue":{"source":"folder","path":"/srv/catalogue","elements":17,"modified":"2027-06-27T00:00:00Z"},"outcome":"done"},
  "new": {"file":"new.json","generated":"2027-06-30T00:00:00Z","machine":{"type":"4638","manufacturer":"QRX","model":"QRX Rackwell 4638","serialNumber":"06C4638"},"operatingSystem":{"caption":"Some Linux 5","version":"2.6.18","platform":"x86_64"},"catalogue":{"source":"folder","path":"/srv/catalogue","elements":null,"modified":"2027-06-27T00:00:00Z"},"outcome":"no-catalogue"},
  "changes": [
    {"change":"removed","Type":"Firmware","Name":"System BIOS","old":{"InstalledVersion":"YUE110B","SVVersion":"YUE112A","verdict":"outdated"},"new":null}
  ],
  "summary": {"changed":0,"added":0,"removed":1,"same":0}
}
)");
}

TEST(Diff, NamesHostsAndFitsTheWidth) {
  TReport before = SampleReport();
  before.machine.host = "web1";
  before.records.resize(1);
  TReport after = before;
  after.records[0].offered = std::string(80, 'x');
  TDiff diff = CompareReports(before, after);
  TTextOutput output;
  RenderDiffTable(diff, {.width = 60}, output);
  EXPECT_EQ(output.text.find("Old : machine 4638, host web1, 2027-06-30T00:00:00Z"), 0u)
      << output.text;
  std::size_t longest = 0;
  std::istringstream lines(output.text.substr(output.text.find("CHANGE")));
  for (std::string line; std::getline(lines, line) && !line.empty();)
    longest = std::max(longest, DisplayWidth(line));
  EXPECT_EQ(longest, 60u) << output.text;
  TTextOutput wide;
  RenderDiffTable(diff, {}, wide);
  EXPECT_NE(wide.text.find("YUE112A → " + std::string(80, 'x')), std::string::npos) << wide.text;
}

TEST(Diff, EqualReportsHaveNone) {
  EXPECT_EQ(CompareReports(SampleReport(), SampleReport()).changes.size(), 0u);
  const std::string text = Shown(SampleReport(), SampleReport());
  EXPECT_EQ(text.substr(text.find("\n\n")), "\n\nNothing changed: 4 records are the same.\n");
}

TEST(Diff, RecordsThatAreGoneAreRemovedTheLastOneToo) {
  TReport before = SampleReport();
  before.records = {{"Driver", "A", "1", "2", EVerdict::kOutdated, {}},
                    {"Driver", "B", "1", "2", EVerdict::kOutdated, {}}};
  for (const std::size_t left : {1, 0}) {
    TReport after = before;
    after.records.resize(left);
    const TDiff diff = CompareReports(before, after);
    EXPECT_EQ(diff.same, left);
    ASSERT_EQ(diff.changes.size(), 2 - left);
    for (const TChange& change : diff.changes) {
      EXPECT_EQ(change.kind, EChange::kRemoved);
      EXPECT_EQ(change.after, nullptr);
    }
    EXPECT_EQ(diff.changes.back().before, &before.records[1]);
  }
}

// A component is offered several versions: each record keeps its partner.
TEST(Diff, RecordsOfOneNameArePairedByTheirTexts) {
  TReport before = SampleReport();
  before.records = {{"Driver", "BNX2", "1", "2", EVerdict::kOutdated, {}},
                    {"Driver", "BNX2", "1", "3", EVerdict::kOutdated, {}},
                    {"Driver", "BNX2", "1", "4", EVerdict::kOutdated, {}}};
  TReport after = before;
  after.records.erase(after.records.begin());
  after.records[0].installed = "3";
  after.records.push_back({"Driver", "BNX2", "3", "5", EVerdict::kOutdated, {}});
  const TDiff diff = CompareReports(before, after);
  ASSERT_EQ(diff.changes.size(), 2u);
  EXPECT_EQ(diff.same, 1u);
  EXPECT_EQ(diff.changes[0].before->offered, "3");
  EXPECT_EQ(diff.changes[0].after->installed, "3");
  EXPECT_EQ(diff.changes[1].before->offered, "2");
  EXPECT_EQ(diff.changes[1].after->offered, "5");
}

// Neither has a partner that offers the same: what is installed decides before the order does.
TEST(Diff, RecordsAreThenPairedByWhatIsInstalled) {
  TReport before = SampleReport();
  before.records = {{"Driver", "BNX2", "1", "7", EVerdict::kOutdated, {}},
                    {"Driver", "BNX2", "2", "8", EVerdict::kOutdated, {}}};
  TReport after = before;
  after.records = {{"Driver", "BNX2", "2", "9", EVerdict::kOutdated, {}},
                   {"Driver", "BNX2", "3", "9", EVerdict::kOutdated, {}}};
  const TDiff diff = CompareReports(before, after);
  ASSERT_EQ(diff.changes.size(), 2u);
  EXPECT_EQ(diff.changes[0].before->installed, "2");
  EXPECT_EQ(diff.changes[1].before->installed, "1");
  EXPECT_EQ(diff.changes[1].kind, EChange::kChanged) << "the rest are paired in their order";
}

TEST(Diff, EveryTextOfARecordMakesAChange) {
  using TSet = void (*)(TRecord & record);
  for (const TSet set :
       {TSet([](TRecord& r) { r.installed += '1'; }), TSet([](TRecord& r) { r.offered += '1'; }),
        TSet([](TRecord& r) { r.verdict = EVerdict::kNewer; }), TSet([](TRecord& r) {
          r.waived = TAcceptance{"a", ""};
        }),
        TSet([](TRecord& r) {
          r.expiredWaiver = TAcceptance{"a", "b"};
        })}) {
    TReport before = SampleReport();
    TReport after = before;
    set(after.records[0]);
    ASSERT_EQ(CompareReports(before, after).changes.size(), 1u);
    EXPECT_EQ(CompareReports(before, after).changes[0].kind, EChange::kChanged);
    EXPECT_EQ(CompareReports(before, after).same, 3u);
    EXPECT_EQ(CompareReports(after, after).changes.size(), 0u);
  }
  for (const TAcceptance& other :
       {TAcceptance{"b", "2027-01-01"}, TAcceptance{"a", "2027-01-02"}}) {
    TReport before = SampleReport();
    before.records[0].waived = TAcceptance{"a", "2027-01-01"};
    TReport after = before;
    after.records[0].waived = other;
    EXPECT_EQ(CompareReports(before, after).changes.size(), 1u);
  }
}

TEST(Diff, ReportsOfTwoMachinesCompare) {
  TReport other = SampleReport();
  other.machine.type = "7870";
  other.catalogue.elements.reset();
  const std::string text = Shown(SampleReport(), other);
  EXPECT_NE(text.find("Old old.json: machine 4638, 2027-06-30T00:00:00Z, 17 update elements\n"
                      "New new.json: machine 7870, 2027-06-30T00:00:00Z\n"
                      "\nNothing changed: 4 records are the same.\n"),
            std::string::npos)
      << text;
  other.records.resize(1);
  TReport one = other;
  EXPECT_NE(Shown(one, other).find("\nNothing changed: 1 record is the same.\n"),
            std::string::npos);
}

TEST(Diff, FailsOnWhatBecameSo) {
  const TReport good = LaterReport();
  const TReport bad = SampleReport();
  EXPECT_TRUE(FailsOn(CompareReports(good, bad), EFailOn::kOutdated));
  EXPECT_TRUE(FailsOn(CompareReports(good, bad), EFailOn::kDifferent));
  EXPECT_FALSE(FailsOn(CompareReports(good, bad), EFailOn::kNone));
  EXPECT_FALSE(FailsOn(CompareReports(bad, bad), EFailOn::kDifferent));
  TReport better = bad;
  better.records[0].verdict = EVerdict::kCurrent;
  EXPECT_FALSE(FailsOn(CompareReports(bad, better), EFailOn::kDifferent));
  TReport waived = bad;
  waived.records[0].waived = TAcceptance{"agreed", ""};
  EXPECT_FALSE(FailsOn(CompareReports(bad, waived), EFailOn::kDifferent));
  EXPECT_TRUE(FailsOn(CompareReports(waived, bad), EFailOn::kOutdated));
}

}  // namespace
}  // namespace svc::report
