// The first character of a text, and which name was meant by one that is unknown.
#include "base/shown_text.h"

#include <gtest/gtest.h>

namespace svc {
namespace {

const std::vector<std::string> kNames = {"catalogue", "check", "collect", "fleet", "report"};

TEST(NearestName, IsTheOneThatTheWordBegins) {
  EXPECT_EQ(Nearest("cat", kNames), "catalogue");
  EXPECT_EQ(Nearest("col", kNames), "collect");
  EXPECT_EQ(Nearest("rep", kNames), "report");
  // The first of several.
  EXPECT_EQ(Nearest("check", {"check-all", "check-one"}), "check-all");
  // Two letters tell nothing, and neither does a part from within.
  EXPECT_EQ(Nearest("ca", kNames), "");
  EXPECT_EQ(Nearest("alogue", kNames), "");
}

TEST(NearestName, IsNoMoreThanTwoLettersAway) {
  EXPECT_EQ(Nearest("chek", kNames), "check");
  EXPECT_EQ(Nearest("chk", kNames), "check");
  EXPECT_EQ(Nearest("flet", kNames), "fleet");
  EXPECT_EQ(Nearest("flyyt", kNames), "fleet");
  EXPECT_EQ(Nearest("flyyy", kNames), "");
  EXPECT_EQ(Nearest("", kNames), "");
  EXPECT_EQ(Nearest("check", {}), "");
}

// A letter alone may stand for any other of the shortest names.
TEST(NearestName, IsNoFurtherAwayThanTheWordIsLong) {
  EXPECT_EQ(Nearest("ab", {"ac"}), "ac");
  EXPECT_EQ(Nearest("ab", {"cd"}), "");
  EXPECT_EQ(Nearest("a", {"b"}), "");
  EXPECT_EQ(Nearest("a", {"a"}), "a");
}

TEST(NearestName, IsAskedForInOneWord) {
  EXPECT_EQ(DidYouMean("cat", kNames), "did you mean \"catalogue\"? ");
  EXPECT_EQ(DidYouMean("xyz", kNames), "");
}

TEST(NearestName, IsFoundByWhatIsTypedDroppedOrExchanged) {
  const auto order = [](std::string_view word, std::vector<std::string> names, std::size_t most) {
    std::string text;
    for (const std::string& name : MostAlike(word, std::move(names), most)) text += name + " ";
    return text;
  };
  EXPECT_EQ(order("abc", {"xyz", "abcd", "ab", "abc", "abx", "bc"}, 6), "abc ab abcd abx bc xyz ");
  EXPECT_EQ(order("abc", {"xyz", "abcd", "abc"}, 2), "abc abcd ");
  EXPECT_EQ(order("abc", {"xyz"}, 2), "xyz ");
  EXPECT_EQ(order("abc", {"xyz"}, 0), "");
  // Of a long one the beginning counts.
  const std::string begin(64, 'x');
  EXPECT_EQ(order(begin + "b", {begin + "c", begin + "b", begin}, 1), begin + " ");
  EXPECT_EQ(order(begin.substr(1) + "b", {begin, begin.substr(1) + "b"}, 1),
            begin.substr(1) + "b ");
}

std::string First(std::string_view bytes) {
  const TCodePoint first = FirstCodePoint(bytes);
  EXPECT_TRUE(first.valid || first.value == kReplacement);
  return (first.valid ? std::to_string(static_cast<unsigned>(first.value)) : "none") + " of " +
         std::to_string(first.size);
}

TEST(FirstCodePoint, IsTheCharacterAndItsSize) {
  EXPECT_EQ(First(std::string_view("\0", 1)), "0 of 1");
  EXPECT_EQ(First("\x7Fx"), "127 of 1");
  EXPECT_EQ(First("\xC2\x80x"), "128 of 2");
  EXPECT_EQ(First("\xDF\xBF"), "2047 of 2");
  EXPECT_EQ(First("\xE0\xA0\x80x"), "2048 of 3");
  EXPECT_EQ(First("\xE1\x80\x80"), "4096 of 3");
  EXPECT_EQ(First("\xEC\xBF\xBF"), "53247 of 3");
  EXPECT_EQ(First("\xED\x9F\xBF"), "55295 of 3");
  EXPECT_EQ(First("\xEE\x80\x80"), "57344 of 3");
  EXPECT_EQ(First("\xEF\xBF\xBF"), "65535 of 3");
  EXPECT_EQ(First("\xF0\x90\x80\x80x"), "65536 of 4");
  EXPECT_EQ(First("\xF1\x80\x80\x80"), "262144 of 4");
  EXPECT_EQ(First("\xF3\xBF\xBF\xBF"), "1048575 of 4");
  EXPECT_EQ(First("\xF4\x8F\xBF\xBF"), "1114111 of 4");
}

// What comes behind is looked at anew.
TEST(FirstCodePoint, IsNoneOfBytesThatAreNoCharacter) {
  for (const char* alone :
       {"\x80x", "\xBFx", "\xC0\x80", "\xC1\xBF", "\xC2", "\xC2x", "\xDF\xC0", "\xC2\x7F",
        "\xE0\x9F\xBF", "\xE0\xC0", "\xED\xA0\x80", "\xEF\x7F", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80",
        "\xF5\x80\x80\x80", "\xFFx", "\xF1"}) {
    EXPECT_EQ(First(alone), "none of 1") << alone;
  }
  for (const char* two :
       {"\xE0\xA0", "\xE0\xA0x", "\xE1\x80\x7F", "\xED\x9F\xC0", "\xF0\x90", "\xF4\x8F\xC0\x80"})
    EXPECT_EQ(First(two), "none of 2") << two;
  for (const char* three : {"\xF0\x90\x80", "\xF3\xBF\xBF\xC0", "\xF4\x8F\xBF\x7F"})
    EXPECT_EQ(First(three), "none of 3") << three;
}

TEST(MarkupReplacement, StandsForFourCharactersAlone) {
  const std::map<char32_t, std::string_view> replaced = {
      {'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}};
  for (char32_t character = 0; character < 0x300; ++character) {
    const auto found = replaced.find(character);
    EXPECT_EQ(MarkupReplacement(character), found == replaced.end() ? "" : found->second);
  }
}

}  // namespace
}  // namespace svc
