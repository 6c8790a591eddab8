#include "plugins/version_checker/catalogue/live_acquisition.h"

#include <gtest/gtest.h>

#include "tests/support/case_name.h"

using namespace svc::checker;

namespace svc::test {
namespace {

// Everything that the callback knows.
struct TProgress {
  std::string item;
  bool itemActive = false;
  std::string report;
  bool reportActive = false;
  int total = 0;
  int started = 0;
  int code = 0;
  bool operator==(const TProgress& other) const = default;
};
void PrintTo(const TProgress& progress, std::ostream* stream) {
  *stream << "item '" << progress.item << "' " << progress.itemActive << ", report '"
          << progress.report << "' " << progress.reportActive << ", total " << progress.total
          << ", started " << progress.started << ", code " << progress.code;
}

struct TMessage {
  int kind;
  const char* text;
  int code = 0;
};

struct TMessages {
  const char* name;
  std::vector<TMessage> messages;
  TProgress progress;
};
void PrintTo(const TMessages& messages, std::ostream* stream) {
  for (const TMessage& message : messages.messages) {
    *stream << message.kind << " \"" << message.text << "\" " << message.code << "; ";
  }
}

class TProgressCallback : public testing::TestWithParam<TMessages> {};

TEST_P(TProgressCallback, FollowsTheMessages) {
  OITAcquireCallback callback;
  for (const TMessage& message : GetParam().messages) {
    callback.onStatus(message.kind, message.text, message.code);
  }
  const TProgress progress = {callback.GetCurrentItem(),   callback.IsItemActive(),
                              callback.GetCurrentReport(), callback.IsReportActive(),
                              callback.GetTotalItems(),    callback.GetStartedItems(),
                              callback.GetLastCode()};
  EXPECT_EQ(progress, GetParam().progress);
}

// What has an effect on every field, to see what a message leaves alone.
const std::vector<TMessage> kBusy = {{4, "t:o:9"}, {0, "i:o"}, {8, "r:o"}, {5, "", 7}};
const TProgress kBusyProgress = {"i", true, "r", true, 9, 1, 7};

std::vector<TMessage> Busy(const TMessage& last) {
  std::vector<TMessage> messages = kBusy;
  messages.push_back(last);
  return messages;
}

const TMessages kCases[] = {
    {"Nothing", {}, {}},
    {"EveryField", kBusy, kBusyProgress},
    {"StartedItem", {{0, "a:o"}}, {"a", true, "", false, 0, 1, 0}},
    {"StartedItemTwiceCountsOnce", {{0, "a:o"}, {0, "a:o"}}, {"a", true, "", false, 0, 1, 0}},
    {"OtherItemCountsToo", {{0, "a:o"}, {0, "b:o"}}, {"b", true, "", false, 0, 2, 0}},
    {"ItemsCompareByCase", {{0, "a:o"}, {0, "A:o"}}, {"A", true, "", false, 0, 2, 0}},
    {"ReturningItemCountsAgain",
     {{0, "a:o"}, {0, "b:o"}, {0, "a:o"}},
     {"a", true, "", false, 0, 3, 0}},
    {"EndedItemStartsAgainWithoutACount",
     {{0, "a:o"}, {13, "a:o"}, {0, "a:o"}},
     {"a", true, "", false, 0, 1, 0}},
    {"EmptyItemIsTheOneOfTheBeginning", {{0, ":o"}}, {"", true, "", false, 0, 0, 0}},
    {"EmptyItemCountsBehindAnother", {{0, "a:o"}, {0, ":o"}}, {"", true, "", false, 0, 2, 0}},
    {"EmptyItemBehindAListingIsNotCounted",
     {{0, "a:o"}, {3, "t:o"}, {0, ":o"}},
     {"", true, "", false, 0, 0, 0}},
    {"StartOfTheCurrentItemMakesItActive",
     {{13, "a:o"}, {0, "a:o"}},
     {"a", true, "", false, 0, 0, 0}},
    {"StartedItemNeedsTwoFields", {{0, "a"}}, {}},
    {"ProgressOfANewItem", {{1, "a:o"}}, {"a", true, "", false, 0, 0, 0}},
    {"ProgressOfTheItem", {{13, "a:o"}, {1, "a:o"}}, {"a", false, "", false, 0, 0, 0}},
    {"ProgressNeedsTwoFields", {{1, "a"}}, {}},
    {"StateOfANewItem", {{2, "a:o"}}, {"a", true, "", false, 0, 0, 0}},
    {"StateOfTheItem", {{13, "a:o"}, {2, "a:o"}}, {"a", false, "", false, 0, 0, 0}},
    {"StateNeedsTwoFields", {{2, "a"}}, {}},
    {"EndOfTheItem", {{0, "a:o"}, {13, "a:o"}}, {"a", false, "", false, 0, 1, 0}},
    {"EndOfAnotherItem", {{0, "a:o"}, {13, "b:o"}}, {"b", false, "", false, 0, 1, 0}},
    {"EndNeedsTwoFields", {{0, "a:o"}, {13, "a"}}, {"a", true, "", false, 0, 1, 0}},
    {"ListingResetsTheItems", Busy({3, "t:o"}), {"", false, "r", true, 9, 0, 7}},
    {"ListingOfOneFieldResetsToo", Busy({3, "1234"}), {"", false, "r", true, 9, 0, 7}},
    {"Total", {{4, "a:b:12"}}, {"", false, "", false, 12, 0, 0}},
    {"TotalWithBlanksAndSign", {{4, "a:b: +12x"}}, {"", false, "", false, 12, 0, 0}},
    {"NegativeTotal", {{4, "a:b:-3"}}, {"", false, "", false, -3, 0, 0}},
    {"TotalThatIsNoNumber", Busy({4, "a:b:x12"}), {"i", true, "r", true, 0, 1, 7}},
    {"EmptyTotal", Busy({4, "a:b:"}), {"i", true, "r", true, 0, 1, 7}},
    {"TotalNeedsThreeFields", Busy({4, "a:b"}), kBusyProgress},
    {"TotalBehindAdjacentColons", {{4, "a::12"}}, {"", false, "", false, 12, 0, 0}},
    {"EmptyFieldIsTheThird", Busy({4, "a:b::12"}), {"i", true, "r", true, 0, 1, 7}},
    {"StatusCode", {{5, "", 8}}, {"", false, "", false, 0, 0, 8}},
    {"StatusCodeZero", Busy({5, "", 0}), {"i", true, "r", true, 9, 1, 0}},
    {"StatusCodeThreeIsNoOutcome", Busy({5, "", 3}), kBusyProgress},
    {"ReportResetsTheReport", Busy({6, "t:o"}), {"i", true, "", false, 9, 1, 7}},
    {"ReportOfOneFieldResetsToo", Busy({6, "t"}), {"i", true, "", false, 9, 1, 7}},
    {"ReportTotalChangesNothing", Busy({7, "a:b:0"}), kBusyProgress},
    {"ReportTotalOfTwoFieldsNeither", Busy({7, "a:b"}), kBusyProgress},
    {"ReportedItem", {{8, "a:o"}}, {"", false, "a", true, 0, 0, 0}},
    {"ReportedItemAgain", {{9, "a:o"}, {8, "a:o"}}, {"", false, "a", false, 0, 0, 0}},
    {"ReportedItemNeedsTwoFields", {{8, "a"}}, {}},
    {"EndOfTheReportedItem", {{8, "a:o"}, {9, "a:o"}}, {"", false, "a", false, 0, 0, 0}},
    {"EndOfAnotherReportedItem", {{8, "a:o"}, {9, "b:o"}}, {"", false, "b", false, 0, 0, 0}},
    {"EndOfReportNeedsTwoFields", {{8, "a:o"}, {9, "a"}}, {"", false, "a", true, 0, 0, 0}},
    {"KindBelowZero", Busy({-1, "x:y:5", 5}), kBusyProgress},
    {"Kind10", Busy({10, "x:y:5", 5}), kBusyProgress},
    {"Kind11", Busy({11, "x:y:5", 5}), kBusyProgress},
    {"Kind12", Busy({12, "x:y:5", 5}), kBusyProgress},
    {"Kind14", Busy({14, "x:y:5", 5}), kBusyProgress},
};
INSTANTIATE_TEST_SUITE_P(Messages, TProgressCallback, testing::ValuesIn(kCases), TCaseName());

TEST(ProgressLines, NameEveryWindowsAlike) {
  EXPECT_EQ(ListingLine("4620", "Windows 2008 x64"),
            "\nAcquiring list of updates for Machine-Type=4620 OS=\"Windows\"...");
  EXPECT_EQ(ListingLine("4620", "RHEL5"),
            "\nAcquiring list of updates for Machine-Type=4620 OS=\"RHEL5\"...");
  EXPECT_EQ(ReportLine("4620", "my Windows"),
            "\nReporting acquisition status of updates for Machine-Type=4620 OS=\"Windows\"");
  EXPECT_EQ(ReportLine("4620", "windows"),
            "\nReporting acquisition status of updates for Machine-Type=4620 OS=\"windows\"");
}

TEST(ProgressLines, PrefixCountsItems) { EXPECT_EQ(ProgressPrefix(2, 12), "(2 of 12) "); }

}  // namespace
}  // namespace svc::test
