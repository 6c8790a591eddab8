#include "report/saved_report.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

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
  return report;
}

class SavedReport : public testing::TestWithParam<TReport> {};

TEST_P(SavedReport, ReadsBackAsItWas) {
  const std::string json = Rendered("json", GetParam());
  const TReport read = ReadSavedReport(json);
  EXPECT_EQ(Rendered("json", read), json);
  for (const TFormat& format : kFormats) {
    if (format.name == "csv") continue;  // Keeps bytes that JSON does not have.
    EXPECT_EQ(Rendered(format.name, read), Rendered(format.name, ReadSavedReport(json)));
  }
  EXPECT_EQ(Rendered("table", read), Rendered("table", GetParam()));
}

INSTANTIATE_TEST_SUITE_P(All, SavedReport,
                         testing::Values(SampleReport(), FailedReport(), FullReport()));

TEST(SavedReport, MembersThatAreNotKnownArePassedOver) {
  std::string json = Rendered("json", SampleReport());
  json.insert(1, "\"later\": {\"a\": [1, 2]},");
  EXPECT_EQ(Rendered("json", ReadSavedReport(json)), Rendered("json", SampleReport()));
}

std::string Refusal(const std::string& json) {
  try {
    ReadSavedReport(json);
  } catch (const TSavedReportError& error) {
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

TEST(SavedReport, ADamagedOneIsRefusedWithThePlace) {
  EXPECT_EQ(Refusal("[]"), "JSON, but no report: it has no member \"schema\"");
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
