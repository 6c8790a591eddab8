// The lines of a fleet's results, what they come to, and the names of its files.
#include <gtest/gtest.h>

#include "svcheck/fleet/machine_check.h"
#include "svcheck/fleet/summary.h"
#include "svcheck/system/failure.h"
#include "tests/support/temporary_folder.h"

namespace svc::fleet {
namespace {

using report::EVerdict;
using report::IndexOf;

std::string Record(const std::string& type, const std::string& name, const std::string& verdict) {
  return R"({"machine":"m","Type":")" + type + R"(","Name":")" + name +
         R"(","InstalledVersion":"1","SVVersion":"2","verdict":")" + verdict + "\"}\n";
}

std::string Last(const std::string& machine = "m", const std::string& outcome = "done",
                 const std::string& errors = "") {
  return R"({"machine":")" + machine + R"(","outcome":")" + outcome +
         R"(","machineType":"4638","summary":{},"errors":[)" + errors + "]}\n";
}

TEST(FleetSummary, HasTheComponentsWithTheMostOutdatedRecordsFirstThenByTypeAndName) {
  TSummary summary;
  summary.Add(Record("B", "x", "outdated") + Record("A", "z", "current") +
              Record("A", "y", "current") + Record("C", "w", "outdated") +
              Record("C", "w", "outdated") + Record("B", "a", "outdated") + Last());
  std::vector<std::string> order;
  for (const auto& component : summary.Components())
    order.push_back(component.type + component.name);
  EXPECT_EQ(order, (std::vector<std::string>{"Cw", "Ba", "Bx", "Ay", "Az"}));
}

TEST(FleetSummary, CountsEachVerdictAndMachineOnce) {
  TSummary summary;
  summary.Add(Record("B", "x", "outdated") + Record("B", "y", "outdated") +
              Record("B", "x", "newer") + Record("B", "x", "unknown") + Last("a"));
  summary.Add(Record("B", "x", "current") + Last("b"));
  summary.Add(Record("B", "x", "outdated") + Last("c", "failed", R"("first","second")"));
  summary.Add(Last("d", "failed"));
  EXPECT_EQ(summary.Machines(), 4U);
  EXPECT_EQ(summary.OutdatedMachines(), 1U);
  ASSERT_EQ(summary.Failed().size(), 2U);
  EXPECT_EQ(summary.Failed()[0].machine, "c");
  EXPECT_EQ(summary.Failed()[0].cause, "first");
  EXPECT_EQ(summary.Failed()[1].cause, "");
  EXPECT_EQ(summary.Verdicts()[IndexOf(EVerdict::kOutdated)], 3U);
  EXPECT_EQ(summary.Verdicts()[IndexOf(EVerdict::kNewer)], 1U);
  const TTypeCounts& type = summary.MachineTypes().at("4638");
  EXPECT_EQ(type.machines, 2U) << "those that were compared";
  EXPECT_EQ(type.outdatedMachines, 1U);
  EXPECT_EQ(type.verdicts[IndexOf(EVerdict::kOutdated)], 2U);
  EXPECT_EQ(type.verdicts[IndexOf(EVerdict::kCurrent)], 1U);
}

report::TRecord Compared(const std::string& name, const std::string& offered) {
  report::TRecord record;
  record.type = "Driver";
  record.name = name;
  record.installed = "1";
  record.offered = offered;
  record.verdict = EVerdict::kOutdated;
  return record;
}

std::string LineOf(const report::TRecord& record) {
  std::string line = R"(,"Type":")" + record.type + R"(","Name":")" + record.name +
                     R"(","InstalledVersion":")" + record.installed + R"(","SVVersion":")" +
                     record.offered + R"(","verdict":")" + std::string(NameOf(record.verdict)) +
                     '"';
  if (record.release) line += R"(,"urgency":")" + record.release->urgency + '"';
  return line + "}\n";
}

TEST(RecordLines, AreThoseOfEachRecordHoweverManyThereWere) {
  TRecordLines lines;
  for (int round = 0; round < 2; ++round) {
    for (int number = 0; number < 9000; ++number) {
      report::TRecord record = Compared("n" + std::to_string(number), "2");
      EXPECT_EQ(lines.Of(record), LineOf(record));
      if (number % 100 != 0) continue;
      for (std::string report::TRecord::*text :
           {&report::TRecord::type, &report::TRecord::installed, &report::TRecord::offered}) {
        report::TRecord other = record;
        other.*text += 'x';
        EXPECT_EQ(lines.Of(other), LineOf(other));
      }
      EXPECT_EQ(lines.Of(record), LineOf(record));
    }
  }
}

TEST(RecordLines, TellWhatARecordHasBesideItsTexts) {
  TRecordLines lines;
  report::TRecord record = Compared("n", "2");
  EXPECT_EQ(lines.Of(record), LineOf(record));
  record.verdict = EVerdict::kNewer;
  EXPECT_EQ(lines.Of(record), LineOf(record));
  record.release = report::TRelease{"high", "", ""};
  EXPECT_EQ(lines.Of(record), LineOf(record));
  record.release.reset();
  EXPECT_EQ(lines.Of(record), LineOf(record));
  record.waived = report::TAcceptance{"known", {}};
  EXPECT_NE(lines.Of(record).find(R"("waived":{"reason":"known")"), std::string::npos);
  record.waived.reset();
  EXPECT_EQ(lines.Of(record), LineOf(record));
  for (const std::size_t length : {200U, 300U}) {  // Short and long.
    record.offered.assign(length, '3');
    EXPECT_EQ(lines.Of(record), LineOf(record));
    EXPECT_EQ(lines.Of(record), LineOf(record));
  }
}

class TTextOutput : public report::IOutput {
 public:
  void Write(std::string_view written) override { text += written; }
  std::string text;
};

TEST(FleetSummary, IsATableWithEachMachineThatFailed) {
  TSummary summary;
  summary.Add(Record("BIOS", "System", "outdated") + Record("BIOS", "System", "unknown") +
              Record("Driver", "e1000e", "current") + Last("a"));
  summary.Add(Last("b", "failed", R"("no\u001b[2Jinventory","second")"));
  summary.Add(Last("c", "unknownMachine"));
  TTextOutput output;
  WriteTable(summary, output);
  EXPECT_EQ(output.text, R"(1 machine compared, 1 with updates to install; 2 failed

Machine type                           outdated    unknown      newer    current
4638 (1 machine)                              1          1          0          1
all                                           1          1          0          1

Component                              outdated    unknown      newer    current
BIOS System                                   1          1          0          0
Driver e1000e                                 0          0          0          1

Failed
b: failed: no�[2Jinventory
c: unknownMachine: 
)");
}

TEST(FleetSummary, IsADocumentWithEachCountForPrograms) {
  TSummary summary;
  summary.Add(Record("BIOS", "System \\\"x\\\"", "outdated") + Record("BIOS", "b", "unknown") +
              Record("BIOS", "b", "newer") + Record("BIOS", "b", "newer") + Last("a"));
  summary.Add(Record("BIOS", "b", "unknown") +
              R"({"machine":"n","outcome":"done","state":"nothing-compared","machineType":"4620",)"
              R"("summary":{},"errors":[]})"
              "\n");
  summary.Add(Last("f", "failed", R"("no <x>","second")"));
  const std::string head = R"({
  "schema": 1,
  "machines": 3,
  "checked": 2,
  "failed": 1,
  "withUpdates": 1,
  "verdicts": {"outdated":1,"unknown":2,"newer":2,"current":0},
  "nothingCompared": 1)";
  const std::string rest = R"(,
  "components": [
    {"Type":"BIOS","Name":"System \"x\"","verdicts":{"outdated":1,"unknown":0,"newer":0,"current":0}},
    {"Type":"BIOS","Name":"b","verdicts":{"outdated":0,"unknown":2,"newer":2,"current":0}}
  ],
  "machineTypes": [
    {"machineType":"4620","machines":1,"withUpdates":0,"verdicts":{"outdated":0,"unknown":1,"newer":0,"current":0}},
    {"machineType":"4638","machines":1,"withUpdates":1,"verdicts":{"outdated":1,"unknown":1,"newer":2,"current":0}}
  ],
  "failures": [
    {"machine":"f","outcome":"failed","error":"no <x>"}
  ]
}
)";
  const auto written = [&] {
    TTextOutput output;
    WriteJson(summary, output);
    return output.text;
  };
  EXPECT_EQ(written(), head + rest);
  summary.AddNotices({"It is old."});
  EXPECT_EQ(written(), head + ",\n  \"notices\": [\"It is old.\"]" + rest);
  const std::string waived = R"({"machine":"m","Type":"A","Name":"b","InstalledVersion":"1",)"
                             R"("SVVersion":"2","verdict":"outdated","waived":{"reason":"r"}})"
                             "\n";
  TSummary accepted;
  accepted.Add(waived + waived + Last());
  EXPECT_EQ(accepted.Waived(), 2U);
  EXPECT_EQ(accepted.OutdatedMachines(), 0U);
  TTextOutput table;
  WriteTable(accepted, table);
  EXPECT_TRUE(table.text.starts_with(
      "1 machine compared, 0 with updates to install; 0 failed; 2 records waived\n\nMachine type"))
      << table.text;
  TTextOutput nothing;
  WriteTable(summary, nothing);
  EXPECT_TRUE(nothing.text.starts_with(
      "2 machines compared, 1 with updates to install; 1 failed\nNOTHING COMPARED: of 1 machine no "
      "record could be ordered\nIt is old.\n\nMachine type"))
      << nothing.text;
}

TEST(FleetSummary, IsATableWithTwentyComponentsAndTheNumberOfTheOthers) {
  for (const int components : {20, 21}) {
    TSummary summary;
    std::string lines;
    for (int number = 0; number < components; ++number)
      lines += Record("T", std::to_string(100 + number), "current");
    summary.Add(lines + Last());
    TTextOutput output;
    WriteTable(summary, output);
    EXPECT_NE(output.text.find("\nT 119 "), std::string::npos);
    EXPECT_EQ(output.text.find("\nT 120 "), std::string::npos);
    EXPECT_EQ(output.text.ends_with("\n... and 1 component more\n"), components == 21);
  }
}

TEST(FleetCondition, HoldsWhereOneOfItsPartsDoes) {
  const auto holds = [](const std::string& text, const std::string& lines) {
    TSummary summary;
    summary.Add(lines);
    return Holds(ConditionOf(text), summary);
  };
  const std::string nothing =
      R"({"machine":"n","outcome":"done","state":"nothing-compared","machineType":"4620",)"
      R"("summary":{},"errors":[]})"
      "\n";
  struct TCase {
    const char* name;
    std::string lines;
  };
  const TCase cases[] = {{"outdated", Record("A", "b", "outdated") + Last()},
                         {"unknown", Record("A", "b", "unknown") + Last()},
                         {"newer", Record("A", "b", "newer") + Last()},
                         {"nothing", nothing},
                         {"failed", Last("m", "failed")},
                         {"none", Record("A", "b", "current") + Last()}};
  for (const TCase& one : cases) {
    for (const TCase& other : cases) {
      const bool isSame = std::string_view(one.name) == other.name && &one != &cases[5];
      EXPECT_EQ(holds(other.name, one.lines), isSame) << one.name << " " << other.name;
    }
    EXPECT_EQ(holds("different", one.lines), &one < &cases[4]) << one.name;
    EXPECT_EQ(holds("outdated,failed", one.lines), &one == &cases[0] || &one == &cases[4]);
    EXPECT_EQ(holds("failed,newer", one.lines), &one == &cases[2] || &one == &cases[4]);
  }
}

TEST(FleetSummary, IsATableWithTwentyMachinesThatFailedAndTheNumberOfTheOthers) {
  const auto endOf = [](int failed) {
    TSummary summary;
    for (int number = 1; number <= failed; ++number)
      summary.Add(Last("m" + std::to_string(number), "failed", "\"why\""));
    TTextOutput output;
    WriteTable(summary, output);
    return output.text.substr(output.text.find("\nm20: "));
  };
  EXPECT_EQ(endOf(20), "\nm20: failed: why\n");
  EXPECT_EQ(endOf(21), "\nm20: failed: why\n... and 1 machine more\n");
}

TEST(FleetSummary, KeepsTypesAndNamesApartWhereTheirTextsMeet) {
  TSummary summary;
  summary.Add(Record("ab", "c", "current") + Record("a", "bc", "current") + Last());
  EXPECT_EQ(summary.Components().size(), 2U);
}

TEST(FleetSummary, RefusesLinesOfOthers) {
  for (const std::string& line :
       {Record("A", "b", "worse"), std::string("{\"Type\":\"A\",\"Name\":\"b\"}\n"),
        std::string("{\"Name\":\"b\",\"verdict\":\"current\"}\n"), std::string("text\n")}) {
    TSummary summary;
    EXPECT_THROW(summary.Add(line), std::runtime_error) << line;
  }
}

TEST(FleetResultLines, GiveBackEachEscape) {
  EXPECT_EQ(Unescaped(R"(\b\f\n\r\t\"\\\/)"), "\b\f\n\r\t\"\\/");
  EXPECT_EQ(Unescaped(R"(\u0000)"), std::string(1, '\0'));
  EXPECT_EQ(Unescaped(R"(\u007f\u0080\u07ff\u0800\uffff)"),
            "\x7f\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF");
  EXPECT_EQ(Unescaped(R"(\u00E9x)"), "\xC3\xA9x");
}

TEST(FleetResultLines, WithABrokenEscapeAreRefusedAndEndNothing) {
  for (const char* written : {"\\u", "\\u1", "\\u12", "\\u123", "\\uzzzz", "\\u 123", "\\u-123",
                              "\\u+123", "\\u0x1f", "\\u123g"}) {
    EXPECT_THROW(Unescaped(written), std::runtime_error) << written;
    EXPECT_THROW(ReportOf(Last(written, "failed", "\"" + std::string(written) + "\"")),
                 std::runtime_error);
  }
}

TEST(FleetResults, OfWhatNoFleetWroteEndWithAClearFailure) {
  const test::TTemporaryFolder folder;
  folder.Write("r", Last("\\uzz"));
  TResultReader reader(folder.Path() + "/r");
  try {
    reader.Next();
    FAIL() << "it is taken";
  } catch (const TError& failure) {
    EXPECT_TRUE(
        std::string_view(failure.what()).ends_with("give a file that `svcheck fleet` wrote"))
        << failure.what();
  }
}

// They are written as they are where results are put together, a terminal perhaps.
TEST(FleetResults, WithWhatATerminalObeysAreThoseOfNoFleet) {
  const test::TTemporaryFolder folder;
  const auto isTaken = [&](const std::string& character) {
    folder.Write("r", Record("A", "b" + character, "current") + Last("a"));
    TResultReader reader(folder.Path() + "/r");
    try {
      return reader.Next().has_value();
    } catch (const TError& failure) {
      EXPECT_NE(std::string_view(failure.what()).find("holds a character that a fleet does not"),
                std::string_view::npos)
          << failure.what();
      return false;
    }
  };
  for (const char* plain : {" ", "~", "\xC2\xA0", "\xE2\x80\xA9", "\xE2\x80\xAF", "\xE2\x81\xA5",
                            "\xE2\x81\xAA", "\xF0\x9F\x98\x80"})
    EXPECT_TRUE(isTaken(plain)) << plain;
  for (const char* unsafe :
       {"\x1B[2J", "\x1F", "\t", "\r", "\x7F", "\xC2\x80", "\xC2\x9F", "\xE2\x80\xAA",
        "\xE2\x80\xAE", "\xE2\x81\xA6", "\xE2\x81\xA9", "\xFF", "\xC2", "\xED\xA0\x80"})
    EXPECT_FALSE(isTaken(unsafe)) << testing::PrintToString(unsafe);
  const std::string whole = Last("a");
  folder.Write("r", whole + std::string(4096, '\0'));  // As a power cut may leave it.
  TResultReader reader(folder.Path() + "/r");
  EXPECT_TRUE(reader.Next());
  EXPECT_FALSE(reader.Next());
  EXPECT_EQ(reader.Position(), whole.size());
}

// What a small compressed file becomes need not end.
TEST(FleetResults, OfAMachineAreTwiceWhatAFleetKeepsOfOneAtMost) {
  constexpr std::size_t kMost = std::size_t{32} << 20;
  const test::TTemporaryFolder folder;
  const std::string last = Last("a");
  const auto refusal = [&](const std::string& lines) {
    folder.Write("r", lines);
    TResultReader reader(folder.Path() + "/r");
    try {
      EXPECT_EQ(reader.Next()->lines.size(), lines.size());
    } catch (const TError& failure) {
      return std::string(failure.what());
    }
    return std::string();
  };
  for (const std::size_t count : {1U, 1000U}) {
    const std::size_t size = (kMost - last.size()) / count;
    std::string lines;
    for (std::size_t i = 0; i < count; ++i) lines += std::string(size - 1, 'x') + '\n';
    lines += std::string(kMost - last.size() - lines.size(), '\n');
    EXPECT_EQ(refusal(lines + last), "") << count;
    EXPECT_NE(refusal('x' + lines + last).find("more than a fleet keeps"), std::string::npos);
  }
  EXPECT_NE(refusal(std::string(2 * kMost, 'x')).find("a line is longer than a fleet writes"),
            std::string::npos);
}

TEST(FleetResults, AreWholeMachinesUpToTheFirstThatIsTorn) {
  const test::TTemporaryFolder folder;
  const std::string whole = Record("A", "b", "current") + Last("a") + Last("b");
  for (const std::string& rest : {Last("c").substr(0, Last("c").size() - 1), Record("A", "b", "x"),
                                  std::string("{\"mach"), std::string("\n")}) {
    folder.Write("r", whole + rest);
    TResultReader reader(folder.Path() + "/r");
    EXPECT_EQ(reader.Next()->lines, Record("A", "b", "current") + Last("a"));
    EXPECT_EQ(reader.Next()->name, "b");
    EXPECT_EQ(reader.Position(), whole.size());
    EXPECT_FALSE(reader.IsTorn());
    EXPECT_FALSE(reader.Next());
    EXPECT_TRUE(reader.IsTorn()) << rest;
    EXPECT_EQ(reader.Position(), whole.size());
  }
}

TEST(FleetFileNames, AreAsLongAsAFileSystemTakesAndDifferForDifferentMachines) {
  const auto of = [](std::size_t size, char last) {
    return FileNameOf(std::string(size - 1, 'a') + last);
  };
  EXPECT_EQ(of(119, 'b'), std::string(118, 'a') + 'b');
  EXPECT_EQ(of(120, 'b'), std::string(119, 'a') + 'b');
  for (const std::size_t size : {121, 252, 300, 100'000}) {
    EXPECT_LE(of(size, 'b').size(), 120U);
    EXPECT_TRUE(of(size, 'b').starts_with(std::string(80, 'a') + '~'));
    EXPECT_EQ(of(size, 'b'), of(size, 'b'));
    EXPECT_NE(of(size, 'b'), of(size, 'c'));
    EXPECT_NE(of(size, 'b'), of(size + 1, 'b'));
  }
  // What is written with more characters than it has counts as it is written.
  EXPECT_EQ(FileNameOf(std::string(40, '/')).size(), 120U);
  EXPECT_EQ(FileNameOf(std::string(40, '/')).find('~'), std::string::npos);
  EXPECT_NE(FileNameOf(std::string(41, '/')).find('~'), std::string::npos);
}

TEST(FleetResultLines, HaveTheirTextMembersUpToTheFirstOfAnotherKind) {
  const auto membersOf = [](std::string_view line) {
    std::string all;
    TTextMembers members(line);
    while (const auto member = members.Next())
      all += std::string(member->name) + '=' + std::string(member->written) + ';';
    return all;
  };
  EXPECT_EQ(membersOf(R"({"a":"1","b":"x\"y","c":""})"), R"(a=1;b=x\"y;c=;)");
  EXPECT_EQ(membersOf(R"({"a":"1","b":{"c":"d"},"e":"f"})"), "a=1;");
  EXPECT_EQ(membersOf(R"({"a":"1","b":2,"e":"f"})"), "a=1;");
  EXPECT_EQ(membersOf(R"({"a":["b"]})"), "");
  EXPECT_EQ(membersOf(R"({"a":"1)"), "a=1;") << "torn off";
  for (const char* none : {"", "{", "{\"", "{\"a", "{\"a\"", "{\"a\":", "{}", "{1"})
    EXPECT_EQ(membersOf(none), "") << none;
}

TEST(FleetFileNames, NameNothingOutsideTheirFolder) {
  EXPECT_EQ(FileNameOf(""), "%");
  EXPECT_EQ(FileNameOf("."), "%2e");
  EXPECT_EQ(FileNameOf(".."), "%2e.");
  EXPECT_EQ(FileNameOf("../a b"), "%2e.%2fa%20b");
  EXPECT_EQ(FileNameOf("a.b-c_D9"), "a.b-c_D9");
  EXPECT_EQ(FileNameOf("~%"), "%7e%25") << "as no other name has them";
  EXPECT_EQ(FileNameOf(std::string("\0\xC3", 2)), "%00%c3");
}

}  // namespace
}  // namespace svc::fleet
