// Records that a report reads from a source, one at a time, as a long check leaves them on disk.
#include "report/records.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "sample_report.h"

namespace svc::report {
namespace {

using TNames = std::vector<std::string>;

// Counts how often each record is read.
class TCountingSource : public IRecordSource {
 public:
  explicit TCountingSource(std::vector<TRecord> records)
      : records(std::move(records)), reads(this->records.size()) {}
  std::size_t Count() const noexcept override { return records.size(); }
  void Read(std::size_t number, TRecord& record) const override {
    ++reads.at(number);
    record = records[number];
  }

  std::vector<TRecord> records;
  mutable std::vector<int> reads;
};

TRecord Unjudged(const std::string& name, const std::string& installed,
                 const std::string& offered) {
  TRecord record;
  record.type = "Driver";
  record.name = name;
  record.installed = installed;
  record.offered = offered;
  return record;
}

std::shared_ptr<TCountingSource> SourceOf(const std::vector<TRecord>& records) {
  return std::make_shared<TCountingSource>(records);
}

const std::vector<TRecord> kThree = {Unjudged("old", "1.1", "1.2"), Unjudged("new", "1.3", "1.2"),
                                     Unjudged("odd", "here", "there")};

TNames NamesIn(const TReport& report) {
  TNames names;
  for (const TRecord& record : RecordsOf(report)) names.push_back(record.name);
  return names;
}

TEST(RecordsOfASource, AreJudgedWhenTheyAreReadAndStayJudgedSo) {
  const auto source = SourceOf(kThree);
  TReport report;
  report.source = source;
  JudgeEach(report);
  EXPECT_EQ(source->reads, (std::vector<int>{0, 0, 0})) << "before somebody wants them";
  const auto verdicts = [&] {
    std::vector<std::pair<EVerdict, std::optional<EUnordered>>> found;
    for (const TRecord& record : RecordsOf(report)) found.emplace_back(record.verdict, record.why);
    return found;
  };
  const auto first = verdicts();
  ASSERT_EQ(first.size(), 3U);
  EXPECT_EQ(first[0], std::pair(EVerdict::kOutdated, std::optional<EUnordered>()));
  EXPECT_EQ(first[1], std::pair(EVerdict::kNewer, std::optional<EUnordered>()));
  EXPECT_EQ(first[2], std::pair(EVerdict::kUnknown, std::optional(EUnordered::kWords)));
  // What was found out counts, and not what the texts would come to now.
  for (TRecord& record : source->records) {
    record.installed = record.offered;
    record.why = EUnordered::kWords;
  }
  EXPECT_EQ(verdicts(), first);
  EXPECT_EQ(source->reads, (std::vector<int>{2, 2, 2}));
}

TEST(RecordsOfASource, AreTheSameAsThoseOfAList) {
  TReport listed;
  listed.records = kThree;
  TReport read;
  read.source = SourceOf(kThree);
  for (TReport* const report : {&listed, &read}) {
    JudgeEach(*report);
    ChangeEach(*report, [](TRecord& record) { record.name += '!'; });
  }
  EXPECT_EQ(NamesIn(read), (TNames{"old!", "new!", "odd!"}));
  EXPECT_EQ(NamesIn(read), NamesIn(listed));
  EXPECT_EQ(Rendered("json", read), Rendered("json", listed));
}

TEST(RecordsOfASource, AreKeptByChoiceAndTheOthersCounted) {
  TReport report;
  report.source = SourceOf(kThree);
  EXPECT_EQ(KeepOnly(report, [](const TRecord& record) { return record.name != "new"; }), 1U);
  EXPECT_EQ(NamesIn(report), (TNames{"old", "odd"}));
  EXPECT_EQ(KeepOnly(report, [](const TRecord&) { return true; }), 0U);
  EXPECT_EQ(KeepOnly(report, [](const TRecord& record) { return record.name == "odd"; }), 1U);
  EXPECT_EQ(NamesIn(report), TNames{"odd"});
  EXPECT_EQ(KeepOnly(report, [](const TRecord&) { return false; }), 1U);
  EXPECT_TRUE(RecordsOf(report).empty());
}

TEST(RecordsOfASource, StandBehindThoseOfAnother) {
  TReport report;
  report.source = Joined(SourceOf({kThree[0], kThree[1]}), SourceOf({kThree[2]}));
  EXPECT_EQ(RecordsOf(report).size(), 3U);
  EXPECT_EQ(NamesIn(report), (TNames{"old", "new", "odd"}));
  report.source = Joined(SourceOf({}), SourceOf({kThree[2]}));
  EXPECT_EQ(NamesIn(report), TNames{"odd"});
  report.source = Joined(SourceOf({kThree[2]}), SourceOf({}));
  EXPECT_EQ(NamesIn(report), TNames{"odd"});
}

TEST(Urgency, IsThatMuchOrMore) {
  const TNames urgencies = {"low", "medium", "high", "critical"};
  for (std::size_t has = 0; has < urgencies.size(); ++has) {
    for (std::size_t asked = 0; asked < urgencies.size(); ++asked) {
      EXPECT_EQ(IsUrgent({urgencies[has], "", ""}, urgencies[asked]), has >= asked)
          << urgencies[has] << " for " << urgencies[asked];
    }
  }
  for (const char* const none : {"", "urgent", "Low"})
    EXPECT_FALSE(IsUrgent({none, "", ""}, "low")) << none;
}

TEST(Summary, IsASentenceOfWhatThereIs) {
  TSummary summary;
  EXPECT_EQ(summary.Total(), 0U);
  TRecord record = kThree[0];
  record.verdict = EVerdict::kOutdated;
  record.expiredWaiver = TAcceptance{"r", "2026-01-01"};
  summary.Add(record);
  EXPECT_EQ(Sentence(summary), "1 outdated; 1 waiver has expired");
  summary.Add(record);
  EXPECT_EQ(Sentence(summary), "2 outdated; 2 waivers have expired");
  record.expiredWaiver.reset();
  record.waived = TAcceptance{"r", ""};
  record.verdict = EVerdict::kUnknown;
  summary.Add(record);
  EXPECT_EQ(Sentence(summary), "2 outdated, 1 waived; 2 waivers have expired");
  EXPECT_EQ(summary.Total(), 3U);
  EXPECT_EQ(summary.compared, 2U);
}

TEST(Names, OfOutcomesAndFormatsAreThoseAndNoOthers) {
  for (const TOutcomeRow& row : kOutcomes) EXPECT_EQ(OutcomeOfName(row.name), row.outcome);
  for (const TFormat& format : kFormats) EXPECT_EQ(FormatOfName(format.name), &format);
  for (const char* const none : {"", "Done", "done ", "JSON"}) {
    EXPECT_EQ(OutcomeOfName(none), std::nullopt) << none;
    EXPECT_EQ(FormatOfName(none), nullptr) << none;
  }
}

TEST(Title, OfAnUpdateIsItsNameOrItsPlace) {
  EXPECT_EQ(TitleOf({" a name ", "", "f.xml", 7}), "a name");
  EXPECT_EQ(TitleOf({" ", "", "f.xml", 7}), "f.xml:7");
}

}  // namespace
}  // namespace svc::report
