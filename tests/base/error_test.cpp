#include "base/error.h"

#include <gtest/gtest.h>

namespace svc {
namespace {

TEST(Error, IsAFailureWithoutANumberWhereNothingElseIsSaid) {
  const TError error("the disk is upside down; turn it");
  EXPECT_STREQ(error.what(), "the disk is upside down; turn it");
  EXPECT_EQ(error.Kind(), EErrorKind::kFailure);
  EXPECT_EQ(error.Number(), 0);
}

TEST(FileError, KeepsItsNumberAndSaysWhatTheSystemSays) {
  const TError error = FileError(ENOENT);
  EXPECT_STREQ(error.what(), "No such file or directory");
  EXPECT_EQ(error.Kind(), EErrorKind::kFile);
  EXPECT_EQ(error.Number(), ENOENT);
}

TEST(FileError, SaysAReasonOfItsOwnWhereThereIsOne) {
  const TError error = FileError(EISDIR, "it is a folder");
  EXPECT_STREQ(error.what(), "it is a folder");
  EXPECT_EQ(error.Number(), EISDIR);
}

TEST(WantOfRoom, IsAFullDiskAndAFullShareOfItAlone) {
  EXPECT_TRUE(IsWantOfRoom(FileError(ENOSPC)));
  EXPECT_TRUE(IsWantOfRoom(FileError(EDQUOT)));
  for (const int number : {0, ENOSPC - 1, ENOSPC + 1, EDQUOT - 1, EDQUOT + 1})
    EXPECT_FALSE(IsWantOfRoom(FileError(number))) << number;
}

TEST(WantOfRoom, IsNoNumberOfAnotherKind) {
  EXPECT_FALSE(IsWantOfRoom(TextError(ENOSPC, "no version")));
  EXPECT_FALSE(IsWantOfRoom(TError("broken off", EErrorKind::kDownload, ENOSPC)));
}

TEST(Retold, IsWhatTheActionThrewInOtherWords) {
  const auto read = []() -> int { throw TextError(7, "no version"); };
  try {
    Retold(read, [](const TError& error) {
      return TError(std::string("a.toml: ") + error.what(), EErrorKind::kUsage, error.Number());
    });
    ADD_FAILURE() << "nothing was thrown";
  } catch (const TError& error) {
    EXPECT_STREQ(error.what(), "a.toml: no version");
    EXPECT_EQ(error.Kind(), EErrorKind::kUsage);
    EXPECT_EQ(error.Number(), 7);
  }
}

TEST(Retold, LeavesAValueAndWhatIsOfAnotherTypeAsTheyAre) {
  const auto told = [](const std::exception& error) { return TError(error.what()); };
  EXPECT_EQ(Retold([] { return 3; }, told), 3);
  EXPECT_THROW(Retold([] { throw std::bad_alloc(); }, told), std::bad_alloc);
  EXPECT_THROW(Retold<std::bad_alloc>([] { throw TError("full"); }, told), TError);
  EXPECT_THROW(Retold<std::bad_alloc>([] { throw std::bad_alloc(); }, told), TError);
}

TEST(TextError, KeepsItsLine) {
  const TError error = TextError(7, "no version");
  EXPECT_STREQ(error.what(), "no version");
  EXPECT_EQ(error.Kind(), EErrorKind::kText);
  EXPECT_EQ(error.Number(), 7);
}

}  // namespace
}  // namespace svc
