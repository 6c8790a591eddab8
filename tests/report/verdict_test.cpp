#include "report/version.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <ostream>
#include <string_view>

namespace svc::report {
namespace {

struct TCase {
  std::string_view installed;
  std::string_view offered;
  std::string_view verdict;
};

std::ostream& operator<<(std::ostream& out, const TCase& test) {
  return out << "installed \"" << test.installed << "\", offered \"" << test.offered << '"';
}

class Verdict : public testing::TestWithParam<TCase> {};

TEST_P(Verdict, IsReadFromTheTwoTexts) {
  EXPECT_EQ(NameOf(JudgeTexts(GetParam().installed, GetParam().offered)), GetParam().verdict);
}

INSTANTIATE_TEST_SUITE_P(
    Plain, Verdict,
    testing::Values(TCase{"YUE110B", "YUE112A", "outdated"}, TCase{"YUE112A", "YUE110B", "newer"},
                    TCase{"YUE112A", "YUE112A", "current"}, TCase{"1.2", "1.2.0", "current"},
                    TCase{"1.7.9", "1.7.9", "current"}, TCase{"3.2", "3.1", "newer"},
                    TCase{"YUOO99A", "1.10", "unknown"}, TCase{"YUOO99A", "ABCD12A", "unknown"}));

// Also the texts that the comparisons write when they found nothing.
INSTANTIATE_TEST_SUITE_P(NothingThere, Verdict,
                         testing::Values(TCase{"", "1.10", "unknown"}, TCase{"1.10", "", "unknown"},
                                         TCase{"", "", "unknown"}, TCase{" - ", "9.2", "unknown"},
                                         TCase{" - ", " - ", "unknown"},
                                         TCase{"1.00 (YUOO99A) ", "1.00 () ", "unknown"},
                                         TCase{" ( ) ", "( )", "unknown"},
                                         TCase{"1.00 () ", "1.00 () ", "unknown"}));

// The catalogue names a version where its fallback takes the installed text.
INSTANTIATE_TEST_SUITE_P(UseInstalled, Verdict,
                         testing::Values(TCase{"words alone", "words alone", "current"},
                                         TCase{"6.28.00", "6.28.00", "current"}));

INSTANTIATE_TEST_SUITE_P(VersionAndBuildInParentheses, Verdict,
                         testing::Values(TCase{"1.08 (RWYU08A) ", "1.08 (RWYU10A) ", "outdated"},
                                         TCase{"1.08 (RWYU10A) ", "1.08 (RWYU08A) ", "newer"},
                                         TCase{"1.00 (YUOO99A) ", "1.00 (YUOO99A) ", "current"},
                                         TCase{" (YUOO83C) ", " (YUOO99A) ", "outdated"},
                                         TCase{"1.30 (IPYE22A) ", "1.30 (RWYU10A) ", "unknown"},
                                         TCase{"1.30 (IPYE22A) ", "1.30 (1.31) ", "unknown"},
                                         TCase{"1.30 (1.06) ", "1.30 (1.31) ", "outdated"}));

INSTANTIATE_TEST_SUITE_P(
    BuildAndVersionInOppositeOrders, Verdict,
    testing::Values(
        TCase{"DSYT89A - fdcp-1.10", "fdcp-1.10 - DSYT92A", "outdated"},
        TCase{"DSYT92A - fdcp-1.10", "fdcp-1.10 - DSYT89A", "newer"},
        TCase{"DSYT92A - 1.10", "1.10 - DSYT92A", "current"},
        TCase{"DSYT89A - 1.09", "1.10 - DSYT92A", "outdated"},
        TCase{"DSYT92A - 1.09", "1.10 - DSYT92A", "outdated"},
        TCase{"DSYT92A - 1.11", "1.10 - DSYT92A", "newer"},
        TCase{"DSYT92A - 1.10", "1.10 - DSYT89A", "newer"},
        TCase{"DSYT92A - 1.11", "1.10 - DSYT89A", "newer"},
        TCase{"DSYT92A - 1.09", "1.10 - DSYT89A", "unknown"},
        TCase{"DSYT92A - 1.11", "1.10 - ABCD12A", "newer"},
        TCase{"DSYT92A - rc", "1.10 - DSYT95A", "outdated"}, TCase{"9.2 - 1", "9.2 - 2", "unknown"},
        TCase{"DSYT89A - 1.10", "DSYT89A - DSYT92A", "outdated"},
        TCase{"DSYT89A - 9.2", "9.3", "outdated"}, TCase{"DSYT89A - 9.2", "DSYT92A", "outdated"},
        TCase{"DSYT92A - 9.2", "DSYT92A", "current"}, TCase{"DSYT89A - ", "9.3", "unknown"},
        TCase{" - 9.2", "9.2.0", "current"}, TCase{"DSYT89A - 1.10", "1.09 - DSYT92A", "unknown"},
        TCase{"ABCD12A - 1.10", "1.10 - DSYT92A", "unknown"},
        TCase{"ABCD12A - 1.09", "1.10 - DSYT92A", "outdated"},
        TCase{"DSYT89A - 1.09", "fdcp-1.10 - DSYT92A", "outdated"},
        TCase{"DSYT89A - 1.10", "DSYT92A - 1.10", "outdated"}));

INSTANTIATE_TEST_SUITE_P(Marks, Verdict,
                         testing::Values(TCase{"-[YUOO83CUS-1.10]-", "YUOO99A", "outdated"},
                                         TCase{"1.10-[QKL120A]-", "QKL120A", "current"},
                                         TCase{"-[1.10]-", "1.11", "outdated"},
                                         TCase{"-[1.10-2]-", "1.10-3", "outdated"},
                                         TCase{"-[1.10-2]-", "1.10-2", "current"},
                                         TCase{"-[1.10-2]-", "2", "outdated"},
                                         TCase{"-[YUOO99A-1.10-2]-", "1.10-2", "current"},
                                         TCase{"1.10-[YUOO99A", "1.11", "outdated"},
                                         TCase{"1.10-[YUOO99A-1.12]-", "1.11", "newer"},
                                         TCase{" 1.10 -[YUOO99A]-", "1.11", "outdated"}));

// A build is compared by the rules of a version.
INSTANTIATE_TEST_SUITE_P(Builds, Verdict,
                         testing::Values(TCase{"1.30 (5)", "1.30 (12)", "outdated"},
                                         TCase{"1.30 (0x0f)", "1.30 (0x10)", "outdated"},
                                         TCase{"1.30 (15)", "1.30 (0x10)", "unknown"},
                                         TCase{"1.30 (c47d693)", "1.30 (c8d6880)", "unknown"},
                                         TCase{"1.30 (c47d693)", "1.31 (c8d6880)", "outdated"},
                                         TCase{"1.30 (12/01/2023)", "1.30 (01/31/2024)",
                                               "outdated"},
                                         TCase{"1.30 (20231201)", "1.30 (7)", "unknown"},
                                         TCase{"1.30 (1.06)", "1.30", "unknown"},
                                         TCase{"1.30 (YUOO99A)", "1.30 (YUOO99AUS)", "unknown"},
                                         TCase{"YUOO99A - 1.30", "1.30 - YUOO99AUS", "unknown"}));

struct TWhy {
  std::string_view installed, offered;
  EUnordered why;
};

TEST(UnknownVerdict, TellsWhy) {
  using enum EUnordered;
  for (const TWhy& test :
       std::initializer_list<TWhy>{{"", "1.10", kNothingInstalled},
                                   {" - ", " - ", kNothingInstalled},
                                   {"1.10", " ", kNothingOffered},
                                   {"1.00 (YUOO99A) ", "1.00 () ", kNoBuild},
                                   {"1.00 () ", "1.00 () ", kNoBuild},
                                   {"DSYT92A - 1.09", "1.10 - DSYT89A", kContradiction},
                                   {"DSYT89A - ", "9.3", kForms},
                                   {"1.30 (IPYE22A) ", "1.30 (RWYU10A) ", kSeries},
                                   {"1.2rc1", "1.2", kAddition}}) {
    const TJudgement judgement = JudgeWithReason(test.installed, test.offered);
    EXPECT_EQ(judgement.verdict, EVerdict::kUnknown);
    ASSERT_TRUE(judgement.why) << test.installed << ", " << test.offered;
    EXPECT_EQ(TextOf(*judgement.why), TextOf(test.why)) << test.installed << ", " << test.offered;
  }
}

TEST(KnownVerdict, HasNoReason) {
  for (const std::string_view offered : {"1.1", "1.2", "1.3", "1.2.0"}) {
    EXPECT_NE(JudgeWithReason("1.2", offered).verdict, EVerdict::kUnknown);
    EXPECT_FALSE(JudgeWithReason("1.2", offered).why) << offered;
  }
}

// More pairs than are remembered, of texts on both sides of the length up to which they are.
TEST(Verdict, IsTheSameHoweverOftenAndAfterWhateverItIsAskedFor) {
  const auto version = [](int number) {
    const std::string digits = std::to_string(number);
    const std::size_t length = number % 2 == 0 ? 31 : 32;
    return "1." + std::string(length - 2 - digits.size(), '0') + digits;
  };
  for (int round = 0; round < 2; ++round) {
    for (int installed = 1; installed <= 80; ++installed) {
      for (int offered = 1; offered <= 80; ++offered) {
        const EVerdict expected = installed < offered   ? EVerdict::kOutdated
                                  : installed > offered ? EVerdict::kNewer
                                                        : EVerdict::kCurrent;
        for (int again = 0; again < 2; ++again) {
          ASSERT_EQ(JudgeTexts(version(installed), version(offered)), expected)
              << installed << ", " << offered;
        }
      }
    }
    const TJudgement silent = JudgeWithReason("1.10", "");
    EXPECT_EQ(silent.why, EUnordered::kNothingOffered);
  }
}

INSTANTIATE_TEST_SUITE_P(OddTexts, Verdict,
                         testing::Values(TCase{")", "(", "unknown"}, TCase{"]-x-[", "1", "unknown"},
                                         TCase{"\xFF\xFE", "1.0", "unknown"},
                                         TCase{"(1.2)", "(1.3)", "outdated"}));

TEST(VerdictNames, ReadBack) {
  for (const EVerdict verdict : kVerdicts) EXPECT_EQ(VerdictOfName(NameOf(verdict)), verdict);
  EXPECT_FALSE(VerdictOfName("old"));
}

}  // namespace
}  // namespace svc::report
