#include "rules/log_texts.h"

#include <gtest/gtest.h>

#include <array>

#include "rules/names.h"

namespace svc::rules {
namespace {

// To the byte: tools in use read the plug-in's log and what it prints.
TEST(LogTexts, AreWhatOthersRead) {
  EXPECT_EQ(kNoMachineType, "Unable to determine machine type");
  EXPECT_EQ(kNoDefinitions, "Error loading SV definitions file...");
  EXPECT_EQ(kNoIndex, "Error loading SV index file...");
  EXPECT_EQ(kIncorrectSystem, "Incorrect OS type! osType is ");
  EXPECT_EQ(kNoResultClass, "QRXSG_SVResult not found");
  EXPECT_EQ(kNothingApplicable, "Warning: Sorvane comparison, no supported software updates found");
  EXPECT_EQ(kDownloadFailed, "SV download failed, return value: ");
  EXPECT_EQ(kNoDownload, "error connecting.");
  EXPECT_EQ(kFirmwareCompared, "No firmware update found for LSI firmware.");
  EXPECT_EQ(kDiagnosticsSkipped, "Skipping the comparison for p1.10.");
  EXPECT_EQ(kOtherController, "Not getting same MR controller.");
  EXPECT_EQ(kInstalledIsOffered, "Use current version.");
  EXPECT_EQ(kNotRunning, "Skipping this driver comparison coz it's not up and running.");
}

TEST(LogTexts, BeginningsOfWhatIsPrintedEndBeforeTheAdvice) {
  EXPECT_EQ(kIndexTooOldStart, "ERROR: Unsupported SV index specified");
  EXPECT_EQ(kIndexNotFoundStart, "ERROR: SV index not found");
}

// The journal takes the first ending whose text an entry begins with.
TEST(LogTexts, NoEndingBeginsLikeAnother) {
  constexpr std::array kEndings = {kNoMachineType,   kNoDefinitions, kNoIndex,
                                   kIncorrectSystem, kNoResultClass, kNothingApplicable,
                                   kDownloadFailed,  kNoDownload,    kFirmwareCompared};
  for (const std::string_view ending : kEndings) {
    for (const std::string_view other : kEndings) {
      if (&ending == &other || ending == other) continue;
      EXPECT_FALSE(ending.starts_with(other)) << ending << " | " << other;
    }
  }
}

TEST(LogTexts, DriverLinesAreToldApartByTheirBeginnings) {
  EXPECT_FALSE(kNameless.starts_with(kInstalledName));
  EXPECT_FALSE(kNotRunning.starts_with(kInstalledName));
  EXPECT_FALSE(kOfferedName.starts_with(kInstalledName));
}

TEST(Names, OnlyTheTwoListsOfAnUpdateElementAreArrays) {
  for (const TUpdateProperty& property : kUpdateProperties) {
    EXPECT_EQ(property.isArray, property.name == "applicableMachineTypes" ||
                                    property.name == "applicableOperatingSystems")
        << property.name;
  }
}

}  // namespace
}  // namespace svc::rules
