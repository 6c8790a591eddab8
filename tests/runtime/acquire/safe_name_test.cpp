#include "runtime/acquire/manifest.h"

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

TEST(SafeName, SaysWhyItIsNone) {
  const std::pair<std::string, std::string> rows[] = {
      {"", "is empty"},
      {".", "names a folder"},
      {"..", "names a folder"},
      {"...", "ends with a dot or a blank"},
      {std::string(256, 'x'), "is longer than 255 bytes"},
      {"a\x1f", "holds a control character"},
      {"a\x7f", "holds a control character"},
      {"a/b", "holds a separator of folders"},
      {"a\\b", "holds a separator of folders"},
      {"a:b", "holds a character that Windows gives a meaning of its own"},
      {"a ", "ends with a dot or a blank"},
      {"lpt\u00B3.xml", "names a device of Windows"},
      {"PRN", "names a device of Windows"}};
  for (const auto& [name, why] : rows) EXPECT_EQ(WhyUnsafeName(name), why) << name;
  for (const char* character : {":", "*", "?", "\"", "<", ">", "|"})
    EXPECT_EQ(WhyUnsafeName(character),
              "holds a character that Windows gives a meaning of its own");
  for (const char* port : {"COM", "LPT"})
    for (const char* digit :
         {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "\u00B9", "\u00B2", "\u00B3"})
      EXPECT_EQ(WhyUnsafeName(std::string(port) + digit), "names a device of Windows") << digit;
}

TEST(SafePath, HasALimitAndPartsWithOne) {
  std::string path(254, 'x');
  while (path.size() < 4096)
    path += "/" + std::string(std::min<std::size_t>(255, 4095 - path.size()), 'x');
  ASSERT_EQ(path.size(), 4096U);
  EXPECT_EQ(WhyUnsafePath(path), "");
  EXPECT_EQ(WhyUnsafePath("a/" + std::string(256, 'x')), "is longer than 255 bytes");
  EXPECT_EQ(WhyUnsafePath(path + "y"), "is longer than 4096 bytes");
  EXPECT_EQ(WhyUnsafePath("a//b"), "is empty");
  EXPECT_EQ(WhyUnsafePath("a/../b"), "names a folder");
  EXPECT_EQ(WhyUnsafePath("a/aux.c/b"), "names a device of Windows");
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
