#include "rules/system_codes.h"

#include <gtest/gtest.h>

#include <set>

#include "host/acquire/download_manager.h"

namespace svc::rules {
namespace {

using KPLAcquistion::ArchTypeEnum;
using KPLAcquistion::OSTypeEnum;

struct TExpected {
  const char* code;
  OSTypeEnum os;
  ArchTypeEnum arch;
  const char* family;
};
// By the names that a download manager has for the numbers.
constexpr TExpected kExpected[] = {
    {"RHEL3", OSTypeEnum::kRHEL3, ArchTypeEnum::kX86, "Linux"},
    {"RHEL3_64", OSTypeEnum::kRHEL3, ArchTypeEnum::kX64, "Linux"},
    {"RHEL4", OSTypeEnum::kRHEL4, ArchTypeEnum::kX86, "Linux"},
    {"RHEL4_64", OSTypeEnum::kRHEL4, ArchTypeEnum::kX64, "Linux"},
    {"RHEL5", OSTypeEnum::kRHEL5, ArchTypeEnum::kX86, "Linux"},
    {"RHEL5_64", OSTypeEnum::kRHEL5, ArchTypeEnum::kX64, "Linux"},
    {"RHEL6", OSTypeEnum::kRHEL6, ArchTypeEnum::kX86, "Linux"},
    {"RHEL6_64", OSTypeEnum::kRHEL6, ArchTypeEnum::kX64, "Linux"},
    {"SLES9", OSTypeEnum::kSLES9, ArchTypeEnum::kX86, "Linux"},
    {"SLES9_64", OSTypeEnum::kSLES9, ArchTypeEnum::kX64, "Linux"},
    {"SLES10", OSTypeEnum::kSLES10, ArchTypeEnum::kX86, "Linux"},
    {"SLES10_64", OSTypeEnum::kSLES10, ArchTypeEnum::kX64, "Linux"},
    {"SLES11", OSTypeEnum::kSLES11, ArchTypeEnum::kX86, "Linux"},
    {"SLES11_64", OSTypeEnum::kSLES11, ArchTypeEnum::kX64, "Linux"},
    {"VMWARE3", OSTypeEnum::kVMware3, ArchTypeEnum::kX86, "VMware"},
    {"VMWARE4", OSTypeEnum::kVMware4, ArchTypeEnum::kX64, "VMware"},
    {"Windows 2000", OSTypeEnum::kWindows2000, ArchTypeEnum::kX86, "Windows 2000"},
    {"Windows 2003", OSTypeEnum::kWindows2003, ArchTypeEnum::kX86, "Windows 2003"},
    {"Windows 2008", OSTypeEnum::kWindows2008, ArchTypeEnum::kX86, "Windows 2008"},
};

TEST(SystemCodes, AreAskedForByTheNumbersOfADownloadManager) {
  EXPECT_EQ(std::size(kExpected), kSystemCodes.size());
  for (const TExpected& expected : kExpected) {
    const TSystemCode* const row = FindSystem(expected.code);
    ASSERT_NE(row, nullptr) << expected.code;
    EXPECT_EQ(row->os, static_cast<std::int32_t>(expected.os)) << expected.code;
    EXPECT_EQ(row->arch, static_cast<std::int32_t>(expected.arch)) << expected.code;
    EXPECT_EQ(row->family, expected.family) << expected.code;
  }
}

TEST(SystemCodes, OthersAreNotAskedFor) {
  for (const char* const code :
       {"", "RHEL", "RHEL2", "RHEL7", "RHEL7_64", "RHEL5_6", "rhel5", "SLES8", "SLES12", "VMWARE2",
        "VMWARE5", "VMWARE4_64", "Windows 2008_64", "Windows", "Linux"}) {
    EXPECT_EQ(FindSystem(code), nullptr) << code;
  }
}

// What the plug-in makes of the inventory is tested where it reads it; here, that both tables are
// of one vocabulary.
TEST(SystemCodes, EveryCodeOfAMachineIsAskedForAndNoOther) {
  std::set<std::string> found;
  const auto add = [&](const TOperatingSystem& system) { found.insert(CodeOf(system)); };
  for (const char* const platform : {"i686", "x86_64"}) {
    for (const TCodeMark& row : kRedHatReleases) {
      add({"", kLinuxType, std::string(kRedHatMark) + " " + std::string(row.mark), platform});
    }
    for (const TCodeMark& row : kSuseReleases) {
      add({"", kLinuxType, std::string(kSuseMark) + " " + std::string(row.mark), platform});
    }
    for (const TCodeMark& row : kWindowsVersions) add({std::string(row.mark), 0, "", platform});
    add({"", kVMware3Type, "", platform});
    add({"", kVMware4Type, "", platform});
  }
  std::set<std::string> asked;
  for (const TSystemCode& row : kSystemCodes) asked.emplace(row.code);
  EXPECT_EQ(found, asked);
}

TEST(CodeOf, TypesBesideThoseOfLinuxAndVMwareAreWindows) {
  for (const std::uint16_t type : {std::uint16_t{35}, std::uint16_t{37}, std::uint16_t{77},
                                   std::uint16_t{79}, std::uint16_t{80}, std::uint16_t{82}}) {
    EXPECT_EQ(CodeOf({"5.2", type, "SUSE 10", "64"}), "Windows 2003") << type;
  }
  EXPECT_EQ(CodeOf({"5.2", 36, "", ""}), "");
  EXPECT_EQ(CodeOf({"5.2", 78, "", ""}), "VMWARE3");
  EXPECT_EQ(CodeOf({"5.2", 81, "", ""}), "VMWARE4");
}

TEST(CodeOf, OrderOfTheMarksDecides) {
  EXPECT_EQ(CodeOf({"", 36, "SUSE 11.10.9", "x86"}), "SLES9");
  EXPECT_EQ(CodeOf({"", 36, "SUSE 11.10", "x86"}), "SLES10");
  EXPECT_EQ(CodeOf({"", 36, "SUSE 11", "x86_64"}), "SLES11_64");
  EXPECT_EQ(CodeOf({"", 36, "SUSE 1", "x86_64"}), "");
  EXPECT_EQ(CodeOf({"", 36, "Red Hat Enterprise Linux release 5 release 4", ""}), "RHEL4");
}

TEST(CodeOf, VersionsOfWindowsAreEqualOrNone) {
  EXPECT_EQ(CodeOf({"6.0", 0, "", ""}), "Windows 2008");
  EXPECT_EQ(CodeOf({"6.1", 0, "", ""}), "Windows 2008");
  for (const char* const version : {"", "5.1", "5.3", "6.2", "6", "6.10", " 6.1"}) {
    EXPECT_EQ(CodeOf({version, 0, "", ""}), "") << version;
  }
}

}  // namespace
}  // namespace svc::rules
