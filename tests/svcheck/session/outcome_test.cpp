// What a check that did not take place is called, and what a person is told to do about it.
#include "svcheck/session/outcome.h"

#include <gtest/gtest.h>

#include <system_error>

namespace svc {
namespace {

using report::EOutcome;

report::TReport ReportOf(EOutcome outcome, const std::vector<std::string>& errors = {}) {
  report::TReport report;
  report.outcome = outcome;
  report.errors = errors;
  return report;
}

TEST(Advice, OnACatalogueThatCannotBeReadIsForWhatKeepsItFromBeingRead) {
  const std::string forbidden = std::generic_category().message(EACCES);
  const auto adviceOn = [](const std::vector<std::string>& errors) {
    return AdviceOn(ReportOf(EOutcome::kUnreadableCatalogue, errors));
  };
  EXPECT_EQ(adviceOn({}), "get the catalogue anew");
  EXPECT_EQ(adviceOn({"c/index.xml:3: no element", ""}), "get the catalogue anew");
  EXPECT_EQ(adviceOn({forbidden.substr(1)}), "get the catalogue anew");
  EXPECT_EQ(adviceOn({"c/index.xml: " + forbidden}), "give this user the right to read it");
  EXPECT_EQ(adviceOn({"first", "c/index.xml: " + forbidden + "."}),
            "give this user the right to read it");
}

TEST(Advice, IsGivenOnWhatAPersonCanMend) {
  const auto adviceOn = [](EOutcome outcome) { return AdviceOn(ReportOf(outcome)); };
  EXPECT_EQ(adviceOn(EOutcome::kNoCatalogue),
            "give the folder that holds index.xml with --catalogue");
  EXPECT_EQ(adviceOn(EOutcome::kUnsupportedCatalogue), "get a catalogue of version 4.02 or later");
  EXPECT_EQ(adviceOn(EOutcome::kNoUpdates),
            "publish descriptions for this machine and system, or give --catalogue DIR");
  EXPECT_EQ(adviceOn(EOutcome::kUnsupportedSystem),
            "`svcheck catalogue fetch --repository URL --output DIR` brings all that a repository "
            "has, for any system; then check with --catalogue DIR");
  EXPECT_EQ(adviceOn(EOutcome::kUnknownMachine),
            "name it with --machine, or give an inventory whose QRXSG_ComputerSystem has a "
            "MachineType with --inventory");
  EXPECT_EQ(adviceOn(EOutcome::kNoDefinitions), "give the folder that holds sv/ with --data-dir");
  for (const EOutcome outcome :
       {EOutcome::kDone, EOutcome::kNothingApplicable, EOutcome::kEmptyCatalogue,
        EOutcome::kDownloadFailed, EOutcome::kFailed}) {
    EXPECT_EQ(adviceOn(outcome), "") << static_cast<int>(outcome);
  }
}

TEST(FailureLine, HasSentenceCauseAndAdviceEachOnce) {
  const std::string sentence(report::RowOf(EOutcome::kNoCatalogue).sentence);
  const std::string bare = sentence.substr(0, sentence.size() - 1);
  ASSERT_EQ(sentence, bare + ".");
  const std::string advice(AdviceOn(ReportOf(EOutcome::kNoCatalogue)));
  EXPECT_EQ(FailureLine(ReportOf(EOutcome::kNoCatalogue)), bare + "; " + advice);
  EXPECT_EQ(FailureLine(ReportOf(EOutcome::kNoCatalogue, {advice})), bare + "; " + advice);
  EXPECT_EQ(FailureLine(ReportOf(EOutcome::kNoCatalogue, {"It is gone.", advice})),
            sentence + " It is gone; " + advice);
  EXPECT_EQ(FailureLine(ReportOf(EOutcome::kFailed, {"It is gone."})),
            std::string(report::RowOf(EOutcome::kFailed).sentence) + " It is gone.");
}

TEST(ExitStatus, TellsACatalogueThatIsOfNoUseFromAnyOtherFailure) {
  for (const EOutcome outcome :
       {EOutcome::kDone, EOutcome::kNothingApplicable, EOutcome::kEmptyCatalogue}) {
    EXPECT_EQ(ExitStatusOf(outcome), 0) << static_cast<int>(outcome);
    EXPECT_FALSE(FailureOf(outcome));
  }
  for (const EOutcome outcome :
       {EOutcome::kNoCatalogue, EOutcome::kUnsupportedCatalogue, EOutcome::kUnreadableCatalogue,
        EOutcome::kDownloadFailed, EOutcome::kNoUpdates}) {
    EXPECT_EQ(ExitStatusOf(outcome), 4) << static_cast<int>(outcome);
  }
  for (const EOutcome outcome : {EOutcome::kUnsupportedSystem, EOutcome::kUnknownMachine,
                                 EOutcome::kNoDefinitions, EOutcome::kFailed}) {
    EXPECT_EQ(ExitStatusOf(outcome), 1) << static_cast<int>(outcome);
  }
}

}  // namespace
}  // namespace svc
