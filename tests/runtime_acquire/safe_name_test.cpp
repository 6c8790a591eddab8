#include "runtime/acquire/safe_name.h"

#include <gtest/gtest.h>

#include <string>

namespace svc::acquire {
namespace {

using namespace std::string_literals;

TEST(SafeName, IsOnePlainFileName) {
  for (const std::string& name :
       {"a"s, "4620_rhel5_64.xml"s, "Käse 1.xml"s, ".hidden"s, "a.b.c"s, "-[x]-.xml"s,
        "CONSOLE.xml"s, "COM.xml"s, "COM10.xml"s, "LPT.txt"s, "com1x"s, "xcon"s, "nul_.xml"s,
        "..a"s, "a..b"s, std::string(255, 'x')})
    EXPECT_EQ(WhyUnsafeName(name), "") << name;
}

TEST(SafeName, HasNoMarkOfAPathOrAPattern) {
  for (const std::string& name :
       {""s,   "."s,   ".."s,  "/"s,    "a/b"s,   "../a"s, "a\\b"s,
        "C:"s, "C:a"s, "a:b"s, "a*"s,   "a?"s,    "\"a"s,  "<a"s,
        "a>"s, "a|b"s, "a\n"s, "\x1f"s, "a\x7f"s, "a\0b"s, std::string(256, 'x')})
    EXPECT_NE(WhyUnsafeName(name), "") << name;
}

TEST(SafeName, DoesNotEndInWhatWindowsCutsOff) {
  for (const char* name : {"a.", "a ", "a.xml."}) EXPECT_NE(WhyUnsafeName(name), "") << name;
}

TEST(SafeName, IsNoDeviceOfWindows) {
  for (const char* name :
       {"CON", "con", "Con.xml", "con .xml", "PRN", "aux.tar.gz", "NUL", "nul.xml", "COM0", "COM1",
        "com9.xml", "LPT1", "lpt\u00B2", "COM\u00B9.xml", "CONIN$", "conout$.x"})
    EXPECT_NE(WhyUnsafeName(name), "") << name;
}

TEST(SafePath, StaysBelowTheRepository) {
  for (const char* path : {"a.xml", "files/a.xml", "a/b/c/d.xml", "files/.x/a"})
    EXPECT_EQ(WhyUnsafePath(path), "") << path;
}

TEST(SafePath, NeverLeadsElsewhere) {
  for (const std::string& path :
       {""s, "/a"s, "a/"s, "a//b"s, "a/./b"s, "a/../b"s, "../a"s, "a\\b"s, "http://x/a"s, "//x/a"s,
        "a/CON/b"s, "a?b"s, "a/b\n"s, std::string(5000, 'x')})
    EXPECT_NE(WhyUnsafePath(path), "") << path;
}

}  // namespace
}  // namespace svc::acquire
