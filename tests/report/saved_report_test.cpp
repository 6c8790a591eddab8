#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <memory>
#include <string>
#include <string_view>

#include "base/error.h"
#include "report/records.h"
#include "sample_report.h"

namespace svc::report {
namespace {

TReport FullReport() {
  TReport report = SampleReport();
  report.hasWaivers = true;
  report.records[0].waived = TAcceptance{"agreed", "2027-12-31"};
  report.records[1].expiredWaiver = TAcceptance{"was agreed", "2026-12-31"};
  report.records[2].name = "\"grün\" 版本 \x01 \xFF";
  report.timings = {{"inventory", 0.25}, {"catalogue", 1.5}};
  report.errors = {"one", "two"};
  report.catalogue.date = report.generated - 1'000'000;
  report.records[1].why = EUnordered::kWords;
  report.machine.host = "web1";
  report.records[0].release = TRelease{"high", "", ""};
  report.records[1].release = TRelease{"", "2027-01-31", ""};
  report.records[2].release = TRelease{"", "", "first\nsecond"};
  report.records[2].update = std::make_shared<const TUpdate>(TUpdate{"n", "", "a b.xml", 7});
  report.records[3].release = TRelease{"low", "2027-02-01", "all"};
  report.records[3].update = std::make_shared<const TUpdate>(TUpdate{"n", "P", "c.xml", 8});
  report.records[3].hasSameSource = true;
  report.osKnown = false;
  report.driversLeftOut = 2;
  report.coverage = TCoverage{5,
                              {{"Driver", "x", "", EPassedOver::kNoVersion},
                               {"Firmware", "y\"", "1", EPassedOver::kOtherSystem}}};
  return report;
}

TReport NothingReport() {
  TReport report = FailedReport();
  report.errors.clear();
  report.outcome = EOutcome::kNothingApplicable;
  report.nothingComparedBecause = "none of the catalogue's 17 elements is for this type";
  return report;
}

class SavedReport : public testing::TestWithParam<TReport> {};

TEST_P(SavedReport, ReadsBackAsItWas) {
  const std::string json = Rendered("json", GetParam());
  const TReport read = ReadSavedReport(json);
  EXPECT_EQ(Rendered("json", read), json);
  for (const TFormat& format : kFormats) {
    EXPECT_EQ(Rendered(format.name, read), Rendered(format.name, GetParam())) << format.name;
  }
}

INSTANTIATE_TEST_SUITE_P(All, SavedReport,
                         testing::Values(SampleReport(), FailedReport(), FullReport(),
                                         NothingReport()));

TEST(SavedReport, MembersThatAreNotKnownArePassedOver) {
  std::string json = Rendered("json", SampleReport());
  json.insert(1, "\"later\": {\"a\": [1, 2]},");
  EXPECT_EQ(Rendered("json", ReadSavedReport(json)), Rendered("json", SampleReport()));
}

// Of a program that knows more of them.
TEST(SavedReport, AReasonThatIsNotKnownIsNone) {
  std::string json = Rendered("json", FullReport());
  const std::string known(TextOf(EUnordered::kWords));
  json.replace(json.find(known), known.size(), "a new reason");
  const TReport read = ReadSavedReport(json);
  EXPECT_EQ(read.records[1].why, std::nullopt);
  EXPECT_EQ(read.records[1].verdict, EVerdict::kUnknown);
  TReport without = FullReport();
  without.records[1].why.reset();
  for (const TFormat& format : kFormats)
    EXPECT_EQ(Rendered(format.name, read), Rendered(format.name, without)) << format.name;
}

std::string Refusal(const std::string& json) {
  try {
    ReadSavedReport(json);
  } catch (const TError& error) {
    return error.what();
  }
  return {};
}

// What is wrong once `text` stands where `original` stood.
std::string RefusalWith(std::string_view original, std::string_view text) {
  std::string json = Rendered("json", SampleReport());
  json.replace(json.find(original), original.size(), text);
  return Refusal(json);
}

// Numbers of a file of others, at the bounds of every type.
TEST(SavedReport, CountsAreTakenExactlyOrNotAtAll) {
  for (const char* const count :
       {"0", "2147483647", "2147483648", "4294967295", "4294967296", "4294967303",
        "9223372036854775807", "9223372036854775808", "18446744073709551615"}) {
    std::string json = Rendered("json", SampleReport());
    json.replace(json.find("17,"), 2, count);
    EXPECT_EQ(Rendered("json", ReadSavedReport(json)), json);
  }
  for (const char* const count : {"-1", "18446744073709551616", "18446744073709551623", "1e3",
                                  "1.0", "\"17\"", "true", "[]"}) {
    EXPECT_EQ(RefusalWith("\"elements\":17", "\"elements\":" + std::string(count)),
              "\"catalogue.elements\" is something else, not a count");
  }
  for (const char* const schema : {"0", "2", "-1", "4294967297", "18446744073709551617", "\"1\""}) {
    EXPECT_EQ(RefusalWith("\"schema\": 1", "\"schema\": " + std::string(schema))
                  .rfind("a report of schema ", 0),
              0u)
        << schema;
  }
}

TEST(SavedReport, TimesBeforeAndAfterAllOthersAreReadBack) {
  for (const std::int64_t seconds :
       {std::int64_t{-1}, std::int64_t{0}, std::int64_t{1} << 31, std::int64_t{1} << 32,
        std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min()}) {
    TReport report = SampleReport();
    report.catalogue.modified = seconds;
    const std::string json = Rendered("json", report);
    EXPECT_EQ(Rendered("json", ReadSavedReport(json)), json) << seconds;
  }
  EXPECT_EQ(RefusalWith("2027-06-27T", "12027-06-27T"),
            "\"catalogue.modified\" is something else, not a time such as 2027-06-30T00:00:00Z");
}

TEST(SavedReport, SaysOfEachMemberWhatItIsNot) {
  for (const auto& [original, text, why] : std::initializer_list<std::array<const char*, 3>>{
           {"\"tool\": {", "\"tools\": {", "\"tool\" is missing, not an object"},
           {"\"tool\": {\"name\":\"svcheck\"", "\"tool\": {\"name\":1",
            "\"tool.name\" is something else, not a text"},
           {"\"machine\": {", "\"machinery\": {", "\"machine\" is missing, not an object"},
           {"\"osKnown\": null", "\"osKnown\": 1",
            "\"osKnown\" is something else, not true or false"},
           {"\"outcome\": \"done\"", "\"outcome\": \"dome\"",
            "\"outcome\" is something else, not how a check ends"},
           {"\"records\": [", "\"recorded\": [", "\"records\" is missing, not a list"},
           {"\"errors\": []", "\"errors\": {}", "\"errors\" is something else, not a list"},
           {"\"errors\": []", "\"errors\": [\"a\",1]",
            "\"errors[1]\" is something else, not a text"},
           {"\"errors\": []", "\"errors\": [], \"timings\": []",
            "\"timings\" is something else, not an object"},
           {"\"errors\": []", "\"errors\": [], \"timings\": {\"a\":\"b\"}",
            "\"timings.a\" is something else, not a number"},
           {"\"verdict\":\"newer\"", "\"verdict\":\"newer\",\"urgency\":1",
            "\"records[2].urgency\" is something else, not a text"},
           {"\"verdict\":\"newer\"", "\"verdict\":\"newer\",\"update\":{\"name\":\"n\"}",
            "\"records[2].update.file\" is missing, not a text"}}) {
    EXPECT_EQ(RefusalWith(original, text), why);
  }
}

TEST(SavedReport, HasNoMorePiecesThatWereNotComparedThanThereAre) {
  const auto with = [](std::string_view original, const std::string& text) {
    std::string json = Rendered("json", FullReport());
    json.replace(json.find(original), original.size(), text);
    return Refusal(json);
  };
  EXPECT_EQ(with("\"installed\": 5", "\"installed\": 2"), "");
  EXPECT_EQ(with("\"installed\": 5", "\"installed\": 1"),
            "\"installed\" is less than the pieces of \"notCompared\"");
  EXPECT_EQ(with("\"reason\":\"no-version\"", "\"reason\":\"odd\""),
            "\"notCompared[0].reason\" is something else, not why something is not compared");
}

TEST(SavedReport, WithHiddenRecordsIsRefused) {
  const auto hiding = [](int count) {
    return RefusalWith("\"notCompared\":",
                       "\"hidden\": " + std::to_string(count) + ",\n  \"notCompared\":");
  };
  EXPECT_EQ(hiding(0), "");
  for (const int count : {1, 2}) {
    EXPECT_EQ(hiding(count),
              "a report without " + std::to_string(count) +
                  " of its records, which --only left out: save it with `--only all`, and choose "
                  "when it is shown");
  }
}

TEST(SavedReport, NestsAndHoldsUpToItsBounds) {
  const auto with = [](const std::string& later) {
    return RefusalWith("\"schema\": 1", "\"later\": " + later + ", \"schema\": 1");
  };
  const auto nested = [](std::size_t levels) {
    return std::string(levels, '[') + std::string(levels, ']');
  };
  EXPECT_EQ(with(nested(63)), "");
  EXPECT_EQ(with(nested(64)), "no report: it is nested too deeply");
  const auto wide = [](int members) {
    std::string text = "{\"0\":0";
    for (int i = 1; i < members; ++i) text += ",\"" + std::to_string(i) + "\":0";
    return text + "}";
  };
  EXPECT_EQ(with(wide(256)), "");
  EXPECT_EQ(with(wide(257)), "no report: it has an object of too many members");
}

TEST(SavedReport, OfTwoListsOfRecordsTheLastCounts) {
  const std::string json = Rendered("json", SampleReport());
  const auto behind = [&](const std::string& list) {
    return "{\"records\": " + list + "," + json.substr(1);
  };
  const std::string record =
      R"({"Type":"T","Name":"N","InstalledVersion":"1","SVVersion":"2","verdict":"newer"})";
  for (const std::string& list : {"[]" + std::string(), "[" + record + "]", "[{}]" + std::string()})
    EXPECT_EQ(Rendered("json", ReadSavedReport(behind(list))), json) << list;
}

TEST(SavedReport, ADamagedOneIsRefusedWithThePlace) {
  EXPECT_EQ(Refusal("[]"), "JSON, but no report: it has no member \"schema\"");
  for (const char* none : {"{}", "1", "null", "\"schema\"", "{\"Schema\": 1}"})
    EXPECT_EQ(Refusal(none), "JSON, but no report: it has no member \"schema\"") << none;
  EXPECT_EQ(RefusalWith("\"schema\": 1", "\"schema\": 2"),
            "a report of schema 2, and this version reads schema 1");
  EXPECT_EQ(RefusalWith("\"verdict\":\"newer\"", "\"verdict\":\"odd\""),
            "\"records[2].verdict\" is something else, not a verdict");
  EXPECT_EQ(RefusalWith("\"Name\":\"BNX2\",", ""), "\"records[3].Name\" is missing, not a text");
  EXPECT_EQ(RefusalWith("\"elements\":17", "\"elements\":-17"),
            "\"catalogue.elements\" is something else, not a count");
  EXPECT_NE(RefusalWith("2027-06-30T", "2027-06-31T"), "");
  EXPECT_NE(RefusalWith("\"outcome\": \"done\"", "\"outcome\": \"dome\""), "");
  EXPECT_NE(RefusalWith("\"errors\": []", "\"errors\": {}"), "");
  EXPECT_NE(RefusalWith("\"machine\": {", "\"machinery\": {"), "");
  const std::string json = Rendered("json", SampleReport());
  for (std::size_t size = 0; size + 1 < json.size(); ++size) {
    EXPECT_EQ(Refusal(json.substr(0, size)).rfind("no JSON: parse error at line ", 0), 0u) << size;
  }
}

}  // namespace
}  // namespace svc::report
