#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
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
