// What a check that did not take place is called, and what a person is told to do about it.
#include "svcheck/session/outcome.h"

#include <gtest/gtest.h>

#include <optional>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "host/hskcore/exception.h"
#include "host/hskcore/logger.h"
#include "rules/log_texts.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "svcheck/session/record_origins.h"

namespace svc {
namespace {

using NQRXHSK20::kLogError;
using NQRXHSK20::kLogProgress;
using NQRXHSK20::kLogWarning;
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

// What a log, and what was printed, say of a query.
struct TSaid {
  int level;
  std::string_view message;
};
using TTexts = std::vector<std::string>;

report::TReport ConcludedOf(const std::vector<TSaid>& log, const std::string& printed = "",
                            const TQueryEnd& end = {}) {
  TJournal journal(nullptr);
  for (const TSaid& said : log) journal.Log(said.level, said.message);
  report::TReport report;
  report.catalogue.source = "folder";
  report.catalogue.path = "/c";
  journal.Conclude(end, printed, report);
  return report;
}

TQueryEnd Thrown(std::optional<int> status = {}) { return {false, "it threw", status, false}; }

constexpr TSaid kWalked = {kLogProgress, rules::kFirmwareCompared};

TEST(Journal, TellsHowAQueryEndedByTheFirstEntryThatSaysIt) {
  const auto outcomeOf = [](int level, std::string_view message) {
    return ConcludedOf({{level, message}, {kLogError, rules::kNoMachineType}}).outcome;
  };
  EXPECT_EQ(outcomeOf(kLogError, rules::kNoDefinitions), EOutcome::kNoDefinitions);
  EXPECT_EQ(outcomeOf(kLogError, rules::kNoIndex), EOutcome::kUnreadableCatalogue);
  EXPECT_EQ(outcomeOf(kLogError, rules::kIncorrectSystem), EOutcome::kUnsupportedSystem);
  EXPECT_EQ(outcomeOf(kLogError, rules::kNoResultClass), EOutcome::kFailed);
  EXPECT_EQ(outcomeOf(kLogWarning, rules::kNothingApplicable), EOutcome::kNothingApplicable);
  EXPECT_EQ(outcomeOf(kLogProgress, rules::kDownloadFailed), EOutcome::kDownloadFailed);
  EXPECT_EQ(outcomeOf(kLogProgress, rules::kNoDownload), EOutcome::kNoUpdates);
  // At another level the text is only one like it.
  EXPECT_EQ(outcomeOf(kLogWarning, rules::kNoDefinitions), EOutcome::kUnknownMachine);
  EXPECT_EQ(outcomeOf(kLogProgress, rules::kNothingApplicable), EOutcome::kUnknownMachine);
  EXPECT_EQ(ConcludedOf({{kLogError, rules::kNoResultClass}}).errors,
            TTexts{"no class QRXSG_SVResult takes the records; declare it in an inventory, or "
                   "leave out --no-builtin-classes"});
  EXPECT_EQ(ConcludedOf({{kLogError, rules::kNoMachineType}}).errors, TTexts());
  EXPECT_EQ(ConcludedOf({{kLogError, "Incorrect OS type! osType is 7"}}).errors,
            TTexts{"Incorrect OS type! osType is 7"});
}

TEST(Journal, TellsWhyAnIndexWasNotLoadedByWhatWasPrinted) {
  const auto concluded = [](const std::string& printed) {
    return ConcludedOf({{kLogError, rules::kNoIndex}}, printed);
  };
  EXPECT_EQ(concluded(std::string(rules::kIndexTooOld) + "\n").outcome,
            EOutcome::kUnsupportedCatalogue);
  EXPECT_EQ(concluded(std::string(rules::kIndexNotFound) + "\n").outcome, EOutcome::kNoCatalogue);
  const report::TReport broken = concluded("\n  line 12: no end \n\nand more\n");
  EXPECT_EQ(broken.outcome, EOutcome::kUnreadableCatalogue);
  EXPECT_EQ(broken.errors, (TTexts{"/c/index.xml:12: no end", "and more"}));
  EXPECT_EQ(concluded(std::string(rules::kIndexTooOld) + "\nline 2: x").errors,
            TTexts{"/c/index.xml:2: x"});
  // Of another failure what was printed says nothing of the index.
  const report::TReport other = ConcludedOf({{kLogError, rules::kNoMachineType}},
                                            std::string(rules::kIndexNotFound) + "\nline 2: x\n");
  EXPECT_EQ(other.outcome, EOutcome::kUnknownMachine);
  EXPECT_EQ(other.errors, TTexts{"line 2: x"});
}

TEST(Journal, TakesACheckForDoneWhereTheFirmwareWasComparedAndNoErrorFollowed) {
  EXPECT_EQ(ConcludedOf({kWalked}).outcome, EOutcome::kDone);
  const report::TReport told = ConcludedOf({{kLogError, "as progress"},
                                            {kLogWarning, "before"},
                                            kWalked,
                                            {kLogWarning, "odd"},
                                            {2, "passed over"},
                                            {kLogProgress, "walking"}});
  EXPECT_EQ(told.outcome, EOutcome::kDone);
  EXPECT_EQ(told.errors, TTexts{"odd"});
  const report::TReport failed = ConcludedOf({kWalked, {kLogError, "it threw"}});
  EXPECT_EQ(failed.outcome, EOutcome::kFailed);
  EXPECT_EQ(failed.errors, TTexts{"it threw"});
  const report::TReport before = ConcludedOf({{kLogError, "it threw"}});
  EXPECT_EQ(before.outcome, EOutcome::kFailed);
  EXPECT_EQ(before.errors, TTexts{"it threw"});
  EXPECT_EQ(ConcludedOf({}).outcome, EOutcome::kFailed);
  EXPECT_EQ(ConcludedOf({{kLogWarning, rules::kFirmwareCompared}}).outcome, EOutcome::kFailed);
}

TEST(Journal, TellsOfAnExceptionFirst) {
  const report::TReport report =
      ConcludedOf({kWalked, {kLogWarning, "odd"}}, "printed\n", Thrown());
  EXPECT_EQ(report.outcome, EOutcome::kFailed);
  EXPECT_EQ(report.errors, (TTexts{"it threw", "odd", "printed"}));
}

TEST(Journal, TakesTheWordOfAnotherPluginThatItIsDone) {
  TQueryEnd other;
  other.isOther = true;
  EXPECT_EQ(ConcludedOf({}, "", other).outcome, EOutcome::kDone);
  const report::TReport report = ConcludedOf({{kLogError, "it is odd"}}, "", other);
  EXPECT_EQ(report.outcome, EOutcome::kDone);
  EXPECT_EQ(report.errors, TTexts{"it is odd"});
}

TEST(Journal, KnowsACatalogueWithoutElementsWhereNothingElseIsSaid) {
  const auto outcomeOf = [](std::optional<std::uint64_t> elements, const std::vector<TSaid>& log) {
    TJournal journal(nullptr);
    for (const TSaid& said : log) journal.Log(said.level, said.message);
    report::TReport report;
    report.catalogue.elements = elements;
    journal.Conclude({}, "", report);
    return report.outcome;
  };
  EXPECT_EQ(outcomeOf(0, {}), EOutcome::kEmptyCatalogue);
  EXPECT_EQ(outcomeOf(1, {}), EOutcome::kFailed);
  EXPECT_EQ(outcomeOf({}, {}), EOutcome::kFailed);
  EXPECT_EQ(outcomeOf(0, {{kLogError, "it threw"}}), EOutcome::kFailed);
  EXPECT_EQ(outcomeOf(0, {kWalked}), EOutcome::kDone);
}

TEST(Journal, KnowsTheFilesOfTheDownloadFolderThatWereLoadedInTheirOrder) {
  TJournal journal(nullptr);
  for (const char* message :
       {"C:\\QRX_Support\\SV\\b.xml", "C:\\QRX_Support\\SV", "other", "C:\\QRX_Support\\SV\\a.xml"})
    journal.Log(kLogProgress, message);
  journal.Log(kLogWarning, "C:\\QRX_Support\\SV\\c.xml");
  EXPECT_EQ(journal.LoadedFiles(), (TTexts{"b.xml", "a.xml"}));
}

TEST(Journal, SaysOnceThatTheCatalogueIsLoadedAndReadsTheTraceUpToThere) {
  constexpr int kTrace = 5;
  int told = 0;
  TJournal journal(nullptr, [&told] { ++told; });
  EXPECT_TRUE(journal.IsLogged(kTrace));
  journal.Log(kTrace, "something");
  EXPECT_EQ(told, 0);
  for (int time = 0; time < 2; ++time) journal.Log(kTrace, rules::kSelectsMachine);
  EXPECT_EQ(told, 1);
  EXPECT_FALSE(journal.IsLogged(kTrace));
  EXPECT_FALSE(journal.IsLogged(kLogProgress + 1));
  EXPECT_TRUE(journal.IsLogged(kLogProgress));
  EXPECT_FALSE(TJournal(nullptr).IsLogged(kLogProgress + 1)) << "nobody waits for it";
}

TEST(PublicFirmware, EndsByWhatWasFoundOrThrown) {
  const auto concluded = [](const TQueryEnd& end, std::size_t records) {
    report::TReport report;
    report.records.resize(records);
    report.errors = {"before"};
    ConcludePublicFirmware(end, report);
    return report;
  };
  EXPECT_EQ(concluded({}, 0).outcome, EOutcome::kNothingApplicable);
  EXPECT_EQ(concluded({}, 1).outcome, EOutcome::kDone);
  EXPECT_EQ(concluded({}, 1).errors, TTexts{"before"});
  constexpr auto kNoFile = static_cast<int>(NQRXHSK20::THSKStatusCode::kFileNotFound);
  for (const auto& [status, outcome] :
       {std::pair(std::optional<int>(), EOutcome::kFailed),
        std::pair(std::optional(kNoFile), EOutcome::kNoCatalogue),
        std::pair(std::optional(kNoFile + 1), EOutcome::kUnreadableCatalogue)}) {
    const report::TReport report = concluded(Thrown(status), 1);
    EXPECT_EQ(report.outcome, outcome);
    EXPECT_EQ(report.errors, (TTexts{"it threw", "before"}));
  }
}

TEST(NumberProperty, IsNamedBeforeItsErrorOfAFailure) {
  for (const EOutcome outcome : {EOutcome::kFailed, EOutcome::kDone}) {
    report::TReport report = ReportOf(outcome, {"\"x\" is no uint16", "x is no uint16 now"});
    NameNumberProperty(report);
    EXPECT_EQ(report.errors[0],
              outcome == EOutcome::kFailed
                  ? "The inventory's QRXSG_OperatingSystem has an unusable OSType: \"x\" is no "
                    "uint16; correct it in the inventory"
                  : "\"x\" is no uint16");
    EXPECT_EQ(report.errors[1], "x is no uint16 now");
  }
}

TEST(InstancesOfAClass, AreThoseOfItsSubclassesTooAndNoneWithoutSuchAClass) {
  const auto object = [](const std::string& element) {
    return "<VALUE.OBJECT>" + element + "</VALUE.OBJECT>";
  };
  const auto instance = [&](const std::string& name, const std::string& text) {
    return object("<INSTANCE CLASSNAME='" + name + "'><PROPERTY NAME='P'><VALUE>" + text +
                  "</VALUE></PROPERTY></INSTANCE>");
  };
  const auto source = MakeInMemoryNamespace();
  ParseDocument(source,
                "<CIM><DECLARATION><DECLGROUP>" + object("<CLASS NAME='A'/>") +
                    object("<CLASS NAME='B' SUPERCLASS='A'/>") + object("<CLASS NAME='C'/>") +
                    instance("B", "1") + instance("C", "2") + instance("A", "3") +
                    "</DECLGROUP></DECLARATION></CIM>",
                EDocument::kInventory);
  const auto textsOf = [&](std::string_view name) {
    std::string texts;
    for (const auto& found : InstancesOf(source, name)) texts += TextOf(*found, "P");
    return texts;
  };
  EXPECT_EQ(textsOf("A"), "13");
  EXPECT_EQ(textsOf("B"), "1");
  EXPECT_EQ(textsOf("C"), "2");
  EXPECT_EQ(textsOf("D"), "");
  EXPECT_EQ(TextOf(*InstancesOf(source, "A").at(0), "Q"), "");
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
