#include "runtime/acquire/fetcher.h"

#include <gtest/gtest.h>

#include "outside_numbers.h"
#include "runtime/acquire/crypto.h"
#include "tests/support/temporary_folder.h"

namespace svc::acquire {
namespace {

namespace fs = std::filesystem;

// How an operation on a target ended.
template <typename TAct>
EOutcome OutcomeOf(TAct act) {
  try {
    act();
    return EOutcome::kDone;
  } catch (const TError& failure) {
    return acquire::OutcomeOf(failure);
  }
}

TEST(TextTarget, TakesATextUpToItsLimit) {
  for (const auto& [size, outcome] :
       {std::pair(9, EOutcome::kDone), {10, EOutcome::kDone}, {11, EOutcome::kTooLarge}}) {
    TTextTarget target("path", 10);
    EXPECT_EQ(OutcomeOf([&, size = size] { target.CheckLength(static_cast<std::uint64_t>(size)); }),
              outcome);
    EXPECT_EQ(OutcomeOf([&, size = size] {
                target.Append(std::string(static_cast<std::size_t>(size), 'x'));
              }),
              outcome);
    TTextTarget bytewise("path", 10);
    EXPECT_EQ(OutcomeOf([&, size = size] {
                for (int i = 0; i < size; ++i) bytewise.Append("x");
              }),
              outcome);
  }
  TTextTarget target("path", 10);
  for (const auto& [text, value] : kOutsideNumbers) {
    const std::uint64_t size = value.value_or(11);
    EXPECT_EQ(OutcomeOf([&] { target.CheckLength(size); }),
              size > 10 ? EOutcome::kTooLarge : EOutcome::kDone)
        << text;
  }
}

TEST(TextTarget, ForgetsWhatItHeldWhenItStartsOver) {
  TTextTarget target("path", 10);
  target.Append("0123456789");
  EXPECT_EQ(target.Held(), 10U);
  target.StartOver();
  EXPECT_EQ(target.Held(), 0U);
  target.Append("abc");
  target.Finish();
  EXPECT_EQ(target.Text(), "abc");
}

class TObserver : public IProgressObserver {
 public:
  void OnProgress(const TDownloadProgress& progress) noexcept override { last = progress; }
  TDownloadProgress last;
};

class TNotingCallback : public KPLAcquistion::AcquireCallbackIfc {
 public:
  void onStatus(std::int32_t kind, const std::string& text, std::int32_t code) override {
    messages.push_back(std::to_string(kind) + " " + text + " " + std::to_string(code));
  }
  std::vector<std::string> messages;
};

class FileTarget : public testing::Test {
 protected:
  FileTarget() {
    job.settings.observer = &observer;
    file.name = "one.xml";
    file.path = "files/one.xml";
    Describe("0123456789");
  }

  // Under a name of which nobody can foresee the end.
  bool HoldsStaged() const {
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path()))
      if (entry.path().filename().string().starts_with("staged")) return true;
    return false;
  }

  void Describe(const std::string& content) {
    file.size = content.size();
    file.sha256 = ToHex(Hash(EHash::kSha256, content));
  }
  std::unique_ptr<TFileTarget> Make() {
    return std::make_unique<TFileTarget>(file, folder.Path() + "/staged",
                                         folder.Path() + "/one.xml", *report);
  }
  std::string Content(const std::string& name) const {
    std::ifstream stream(folder.Path() + "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  // The bytes that the observer was told of at the end.
  std::uint64_t BytesAtTheEnd() {
    report.reset();
    return observer.last.bytes;
  }

  test::TTemporaryFolder folder;
  TDownloadJob job;
  TObserver observer;
  TNotingCallback callback;
  TManifestFile file;
  std::optional<TProgressReport> report{std::in_place, job, callback};
};

TEST_F(FileTarget, IsInItsPlaceWhenItIsWholeAndNotBefore) {
  const auto target = Make();
  target->CheckLength(10);
  target->Append("01234");
  EXPECT_EQ(target->Held(), 5U);
  EXPECT_TRUE(HoldsStaged());
  target->Append("56789");
  EXPECT_FALSE(folder.Holds("one.xml"));
  target->Finish();
  EXPECT_EQ(Content("one.xml"), "0123456789");
  EXPECT_FALSE(HoldsStaged());
  EXPECT_EQ(callback.messages.front(), "0 one.xml:10 3");
  EXPECT_EQ(callback.messages.back(), "13 one.xml:verified 3");
  EXPECT_EQ(BytesAtTheEnd(), 10U);
  EXPECT_EQ(observer.last.files, 1U);
}

TEST_F(FileTarget, HasTheLengthOfTheManifest) {
  for (const auto& [length, outcome] : {std::pair(9, EOutcome::kBadContent),
                                        {10, EOutcome::kDone},
                                        {11, EOutcome::kBadContent},
                                        {0, EOutcome::kBadContent}}) {
    const auto target = Make();
    EXPECT_EQ(OutcomeOf([&, length = length] {
                target->CheckLength(static_cast<std::uint64_t>(length));
              }),
              outcome);
    EXPECT_EQ(HoldsStaged(), outcome == EOutcome::kDone);
  }
  for (const auto& [text, value] : kOutsideNumbers) {
    const std::uint64_t size = value.value_or(11);
    EXPECT_EQ(OutcomeOf([&] { Make()->CheckLength(size); }), EOutcome::kBadContent) << text;
  }
  const auto target = Make();
  EXPECT_EQ(OutcomeOf([&] { target->CheckLength(4294967306); }), EOutcome::kBadContent);
}

TEST_F(FileTarget, TakesNoByteMoreThanTheManifestSays) {
  const auto target = Make();
  target->Append("012345678");
  EXPECT_EQ(OutcomeOf([&] { target->Append("9"); }), EOutcome::kDone);
  EXPECT_EQ(OutcomeOf([&] { target->Append("x"); }), EOutcome::kBadContent);
  EXPECT_EQ(OutcomeOf([&] { Make()->Append("0123456789x"); }), EOutcome::kBadContent);
}

TEST_F(FileTarget, OfWhichAByteIsMissingIsBroken) {
  const auto target = Make();
  target->Append("012345678");
  EXPECT_EQ(OutcomeOf([&] { target->Finish(); }), EOutcome::kBroken);
  EXPECT_FALSE(folder.Holds("one.xml"));
  target->Append("9");
  EXPECT_EQ(OutcomeOf([&] { target->Finish(); }), EOutcome::kDone);
}

TEST_F(FileTarget, OfAnotherContentIsRefusedAndGone) {
  {
    const auto target = Make();
    target->Append("012345678x");
    EXPECT_EQ(OutcomeOf([&] { target->Finish(); }), EOutcome::kBadContent);
  }
  EXPECT_FALSE(folder.Holds("one.xml"));
  EXPECT_FALSE(HoldsStaged());
}

TEST_F(FileTarget, TakesBackItsProgressWhenItStartsOver) {
  const auto target = Make();
  target->Append("wrong");
  target->StartOver();
  EXPECT_EQ(target->Held(), 0U);
  target->Append("0123");
  target->StartOver();
  target->Append("0123456789");
  target->Finish();
  EXPECT_EQ(Content("one.xml"), "0123456789");
  EXPECT_EQ(BytesAtTheEnd(), 10U);
}

TEST_F(FileTarget, MayStartOverBeforeItHasBegun) {
  const auto target = Make();
  target->StartOver();
  target->Append("0123456789");
  target->Finish();
  EXPECT_EQ(BytesAtTheEnd(), 10U);
}

TEST_F(FileTarget, MayBeEmpty) {
  Describe("");
  const auto target = Make();
  target->Finish();
  EXPECT_TRUE(folder.Holds("one.xml"));
  EXPECT_EQ(Content("one.xml"), "");
}

}  // namespace
}  // namespace svc::acquire
