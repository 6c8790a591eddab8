// Which name was meant by one that is unknown.
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

}  // namespace
}  // namespace svc
