// The files that a fleet's results stand in: written, gone on with, put together and read as
// reports.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "report/model.h"
#include "svcheck/fleet/summary.h"
#include "svcheck/system/failure.h"
#include "tests/support/temporary_folder.h"

namespace svc::fleet {
namespace {

using TNames = std::vector<std::string>;

std::string Record(const std::string& machine, const std::string& rest = "") {
  return R"({"machine":")" + machine +
         R"(","Type":"A","Name":"b","InstalledVersion":"1","SVVersion":"2","verdict":"newer")" +
         rest + "}\n";
}
std::string Last(const std::string& machine, const std::string& outcome = "done") {
  return R"({"machine":")" + machine + R"(","outcome":")" + outcome +
         R"(","machineType":"4638","summary":{},"errors":[]})" + "\n";
}
std::string Machine(const std::string& name) { return Record(name) + Last(name); }

class FleetResultFiles : public testing::Test {
 protected:
  std::string At(const std::string& name) const { return folder.Path() + "/" + name; }
  std::string Text(const std::string& name) const {
    std::ifstream file(At(name));
    return {std::istreambuf_iterator<char>(file), {}};
  }
  template <typename TStep>
  static std::string FailureOf(const TStep& step) {
    try {
      step();
      return "";
    } catch (const TError& error) {
      EXPECT_EQ(error.Kind(), EErrorKind::kFailure);
      return error.what();
    }
  }

  test::TTemporaryFolder folder;
};

TEST_F(FleetResultFiles, BeginAnewAndHoldEachMachineAtOnce) {
  folder.Write("r", "what was there before");
  TResultFile file(At("r"));
  EXPECT_EQ(Text("r"), "");
  file.Write(Machine("a"));
  EXPECT_EQ(Text("r"), Machine("a")) << "before it is closed";
  file.Write(Machine("b"));
  file.Close();
  EXPECT_EQ(Text("r"), Machine("a") + Machine("b"));
}

TEST_F(FleetResultFiles, GoOnBehindTheirLastWholeMachine) {
  for (const std::string& torn : {std::string(), Record("c"), std::string("{\"mach"),
                                  Last("c").substr(0, Last("c").size() - 1)}) {
    folder.Write("r", Machine("a") + Machine("b") + torn);
    TNames names;
    std::string lines;
    TResultFile file(At("r"), [&](const TResultReader::TMachine& machine) {
      names.push_back(machine.name);
      lines += machine.lines;
    });
    EXPECT_EQ(names, (TNames{"a", "b"})) << torn;
    EXPECT_EQ(lines, Machine("a") + Machine("b"));
    EXPECT_EQ(Text("r"), lines) << torn;
    file.Write(Machine("d"));
    file.Close();
    EXPECT_EQ(Text("r"), lines + Machine("d")) << torn;
  }
}

TEST_F(FleetResultFiles, GoOnWithNothingWhereThereIsNoFile) {
  TNames names;
  TResultFile file(At("r"), [&](const auto& machine) { names.push_back(machine.name); });
  EXPECT_EQ(names, TNames());
  file.Write(Machine("a"));
  file.Close();
  EXPECT_EQ(Text("r"), Machine("a"));
}

TEST_F(FleetResultFiles, ThatCannotBeWrittenSayWhyAndWhatToDo) {
  constexpr const char* kAdvice = "; check that there is space and that you may write there";
  EXPECT_EQ(FailureOf([&] { TResultFile file(At("none/r")); }),
            "cannot write " + At("none/r") + ": No such file or directory" + kAdvice);
  EXPECT_EQ(FailureOf([&] {
              TResultFile full("/dev/full");
              full.Write(Machine("a"));
            }),
            std::string("cannot write /dev/full: No space left on device") + kAdvice);
}

TEST_F(FleetResultFiles, OfStandardOutputAreNotClosedWithIt) {
  std::fflush(stdout);
  const int before = ::dup(STDOUT_FILENO);
  ASSERT_NE(std::freopen(At("out").c_str(), "w", stdout), nullptr);
  {
    TResultFile file("-");
    file.Write("lines\n");
    EXPECT_EQ(Text("out"), "lines\n");
    file.Close();
    file.Write("more\n");
  }
  EXPECT_EQ(std::fputs("behind\n", stdout) >= 0, true);
  std::fflush(stdout);
  ::dup2(before, STDOUT_FILENO);
  ::close(before);
  EXPECT_EQ(Text("out"), "lines\nmore\nbehind\n");
  EXPECT_FALSE(folder.Holds("-"));
}

TEST_F(FleetResultFiles, ThatCannotBeReadAreToldOf) {
  const std::string failure = FailureOf([&] { TResultReader reader(At("none")); });
  EXPECT_EQ(failure,
            "cannot read results: " + At("none") + ": cannot be opened: No such file or directory");
  folder.Write("r", "{\"a\":1,\"outcome\":\"done\"}\n");
  EXPECT_EQ(FailureOf([&] { TResultReader(At("r")).Next(); }),
            At("r") +
                ": \"{\"a\":1,\"outcome\":\"done\"}\" is no line of a fleet's results; give a "
                "file that `svcheck fleet` wrote");
}

TEST_F(FleetResultFiles, OfShardsComeTogetherAsOneRunWouldHaveThem) {
  const auto merged = [&](const std::vector<TNames>& shards) {
    std::vector<std::string> files;
    for (const TNames& shard : shards) {
      files.push_back("s" + std::to_string(files.size()));
      std::string text;
      for (const std::string& machine : shard) text += Machine(machine);
      folder.Write(files.back(), text);
    }
    std::string names;
    MergeResults(files, [&](const TResultReader::TMachine& machine) {
      EXPECT_EQ(machine.lines, Machine(machine.name));
      names += machine.name;
    });
    return names;
  };
  EXPECT_EQ(merged({{}}), "");
  EXPECT_EQ(merged({{"a", "b"}}), "ab");
  EXPECT_EQ(merged({{"a", "c"}, {"b", "d"}}), "abcd");
  EXPECT_EQ(merged({{"a", "d", "g"}, {"b", "e"}, {"c", "f"}}), "abcdefg");
  EXPECT_EQ(merged({{"a", "c"}, {"b"}}), "abc");
  const auto failure = [&](const std::vector<TNames>& shards) {
    return FailureOf([&] { merged(shards); });
  };
  const auto complaint = [](const std::string& file) {
    return "the results " + file + " are not whole; run that shard again with --resume, then merge";
  };
  EXPECT_EQ(failure({{"a", "c", "e"}, {"b"}}), complaint("s1"));
  EXPECT_EQ(failure({{"a"}, {"b", "d"}}), complaint("s0"));
  EXPECT_EQ(failure({{}, {"b"}}), complaint("s0"));
  folder.Write("t", Machine("b") + Record("d"));
  folder.Write("u", Machine("a") + Machine("c"));
  EXPECT_EQ(FailureOf([] { MergeResults({"u", "t"}, [](const auto&) {}); }), complaint("t"));
  EXPECT_EQ(FailureOf([] { MergeResults({"t", "u"}, [](const auto&) {}); }), complaint("t"));
}

TEST(FleetReports, HaveAllThatTheLinesTell) {
  const report::TReport report = ReportOf(
      Record("m") +
      Record("m", R"(,"urgency":"high","releaseDate":"2026-01-02","releaseNotes":"a \"b\"")") +
      Record("m", R"(,"waived":{"reason":"r\u00e9","expires":"2027-01-31"})") +
      Record("m", R"(,"expiredWaiver":{"reason":"old"})") +
      R"({"machine":"m","outcome":"done","state":"nothing-compared","stateReason":"why \\",)"
      R"("machineType":"4638","manufacturer":"M","model":"o \"d\"","serialNumber":"S",)"
      R"("operatingSystem":{"caption":"c","version":"v","platform":"p"},"summary":{},)"
      R"("errors":["one","t\two"]})"
      "\n");
  EXPECT_EQ(report.outcome, report::EOutcome::kDone);
  EXPECT_EQ(report.machine.type, "4638");
  EXPECT_EQ(report.machine.manufacturer, "M");
  EXPECT_EQ(report.machine.model, "o \"d\"");
  EXPECT_EQ(report.machine.serialNumber, "S");
  EXPECT_EQ(report.system.caption, "c");
  EXPECT_EQ(report.system.version, "v");
  EXPECT_EQ(report.system.platform, "p");
  EXPECT_EQ(report.nothingComparedBecause, "why \\");
  EXPECT_EQ(report.errors, (TNames{"one", "t\two"}));
  EXPECT_TRUE(report.hasWaivers);
  ASSERT_EQ(report.records.size(), 4U);
  for (const report::TRecord& record : report.records) {
    EXPECT_EQ(record.type + record.name + record.installed + record.offered, "Ab12");
    EXPECT_EQ(record.verdict, report::EVerdict::kNewer);
  }
  EXPECT_FALSE(report.records[0].release);
  EXPECT_FALSE(report.records[0].waived);
  EXPECT_FALSE(report.records[0].expiredWaiver);
  ASSERT_TRUE(report.records[1].release);
  EXPECT_EQ(report.records[1].release->urgency, "high");
  EXPECT_EQ(report.records[1].release->date, "2026-01-02");
  EXPECT_EQ(report.records[1].release->notes, "a \"b\"");
  ASSERT_TRUE(report.records[2].waived);
  EXPECT_FALSE(report.records[2].expiredWaiver);
  EXPECT_EQ(report.records[2].waived->reason, "r\xC3\xA9");
  EXPECT_EQ(report.records[2].waived->expires, "2027-01-31");
  EXPECT_FALSE(report.records[3].waived);
  ASSERT_TRUE(report.records[3].expiredWaiver);
  EXPECT_EQ(report.records[3].expiredWaiver->reason, "old");
}

TEST(FleetReports, HaveTheReleaseOfARecordThatTellsAnyPartOfIt) {
  const auto releaseOf = [](const std::string& rest) {
    return ReportOf(Record("m", rest) + Last("m")).records.at(0).release;
  };
  EXPECT_FALSE(releaseOf(""));
  EXPECT_FALSE(releaseOf(R"(,"urgency":"")"));
  EXPECT_EQ(releaseOf(R"(,"urgency":"u")")->urgency, "u");
  EXPECT_EQ(releaseOf(R"(,"releaseDate":"d")")->date, "d");
  EXPECT_EQ(releaseOf(R"(,"releaseNotes":"n")")->notes, "n");
}

TEST(FleetReports, OfAFailureHaveItsErrorsAndNoOtherReason) {
  const report::TReport report =
      ReportOf(R"({"machine":"m","outcome":"failed","state":"failed","stateReason":"why",)"
               R"("machineType":"","summary":{},"errors":["why"]})"
               "\n");
  EXPECT_EQ(report.outcome, report::EOutcome::kFailed);
  EXPECT_EQ(report.nothingComparedBecause, "");
  EXPECT_EQ(report.errors, (TNames{"why"}));
  EXPECT_FALSE(report.hasWaivers);
  EXPECT_EQ(report.records.size(), 0U);
  EXPECT_FALSE(ReportOf(Record("m") + Last("m")).hasWaivers);
  EXPECT_FALSE(ReportOf(Record("m", R"(,"expiredWaiver":{"reason":"r"})") + Last("m")).hasWaivers);
}

TEST(FleetReports, AreNoneOfLinesThatLackWhatTheyNeed) {
  const auto failureOf = [](std::string lines, const std::string& without) {
    lines.erase(lines.find(without), without.size());
    try {
      ReportOf(lines);
    } catch (const std::runtime_error& error) {
      return std::string(error.what());
    }
    return std::string();
  };
  const std::string all = Record("m") + Last("m");
  EXPECT_EQ(failureOf(all, ""), "");
  for (const std::string without :
       {R"(,"Type":"A")", R"(,"Name":"b")", R"(,"InstalledVersion":"1")", R"(,"SVVersion":"2")",
        R"(,"verdict":"newer")"}) {
    std::string line = Record("m");
    line.erase(line.find(without), without.size());
    EXPECT_EQ(failureOf(all, without),
              '"' + line.substr(0, std::min<std::size_t>(60, line.size() - 1)) +
                  "\" is no line of a fleet's results");
  }
  EXPECT_NE(failureOf(all, R"(,"machineType":"4638")"), "");
  EXPECT_NE(failureOf(Record("m") + Last("m", "ended"), ""), "") << "nobody knows that outcome";
  EXPECT_NE(failureOf(all, "new"), "") << "nobody knows that verdict";
}

TEST(FleetResultLines, TellTheirMembersWhateverStandsInTheTexts) {
  const std::string line = R"({"a":"x","b":"say \"c\":\"no\" \\","c":"yes","d":5,"e":""})";
  EXPECT_EQ(MemberOf(line, "a"), "x");
  EXPECT_EQ(MemberOf(line, "b"), R"(say \"c\":\"no\" \\)");
  EXPECT_EQ(MemberOf(line, "c"), "yes");
  EXPECT_FALSE(MemberOf(line, "d")) << "a number";
  EXPECT_EQ(MemberOf(line, "e"), "");
  EXPECT_FALSE(MemberOf(line, "f"));
  EXPECT_FALSE(MemberOf(R"({"a":)", "a")) << "torn off";
  EXPECT_EQ(MemberOf(R"({"a":"x)", "a"), "x");
}

TEST(FleetResultLines, HaveEachOfTheirErrors) {
  const auto errorsOf = [](const std::string& written) {
    const std::string line = R"({"machine":"m",)" + written;
    std::string all;
    for (const std::string_view error : ErrorsOf(line)) all += std::string(error) + ';';
    return all;
  };
  EXPECT_EQ(errorsOf(R"("errors":[]})"), "");
  EXPECT_EQ(errorsOf(R"("errors":["a"]})"), "a;");
  EXPECT_EQ(errorsOf(R"("errors":["a","","b\"]\\","c"]})"), R"(a;;b\"]\\;c;)");
  EXPECT_EQ(errorsOf(R"("error":["a"]})"), "");
  EXPECT_EQ(errorsOf(R"("errors":)"), "") << "torn off";
  EXPECT_EQ(errorsOf(R"("errors":[)"), "");
  EXPECT_EQ(errorsOf(R"("errors":["a)"), "a;");
}

TEST(FleetResultLines, AreWaivedWhereTheySaySoWithAnObject) {
  EXPECT_TRUE(IsWaived(Record("m", R"(,"waived":{"reason":"r"})")));
  for (const std::string rest : {"", R"(,"expiredWaiver":{"reason":"r"})", R"(,"waived":"{")",
                                 R"(,"urgency":"{")", R"(,"x":{"waived":1})"}) {
    EXPECT_FALSE(IsWaived(Record("m", rest))) << rest;
  }
  EXPECT_FALSE(IsWaived(R"({"a":{},"waived":)")) << "torn off";
}

TEST(FleetResultLines, AreTakenOneByOneAsLongAsTheyAreWhole) {
  std::string_view text = "a\n\nb\nc";
  EXPECT_EQ(TakeLine(text), "a");
  EXPECT_EQ(TakeLine(text), "");
  EXPECT_EQ(TakeLine(text), "b");
  EXPECT_FALSE(TakeLine(text));
  EXPECT_EQ(text, "c");
}

// Machines that are alike are counted by what the first of them came to.
TEST(FleetSummary, CountsMachinesThatAreAlikeAsOftenAsTheyAre) {
  const std::string lines =
      Record("m") + Record("m") + Record("m", R"(,"waived":{"reason":"r"})") + Last("m");
  TSummary apart;
  for (int number = 0; number < 3; ++number) apart.Add(lines);
  TSummary alike;
  TSummary::TCounted counted;
  for (int number = 0; number < 3; ++number) alike.Add(lines, counted);
  for (const TSummary* summary : {&apart, &alike}) {
    EXPECT_EQ(summary->Machines(), 3U);
    EXPECT_EQ(summary->Waived(), 3U);
    EXPECT_EQ(summary->Verdicts()[report::IndexOf(report::EVerdict::kNewer)], 6U);
    EXPECT_EQ(summary->MachineTypes().at("4638").machines, 3U);
    EXPECT_EQ(summary->Components().at(0).verdicts[report::IndexOf(report::EVerdict::kNewer)], 6U);
  }
}

TEST(FleetSummary, CountsNothingOfAMachineForTheNextOne) {
  TSummary summary;
  summary.Add(Record("a", R"(,"waived":{"reason":"r"})") + Record("a") +
              R"({"machine":"a","outcome":"done","state":"nothing-compared","machineType":"1"})"
              "\n");
  summary.Add(Last("b"));
  summary.Add(Last("c", "failed"));
  EXPECT_EQ(summary.Machines(), 3U);
  EXPECT_EQ(summary.Waived(), 1U);
  EXPECT_EQ(summary.NothingCompared(), 1U);
  EXPECT_EQ(summary.OutdatedMachines(), 0U);
  EXPECT_EQ(summary.Verdicts()[report::IndexOf(report::EVerdict::kNewer)], 1U);
  EXPECT_EQ(summary.MachineTypes().at("1").machines, 1U);
  EXPECT_EQ(summary.MachineTypes().at("4638").machines, 1U);
  ASSERT_EQ(summary.Failed().size(), 1U);
  EXPECT_EQ(summary.Failed()[0].machine, "c");
  EXPECT_EQ(summary.Failed()[0].outcome, "failed");
}

TEST(FleetSummary, IsADocumentThatTellsWaivedRecordsWhereThereAreSome) {
  class TTextOutput : public report::IOutput {
   public:
    void Write(std::string_view written) override { text += written; }
    std::string text;
  };
  const auto documentOf = [](const std::string& lines) {
    TSummary summary;
    summary.Add(lines);
    TTextOutput output;
    WriteJson(summary, output);
    return output.text;
  };
  EXPECT_NE(documentOf(Record("m", R"(,"waived":{"reason":"r"})") + Last("m"))
                .find("\"nothingCompared\": 0,\n  \"waived\": 1,\n  \"components\""),
            std::string::npos);
  EXPECT_EQ(documentOf(Record("m") + Last("m")).find("waived"), std::string::npos);
}

}  // namespace
}  // namespace svc::fleet
