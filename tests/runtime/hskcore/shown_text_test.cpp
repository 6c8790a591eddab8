#include "base/shown_text.h"

#include <gtest/gtest.h>

namespace svc {
namespace {

const std::string kMark = "\xEF\xBF\xBD";

std::string Utf8(char32_t c) {
  if (c < 0x80) return {static_cast<char>(c)};
  if (c < 0x800) return {static_cast<char>(0xC0 | c >> 6), static_cast<char>(0x80 | (c & 0x3F))};
  return {static_cast<char>(0xE0 | c >> 12), static_cast<char>(0x80 | (c >> 6 & 0x3F)),
          static_cast<char>(0x80 | (c & 0x3F))};
}

TEST(ShownLine, HoldsNoCharacterThatCommands) {
  const std::pair<char32_t, char32_t> forbidden[] = {
      {0x00, 0x08},     {0x0B, 0x0C},     {0x0E, 0x1F},     {0x7F, 0x9F},    {0x61C, 0x61C},
      {0x200E, 0x200F}, {0x2028, 0x2029}, {0x202A, 0x202E}, {0x2066, 0x2069}};
  for (const auto& [first, last] : forbidden)
    for (char32_t c = first; c <= last; ++c)
      EXPECT_EQ(ShownLine("a" + Utf8(c) + "b"), "a" + kMark + "b") << static_cast<unsigned>(c);
}

TEST(ShownLine, KeepsTheirNeighbours) {
  for (const char32_t c : {0x20, 0x7E, 0xA0, 0x61B, 0x61D, 0x200D, 0x2010, 0x2027, 0x202F, 0x2065,
                           0x206A, 0xE4, 0x20AC, 0xFFFD})
    EXPECT_EQ(ShownLine("a" + Utf8(c) + "b"), "a" + Utf8(c) + "b") << static_cast<unsigned>(c);
  EXPECT_EQ(ShownLine("\xF0\x9F\x98\x80"), "\xF0\x9F\x98\x80");
}

TEST(MayBeShown, LeavesTextsOfReportsWhatTheirLanguageNeeds) {
  for (const char32_t c : {0x61C, 0x200E, 0x200F, 0x2028, 0x2029, 0x202F, 0x2065, 0x206A})
    EXPECT_TRUE(MayBeShown(c)) << static_cast<unsigned>(c);
  for (const char32_t c : {0x0, 0x1F, 0x7F, 0x80, 0x9F, 0x202A, 0x202E, 0x2066, 0x2069})
    EXPECT_FALSE(MayBeShown(c)) << static_cast<unsigned>(c);
}

TEST(ShownLine, IsOneLine) {
  EXPECT_EQ(ShownLine("a\nb\r\nc\td"), "a b  c d");
  EXPECT_EQ(ShownLine(""), "");
}

TEST(ShownLine, IsValidUtf8) {
  for (const char* broken :
       {"\x80", "\xC3", "\xC0\xAF", "\xED\xA0\x80", "\xF5\x80\x80\x80", "\xFF", "\xE2\x82"}) {
    const std::string shown = ShownLine(std::string("a") + broken + "b");
    EXPECT_TRUE(shown.starts_with("a" + kMark)) << shown;
    EXPECT_TRUE(shown.ends_with(kMark + "b")) << shown;
  }
}

TEST(ShownLine, LosesItsMiddleWhereItIsTooLong) {
  const std::string text = std::string(75, 'a') + std::string(25, 'z');
  EXPECT_EQ(ShownLine(text, 101), text);
  EXPECT_EQ(ShownLine(text, 100), text);
  const std::string cut = ShownLine(text, 99);
  EXPECT_EQ(cut, std::string(69, 'a') + " [...] " + std::string(23, 'z'));
  EXPECT_EQ(cut.size(), 99U);
}

TEST(ShownLine, IsCutBetweenCharacters) {
  std::string text;
  for (int i = 0; i < 60; ++i) text += "\u20AC";
  for (std::size_t most = 100; most < 112; ++most) {
    std::string cut = ShownLine(text, most);
    EXPECT_LE(cut.size(), most);
    EXPECT_GE(cut.size(), most - 4);
    EXPECT_EQ(ShownLine(cut), cut);
    EXPECT_EQ(cut.find(kMark), std::string::npos);
  }
}

TEST(ShownLine, HasRoomForTwoLongPathsAndNoMore) {
  EXPECT_EQ(ShownLine(std::string(10'240, 'x')).size(), 10'240U);
  const std::size_t cut = ShownLine(std::string(2'000'000, '\033')).size();
  EXPECT_LE(cut, 10'240U);
  EXPECT_GE(cut, 10'240U - 4);
}

TEST(ShowLine, SaysThatItsTextIsTooMuchForMemory) {
  const std::size_t more = std::string().max_size() + 1;  // No byte of it is looked at.
  ::testing::internal::CaptureStderr();
  ShowLine({"text", more});
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "svcheck: out of memory\n");
}

TEST(ShowLine, WritesOneLineToStandardError) {
  testing::internal::CaptureStderr();
  ShowLine("a\033b\nc");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "a" + kMark + "b c\n");
}

}  // namespace
}  // namespace svc
