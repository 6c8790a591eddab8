#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "plugins/public_firmware/public_firmware.h"

namespace svc::publicfirmware {
namespace {

constexpr const char* kGuid = "5b92717b-2cad-4a96-a13b-9d65781df8bf";
constexpr const char* kOther = "11111111-2222-3333-4444-555555555555";
constexpr const char* kHardware = "6de5d951-d755-576b-bd09-c5cf66b27234";

TDevice Device(const std::string& name, const std::string& version, const std::string& identifier) {
  return {name, version, "", {GuidOf(identifier)}, VendorsOf(identifier)};
}

class Requirement : public testing::Test {
 protected:
  std::string Why(const std::string& requirement, const std::string& installed = "1.2.0") {
    return WhyNot(requirement, machine.devices[0], installed, EVersionFormat::kTriplet, machine);
  }

  TMachine machine{
      {Device("Dock", "1.2.0", "USB\\VID_273F&PID_1004"), Device("Hub", "2.0.0", kGuid)},
      {GuidOf(kHardware)}};
};

TEST(MachineOfDevices, AreKnownByTheirIdentifiersInWhateverOrder) {
  constexpr const char* kLast = "ffffffff-2222-3333-4444-555555555555";
  const TMachine machine({Device("Last", "1", kLast), Device("First", "2", kOther)}, {});
  ASSERT_NE(machine.DeviceOf(GuidOf(kLast)), nullptr);
  EXPECT_EQ(machine.DeviceOf(GuidOf(kLast))->name, "Last");
  ASSERT_NE(machine.DeviceOf(GuidOf(kOther)), nullptr);
  EXPECT_EQ(machine.DeviceOf(GuidOf(kOther))->name, "First");
  EXPECT_EQ(machine.DeviceOf(GuidOf(kGuid)), nullptr);
}

TEST(InstalledVersion, IsInTheFormOfAReleaseWhereItHasOneInThatForm) {
  using enum EVersionFormat;
  const auto installed = [](const char* version, const char* format, EVersionFormat wanted) {
    return InstalledFor({"Dock", version, format, {}, {}}, wanted);
  };
  EXPECT_EQ(installed("1.2.3", "", kQuad), "1.2.3");
  EXPECT_EQ(installed("1.2.3", "triplet", kTriplet), "1.2.3");
  EXPECT_EQ(installed("7", "odd", kPair), "7");
  EXPECT_EQ(installed("7", "pair", kUnknown), "7");
  EXPECT_EQ(installed("1.2", "bcd", kPair), "1.2");
  EXPECT_EQ(installed("1.2", "bcd", kTriplet), std::nullopt);
  EXPECT_EQ(installed("1.2", "pair", kBcd), std::nullopt);
  EXPECT_EQ(installed("1.2", "quad", kPair), std::nullopt);
  EXPECT_EQ(installed("16908291", "number", kTriplet), "1.2.3");
  EXPECT_EQ(installed("0x01020003", "hex", kTriplet), "1.2.3");
  EXPECT_EQ(installed("16908291", "triplet", kPair), std::nullopt);
  EXPECT_EQ(installed("16908291", "plain", kPair), std::nullopt);
  EXPECT_EQ(installed("1.2", "number", kPair), std::nullopt);
}

TEST_F(Requirement, OfAVendorThatIsAnExpressionIsNotKnown) {
  for (const char mark : std::string("*+?[]\\.{}")) {
    const std::string asked = std::string("firmware regex USB:0x273F") + mark + " vendor-id";
    EXPECT_EQ(Why(asked), "has a requirement that is not known: " + asked);
  }
}

TEST_F(Requirement, OfNoKnownKindIsToldWhole) {
  EXPECT_EQ(Why("odd ge 1.0 some more"),
            "has a requirement that is not known: odd ge 1.0 some more");
}

struct TCase {
  std::string compare;
  std::vector<bool> holds;  // Of 1.1.9, 1.2.0 and 1.2.1 where 1.2.0 is asked for.
  std::string why;
};

TEST_F(Requirement, OfTheInstalledVersionHoldsOnTheRightSideOfIt) {
  const std::vector<TCase> cases = {
      {"ge", {false, true, true}, "needs 1.2.0 installed first"},
      {"gt", {false, false, true}, "needs a version above 1.2.0 installed first"},
      {"eq", {false, true, false}, "needs exactly 1.2.0 installed"},
      {"ne", {true, false, true}, "is not for 1.2.0"},
      {"le", {true, true, false}, "is for 1.2.0 and earlier"},
      {"lt", {true, false, false}, "is for versions before 1.2.0"}};
  for (const TCase& one : cases) {
    const std::vector<std::string> installed = {"1.1.9", "1.2.0", "1.2.1"};
    for (std::size_t i = 0; i < installed.size(); ++i) {
      EXPECT_EQ(Why("firmware " + one.compare + " 1.2.0", installed[i]),
                one.holds[i] ? "" : one.why)
          << one.compare << ' ' << installed[i];
    }
  }
}

TEST_F(Requirement, OfAPatternHoldsForWhatTheStarsAndMarksLeaveOpen) {
  for (const char* const pattern :
       {"1.2.0", "*", "1.*", "1.?.0", "*.0", "1.*.0", "**0", "1.2.0*"}) {
    EXPECT_EQ(Why(std::string("firmware glob ") + pattern), "") << pattern;
  }
  for (const char* const pattern : {"1.2", "2*", "1.?", "?1.2.0", "*1", "1.2.0?", "-"}) {
    EXPECT_EQ(Why(std::string("firmware glob ") + pattern),
              std::string("needs ") + pattern + " installed first");
  }
  // What a star leaves open lies behind what stands before it.
  EXPECT_EQ(Why("firmware glob 11*12", "112"), "needs 11*12 installed first");
  EXPECT_EQ(Why("firmware glob 11*12", "1112"), "");
  // In time that does not explode with the stars.
  std::string stars;
  for (int i = 0; i < 1000; ++i) stars += "*1";
  EXPECT_NE(Why("firmware glob " + stars + 'x', std::string(20000, '1')), "");
}

TEST_F(Requirement, OfAPatternLooksAtNothingBehindIt) {
  for (const std::string behind : {"*", "?", "x"}) {
    const std::string whole = "firmware glob 1.2" + behind;
    const std::string_view asked = std::string_view(whole).substr(0, whole.size() - 1);
    EXPECT_EQ(WhyNot(asked, machine.devices[0], "1.2x", EVersionFormat::kTriplet, machine),
              "needs 1.2 installed first")
        << behind;
  }
}

TEST_F(Requirement, OfAPatternIsMatchedUpToALengthOfPatternAndVersion) {
  const auto why = [&](std::size_t pattern, std::size_t version) {
    return Why("firmware glob *" + std::string(pattern - 1, '1'), std::string(version, '1'));
  };
  EXPECT_EQ(why(256, 256), "");
  EXPECT_NE(why(257, 256).find("a requirement that is not known"), std::string::npos);
  EXPECT_NE(why(256, 257).find("a requirement that is not known"), std::string::npos);
}

TEST_F(Requirement, OfAnotherDeviceIsOneOfTheFirstThatIsKnownByTheGuid) {
  const TMachine twins({Device("Dock", "1.2.0", kOther), Device("First", "2.0.0", kGuid),
                        Device("Second", "1.0.0", kGuid)},
                       {});
  const auto why = [&](const std::string& asked) {
    return WhyNot("firmware ge " + asked + ' ' + kGuid, twins.devices[0], "1.2.0",
                  EVersionFormat::kTriplet, twins);
  };
  EXPECT_EQ(why("2.0.0"), "");
  EXPECT_EQ(why("2.0.1"), "First: needs 2.0.1 installed first");
}

TEST_F(Requirement, OfAnotherDeviceAsksForItAndItsVersion) {
  const std::string hub = kGuid;
  EXPECT_EQ(Why("firmware ge 2.0.0 " + hub), "");
  EXPECT_EQ(Why("firmware ge 2.0.1 " + hub), "Hub: needs 2.0.1 installed first");
  EXPECT_EQ(Why("firmware - - " + hub), "");
  for (const std::string& guids : {std::string(kOther) + '|' + kGuid, hub + '|' + kOther}) {
    EXPECT_EQ(Why("firmware ge 2.0.0 " + guids), "") << guids;
    EXPECT_EQ(Why("firmware ge 2.0.1 " + guids), "Hub: needs 2.0.1 installed first") << guids;
  }
  EXPECT_EQ(Why(std::string("firmware - - ") + kOther), "needs another device that is not there");
  EXPECT_EQ(Why("firmware - - no guid"), "needs another device that is not there");
}

TEST_F(Requirement, OfAVendorAsksForTheVendorsOfTheIdentifiers) {
  for (const char* const vendors : {"USB:0x273F", "^USB:0x273F$", "(USB:0x273F)",
                                    "PCI:0x8086|USB:0x273F", "^(PCI:0x8086|USB:0x273F)$"}) {
    EXPECT_EQ(Why(std::string("firmware regex ") + vendors + " vendor-id"), "") << vendors;
  }
  EXPECT_EQ(Why("firmware regex USB:0x273E vendor-id"), "for devices of another vendor");
  EXPECT_EQ(Why("firmware eq USB:0x27 vendor-id"), "for devices of another vendor");
  EXPECT_NE(Why("firmware regex USB:.* vendor-id"), "");
  machine.devices[0].vendors.clear();
  EXPECT_EQ(Why("firmware regex USB:0x273E vendor-id"), "");
}

TEST_F(Requirement, OfTheMachineAsksForAnyOfTheHardwareIds) {
  EXPECT_EQ(Why(std::string("hardware - - ") + kHardware), "");
  EXPECT_EQ(Why(std::string("hardware - - ") + kOther + '|' + kHardware), "");
  EXPECT_EQ(Why(std::string("hardware - - ") + kOther), "for another hardware id");
  EXPECT_EQ(Why("hardware - -"), "for another hardware id");
  EXPECT_EQ(Why(std::string("not_hardware - - ") + kOther), "");
  EXPECT_EQ(Why(std::string("not_hardware - - ") + kHardware), "not for this hardware id");
}

TEST_F(Requirement, OfTheInstallingProgramHoldsNothingBack) {
  EXPECT_EQ(Why("id ge 99.0.0 org.freedesktop.fwupd"), "");
  EXPECT_EQ(Why("client - - detach-action"), "");
}

TEST_F(Requirement, ThatIsNotKnownHoldsTheReleaseBack) {
  for (const char* const text : {"", "memory ge 4", "unreadable - -", "firmware regex 1.*",
                                 "firmware xx 1.2.0", "firmware", "Firmware ge 1.0.0"}) {
    EXPECT_NE(Why(text).find("has a requirement that is not known"), std::string::npos) << text;
  }
  EXPECT_EQ(Why("firmware ge 1 bootloader"),
            "depends on its bootloader's version, which is not known");
  EXPECT_EQ(Why("firmware ge 1 parent"),
            "depends on devices above or below it, which are not known");
  EXPECT_EQ(Why("firmware eq 1 not-child"),
            "depends on devices above or below it, which are not known");
}

TEST_F(Requirement, OfTheBootloaderIsTestedWhereItsVersionIsKnown) {
  machine.devices[0].bootloaderVersion = "1.2.0";
  for (const char* const text : {"firmware ge 1.2.0 bootloader", "firmware lt 1.2.1 bootloader",
                                 "firmware glob 1.?.0 bootloader"}) {
    EXPECT_EQ(Why(text, "0.1.0"), "") << text;
  }
  EXPECT_EQ(Why("firmware ge 1.2.1 bootloader", "9.9.9"),
            "its bootloader: needs 1.2.1 installed first");
}

TEST_F(Requirement, OfAVendorHoldsForOneThatTheInventoryTells) {
  machine.devices[0].vendors = {"HIDRAW:0x046D", "USB:0x046D"};
  EXPECT_EQ(Why("firmware regex USB:0x046D vendor-id"), "");
  EXPECT_EQ(Why("firmware regex ^HIDRAW:0x046D$ vendor-id"), "");
  EXPECT_EQ(Why("firmware regex USB:0x273F vendor-id"), "for devices of another vendor");
}

}  // namespace
}  // namespace svc::publicfirmware
