#include "rules/system_codes.h"

#include <gtest/gtest.h>

namespace svc::rules {
namespace {

std::string_view Message(std::string_view path, std::string_view family) {
  const TPassedOver* const row = WhyPassedOver(path, family);
  return row == nullptr ? std::string_view() : row->message;
}

TEST(Descriptions, HoldXmlAnywhereInTheirNames) {
  for (const char* const name : {"a.xml", "xml", "readme.xml.txt", "axmlb"}) {
    EXPECT_TRUE(IsDescription(name)) << name;
  }
  for (const char* const name : {"", "a.XML", "a.xm", "a.x.ml"}) {
    EXPECT_FALSE(IsDescription(name)) << name;
  }
}

TEST(PassedOver, IsOnWindowsWhatIsForLinux) {
  for (const char* const family : {"Windows 2000", "Windows 2003", "Windows 2008"}) {
    EXPECT_EQ(Message("u_linux_1.xml", family), "Skip linux xml on windows") << family;
    EXPECT_EQ(Message("u_win.xml", family), "") << family;
    EXPECT_EQ(Message("u_Linux.xml", family), "") << family;
    EXPECT_EQ(Message("", family), "") << family;
  }
}

TEST(PassedOver, IsOnLinuxWhatIsForWindows) {
  EXPECT_EQ(Message("u_windows_1.xml", "Linux"), "Skip windows xml on linux");
  EXPECT_EQ(Message("darwin.xml", "Linux"), "Skip windows xml on linux");
  EXPECT_EQ(Message("u_linux.xml", "Linux"), "");
  EXPECT_EQ(Message("u_WIN.xml", "Linux"), "");
}

TEST(PassedOver, IsNothingForOtherFamilies) {
  for (const char* const family : {"VMware", "Windows", "Windows 2012", "linux", ""}) {
    EXPECT_EQ(Message("linux_win.xml", family), "") << family;
  }
}

TEST(PassedOver, FamiliesAreThoseOfTheSystemCodes) {
  for (const TPassedOver& row : kPassedOver) {
    const bool isKnown =
        std::any_of(kSystemCodes.begin(), kSystemCodes.end(),
                    [&](const TSystemCode& code) { return code.family == row.family; });
    EXPECT_TRUE(isKnown) << row.family;
  }
}

}  // namespace
}  // namespace svc::rules
