#include "runtime/acquire/fetcher.h"

#include <gtest/gtest.h>

#include <limits>

#include "fetching.h"
#include "outside_numbers.h"

namespace svc::acquire {
namespace {

using std::chrono::milliseconds;

EOutcome OutcomeOf(const std::optional<TError>& failure) {
  return failure ? acquire::OutcomeOf(*failure) : EOutcome::kDone;
}

std::string TextOf(const std::optional<TError>& failure) { return failure ? failure->what() : ""; }

TEST(Fetcher, BringsAFileWithOneRequest) {
  TFetching fetching;
  fetching.Script({Whole()});
  EXPECT_EQ(OutcomeOf(fetching.Fetch()), EOutcome::kDone);
  EXPECT_TRUE(fetching.one.isFinished);
  ASSERT_EQ(fetching.transport.Requests().size(), 1U);
  EXPECT_EQ(fetching.transport.Requests()[0].url, "http://server/sv/one");
  EXPECT_EQ(fetching.transport.Requests()[0].offset, 0U);
  EXPECT_EQ(fetching.transport.Requests()[0].etag, "");
  EXPECT_EQ(fetching.one.lengths, std::vector<std::uint64_t>{10});
  EXPECT_EQ(fetching.one.startsOver, 0);
}

TEST(Fetcher, AsksForAsManyAtOnceAsItMay) {
  for (const int most : {1, 2, 3, 4}) {
    TFetching fetching;
    fetching.limits.parallel = most;
    std::vector<std::unique_ptr<TNotingTarget>> targets;
    std::vector<IFetchTarget*> borrowed;
    for (const char* name : {"a", "b", "c"}) {
      TAnswer answer = Whole();
      answer.piece = 3;
      fetching.transport.Script(TFetching::Url(name), {answer});
      targets.push_back(std::make_unique<TNotingTarget>(name, "0123456789"));
      borrowed.push_back(targets.back().get());
    }
    EXPECT_EQ(OutcomeOf(fetching.Fetch(borrowed)), EOutcome::kDone);
    EXPECT_EQ(fetching.transport.MostUnderWay(), static_cast<std::size_t>(std::min(most, 3)));
    for (const auto& target : targets) EXPECT_TRUE(target->isFinished) << target->path;
  }
}

TEST(Fetcher, TriesAgainWhatMayPass) {
  for (const int status : {408, 416, 429, 500, 501, 503, 599}) {
    TFetching fetching;
    fetching.Script({Status(status), Whole()});
    EXPECT_EQ(OutcomeOf(fetching.Fetch()), EOutcome::kDone) << status;
    EXPECT_EQ(fetching.transport.Requests().size(), 2U) << status;
  }
  for (const auto end :
       {ETransferEnd::kUnreachable, ETransferEnd::kTooSlow, ETransferEnd::kBroken}) {
    TFetching fetching;
    fetching.Script({Ended(end), Whole()});
    EXPECT_EQ(OutcomeOf(fetching.Fetch()), EOutcome::kDone) << static_cast<int>(end);
  }
}

TEST(Fetcher, AsksOnceForWhatWillNotPass) {
  for (const int status :
       {201, 204, 205, 300, 304, 399, 400, 401, 403, 404, 407, 409, 410, 415, 417, 428, 430, 499}) {
    TFetching fetching;
    fetching.Script({Status(status), Whole()});
    const auto failure = fetching.Fetch();
    EXPECT_EQ(OutcomeOf(failure), EOutcome::kServerRefused) << status;
    EXPECT_NE(TextOf(failure).find("status " + std::to_string(status)), std::string::npos);
    EXPECT_EQ(fetching.transport.Requests().size(), 1U) << status;
  }
  for (const auto& [end, outcome] :
       {std::pair(ETransferEnd::kNotTrusted, EOutcome::kNotTrusted),
        std::pair(ETransferEnd::kProxyRefused, EOutcome::kProxyRefused)}) {
    TFetching fetching;
    fetching.Script({Ended(end), Whole()});
    EXPECT_EQ(OutcomeOf(fetching.Fetch()), outcome);
    EXPECT_EQ(fetching.transport.Requests().size(), 1U);
  }
}

TEST(Fetcher, GivesUpAfterTheLastAttempt) {
  TFetching fetching;
  fetching.Script({Status(503), Status(503), Whole()});
  EXPECT_EQ(OutcomeOf(fetching.Fetch()), EOutcome::kDone);

  TFetching again;
  again.Script({Status(503), Status(503), Status(503), Whole()});
  const auto failure = again.Fetch();
  EXPECT_EQ(OutcomeOf(failure), EOutcome::kServerRefused);
  EXPECT_NE(TextOf(failure).find("(tried 3 times)"), std::string::npos);
  EXPECT_EQ(again.transport.Requests().size(), 3U);
}

TEST(Fetcher, WaitsTwiceAsLongEachTimeButNotForEver) {
  TFetching fetching;
  fetching.limits.attempts = 9;
  fetching.Script({Status(503)});
  fetching.Fetch();
  long long expected = 1000;
  for (std::size_t attempt = 0; attempt < 8; ++attempt) {
    EXPECT_GE(fetching.Pause(attempt), expected * 3 / 4) << attempt;
    EXPECT_LE(fetching.Pause(attempt), expected * 5 / 4 + 100) << attempt;
    expected = std::min(2 * expected, 30'000LL);
  }
}

TEST(Fetcher, WaitsAsLongAsTheServerAsksWithinABound) {
  using std::chrono::seconds;
  const std::pair<seconds, long long> rows[] = {{seconds(0), 0},
                                                {seconds(1), 1000},
                                                {seconds(28), 28'000},
                                                {seconds(29), 29'000},
                                                {seconds(30), 30'000},
                                                {seconds(31), 30'000},
                                                {seconds(32), 30'000},
                                                {seconds(2147483647), 30'000},
                                                {seconds(2147483648), 30'000},
                                                {seconds(4294967296), 30'000},
                                                {seconds(4294967297), 30'000},
                                                {seconds(9223372036854775), 30'000},
                                                {seconds(9223372036854776), 30'000},
                                                {seconds::max(), 30'000},
                                                {seconds(-1), 0},
                                                {seconds::min(), 0}};
  for (const auto& [asked, waited] : rows) {
    TFetching fetching;
    fetching.limits.firstPause = milliseconds(1);
    TAnswer busy = Status(503);
    busy.retryAfter = asked;
    fetching.Script({busy, Whole()});
    EXPECT_EQ(OutcomeOf(fetching.Fetch()), EOutcome::kDone);
    EXPECT_GE(fetching.Pause(0), waited) << asked.count();
    EXPECT_LE(fetching.Pause(0), waited + 200) << asked.count();
  }
}

TEST(Fetcher, GoesOnWhereATransferBrokeOff) {
  TFetching fetching;
  fetching.Script({Cut(4), Part(4, "456789")});
  EXPECT_EQ(OutcomeOf(fetching.Fetch()), EOutcome::kDone);
  EXPECT_EQ(fetching.transport.Requests()[1].offset, 4U);
  EXPECT_EQ(fetching.transport.Requests()[1].etag, "\"tag\"");
  EXPECT_EQ(fetching.one.startsOver, 0);
  EXPECT_EQ(fetching.one.lengths, (std::vector<std::uint64_t>{10, 10}));
}

TEST(Fetcher, NamesNoTagThatDoesNotPromiseEqualBytes) {
  for (const char* tag : {"W/\"tag\"", "w/\"tag\"", "tag", "", " \"tag\""}) {
    TFetching fetching;
    fetching.Script({Cut(4, tag), Part(4, "456789")});
    EXPECT_EQ(OutcomeOf(fetching.Fetch()), EOutcome::kDone);
    EXPECT_EQ(fetching.transport.Requests()[1].offset, 4U) << tag;
    EXPECT_EQ(fetching.transport.Requests()[1].etag, "") << tag;
  }
}

TEST(Fetcher, StartsOverWhereTheServerSendsTheWholeAgain) {
  TFetching fetching;
  fetching.Script({Cut(4), Whole()});
  EXPECT_EQ(OutcomeOf(fetching.Fetch()), EOutcome::kDone);
  EXPECT_EQ(fetching.one.startsOver, 1);
  EXPECT_EQ(fetching.one.lengths, (std::vector<std::uint64_t>{10, 10}));
}

TEST(Fetcher, StartsOverWhereTheServerSendsAnotherPart) {
  for (const auto start :
       std::vector<std::optional<std::uint64_t>>{3, 5, 0, 4294967300, std::nullopt}) {
    TFetching fetching;
    TAnswer part = Part(4, "456789");
    part.rangeStart = start;
    fetching.Script({Cut(4), part, Whole()});
    EXPECT_EQ(OutcomeOf(fetching.Fetch()), EOutcome::kDone);
    ASSERT_EQ(fetching.transport.Requests().size(), 3U);
    EXPECT_EQ(fetching.transport.Requests()[2].offset, 0U);
    EXPECT_EQ(fetching.one.startsOver, 1);
  }
}

TEST(Fetcher, TakesNoPartThatNobodyAskedFor) {
  TFetching fetching;
  fetching.Script({Part(4, "456789")});
  const auto failure = fetching.Fetch();
  EXPECT_EQ(OutcomeOf(failure), EOutcome::kBroken);
  EXPECT_NE(TextOf(failure).find("another part"), std::string::npos);
  EXPECT_EQ(fetching.one.held, "");
}

TEST(Fetcher, StartsOverWhereTheServerHasNoSuchPart) {
  TFetching fetching;
  fetching.Script({Cut(4), Status(416), Whole()});
  EXPECT_EQ(OutcomeOf(fetching.Fetch()), EOutcome::kDone);
  ASSERT_EQ(fetching.transport.Requests().size(), 3U);
  EXPECT_EQ(fetching.transport.Requests()[1].offset, 4U);
  EXPECT_EQ(fetching.transport.Requests()[2].offset, 0U);
  EXPECT_EQ(fetching.transport.Requests()[2].etag, "");
}

TEST(Fetcher, StartsOverWhereThePartsAreOfDifferentFiles) {
  TFetching fetching;
  fetching.Script({Cut(4), Part(4, "xxxxxx"), Whole()});
  EXPECT_EQ(OutcomeOf(fetching.Fetch()), EOutcome::kDone);
  EXPECT_EQ(fetching.transport.Requests()[2].offset, 0U);
  EXPECT_EQ(fetching.transport.Requests()[2].etag, "");
}

TEST(Fetcher, AsksNoSecondTimeForAFileThatCameInOnePieceAndIsAnother) {
  TFetching fetching;
  TAnswer other = Whole();
  other.body = "xxxxxxxxxx";
  fetching.Script({other, Whole()});
  EXPECT_EQ(OutcomeOf(fetching.Fetch()), EOutcome::kBadContent);
  EXPECT_EQ(fetching.transport.Requests().size(), 1U);

  TFetching startedOver;  // What came before does not count.
  startedOver.Script({Cut(4), other, Whole()});
  EXPECT_EQ(OutcomeOf(startedOver.Fetch()), EOutcome::kBadContent);
  EXPECT_EQ(startedOver.transport.Requests().size(), 2U);
}

TEST(Fetcher, TellsTheWholeLengthWhateverTheServerSaysOfTheRest) {
  constexpr auto kMost = std::numeric_limits<std::uint64_t>::max();
  for (const auto& [text, value] : kOutsideNumbers) {
    if (!value) continue;
    TFetching fetching;
    TAnswer part = Part(4, "456789");
    part.length = *value;
    fetching.Script({Cut(4), part});
    fetching.Fetch();
    EXPECT_EQ(fetching.one.lengths.at(1), *value > kMost - 4 ? kMost : *value + 4) << text;
  }
  TFetching fetching;
  TAnswer part = Part(4, "456789");
  part.length = kMost - 4;
  fetching.Script({Cut(4), part});
  fetching.Fetch();
  EXPECT_EQ(fetching.one.lengths.at(1), kMost);
}

TEST(Fetcher, EndsAtOnceWhereBytesCannotBeKept) {
  TFetching fetching;
  fetching.one.failure = DownloadError(EOutcome::kDiskFull, "no room");
  fetching.Script({Whole()});
  TNotingTarget other("other", "0123456789");
  TAnswer slow = Whole();
  slow.piece = 1;
  fetching.transport.Script(TFetching::Url("other"), {slow});
  const auto failure = fetching.Fetch({&fetching.one, &other});
  EXPECT_EQ(OutcomeOf(failure), EOutcome::kDiskFull);
  EXPECT_EQ(TextOf(failure), "no room");
  EXPECT_EQ(fetching.transport.UnderWay(), 0U);
  EXPECT_FALSE(other.isFinished);
}

TEST(Fetcher, EndsWithItsTime) {
  for (const auto& [pause, outcome] :
       {std::pair(99, EOutcome::kDone), {100, EOutcome::kDone}, {101, EOutcome::kTooSlow}}) {
    TFetching fetching;
    fetching.limits.total = milliseconds(1000);
    TAnswer slow = Whole();
    slow.piece = 1;
    slow.pause = milliseconds(pause);
    slow.body += "0";
    slow.length = 11;
    fetching.one.content = slow.body;
    fetching.Script({slow});
    EXPECT_EQ(OutcomeOf(fetching.Fetch()), outcome) << pause;
    EXPECT_EQ(fetching.transport.UnderWay(), 0U);
  }
}

TEST(Fetcher, EndsWhenItIsToldTo) {
  TFetching fetching;
  TAnswer slow = Whole();
  slow.piece = 1;
  fetching.Script({slow});
  fetching.stopRequested = [&] { return fetching.one.held.size() == 5; };
  EXPECT_EQ(OutcomeOf(fetching.Fetch()), EOutcome::kInterrupted);
  EXPECT_EQ(fetching.one.held, "01234");
  EXPECT_EQ(fetching.transport.UnderWay(), 0U);
}

TEST(Redirect, IsFollowedWithinTheServer) {
  for (const int status : {300, 301, 302, 303, 307, 308, 399}) {
    TFetching fetching;
    fetching.Script({Redirect("HTTP://SERVER:80/elsewhere", status)});
    fetching.transport.Script("HTTP://SERVER:80/elsewhere", {Whole()});
    EXPECT_EQ(OutcomeOf(fetching.Fetch()), EOutcome::kDone) << status;
    EXPECT_EQ(fetching.transport.Requests().size(), 2U);
  }
}

TEST(Redirect, IsNoneWithAnotherStatus) {
  for (const int status : {299, 400}) {
    TFetching fetching;
    fetching.Script({Redirect("http://server/elsewhere", status)});
    fetching.transport.Script("http://server/elsewhere", {Whole()});
    EXPECT_EQ(OutcomeOf(fetching.Fetch()), EOutcome::kServerRefused) << status;
    EXPECT_EQ(fetching.transport.Requests().size(), 1U);
  }
}

TEST(Redirect, IsNotFollowedToAnotherServer) {
  for (const char* place :
       {"http://other/one", "https://server/one", "http://server:81/one", "http://server@other/one",
        "http://other?@server/", "ftp://server/one", "http://server\\@other/", "server/one"}) {
    TFetching fetching;
    fetching.Script({Redirect(place)});
    fetching.transport.Script(place, {Whole()});
    const auto failure = fetching.Fetch();
    EXPECT_EQ(OutcomeOf(failure), EOutcome::kRedirected) << place;
    EXPECT_NE(TextOf(failure).find("sends to another server"), std::string::npos);
    EXPECT_EQ(fetching.transport.Requests().size(), 1U) << place;
  }
}

TEST(Redirect, ThatNamesNoPlaceIsSaidToBeAnAnswer) {
  TFetching fetching;
  fetching.Script({Redirect("")});
  const auto failure = fetching.Fetch();
  EXPECT_EQ(OutcomeOf(failure), EOutcome::kServerRefused);
  EXPECT_NE(TextOf(failure).find("status 302"), std::string::npos);
}

TEST(Redirect, InALoopIsCalledSo) {
  TFetching itself;
  itself.Script({Redirect("http://server/sv/one")});
  const auto failure = itself.Fetch();
  EXPECT_EQ(OutcomeOf(failure), EOutcome::kRedirected);
  EXPECT_EQ(TextOf(failure),
            "the server redirects the request for http://server/sv/one in a loop; ask its "
            "administrator");
  EXPECT_EQ(itself.transport.Requests().size(), 1U);

  TFetching three;
  three.Script({Redirect("http://server/b")});
  three.transport.Script("http://server/b", {Redirect("http://server/c")});
  three.transport.Script("http://server/c", {Redirect("http://server/b")});
  EXPECT_NE(TextOf(three.Fetch()).find("in a loop"), std::string::npos);
  EXPECT_EQ(three.transport.Requests().size(), 3U);
}

TEST(Redirect, IsFollowedFiveTimesAndNoMore) {
  for (const int count : {4, 5, 6}) {
    TFetching fetching;
    std::string url = TFetching::Url("one");
    for (int i = 0; i < count; ++i) {
      const std::string next = "http://server/" + std::to_string(i);
      fetching.transport.Script(url, {Redirect(next)});
      url = next;
    }
    fetching.transport.Script(url, {Whole()});
    const auto failure = fetching.Fetch();
    EXPECT_EQ(OutcomeOf(failure), count <= 5 ? EOutcome::kDone : EOutcome::kRedirected);
    if (!failure) continue;
    EXPECT_NE(TextOf(failure).find("more than 5 times"), std::string::npos);
    EXPECT_EQ(fetching.transport.Requests().size(), 6U);
  }
}

TEST(Redirect, IsKeptForTheNextAttempt) {
  TFetching fetching;
  fetching.Script({Redirect("http://server/b")});
  fetching.transport.Script("http://server/b", {Cut(4), Part(4, "456789")});
  EXPECT_EQ(OutcomeOf(fetching.Fetch()), EOutcome::kDone);
  EXPECT_EQ(fetching.transport.Requests().back().url, "http://server/b");
  EXPECT_EQ(fetching.transport.Requests().size(), 3U);
}

}  // namespace
}  // namespace svc::acquire
