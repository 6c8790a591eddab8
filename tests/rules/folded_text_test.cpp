#include "rules/folded_text.h"

#include <gtest/gtest.h>

namespace svc::rules {
namespace {

TEST(Folded, ChangesTheLettersAToZAlone) {
  for (int code = 0; code < 256; ++code) {
    const char character = static_cast<char>(code);
    const bool isCapital = code >= 'A' && code <= 'Z';
    EXPECT_EQ(Folded(character), isCapital ? static_cast<char>(code + 32) : character) << code;
  }
}

TEST(FoldCase, FoldsAWholeText) {
  std::string text = "/PKGS/\xC4@[`{z";
  FoldCase(text);
  EXPECT_EQ(text, "/pkgs/\xC4@[`{z");
  text.clear();
  FoldCase(text);
  EXPECT_EQ(text, "");
}

TEST(FoldCase, FoldsEachCharacterWhereverItStandsAndNoOther) {
  for (std::size_t size = 1; size <= 17; ++size) {
    for (std::size_t place = 0; place < size; ++place) {
      for (int code = 0; code < 256; ++code) {
        for (const char around : {'\xFF', '\0', 'z'}) {
          std::string text(size, around);
          text[place] = static_cast<char>(code);
          std::string expected(size, around);
          expected[place] = Folded(text[place]);
          FoldCase(text);
          ASSERT_EQ(text, expected) << code << " at " << place << " of " << size;
        }
      }
    }
  }
}

TEST(Mentions, FindsAPartAnywhereInEitherCase) {
  EXPECT_TRUE(Mentions("System BIOS", "bios"));
  EXPECT_TRUE(Mentions("system bios", "SYSTEM"));
  EXPECT_TRUE(Mentions("uefi", "uEFI"));
  EXPECT_FALSE(Mentions("BIO S", "BIOS"));
  EXPECT_FALSE(Mentions("BIO", "BIOS"));
  EXPECT_FALSE(Mentions("", "BIOS"));
  EXPECT_FALSE(Mentions("\xC4", "\xE4")) << "no letter beyond A to Z is folded";
}

TEST(PairsOf, HasThoseOfEachPart) {
  constexpr std::string_view kText = "bios and firmware update for the \xE4 sas card";
  for (std::size_t begin = 0; begin < kText.size(); ++begin) {
    for (std::size_t length = 0; begin + length <= kText.size(); ++length) {
      EXPECT_EQ(PairsOf(kText.substr(begin, length)) & ~PairsOf(kText), 0U);
    }
  }
  EXPECT_NE(PairsOf("uefi") & ~PairsOf("device driver, level 6.80"), 0U);
  EXPECT_EQ(PairsOf(""), 0U);
  EXPECT_EQ(PairsOf("a"), 0U);
}

TEST(Mentions, EveryTextContainsTheEmptyPart) {
  EXPECT_TRUE(Mentions("BIOS", ""));
  EXPECT_TRUE(Mentions("", ""));
}

TEST(FoldedText, IsFoldedWhenItIsCompiled) {
  constexpr TFoldedText kText("BMC/H8 \xC4");
  static_assert(kText.Text() == "bmc/h8 \xC4");
  constexpr TFoldedText kEmpty("");
  static_assert(kEmpty.Text().empty());
}

}  // namespace
}  // namespace svc::rules
