#include <gtest/gtest.h>

#include "plugins/version_checker/inventory/inventory_operations.h"
#include "tests/support/case_name.h"
#include "tests/support/expected_log.h"
#include "tests/support/fake_host.h"

using namespace NQRXHSK20;
using namespace svc::checker;
using svc::test::TExpectedLog;
using svc::test::TFakeHost;
using svc::test::ThrowStatus;
using svc::test::TLog;

namespace {

constexpr const char* kClass = "QRXSG_OperatingSystem";
constexpr const char* kRHEL5 = "Red Hat Enterprise Linux Server release 5.3 (Tikanga)";

struct TSystem {
  const char* name;
  const char* version;
  unsigned type;
  const char* buildID;
  const char* platform;
  const char* code;
};

void PrintTo(const TSystem& system, std::ostream* stream) {
  *stream << system.version << " | " << system.type << " | " << system.buildID << " | "
          << system.platform;
}

void AddSystem(TFakeHost& host, const TSystem& system) {
  host.inventory->Add(kClass, {{"Version", system.version},
                               {"OSType", TCIMValue::Unsigned(ECIMType::kUint16, system.type)},
                               {"BuildID", system.buildID},
                               {"HardwarePlatform", system.platform}});
}

std::string Code(TFakeHost& host) { return TInventoryOperations::getOSType(host.inventory); }

class TOperatingSystemCode : public testing::TestWithParam<TSystem> {};

TEST_P(TOperatingSystemCode, FollowsFromTheInventory) {
  TFakeHost host;
  AddSystem(host, GetParam());
  EXPECT_EQ(Code(host), GetParam().code);
  EXPECT_EQ(host.logger.Entries(), TExpectedLog().Trace("In getOSType").Read().Read().Read());
}

constexpr TSystem kSystems[] = {
    {"RedHat3", "", 36, "Red Hat Enterprise Linux AS release 3", "i686", "RHEL3"},
    {"RedHat4", "", 36, "Red Hat Enterprise Linux AS release 4", "i686", "RHEL4"},
    {"RedHat5", "", 36, kRHEL5, "i686", "RHEL5"},
    {"RedHat6", "", 36, "Red Hat Enterprise Linux Server release 6.0", "i686", "RHEL6"},
    {"RedHat3On64Bits", "", 36, "Red Hat Enterprise Linux AS release 3", "x86_64", "RHEL3_64"},
    {"RedHat4On64Bits", "", 36, "Red Hat Enterprise Linux AS release 4", "x86_64", "RHEL4_64"},
    {"RedHat5On64Bits", "", 36, kRHEL5, "x86_64", "RHEL5_64"},
    {"RedHat6On64Bits", "", 36, "Red Hat Enterprise Linux release 6.0", "ia64", "RHEL6_64"},
    {"RedHatOfAnotherRelease", "", 36, "Red Hat Enterprise Linux release 7", "x86_64", ""},
    {"RedHatWithoutARelease", "5.2", 36, "Red Hat Enterprise Linux", "x86_64", ""},
    {"Release4IsLookedForBefore5", "", 36, "release 5 release 4 Red Hat Enterprise Linux", "",
     "RHEL4"},
    {"Release5IsLookedForBefore3", "", 36, "release 3 release 5 Red Hat Enterprise Linux", "",
     "RHEL5"},
    {"Release3IsLookedForBefore6", "", 36, "release 6 release 3 Red Hat Enterprise Linux", "",
     "RHEL3"},
    {"RedHatIsLookedForBeforeSUSE", "", 36, "SUSE 10, Red Hat Enterprise Linux", "", ""},
    {"RedHatInOtherCase", "", 36, "red hat enterprise linux release 5", "", ""},
    {"SUSE9", "", 36, "SUSE LINUX Enterprise Server 9", "i686", "SLES9"},
    {"SUSE10", "", 36, "SUSE Linux Enterprise Server 10", "i686", "SLES10"},
    {"SUSE11", "", 36, "SUSE Linux Enterprise Server 11", "i686", "SLES11"},
    {"SUSE9On64Bits", "", 36, "SUSE LINUX Enterprise Server 9", "x86_64", "SLES9_64"},
    {"SUSE10On64Bits", "", 36, "SUSE Linux Enterprise Server 10", "x86_64", "SLES10_64"},
    {"SUSE11On64Bits", "", 36, "SUSE Linux Enterprise Server 11", "x86_64", "SLES11_64"},
    {"SUSE10WithA9Anywhere", "", 36, "SUSE Linux Enterprise Server 10 (build 2009)", "", "SLES9"},
    {"SUSE11WithA10Anywhere", "", 36, "SUSE Linux Enterprise Server 11 build 10", "", "SLES10"},
    {"SUSEAnywhereInTheBuildID", "", 36, "Linux: SUSE Enterprise Server 10", "", "SLES10"},
    {"SUSEInOtherCase", "", 36, "Suse Linux Enterprise Server 10", "", ""},
    {"SUSE10OnAPlatformWith64Inside", "", 36, "SUSE 10", "x86_64 Xeon", "SLES10_64"},
    {"SUSEOfAnotherRelease", "", 36, "SUSE Linux Enterprise Server 12", "x86_64", ""},
    {"AnotherLinux", "", 36, "Debian GNU/Linux 12", "x86_64", ""},
    {"LinuxWithAVersionOfWindows", "5.2", 36, "", "", ""},
    {"VMware3", "", 78, "", "", "VMWARE3"},
    {"VMware4", "", 81, "", "x86_64", "VMWARE4"},
    {"Windows2003", "5.2", 69, "", "", "Windows 2003"},
    {"Windows2000", "5.0", 58, "", "", "Windows 2000"},
    {"Windows2008", "6.0", 76, "", "", "Windows 2008"},
    {"Windows2008R2", "6.1", 103, "", "", "Windows 2008"},
    {"WindowsOn64BitsHasTheSameCode", "5.2", 70, "", "64-bit", "Windows 2003"},
    {"WindowsOfTypeZero", "5.2", 0, "", "", "Windows 2003"},
    {"VersionMustBeEqual", "5.20", 69, "", "", ""},
    {"AnotherWindows", "10.0", 103, "", "", ""},
};
INSTANTIATE_TEST_SUITE_P(Systems, TOperatingSystemCode, testing::ValuesIn(kSystems),
                         svc::test::TCaseName());

TEST(OperatingSystem, LastInstanceDecides) {
  TFakeHost host;
  AddSystem(host, {"", "5.2", 69, "", "", ""});
  AddSystem(host, {"", "", 36, kRHEL5, "x86_64", ""});
  EXPECT_EQ(Code(host), "RHEL5_64");
}

TEST(OperatingSystem, LastInstanceOverwritesWithEmptyTexts) {
  TFakeHost host;
  AddSystem(host, {"", "5.2", 69, "", "", ""});
  AddSystem(host, {"", "", 69, "", "", ""});
  EXPECT_EQ(Code(host), "");
}

TEST(OperatingSystem, WithoutInstancesThereIsNoCode) {
  TFakeHost host;
  host.inventory->Class(kClass);
  EXPECT_EQ(Code(host), "");
  EXPECT_EQ(host.logger.Entries(), TLog({{4, "In getOSType"}}));
}

TEST(OperatingSystem, WithoutTheClassThereIsNoCode) {
  TFakeHost host;
  EXPECT_EQ(Code(host), "");
  EXPECT_EQ(host.logger.Entries(), TLog({{4, "In getOSType"}}));
}

TEST(OperatingSystem, CallsOfTheHostInOrder) {
  TFakeHost host;
  AddSystem(host, {"", "5.2", 69, "", "", ""});
  Code(host);
  const std::vector<std::string> calls = {
      "GetClass QRXSG_OperatingSystem " + svc::test::PluginContextText(),
      "EnumerateInstances QRXSG_OperatingSystem deep {}",
      "GetProperty Version {}",
      "Value Version {}",
      "Value Version {}",
      "GetProperty OSType {}",
      "Value OSType {}",
      "GetProperty BuildID {}",
      "Value BuildID {}",
      "Value BuildID {}",
      "GetProperty HardwarePlatform {}",
      "Value HardwarePlatform {}",
      "Value HardwarePlatform {}"};
  EXPECT_EQ(host.script.Calls(), calls);
}

TEST(OperatingSystem, TypeMayBeANumericText) {
  TFakeHost host;
  host.inventory->Add(kClass, {{"OSType", "78"}});
  EXPECT_EQ(Code(host), "VMWARE3");
}

TEST(OperatingSystem, MissingTextsReadAsEmpty) {
  TFakeHost host;
  host.inventory->Add(kClass, {{"OSType", TCIMValue::Unsigned(ECIMType::kUint16, 36)}});
  EXPECT_EQ(Code(host), "");
  EXPECT_EQ(host.logger.Entries(),
            TExpectedLog().Trace("In getOSType").ReadMissing().ReadMissing().ReadMissing());
}

TEST(OperatingSystem, MissingTypePassesToTheCaller) {
  TFakeHost host;
  host.inventory->Add(kClass, {{"Version", "5.2"}});
  try {
    Code(host);
    FAIL() << "no exception";
  } catch (const THSKException& exception) {
    EXPECT_EQ(exception.GetStatusCode(), THSKStatusCode::kNoSuchProperty);
  }
}

TEST(OperatingSystem, TypeThatIsNoNumberPassesToTheCaller) {
  for (const TCIMValue& type : {TCIMValue(), TCIMValue("Linux"), TCIMValue("65536")}) {
    TFakeHost host;
    host.inventory->Add(kClass, {{"Version", "5.2"}, {"OSType", type}});
    EXPECT_THROW(Code(host), THSKException);
  }
}

TEST(OperatingSystem, OtherFailureOfTheLookupTripsTheAssertion) {
  for (const int status : {1, 11, 26, 32}) {
    TFakeHost host;
    AddSystem(host, {"", "5.2", 69, "", "", ""});
    host.script.FailAt(0, ThrowStatus(status));
    EXPECT_THROW(Code(host), TAssertionFailed);
  }
}

TEST(OperatingSystem, FailureOfTheEnumerationPassesToTheCaller) {
  TFakeHost host;
  AddSystem(host, {"", "5.2", 69, "", "", ""});
  host.script.FailAt(1, ThrowStatus(15));
  EXPECT_THROW(Code(host), THSKException);
}

}  // namespace
