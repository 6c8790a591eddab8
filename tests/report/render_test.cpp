#include "report/model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "report/text.h"
#include "runtime/acquire/crypto.h"
#include "sample_report.h"

namespace svc::report {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST(Table, AlignsItsColumnsAndSumsUp) {
  TReport report = SampleReport();
  report.records[3].name = "版本";
  EXPECT_EQ(Rendered("table", report),
            "Machine 4638 (QRX Rackwell 4638), Some Linux 5\n"
            "Catalogue /srv/catalogue, 17 update elements, 3 days old\n"
            "\n"
            "TYPE      NAME                    INSTALLED  OFFERED   VERDICT\n"
            "Firmware  System BIOS             YUE110B    YUE112A   outdated\n"
            "Firmware  Remote <Watch> Adapter  1.08 (A)   1.08 (B)  unknown\n"
            "Driver    E1000E                  1.3.10     1.2.20    newer\n"
            "Driver    版本                    1.7.9      1.7.9     current\n"
            "\n"
            "4 records: 1 outdated, 1 unknown, 1 newer, 1 current.\n");
}

TEST(Table, IsCutOnlyWhenAsked) {
  TReport report = SampleReport();
  report.records[0].name = std::string(300, 'n');
  EXPECT_THAT(Rendered("table", report), HasSubstr(report.records[0].name));
  TRenderOptions options;
  options.width = 60;
  const std::string cut = Rendered("table", report, options);
  EXPECT_THAT(cut, HasSubstr("…"));
  EXPECT_THAT(cut, Not(HasSubstr(std::string(60, 'n'))));
}

std::size_t WidestLine(const std::string& text) {
  std::size_t widest = 0;
  for (std::size_t begin = 0; begin < text.size(); begin = text.find('\n', begin) + 1) {
    const std::string line = text.substr(begin, text.find('\n', begin) - begin);
    widest = std::max(widest, DisplayWidth(line));
  }
  return widest;
}

// Both neighbours of the width that the records take, and of the least one.
TEST(Table, IsCutToTheColumnDownToWhatStillTellsSomething) {
  TReport report = SampleReport();
  report.machine.model.clear();
  report.system.caption.clear();
  report.catalogue.path = "/c";
  for (TRecord& record : report.records) {
    record.type = record.name = record.installed = record.offered = std::string(20, 'x');
    record.waived = TAcceptance{"y", ""};
    record.verdict = EVerdict::kOutdated;
  }
  constexpr std::size_t kWhole = 4 * 20 + 20 + 4 * 2;  // "outdated (waived: y)"
  constexpr std::size_t kLeast = 5 * 8 + 4 * 2;
  TRenderOptions options;
  for (const std::size_t width : {kLeast - 1, kLeast, kLeast + 1, kWhole - 1, kWhole, kWhole + 1}) {
    options.width = width;
    const std::string table = Rendered("table", report, options);
    EXPECT_EQ(WidestLine(table.substr(table.find("TYPE"))), std::clamp(width, kLeast, kWhole))
        << width;
    EXPECT_EQ(table.find("…") == std::string::npos, width >= kWhole) << width;
  }
  options.width = 0;
  EXPECT_THAT(Rendered("table", report, options), Not(HasSubstr("…")));
}

TEST(Table, CountsOneAsOne) {
  TReport report = SampleReport();
  report.records.resize(1);
  report.catalogue.elements = 1;
  report.catalogue.modified = report.generated - 60;
  EXPECT_THAT(Rendered("table", report), HasSubstr(", 1 update element, 1 minute old\n"));
  EXPECT_THAT(Rendered("table", report), testing::EndsWith("\n1 record: 1 outdated.\n"));
  report.catalogue.elements = 0;
  EXPECT_THAT(Rendered("table", report), HasSubstr(", 0 update elements, "));
}

TEST(Table, TheLastLineSaysThatNothingWasChecked) {
  EXPECT_THAT(Rendered("table", FailedReport()),
              testing::EndsWith("really\nNOT CHECKED: There is no catalogue at that place.\n"));
}

TEST(Table, ColoursNothingButTheVerdict) {
  TRenderOptions options;
  options.color = true;
  TReport report = SampleReport();
  report.records.push_back(report.records[0]);
  report.records.back().waived = TAcceptance{"r", ""};
  const std::string text = Rendered("table", report, options);
  for (const char* const cell :
       {"  \033[1;33moutdated\033[0m\n", "  \033[35munknown\033[0m\n", "  \033[36mnewer\033[0m\n",
        "  \033[32mcurrent\033[0m\n", "  \033[2moutdated (waived: r)\033[0m\n"}) {
    EXPECT_THAT(text, HasSubstr(cell));
  }
  EXPECT_EQ(std::count(text.begin(), text.end(), '\033'), 10);
  EXPECT_THAT(Rendered("table", SampleReport()), Not(HasSubstr("\033")));
}

TEST(Table, HostileTextsDoNotReachTheTerminal) {
  TReport report = SampleReport();
  report.records[0].name = "\033]0;owned\a";
  report.machine.model = "x\033[2J";
  EXPECT_THAT(Rendered("table", report), Not(HasSubstr("\033")));
}

TEST(Json, HasTheMembersInOrder) {
  EXPECT_EQ(Rendered("json", SampleReport()),
            R"({
  "schema": 1,
  "tool": {"name":"svcheck","version":"1.0.0","plugin":{"name":"Plug","version":"1.0"}},
  "generated": "2027-06-30T00:00:00Z",
  "machine": {"type":"4638","manufacturer":"QRX","model":"QRX Rackwell 4638","serialNumber":"06C4638"},
  "operatingSystem": {"caption":"Some Linux 5","version":"2.6.18","platform":"x86_64"},
  "osKnown": null,
  "catalogue": {"source":"folder","path":"/srv/catalogue","elements":17,"modified":"2027-06-27T00:00:00Z"},
  "outcome": "done",
  "state": "updates",
  "notices": [],
  "records": [
    {"Type":"Firmware","Name":"System BIOS","InstalledVersion":"YUE110B","SVVersion":"YUE112A","verdict":"outdated"},
    {"Type":"Firmware","Name":"Remote <Watch> Adapter","InstalledVersion":"1.08 (A) ","SVVersion":"1.08 (B) ","verdict":"unknown"},
    {"Type":"Driver","Name":"E1000E","InstalledVersion":"1.3.10","SVVersion":"1.2.20","verdict":"newer"},
    {"Type":"Driver","Name":"BNX2","InstalledVersion":"1.7.9","SVVersion":"1.7.9","verdict":"current"}
  ],
  "notCompared": [],
  "summary": {"outdated":1,"unknown":1,"newer":1,"current":1,"compared":3},
  "errors": []
}
)");
}

TEST(Ndjson, EndsWithHowTheCheckEnded) {
  EXPECT_EQ(Rendered("ndjson", FailedReport()),
            R"({"outcome":"no-catalogue","state":"failed","stateReason":"There is no catalogue at )"
            R"(that place.","generated":"2027-06-30T00:00:00Z",)"
            R"("machine":{"type":"4638","manufacturer":"QRX","model":"QRX Rackwell 4638",)"
            R"("serialNumber":"06C4638"},"osKnown":null,"notices":[],"notCompared":[],)"
            R"("summary":{"outdated":0,"unknown":0,"newer":0,)"
            R"("current":0,"compared":0},"errors":["index.xml: \"no\" such file | really"]})"
            "\n");
}

TEST(Csv, HasARowForEachRecord) {
  EXPECT_EQ(Rendered("csv", SampleReport()),
            "Type,Name,InstalledVersion,SVVersion,Verdict,Waived,WaiverExpired,Host,Update,Package,"
            "File,Line\r\n"
            "Firmware,System BIOS,YUE110B,YUE112A,outdated,,,,,,,\r\n"
            "Firmware,Remote <Watch> Adapter,\"1.08 (A) \",\"1.08 (B) \",unknown,,,,,,,\r\n"
            "Driver,E1000E,1.3.10,1.2.20,newer,,,,,,,\r\n"
            "Driver,BNX2,1.7.9,1.7.9,current,,,,,,,\r\n");
}

TReport ReportOfUpdates() {
  TReport report = SampleReport();
  const auto both = std::make_shared<const TUpdate>(TUpdate{"fw <1>", "/PKGS/\"A\"", "i.xml", 7});
  report.records[0].update = both;
  report.records[1].update = std::make_shared<const TUpdate>(*both);
  report.records[1].verdict = EVerdict::kOutdated;
  report.records[2].update = std::make_shared<const TUpdate>(TUpdate{"", "", "i.xml", 9});
  return report;
}

TEST(Update, OfARecordStandsInEachTable) {
  const TReport report = ReportOfUpdates();
  EXPECT_THAT(Rendered("csv", report),
              HasSubstr("YUE112A,outdated,,,,fw <1>,\"/PKGS/\"\"A\"\"\",i.xml,7\r\n"));
  EXPECT_THAT(Rendered("csv", report), HasSubstr("newer,,,,,,i.xml,9\r\n"));
  EXPECT_THAT(Rendered("json", report),
              HasSubstr(R"("update":{"name":"fw <1>","package":"/PKGS/\"A\"","file":"i.xml",)"
                        R"("line":7}})"));
  EXPECT_THAT(Rendered("ndjson", report),
              HasSubstr(R"("update":{"name":"","package":null,"file":"i.xml","line":9}})"));
  TRenderOptions wide;
  wide.width = 120;
  EXPECT_THAT(Rendered("table", report, wide), HasSubstr("OFFERED   UPDATE   VERDICT\n"));
  EXPECT_THAT(Rendered("table", report, wide), HasSubstr("YUE112A   fw <1>   outdated\n"));
  EXPECT_THAT(Rendered("table", report, wide), HasSubstr("1.2.20    i.xml:9  newer\n"));
  EXPECT_THAT(Rendered("table", report, wide), HasSubstr("1.7.9     -        current\n"));
  wide.width = 119;
  EXPECT_THAT(Rendered("table", report, wide), Not(HasSubstr("UPDATE")));
  EXPECT_THAT(Rendered("table", report), Not(HasSubstr("UPDATE")));
}

TEST(Updates, ToInstallAreElementsEachOnce) {
  TReport report = ReportOfUpdates();
  EXPECT_EQ(CountUpdates(report), 1u);
  EXPECT_THAT(Rendered("html", report), HasSubstr("<h1>1 update to install</h1>"));
  report.records[2].verdict = EVerdict::kOutdated;
  report.records[3].verdict = EVerdict::kOutdated;  // Of an element that nobody knows.
  EXPECT_EQ(CountUpdates(report), 3u);
  report.records.push_back(report.records[3]);
  report.records.push_back(report.records[0]);
  EXPECT_EQ(CountUpdates(report), 4u);
  for (TRecord& record : report.records) record.waived = TAcceptance{"r", ""};
  EXPECT_EQ(CountUpdates(report), 0u);
}

TEST(Junit, FailsForOutdatedAndSkipsUnknown) {
  const std::string text = Rendered("junit", SampleReport());
  EXPECT_THAT(text, HasSubstr(R"(tests="4" failures="1" errors="0" skipped="1")"));
  EXPECT_THAT(text, HasSubstr("name=\"Remote &lt;Watch&gt; Adapter\""));
  EXPECT_THAT(text, HasSubstr("<failure type=\"outdated\""));
}

TEST(Junit, ACheckThatDidNotTakePlaceIsAnError) {
  const std::string text = Rendered("junit", FailedReport());
  EXPECT_THAT(text, HasSubstr(R"(<testsuites tests="1" failures="0" errors="1" skipped="0">)"));
  EXPECT_THAT(text, HasSubstr("<error type=\"no-catalogue\" message=\"There is no catalogue"));
}

int NagiosStatusOf(const TReport& report, EFailOn critical) {
  TRenderOptions options;
  options.failOn = critical;
  return NagiosStatus(report, options);
}

TEST(Nagios, IsOneLineWithPerformanceData) {
  EXPECT_EQ(Rendered("nagios", SampleReport()),
            "SVCHECK WARNING - 1 outdated, 1 unknown, 1 newer, 1 current | "
            "outdated=1;;;0 "
            "unknown=1;;;0 newer=1;;;0 current=1;;;0\n");
  EXPECT_EQ(NagiosStatusOf(SampleReport(), EFailOn::kNone), 1);
  EXPECT_EQ(NagiosStatusOf(SampleReport(), EFailOn::kOutdated), 2);
  TReport good = SampleReport();
  good.records.erase(good.records.begin());
  EXPECT_EQ(NagiosStatusOf(good, EFailOn::kOutdated), 0);
  EXPECT_EQ(NagiosStatusOf(good, EFailOn::kDifferent), 2);
}

TEST(Nagios, IsOneLineWhateverAnErrorHolds) {
  TReport report = FailedReport();
  report.errors = {"first\nsecond\r\n|third\x1B[2J", "not shown"};
  EXPECT_EQ(
      Rendered("nagios", report),
      "SVCHECK UNKNOWN - There is no catalogue at that place. first\uFFFDsecond\uFFFD\uFFFD/third"
      "\uFFFD[2J\n");
  report.errors.clear();
  EXPECT_EQ(Rendered("nagios", report), "SVCHECK UNKNOWN - There is no catalogue at that place.\n");
}

TEST(Nagios, AFailedCheckIsUnknown) {
  const std::string line = Rendered("nagios", FailedReport());
  EXPECT_EQ(line.rfind("SVCHECK UNKNOWN - There is no catalogue at that place.", 0), 0u) << line;
  EXPECT_THAT(line, testing::EndsWith("file / really\n"));
  EXPECT_EQ(NagiosStatusOf(FailedReport(), EFailOn::kOutdated), 3);
}

TEST(Prometheus, WritesZerosAndEscapesLabels) {
  TReport report = SampleReport();
  report.records[0].name = "a\"b\\c\nd";
  report.records.push_back(report.records[0]);
  const std::string text = Rendered("prometheus", report);
  EXPECT_THAT(text, HasSubstr("svcheck_records{verdict=\"outdated\"} 2\n"));
  EXPECT_THAT(text, HasSubstr("svcheck_catalogue_age_seconds 259200\n"));
  const std::string_view outdated =
      R"(svcheck_outdated{type="Firmware",name="a\"b\\c\nd",installed="YUE110B",offered="YUE112A"} 1)";
  EXPECT_EQ(text.find(outdated), text.rfind(outdated));
  EXPECT_NE(text.find(outdated), std::string::npos);
}

TEST(Prometheus, SaysWhetherTheMachineWasCompared) {
  EXPECT_THAT(Rendered("prometheus", SampleReport()), HasSubstr("\nsvcheck_success 1\n"));
  EXPECT_THAT(Rendered("prometheus", FailedReport()), HasSubstr("\nsvcheck_success 0\n"));
  EXPECT_THAT(Rendered("prometheus", SampleReport()),
              HasSubstr("\nsvcheck_last_success_timestamp_seconds 1814313600\n"));
}

TEST(Prometheus, AWaivedRecordIsNotOutdated) {
  TReport report = SampleReport();
  report.records.push_back(report.records[0]);
  report.records.back().name = "Other";
  EXPECT_THAT(Rendered("prometheus", report), HasSubstr("name=\"System BIOS\""));
  report.records[0].waived = TAcceptance{"agreed", ""};
  EXPECT_THAT(Rendered("prometheus", report), Not(HasSubstr("System BIOS")));
  EXPECT_THAT(Rendered("prometheus", report), HasSubstr("name=\"Other\""));
  EXPECT_THAT(Rendered("prometheus", report),
              HasSubstr("svcheck_records{verdict=\"outdated\"} 1\n"));
}

TEST(Csv, AReasonIsAFieldLikeOthers) {
  TReport report = SampleReport();
  report.records.resize(1);
  report.records[0].waived = TAcceptance{"a, \"b\"", "2027-12-31"};
  report.records[0].expiredWaiver = TAcceptance{"c", "=2"};
  EXPECT_THAT(Rendered("csv", report),
              testing::EndsWith(",outdated,\"a, \"\"b\"\"\",'=2,,,,,\r\n"));
  TRenderOptions raw;
  raw.csv = ECsvTexts::kRaw;
  EXPECT_THAT(Rendered("csv", report, raw), testing::EndsWith("\",=2,,,,,\r\n"));
}

TEST(EveryLine, TellsOfWaivers) {
  TReport report = SampleReport();
  report.hasWaivers = true;
  report.records[0].waived = TAcceptance{"agreed", "2027-12-31"};
  report.records[1].expiredWaiver = TAcceptance{"was agreed", "2026-12-31"};
  EXPECT_THAT(Rendered("table", report), HasSubstr("outdated (waived: agreed)\n"));
  EXPECT_THAT(Rendered("table", report),
              HasSubstr("unknown (waiver expired 2026-12-31: was agreed)\n"));
  EXPECT_THAT(Rendered("table", report),
              testing::EndsWith("4 records: 1 unknown, 1 newer, 1 current, 1 waived; "
                                "1 waiver has expired.\n"));
  EXPECT_THAT(Rendered("json", report),
              HasSubstr(R"("waived":{"reason":"agreed","expires":"2027-12-31"}})"));
  EXPECT_THAT(Rendered("ndjson", report),
              HasSubstr(R"("expiredWaiver":{"reason":"was agreed","expires":"2026-12-31"}})"));
  EXPECT_THAT(Rendered("json", report),
              HasSubstr(R"("current":1,"compared":3,"waived":1,"expiredWaivers":1})"));
  EXPECT_THAT(Rendered("csv", report), HasSubstr("outdated,agreed,,,,,,\r\n"));
  EXPECT_THAT(Rendered("csv", report), HasSubstr("unknown,,2026-12-31,,,,,\r\n"));
  EXPECT_THAT(Rendered("junit", report), HasSubstr("<skipped message=\"waived: agreed;"));
  EXPECT_THAT(Rendered("junit", report),
              HasSubstr(R"(tests="4" failures="0" errors="0" skipped="2")"));
  EXPECT_THAT(Rendered("junit", report), HasSubstr("waiver expired 2026-12-31: was agreed"));
  EXPECT_THAT(Rendered("nagios", report), HasSubstr(" waived=1;;;0 expired_waivers=1;;;0\n"));
  EXPECT_THAT(Rendered("prometheus", report), HasSubstr("\nsvcheck_records_waived 1\n"));
  EXPECT_THAT(Rendered("prometheus", report), HasSubstr("\nsvcheck_records_waiver_expired 1\n"));
}

TEST(Html, EscapesAndRefersToNothingOutside) {
  const std::string text = Rendered("html", SampleReport());
  EXPECT_THAT(text, HasSubstr("Remote &lt;Watch&gt; Adapter"));
  EXPECT_THAT(text, HasSubstr("<h1>1 update to install</h1>"));
  EXPECT_THAT(text, Not(HasSubstr("http://")));
  EXPECT_THAT(text, Not(HasSubstr("https://")));
  EXPECT_THAT(text, Not(HasSubstr("src=")));
}

TEST(Html, BeginsWithItsPolicyAndItsTitle) {
  const std::string text = Rendered("html", SampleReport());
  EXPECT_THAT(text,
              testing::StartsWith(
                  "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                  "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
                  "<meta name=\"color-scheme\" content=\"light dark\">\n"
                  "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
                  "style-src 'sha256-"));
  EXPECT_THAT(text,
              HasSubstr("; base-uri 'none'; form-action 'none'\">\n<title>1 update to install "
                        "– QRX Rackwell 4638</title>\n<style>"));
}

// A browser runs and shows nothing of the page whose hash is not in its policy.
TEST(Html, AllowsItsOwnStyleAndScriptAlone) {
  const std::string text = Rendered("html", SampleReport());
  const auto policy = [&text](const std::string& name) {
    const std::size_t begin = text.find("<" + name + ">") + name.size() + 2;
    const std::string part = text.substr(begin, text.find("</" + name + ">", begin) - begin);
    return name + "-src 'sha256-" +
           acquire::ToBase64(acquire::Hash(acquire::EHash::kSha256, part)) + "'; ";
  };
  EXPECT_THAT(text, HasSubstr("content=\"default-src 'none'; " + policy("style") +
                              policy("script") + "base-uri 'none'; form-action 'none'\">\n"));
}

TEST(Html, SaysWhatWasCompared) {
  EXPECT_THAT(
      Rendered("html", SampleReport()),
      HasSubstr("<div class=\"facts\">\n<section class=\"card\"><h2>Machine</h2>\n<dl>\n"
                "<dt>Type</dt><dd>4638</dd>\n<dt>Model</dt><dd>QRX Rackwell 4638</dd>\n"
                "<dt>Maker</dt><dd>QRX</dd>\n<dt>Serial number</dt><dd>06C4638</dd>\n"
                "<dt>System</dt><dd>Some Linux 5</dd>\n<dt>Kernel</dt><dd>2.6.18</dd>\n"
                "<dt>Platform</dt><dd>x86_64</dd>\n</dl></section>\n"
                "<section class=\"card\"><h2>Catalogue</h2>\n<dl>\n"
                "<dt>Folder</dt><dd>/srv/catalogue</dd>\n<dt>Elements</dt><dd>17</dd>\n"
                "<dt>Age</dt><dd>3 days, from 2027-06-27T00:00:00Z</dd>\n"
                "<dt>Checked</dt><dd>2027-06-30T00:00:00Z</dd>\n</dl></section>\n</div>\n"));
}

TEST(Html, HasEachRecordInTheGroupOfItsType) {
  const std::string text = Rendered("html", SampleReport());
  const std::size_t firmware = text.find("<tbody data-type=\"Firmware\">");
  const std::size_t driver = text.find("<tbody data-type=\"Driver\">");
  ASSERT_LT(firmware, driver);
  ASSERT_NE(driver, text.npos);
  for (const char* name : {"YUE110B", "1.08 (A)"}) {
    EXPECT_GT(text.find(name, firmware), firmware) << name;
    EXPECT_LT(text.rfind(name), driver) << name;
  }
  for (const char* name : {"1.3.10", "1.7.9"}) EXPECT_GT(text.find(name, firmware), driver) << name;
}

// Fifteen types have groups of their own; further ones share one, which names them.
TEST(Html, GroupsUpToSixteenTypes) {
  for (const std::size_t count : {15, 16, 17}) {
    TReport report = SampleReport();
    report.records.clear();
    for (std::size_t i = 0; i < count; ++i) {
      report.records.push_back({"T" + std::to_string(i), "N", "1", "2", EVerdict::kOutdated, {}});
    }
    const std::string text = Rendered("html", report);
    const auto has = [&](const std::string& part) { return text.find(part) != text.npos; };
    EXPECT_TRUE(has("<tbody data-type=\"T14\">"));
    EXPECT_FALSE(has("<tbody data-type=\"T15\">"));
    EXPECT_EQ(has("<tbody data-type=\"Other types\">"), count > 15) << count;
    EXPECT_EQ(has("<small>T15</small>"), count > 15) << count;
    EXPECT_EQ(has("<small>T16</small>"), count > 16) << count;
    EXPECT_FALSE(has("<small>T14</small>"));
  }
}

class EveryFormat : public testing::TestWithParam<TFormat> {};

TEST_P(EveryFormat, SaysThatACheckDidNotTakePlace) {
  const std::string text = Rendered(GetParam().name, FailedReport());
  EXPECT_TRUE(text.find("no-catalogue") != std::string::npos ||
              text.find("There is no catalogue") != std::string::npos)
      << text;
}

TEST_P(EveryFormat, EndsWithALineEnd) {
  EXPECT_EQ(Rendered(GetParam().name, SampleReport()).back(), '\n');
}

INSTANTIATE_TEST_SUITE_P(All, EveryFormat, testing::ValuesIn(kFormats),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(Html, LeadsWithWhatThereIsToDo) {
  struct TCase {
    std::vector<EVerdict> verdicts;
    std::string_view lead;
  };
  using enum EVerdict;
  for (const TCase& test :
       {TCase{{kOutdated, kOutdated, kUnknown}, "2 updates to install"},
        TCase{{kOutdated, kUnknown}, "1 update to install"},
        TCase{{kUnknown, kNewer}, "Nothing is known to be outdated"},
        TCase{{kNewer, kCurrent}, "Nothing to install"},
        TCase{{kUnknown, kUnknown}, "Nothing was compared"}, TCase{{}, "Nothing was compared"}}) {
    TReport report = SampleReport();
    report.records.resize(test.verdicts.size());
    for (std::size_t i = 0; i < test.verdicts.size(); ++i) {
      report.records[i].verdict = test.verdicts[i];
    }
    EXPECT_THAT(Rendered("html", report), HasSubstr("<h1>" + std::string(test.lead) + "</h1>"));
  }
  EXPECT_THAT(Rendered("html", FailedReport()), HasSubstr("<h1>Not checked</h1>"));
}

}  // namespace
}  // namespace svc::report
