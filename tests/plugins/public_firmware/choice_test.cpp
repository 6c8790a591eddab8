#include "plugins/public_firmware/public_firmware.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/hskcore/exception.h"
#include "tests/plugins/public_firmware/made_documents.h"
#include "tests/support/temporary_folder.h"

namespace svc::publicfirmware {
namespace {

constexpr const char* kGuid = "5b92717b-2cad-4a96-a13b-9d65781df8bf";
constexpr const char* kOther = "11111111-2222-3333-4444-555555555555";

struct TMade {
  std::string version;
  TTexts requirements = {};
  std::string format = "triplet";
  std::string branch = {};
  TTexts identifiers = {kGuid};
};

std::string Catalogue(const std::vector<TMade>& offers) {
  std::string text = Class("SVC_FirmwareOffer");
  for (const TMade& offer : offers) {
    text +=
        Instance("SVC_FirmwareOffer",
                 Property("Version", offer.version) + Property("VersionFormat", offer.format) +
                     Property("Branch", offer.branch) + Array("Identifiers", offer.identifiers) +
                     Array("Requirements", offer.requirements));
  }
  return Document(text);
}

class Choice : public testing::Test {
 protected:
  TAnswer Ask(const std::vector<TMade>& offers, const std::string& version,
              const std::string& format = "") {
    folder.Write("firmware.xml", Catalogue(offers));
    const TOfferIndex index(folder.Path() + "/firmware.xml");
    TMachine machine{{{"Dock", version, format, {GuidOf(kGuid)}, {}}}, {}};
    return Choose(machine.devices[0], machine, index.For(machine.devices[0].guids));
  }
  static TTexts Held(const TAnswer& answer) {
    TTexts texts;
    for (const THeldBack& held : answer.heldBack) texts.push_back(held.version + ": " + held.why);
    return texts;
  }

  test::TTemporaryFolder folder;
};

TEST_F(Choice, IsTheHighestReleaseWhereverItStands) {
  const TAnswer answer = Ask({{"1.2.0"}, {"1.10.0"}, {"1.9.0"}}, "1.3.0");
  ASSERT_TRUE(answer.choice);
  EXPECT_EQ(answer.choice->offered, "1.10.0");
  EXPECT_EQ(answer.choice->offer, 1U);
  EXPECT_EQ(answer.choice->installed, "1.3.0");
  EXPECT_LT(answer.choice->order, 0);
  EXPECT_EQ(Held(answer), TTexts());
  EXPECT_EQ(answer.way, TTexts());
}

TEST_F(Choice, IsTheSameOrAnOlderReleaseWhereNoneIsNewer) {
  EXPECT_EQ(Ask({{"1.2.0"}, {"1.1.0"}}, "1.2.0").choice->order, 0);
  const TAnswer older = Ask({{"1.2.0"}, {"1.1.0"}}, "1.2.1");
  EXPECT_GT(older.choice->order, 0);
  EXPECT_EQ(older.choice->offered, "1.2.0");
}

TEST_F(Choice, IsTheFirstOfSeveralOfOneVersion) {
  EXPECT_EQ(Ask({{"1.1.0"}, {"1.2.0"}, {"1.2.0"}}, "1.0.0").choice->offer, 1U);
}

TEST_F(Choice, GoesStepByStepWhereAReleaseAsksForAnEarlierOne) {
  const TAnswer answer = Ask(
      {{"1.4.0", {"firmware ge 1.2.0"}}, {"1.2.0", {"firmware ge 1.0.5"}}, {"1.0.5"}, {"1.0.3"}},
      "1.0.3");
  ASSERT_TRUE(answer.choice);
  EXPECT_EQ(answer.choice->offered, "1.0.5");
  EXPECT_EQ(Held(answer),
            TTexts({"1.4.0: needs 1.2.0 installed first", "1.2.0: needs 1.0.5 installed first"}));
  EXPECT_EQ(answer.way, TTexts({"1.0.5", "1.2.0", "1.4.0"}));
}

TEST_F(Choice, TellsAWayOfTwoStepsAndOfSixtyFourAtMost) {
  EXPECT_EQ(Ask({{"1.2.0", {"firmware ge 1.1.0"}}, {"1.1.0"}}, "1.0.0").way,
            TTexts({"1.1.0", "1.2.0"}));
  std::vector<TMade> steps;
  for (int step = 1; step <= 70; ++step) {
    steps.push_back(
        {"1.0." + std::to_string(step), {"firmware eq 1.0." + std::to_string(step - 1)}});
  }
  const TAnswer answer = Ask(steps, "1.0.0");
  ASSERT_EQ(answer.way.size(), 64U);
  EXPECT_EQ(answer.way.front(), "1.0.1");
  EXPECT_EQ(answer.way.back(), "1.0.64");
}

TEST_F(Choice, TellsWhatIsHeldBackAboveWhatIsChosenOrInstalled) {
  const TTexts never = {"firmware ge 9.0.0"};
  const std::string why = ": needs 9.0.0 installed first";
  const std::vector<TMade> offers = {{"1.5.0", never}, {"1.4.0", never}, {"1.3.0", never},
                                     {"1.2.0"},        {"1.2.0", never}, {"1.1.0", never}};
  EXPECT_EQ(Held(Ask(offers, "1.0.0")), TTexts({"1.5.0" + why, "1.4.0" + why, "1.3.0" + why}));
  EXPECT_EQ(Held(Ask(offers, "1.4.0")), TTexts({"1.5.0" + why}));
}

TEST_F(Choice, EndsTheWayWhereNoReleaseLeadsOn) {
  const TAnswer answer = Ask({{"1.4.0", {"firmware ge 1.3.0"}}, {"1.2.0"}}, "1.0.0");
  EXPECT_EQ(answer.choice->offered, "1.2.0");
  EXPECT_EQ(Held(answer), TTexts({"1.4.0: needs 1.3.0 installed first"}));
  EXPECT_EQ(answer.way, TTexts());
}

TEST_F(Choice, IsNoneWhereNothingHolds) {
  const TAnswer answer = Ask({{"1.4.0", {std::string("hardware - - ") + kOther}}}, "1.0.0");
  EXPECT_FALSE(answer.choice);
  EXPECT_EQ(Held(answer), TTexts({"1.4.0: for another hardware id"}));
}

TEST_F(Choice, TellsNothingOfOlderReleasesThatAreHeldBack) {
  const TAnswer answer = Ask({{"1.4.0"}, {"1.2.0", {"firmware ge 1.9.0"}}}, "1.4.0");
  EXPECT_EQ(answer.choice->offered, "1.4.0");
  EXPECT_EQ(Held(answer), TTexts());
}

TEST_F(Choice, LeavesOtherBranchesOut) {
  const TAnswer answer = Ask({{"2.0.0", {}, "triplet", "coreboot"}, {"1.2.0"}}, "1.0.0");
  EXPECT_EQ(answer.choice->offered, "1.2.0");
  EXPECT_EQ(Held(answer), TTexts({"2.0.0: on the branch coreboot"}));
}

TEST_F(Choice, StaysOnTheBranchOfTheDevice) {
  folder.Write("firmware.xml", Catalogue({{"2.0.0", {}, "triplet", "coreboot"},
                                          {"3.0.0"},
                                          {"4.0.0", {}, "triplet", "other"}}));
  const TOfferIndex index(folder.Path() + "/firmware.xml");
  TMachine machine{{{"Dock", "1.0.0", "", {GuidOf(kGuid)}, {}, "coreboot"}}, {}};
  const TAnswer answer = Choose(machine.devices[0], machine, index.For(machine.devices[0].guids));
  EXPECT_EQ(answer.choice->offered, "2.0.0");
  EXPECT_EQ(Held(answer),
            TTexts({"4.0.0: on the branch other", "3.0.0: not on the device's branch, coreboot"}));
}

TEST_F(Choice, ShowsANumberAsTheReleaseDoes) {
  const TAnswer number = Ask({{"1.2.4"}}, "16908291", "number");
  EXPECT_EQ(number.choice->installed, "1.2.3");
  EXPECT_LT(number.choice->order, 0);
  EXPECT_EQ(Ask({{"1.2.4"}}, "0x01020004", "hex").choice->order, 0);
  EXPECT_EQ(Ask({{"16908292"}}, "1.2.3").choice->offered, "1.2.4");
  EXPECT_EQ(Ask({{"0x01020004"}}, "1.2.3").choice->offered, "1.2.4");
  EXPECT_EQ(Ask({{"16908292", {}, "plain"}}, "1").choice->offered, "16908292");
  EXPECT_EQ(Ask({{"0x10", {}, "plain"}}, "0x0f").choice->offered, "0x10");
  EXPECT_EQ(Ask({{"1"}}, "0.0.0").choice->offered, "0.0.1");
  EXPECT_EQ(Ask({{"0"}}, "1.0.0").choice->offered, "0");
  EXPECT_EQ(Ask({{"6", {}, "hex"}}, "0x0003", "hex").choice->offered, "0x00000006");
  EXPECT_EQ(Ask({{"0x0006", {}, "hex"}}, "0x0003", "hex").choice->offered, "0x0006");
}

TEST_F(Choice, TakesNoReleaseThatCountsOtherwise) {
  const TAnswer answer = Ask({{"1.2.3.4", {}, "quad"}}, "1.2.3", "triplet");
  EXPECT_FALSE(answer.choice);
  EXPECT_EQ(Held(answer),
            TTexts({"1.2.3.4: its version is of the format quad, and that of the device is not"}));
  EXPECT_TRUE(Ask({{"1.2.4"}}, "1.2.3", "triplet").choice);
  EXPECT_TRUE(Ask({{"1.3", {}, "pair"}}, "1.2", "bcd").choice);
  EXPECT_FALSE(Ask({{"1.3", {}, "bcd"}}, "1.2", "pair").choice);
  EXPECT_TRUE(Ask({{"1.3", {}, ""}}, "1.2", "pair").choice);
}

TEST_F(Choice, FindsReleasesByAnyIdentifierAndEachOnce) {
  folder.Write("firmware.xml",
               Catalogue({{"1", {}, "", "", {kGuid, kOther}}, {"2", {}, "", "", {kOther}}, {"3"}}));
  const TOfferIndex index(folder.Path() + "/firmware.xml");
  EXPECT_EQ(index.Count(), 3U);
  const auto versions = [&](const std::vector<TGuid>& guids) {
    TTexts texts;
    for (const TOffer& offer : index.For(guids)) texts.push_back(offer.version);
    return texts;
  };
  EXPECT_EQ(versions({GuidOf(kOther), GuidOf(kGuid)}), TTexts({"1", "2", "3"}));
  EXPECT_EQ(versions({GuidOf(kOther)}), TTexts({"1", "2"}));
  EXPECT_EQ(versions({GuidOf("USB\\VID_0000&PID_0000")}), TTexts());
  EXPECT_EQ(versions({}), TTexts());
}

TEST_F(Choice, OfABrokenCatalogueNamesFileAndLine) {
  folder.Write("firmware.xml", "<CIM>\n<DECLARATION>\n</CIM>");
  try {
    const TOfferIndex index(folder.Path() + "/firmware.xml");
    FAIL();
  } catch (const NQRXHSK20::THSKException& error) {
    EXPECT_EQ(error.GetMessageText().find(folder.Path() + "/firmware.xml:3: "), 0U)
        << error.GetMessageText();
  }
}

}  // namespace
}  // namespace svc::publicfirmware
