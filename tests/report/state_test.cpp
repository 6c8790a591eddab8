// What a report comes to: its state, its reason, its conditions, and what it says of the rest.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "report/model.h"
#include "report/records.h"
#include "sample_report.h"

namespace svc::report {
namespace {

using enum EVerdict;
using testing::HasSubstr;
using testing::Not;

TReport ReportOf(const std::vector<EVerdict>& verdicts) {
  TReport report = SampleReport();
  report.records.clear();
  for (const EVerdict verdict : verdicts) {
    report.records.push_back({"Firmware", "N", "1", "2", verdict, {}});
  }
  return report;
}

EState StateOf(const TReport& report) { return StateOf(report, Summarize(report)); }
std::string ReasonOf(const TReport& report) { return StateReason(report, Summarize(report)); }

TEST(State, GoesByTheVerdictsThatCouldBeOrdered) {
  EXPECT_EQ(StateOf(ReportOf({kUnknown, kOutdated, kCurrent})), EState::kUpdates);
  EXPECT_EQ(StateOf(ReportOf({kUnknown, kCurrent})), EState::kCurrent);
  EXPECT_EQ(StateOf(ReportOf({kNewer})), EState::kCurrent);
  EXPECT_EQ(StateOf(ReportOf({kUnknown, kUnknown})), EState::kNothingCompared);
  EXPECT_EQ(StateOf(ReportOf({})), EState::kNothingCompared);
  EXPECT_EQ(StateOf(FailedReport()), EState::kFailed);
  TReport broken = ReportOf({kOutdated});
  broken.outcome = EOutcome::kFailed;
  EXPECT_EQ(StateOf(broken), EState::kFailed);
}

TEST(State, AWaivedRecordIsNoUpdateButWasCompared) {
  TReport report = ReportOf({kOutdated});
  report.records[0].waived = TAcceptance{"agreed", ""};
  EXPECT_EQ(Summarize(report).compared, 1u);
  EXPECT_EQ(StateOf(report), EState::kCurrent);
  report.records[0].verdict = kUnknown;
  EXPECT_EQ(StateOf(report), EState::kNothingCompared);
}

TEST(State, TheReasonNamesTheCause) {
  EXPECT_EQ(ReasonOf(SampleReport()), "");
  EXPECT_EQ(ReasonOf(ReportOf({kCurrent})), "");
  EXPECT_EQ(ReasonOf(FailedReport()), "There is no catalogue at that place.");
  TReport failed = FailedReport();
  failed.outcome = EOutcome::kFailed;
  EXPECT_EQ(ReasonOf(failed), failed.errors.front());
  failed.errors.clear();
  EXPECT_EQ(ReasonOf(failed), "The check failed.");
  TReport report = ReportOf({});
  EXPECT_EQ(ReasonOf(report),
            "the catalogue offers updates for this machine, but none for what is installed");
  report.outcome = EOutcome::kEmptyCatalogue;
  EXPECT_EQ(ReasonOf(report), "the catalogue holds no update elements");
  report.outcome = EOutcome::kNothingApplicable;
  EXPECT_EQ(ReasonOf(report), "none of the catalogue's 17 elements is for machine type 4638");
  report.catalogue.elements = 1;
  EXPECT_EQ(ReasonOf(report), "the catalogue's only element is not for machine type 4638");
  report.nothingComparedBecause = "more is known";
  EXPECT_EQ(ReasonOf(report), "more is known");
}

TEST(State, TheReasonCountsWhyNoRecordIsOrdered) {
  TReport report = ReportOf({kUnknown, kUnknown, kUnknown});
  report.records[0].installed = "";
  report.records[1].installed = "YUOO99A";
  report.records[2].installed = "";
  for (TRecord& record : report.records) Judge(record);
  EXPECT_EQ(ReasonOf(report),
            "none of 3 records could be ordered: no installed version was read (2), "
            "the texts are of different forms (1)");
  report.records.resize(1);
  EXPECT_EQ(ReasonOf(report),
            "the only record could not be ordered: no installed version was read (1)");
}

TEST(State, EveryFormatSaysThatNothingWasCompared) {
  const TReport report = ReportOf({});
  const std::string reason = ReasonOf(report);
  for (const TFormat& format : kFormats) {
    const std::string text = Rendered(format.name, report);
    if (format.name == "prometheus") continue;
    EXPECT_THAT(text, HasSubstr(reason)) << format.name;
  }
  EXPECT_THAT(Rendered("table", report),
              testing::StartsWith("NOTHING COMPARED: " + reason + ".\n"));
  EXPECT_THAT(Rendered("table", report), testing::EndsWith("\nNo records.\n"));
  EXPECT_EQ(Rendered("nagios", report), "SVCHECK UNKNOWN - nothing compared: " + reason + "\n");
  EXPECT_EQ(NagiosStatus(report, {}), 3);
  EXPECT_THAT(Rendered("junit", report),
              HasSubstr("<testsuites tests=\"1\" failures=\"0\" errors=\"0\" skipped=\"1\">"));
  EXPECT_THAT(Rendered("prometheus", report), HasSubstr("\nsvcheck_compared_records 0\n"));
  EXPECT_THAT(Rendered("prometheus", report), HasSubstr("\nsvcheck_success 0\n"));
  EXPECT_THAT(Rendered("csv", report),
              testing::EndsWith("\r\nNotice,\"" + reason + "\",,,nothing compared,,,,,,,\r\n"));
}

TEST(State, NothingComparedIsUnknownToAMonitorWhateverTheCondition) {
  for (const EFailOn condition : {EFailOn::kNone, EFailOn::kUnknown, EFailOn::kDifferent}) {
    TRenderOptions options;
    options.failOn = condition;
    EXPECT_EQ(NagiosStatus(ReportOf({kUnknown}), options), 3);
    EXPECT_THAT(Rendered("nagios", ReportOf({kUnknown}), options), Not(HasSubstr("|")));
  }
}

TReport WithCoverage() {
  TReport report = SampleReport();
  report.coverage = TCoverage{9,
                              {{"Driver", "A", "", EPassedOver::kNoVersion},
                               {"Driver", "B", "", EPassedOver::kNoVersion},
                               {"Firmware", "C|<c>", "=1", EPassedOver::kNotOffered},
                               {"Firmware", "D", "1", EPassedOver::kOtherMachine},
                               {"Driver", "E", "1", EPassedOver::kOtherSystem},
                               {"Driver", "F", "1", EPassedOver::kNotRunning}}};
  return report;
}

TEST(Coverage, IsASentence) {
  EXPECT_EQ(Sentence(*WithCoverage().coverage),
            "9 installed pieces: 3 compared, 6 not: 2 state no version, 1 is offered nowhere, "
            "1 is offered for other machines, 1 is offered for other systems, 1 does not run.");
  EXPECT_EQ(Sentence(TCoverage{1, {}}), "1 installed piece: 1 compared.");
  EXPECT_EQ(Sentence(TCoverage{}), "0 installed pieces: 0 compared.");
  TCoverage many{26, {}};
  many.notCompared.resize(20);
  for (TPiece& piece : many.notCompared) piece.why = EPassedOver::kNoVersion;
  EXPECT_EQ(Sentence(many), "26 installed pieces: 6 compared, 20 not: 20 state no version.");
}

TEST(Coverage, StandsInEveryFormatThatHasRoom) {
  const TReport report = WithCoverage();
  const std::string sentence = Sentence(*report.coverage);
  EXPECT_THAT(Rendered("table", report), testing::EndsWith("current.\n" + sentence + "\n"));
  EXPECT_THAT(Rendered("nagios", report), testing::EndsWith(";;;0\n" + sentence + "\n"));
  EXPECT_THAT(Rendered("html", report), HasSubstr("<summary>" + sentence + "</summary>"));
  EXPECT_THAT(Rendered("html", report), HasSubstr("<th scope=\"row\">C|&lt;c&gt;</th>"));
  for (const char* const part :
       {R"("installed": 9,)",
        R"({"type":"Driver","name":"A","version":null,"reason":"no-version"})",
        R"({"type":"Firmware","name":"D","version":"1","reason":"other-machine"})"}) {
    EXPECT_THAT(Rendered("json", report), HasSubstr(part));
  }
  EXPECT_THAT(Rendered("ndjson", report), HasSubstr(R"("installed":9,"notCompared":[{"type")"));
  for (const char* const part : {R"(name="installed" value="9")", R"(name="notCompared" value="6")",
                                 R"(name="notCompared.no-version" value="2")",
                                 R"(name="notCompared.not-running" value="1")"}) {
    EXPECT_THAT(Rendered("junit", report), HasSubstr(part));
  }
}

TEST(Coverage, IsALineOfThePageThatUnfoldsToWhatWasNotCompared) {
  const std::string end = "</p>\n</div>\n";
  const auto behindTheRecords = [&](const TReport& report) {
    const std::string page = Rendered("html", report);
    const std::size_t begin = page.find("Show all</button>" + end) + 17 + end.size();
    return page.substr(begin, page.find("<footer>") - begin);
  };
  TReport report = WithCoverage();
  report.coverage->notCompared.resize(3);
  const auto row = [](const char* name, const char* type, const char* version, const char* why) {
    return std::string("<tr><th scope=\"row\">") + name + "</th><td>" + type +
           "</td><td class=\"version\">" + version + "</td><td>" + why + "</td></tr>\n";
  };
  EXPECT_EQ(behindTheRecords(report),
            "<details class=\"card coverage\"><summary>" + Sentence(*report.coverage) +
                "</summary>\n<table><thead><tr><th scope=\"col\">Name</th>"
                "<th scope=\"col\">Type</th><th scope=\"col\">Installed</th>"
                "<th scope=\"col\">Why not</th></tr></thead>\n<tbody>\n" +
                row("A", "Driver", "–", "states no version") +
                row("B", "Driver", "–", "states no version") +
                row("C|&lt;c&gt;", "Firmware", "=1", "is offered nowhere") +
                "</tbody></table></details>\n");
  report.coverage->notCompared.clear();
  EXPECT_EQ(behindTheRecords(report),
            "<p class=\"coverage\">9 installed pieces: 9 compared.</p>\n");
  report.coverage.reset();
  EXPECT_EQ(behindTheRecords(report), "");
}

TEST(Coverage, IsInCsvOnDemand) {
  TRenderOptions options;
  EXPECT_THAT(Rendered("csv", WithCoverage(), options), Not(HasSubstr("not compared")));
  options.csvNotCompared = true;
  EXPECT_THAT(Rendered("csv", WithCoverage(), options),
              testing::EndsWith("Driver,A,,,not compared: no-version,,,,,,,\r\n"
                                "Driver,B,,,not compared: no-version,,,,,,,\r\n"
                                "Firmware,C|<c>,'=1,,not compared: not-offered,,,,,,,\r\n"
                                "Firmware,D,1,,not compared: other-machine,,,,,,,\r\n"
                                "Driver,E,1,,not compared: other-system,,,,,,,\r\n"
                                "Driver,F,1,,not compared: not-running,,,,,,,\r\n"));
}

TEST(Notices, EveryFormatTellsOfASystemWithoutACode) {
  constexpr const char* kFact = "Catalogues have no code for this operating system";
  TReport report = SampleReport();
  for (const std::optional<bool> known : {std::optional<bool>(), std::optional(true)}) {
    report.osKnown = known;
    for (const TFormat& format : kFormats) {
      EXPECT_THAT(Rendered(format.name, report), Not(HasSubstr(kFact))) << format.name;
    }
  }
  EXPECT_THAT(Rendered("prometheus", report), HasSubstr("\nsvcheck_os_known 1\n"));
  report.osKnown = false;
  for (const TFormat& format : kFormats) {
    if (format.name == "prometheus") continue;
    EXPECT_THAT(Rendered(format.name, report), HasSubstr(kFact)) << format.name;
  }
  EXPECT_THAT(Rendered("prometheus", report), HasSubstr("\nsvcheck_os_known 0\n"));
  EXPECT_THAT(Rendered("json", report), HasSubstr("\"osKnown\": false,"));
  report.driversLeftOut = 3;
  EXPECT_THAT(Rendered("table", report),
              HasSubstr("records of drivers are left out, 3 of them.\n"));
  EXPECT_THAT(Rendered("json", report), HasSubstr("\"driversLeftOut\": 3,"));
}

// Both neighbours of the limit.
TEST(Notices, ACatalogueIsTooOldBehindTheLastDayAllowed) {
  constexpr std::int64_t kDay = 86'400;
  TReport report = ReportOf({kCurrent});
  TRenderOptions options;
  options.maxAge = 3;
  for (const auto& [age, isOld] :
       {std::pair(3 * kDay - 1, false), {3 * kDay, false}, {3 * kDay + 1, true}, {-kDay, false}}) {
    report.catalogue.modified = report.generated - age;
    EXPECT_EQ(IsCatalogueTooOld(report, options), isOld) << age;
    EXPECT_EQ(NagiosStatus(report, options), isOld ? 1 : 0);
    EXPECT_EQ(NagiosStatus(report, {}), 0);
    EXPECT_EQ(Notices(report, options).size(), isOld ? 1u : 0u);
    EXPECT_THAT(
        Rendered("prometheus", report, options),
        HasSubstr(isOld ? "\nsvcheck_catalogue_too_old 1\n" : "\nsvcheck_catalogue_too_old 0\n"));
  }
  EXPECT_THAT(Rendered("prometheus", report), Not(HasSubstr("too_old")));
}

TEST(Notices, TheAgeIsOfTheCatalogueAndNotOfTheCopy) {
  constexpr std::int64_t kDay = 86'400;
  TReport report = ReportOf({kCurrent});
  report.catalogue.modified = report.generated;
  report.catalogue.date = report.generated - 91 * kDay;
  TRenderOptions options;
  options.maxAge = 90;
  constexpr const char* kNotice = "The catalogue is 91 days old, more than the 90 days allowed.";
  for (const char* const format : {"table", "html", "json", "ndjson", "nagios", "junit", "csv"}) {
    EXPECT_THAT(Rendered(format, report, options),
                HasSubstr(format == std::string("csv") ? "91 days old" : kNotice))
        << format;
  }
  EXPECT_THAT(Rendered("nagios", report, options),
              testing::StartsWith("SVCHECK WARNING - 1 current; the catalogue is too old | "));
  EXPECT_THAT(Rendered("table", report), HasSubstr(", 91 days old\n"));
  EXPECT_THAT(Rendered("prometheus", report),
              HasSubstr("\nsvcheck_catalogue_age_seconds " + std::to_string(91 * kDay) + "\n"));
  EXPECT_THAT(Rendered("json", report), HasSubstr(R"("date":"2027-03-31T00:00:00Z"})"));
}

TEST(Notices, WhatIsWorseThanAnOldCatalogueComesFirst) {
  TReport report = ReportOf({kOutdated});
  report.catalogue.modified = 0;
  TRenderOptions options;
  options.maxAge = 1;
  options.failOn = EFailOn::kOutdated;
  EXPECT_EQ(NagiosStatus(report, options), 2);
  options.maxAge = ~std::uint64_t{0};
  EXPECT_FALSE(IsCatalogueTooOld(report, options));
  report.records.clear();
  EXPECT_EQ(NagiosStatus(report, options), 3);
}

TEST(Verdict, AnUnknownOneHasItsReason) {
  TReport report = ReportOf({kUnknown});
  report.records[0].installed = "";
  Judge(report.records[0]);
  EXPECT_THAT(Rendered("json", report),
              HasSubstr(R"("verdict":"unknown","reason":"no installed version was read"})"));
  EXPECT_THAT(Rendered("html", report),
              HasSubstr("unknown</span><small>no installed version was read</small>"));
  report.records[0].installed = "2";
  Judge(report.records[0]);
  EXPECT_THAT(Rendered("json", report), Not(HasSubstr("\"reason\"")));
}

TEST(Records, ThoseThatAreNotWantedAreLeftOut) {
  TReport report = SampleReport();
  const auto isDriver = [](const TRecord& record) { return record.type == "Driver"; };
  EXPECT_EQ(KeepOnly(report, isDriver), 2u);
  EXPECT_EQ(Summarize(report).Total(), 2u);
  EXPECT_EQ(KeepOnly(report, isDriver), 0u);
}

// What a file of metrics keeps.

TKeptMetrics KeptOf(const TReport& report) { return MetricsToKeep(Rendered("prometheus", report)); }

TEST(Metrics, AFailedCheckCarriesTheCountsOver) {
  TReport failed = FailedReport();
  failed.kept = KeptOf(SampleReport());
  const std::string text = Rendered("prometheus", failed);
  for (const char* const line :
       {"\nsvcheck_records{verdict=\"outdated\"} 1\n", "\nsvcheck_records{verdict=\"newer\"} 1\n",
        "\nsvcheck_compared_records 3\n", "\nsvcheck_records_waived 0\n", "\nsvcheck_success 0\n",
        "\nsvcheck_last_success_timestamp_seconds 1814313600\n",
        "\nsvcheck_outdated{type=\"Firmware\",name=\"System BIOS\"",
        "\nsvcheck_catalogue_elements 17\n"}) {
    EXPECT_THAT(text, HasSubstr(line));
  }
  failed.kept = KeptOf(failed);  // The next day.
  EXPECT_EQ(Rendered("prometheus", failed), text);
}

TEST(Metrics, WithoutAnOlderFileNothingIsCounted) {
  const std::string text = Rendered("prometheus", FailedReport());
  EXPECT_THAT(text, HasSubstr("\nsvcheck_success 0\n"));
  for (const char* const name : {"svcheck_records", "svcheck_compared", "svcheck_last_success",
                                 "svcheck_outdated", "svcheck_catalogue_elements"}) {
    EXPECT_THAT(text, Not(HasSubstr(name)));
  }
}

TEST(Metrics, NothingComparedIsCountedButNoSuccess) {
  TReport nothing = ReportOf({kUnknown});
  nothing.kept = KeptOf(SampleReport());
  const std::string text = Rendered("prometheus", nothing);
  EXPECT_THAT(text, HasSubstr("\nsvcheck_records{verdict=\"unknown\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("\nsvcheck_records{verdict=\"outdated\"} 0\n"));
  EXPECT_THAT(text, HasSubstr("\nsvcheck_compared_records 0\n"));
  EXPECT_THAT(text, HasSubstr("\nsvcheck_success 0\n"));
  EXPECT_THAT(text, HasSubstr("\nsvcheck_last_success_timestamp_seconds 1814313600\n"));
}

TEST(Metrics, OnlyAFileOfOursIsCarriedOver) {
  constexpr std::string_view kCounts =
      "svcheck_records{verdict=\"outdated\"} 4\nsvcheck_success 1\n"
      "svcheck_last_success_timestamp_seconds 7\n";
  EXPECT_EQ(MetricsToKeep(kCounts).counts, "");
  EXPECT_FALSE(MetricsToKeep(kCounts).lastSuccess);
  EXPECT_FALSE(MetricsToKeep("# svcheck_info 1\n" + std::string(kCounts)).lastSuccess);
  const std::string ours = "svcheck_info{x=\"\"} 1\n" + std::string(kCounts);
  EXPECT_THAT(MetricsToKeep(ours).counts, HasSubstr("\nsvcheck_records{verdict=\"outdated\"} 4\n"));
  EXPECT_EQ(MetricsToKeep(ours).lastSuccess, 7);
  EXPECT_EQ(MetricsToKeep("").counts, "");
}

// Where a file neither says that it succeeded nor how many records were compared, its numbers may
// be those of a check that has not taken place.
TEST(Metrics, CountsAreCarriedOverFromACheckThatSucceededOrKeptThemItself) {
  const auto countsWith = [](const std::string& more) {
    return MetricsToKeep("svcheck_info{x=\"\"} 1\nsvcheck_records{verdict=\"newer\"} 4\n" + more)
        .counts;
  };
  const std::string records =
      "# HELP svcheck_records Compared firmware and drivers by verdict.\n"
      "# TYPE svcheck_records gauge\nsvcheck_records{verdict=\"newer\"} 4\n";
  EXPECT_EQ(countsWith(""), "");
  EXPECT_EQ(countsWith("svcheck_success 0\n"), "");
  EXPECT_EQ(countsWith("svcheck_success 2\n"), "");
  EXPECT_EQ(countsWith("svcheck_success 1\n"), records);
  EXPECT_THAT(countsWith("svcheck_compared_records 4\n"), testing::StartsWith(records));
  EXPECT_THAT(countsWith("svcheck_success 0\nsvcheck_compared_records 4\n"),
              testing::StartsWith(records));
}

TEST(Metrics, ZerosThatAnEarlierVersionDidNotCountAreDropped) {
  const std::string older =
      "svcheck_info{x=\"\"} 1\nsvcheck_records{verdict=\"outdated\"} 0\nsvcheck_success 0\n"
      "svcheck_last_success_timestamp_seconds 0\n";
  EXPECT_EQ(MetricsToKeep(older).counts, "");
  EXPECT_FALSE(MetricsToKeep(older).lastSuccess);
  const std::string silent =
      "svcheck_info{x=\"\"} 1\nsvcheck_records{verdict=\"outdated\"} 0\n"
      "svcheck_last_success_timestamp_seconds 5\n";
  EXPECT_EQ(MetricsToKeep(silent).counts, "") << "it does not say that the check succeeded";
  EXPECT_EQ(MetricsToKeep(silent).lastSuccess, 5);
  for (const auto& [success, isKept] : {std::pair("0", false), {"1", true}, {"2", false}}) {
    EXPECT_EQ(MetricsToKeep(silent + "svcheck_success " + success + "\n").counts != "", isKept)
        << success;
  }
  EXPECT_NE(MetricsToKeep(silent + "svcheck_compared_records 0\n").counts, "")
      << "a later one counts in each of its files";
}

TEST(Metrics, OddLinesAreLeftOut) {
  const TKeptMetrics kept = MetricsToKeep(
      "svcheck_info{} 1\nsvcheck_success 1\nsvcheck_records{verdict=\"outdated\"} 4\n"
      "svcheck_records{verdict=\"outdated\"} 5\nsvcheck_records{verdict=\"newer\" 5\n"
      "svcheck_records{verdict=\"x\033\"} 5\nsvcheck_records 1.5\nsvcheck_recordsx 1\n"
      "svcheck_compared_records x\nsvcheck_compared_records 9223372036854775808\n"
      "svcheck_records_waived 2");
  EXPECT_EQ(kept.counts,
            "# HELP svcheck_records Compared firmware and drivers by verdict.\n"
            "# TYPE svcheck_records gauge\nsvcheck_records{verdict=\"outdated\"} 4\n"
            "# HELP svcheck_records_waived Records that a waiver accepts.\n"
            "# TYPE svcheck_records_waived gauge\nsvcheck_records_waived 2\n");
}

TEST(FailOn, IsAListOfConditions) {
  EXPECT_EQ(FailOnOfText("none"), EFailOn::kNone);
  EXPECT_EQ(FailOnOfText("outdated"), EFailOn::kOutdated);
  EXPECT_EQ(FailOnOfText("nothing,newer"), EFailOn::kNothing | EFailOn::kNewer);
  EXPECT_EQ(FailOnOfText("outdated,unknown,newer,nothing"), EFailOn::kDifferent);
  EXPECT_EQ(FailOnOfText("different"), EFailOn::kDifferent);
  for (const char* const text : {"", ",", "outdated,", ",outdated", "outdated, newer", "none,newer",
                                 "current", "Outdated"}) {
    EXPECT_FALSE(FailOnOfText(text)) << text;
  }
}

TEST(FailOn, GoesByTheVerdict) {
  for (const EVerdict verdict : kVerdicts) {
    TReport report = SampleReport();
    report.records.resize(1);
    report.records[0].verdict = verdict;
    EXPECT_FALSE(FailsOn(report, EFailOn::kNone));
    EXPECT_EQ(FailsOn(report, EFailOn::kOutdated), verdict == EVerdict::kOutdated);
    EXPECT_EQ(FailsOn(report, EFailOn::kUnknown), verdict == EVerdict::kUnknown);
    EXPECT_EQ(FailsOn(report, EFailOn::kNewer), verdict == EVerdict::kNewer);
    EXPECT_EQ(FailsOn(report, EFailOn::kOutdated | EFailOn::kNewer),
              verdict == EVerdict::kOutdated || verdict == EVerdict::kNewer);
    EXPECT_EQ(FailsOn(report, EFailOn::kNothing), verdict == EVerdict::kUnknown);
    EXPECT_EQ(FailsOn(report, EFailOn::kDifferent), verdict != EVerdict::kCurrent);
  }
}

TEST(FailOn, WaivedRecordsDoNotCount) {
  TReport report = SampleReport();
  EXPECT_TRUE(FailsOn(report, EFailOn::kOutdated));
  report.records[0].waived = TAcceptance{"agreed", ""};
  EXPECT_FALSE(FailsOn(report, EFailOn::kOutdated));
  EXPECT_TRUE(FailsOn(report, EFailOn::kDifferent));
  EXPECT_FALSE(FailsOn(report, EFailOn::kNone));
  EXPECT_EQ(Sentence(Summarize(report)), "1 unknown, 1 newer, 1 current, 1 waived");
}

}  // namespace
}  // namespace svc::report
