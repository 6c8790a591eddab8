#include <algorithm>
#include <boost/algorithm/string/case_conv.hpp>

#include "tests/plugins/version_checker/firmware/firmware_fixture.h"

using namespace svc::checker;

namespace svc::test {
namespace {

constexpr const char* kFiles = "f-#9 x";

// What each branch logs, and the records that it delivers, on a machine whose inventory has no
// firmware class: "1.0-[KV]-" is on offer, and the list of driver files is kFiles.
struct TBranch {
  TExpectedLog log;
  TRecords records;
  std::set<std::size_t> found;
};

TExpectedLog MissingClass() { return TExpectedLog().Trace("In getStringPropertyFromContainer"); }

TBranch SystemUEFI() {
  return {TExpectedLog()
              .Progress("SV got uEFI from metadata")
              .Read()
              .Append(MissingClass().Entries())
              .Delivery(),
          {{"Firmware", "System UEFI", "", "KV"}},
          {kSystemBIOS}};
}

TBranch Diagnostics() {
  return {TExpectedLog()
              .Read()
              .Append(MissingClass().Entries())
              .Error("Starting Diagnostics comparison")
              .Error("KV")
              .Append(MissingClass().Entries())
              .Delivery(),
          {{"Firmware", "Diagnostics", " - ", "KV"}},
          {kDiagnostics}};
}

TBranch RemoteWatchAdapter() { return {TExpectedLog().Read().ListMissing(), {}, {}}; }

TBranch ControlProcessor() {
  return {TExpectedLog().Append(MissingClass().Entries()).Read().Append(MissingClass().Entries()),
          {},
          {}};
}

// An element that has no description is for neither.
TBranch BMCOrH8(bool hasDescription) {
  TExpectedLog log = TExpectedLog().Read();
  for (int i = 0; i < 4; ++i) hasDescription ? log.Test() : log.TestMissing();
  return {log, {}, {}};
}

TBranch Broadcom() {
  return {TExpectedLog()
              .Trace("starting Brdcom firmware...")
              .Read()
              .Append(MissingClass().Entries())
              .Trace("")
              .Trace(kFiles)
              .Trace("before getting into container 2nd")
              .ListMissing()
              .Trace("after getting into container 2nd"),
          {},
          {kBroadcom}};
}

TBranch MegaRAID() {
  return {TExpectedLog()
              .Trace("starting LSI MR firmware comparison...")
              .Append(MissingClass().Entries())
              .Progress("")
              .Progress("")
              .Read()
              .Progress("driverFiles ==")
              .Progress(kFiles)
              .Progress("")
              .Read()
              .Trace("Matching MR controller:")
              .Trace("")
              .Append(MissingClass().Entries())
              .Delivery(),
          {{"Firmware", "f", "", ""}},
          {}};
}

TBranch IntegratedRAID() {
  return {TExpectedLog()
              .Append(MissingClass().Entries())
              .Progress("Matching LSI IR...")
              .Progress("")
              .Read()
              .Progress("driverFiles ==")
              .Progress(kFiles)
              .Progress("9")
              .ListMissing()
              .Append(MissingClass().Entries())
              .Progress("")
              .Read()
              .Progress("driverFiles ==")
              .Progress(kFiles)
              .ListMissing(),
          {},
          {}};
}

// By row of the chain, from 0.
TBranch BranchOfRow(std::size_t row, bool hasDescription) {
  if (row < 2) return SystemUEFI();
  if (row < 7) return Diagnostics();
  if (row < 11) return RemoteWatchAdapter();
  if (row < 12) return ControlProcessor();
  if (row < 13) return BMCOrH8(hasDescription);
  if (row < 14) return Broadcom();
  if (row < 17) return MegaRAID();
  return IntegratedRAID();
}

// Adds a text to a property, behind what it holds already.
void AddText(TFakeProperties& element, const char* property, const std::string& text) {
  for (auto& [name, value] : element) {
    if (name != property) continue;
    value = value.ToString(10) + " and " + text;
    return;
  }
  element.emplace_back(property, text);
}

class TDispatch : public TFirmwareTest {
 protected:
  // Walks over one element and compares records and log with those of the row that decides.
  void ExpectBranch(TFakeProperties element) {
    element.emplace_back("Version", "1.0-[KV]-");
    element.emplace_back("driverFiles", kFiles);
    const bool hasDescription = element[0].first == "description" ||
                                (element.size() > 3 && element[1].first == "description");
    const auto row = std::find_if(kChain.begin(), kChain.end(),
                                  [&](const auto& test) { return Holds(test, element); });
    ASSERT_NE(row, kChain.end());
    const TBranch branch =
        BranchOfRow(static_cast<std::size_t>(row - kChain.begin()), hasDescription);
    CompareOne(element);
    EXPECT_EQ(host.Records(), branch.records);
    TWalkLog log;
    log.BIOSTests(element).ChainTests(element).Append(branch.log.Entries());
    log.Report(branch.found);
    EXPECT_EQ(host.logger.Entries(), log);
    ExpectTheSameUntraced(element, branch.records);
  }

 private:
  // Walks again while the trace is not kept.
  void ExpectTheSameUntraced(const TFakeProperties& element, TRecords records) {
    const TLog log = host.logger.UpTo(NQRXHSK20::kLogProgress);
    host.logger.Forget();
    host.logger.Keep(NQRXHSK20::kLogProgress);
    CompareOne(element);
    const TRecords once = records;
    records.insert(records.end(), once.begin(), once.end());
    EXPECT_EQ(host.Records(), records);
    EXPECT_EQ(host.logger.Entries(), log);
  }
};

class TDispatchRow : public TDispatch, public testing::WithParamInterface<std::size_t> {};

TEST_P(TDispatchRow, PicksItsBranch) {
  const TDispatchTest& test = kChain[GetParam()];
  ExpectBranch({{test.property, "The " + std::string(test.needle) + ", 1"}});
}

TEST_P(TDispatchRow, IgnoresCase) {
  const TDispatchTest& test = kChain[GetParam()];
  ExpectBranch({{test.property, boost::algorithm::to_lower_copy(std::string(test.needle))}});
}

INSTANTIATE_TEST_SUITE_P(Chain, TDispatchRow, testing::Range(std::size_t{0}, std::size_t{20}));

class TDispatchPair : public TDispatch,
                      public testing::WithParamInterface<std::tuple<std::size_t, std::size_t>> {};

TEST_P(TDispatchPair, FirstRowThatHoldsDecides) {
  const auto [earlier, later] = GetParam();
  if (earlier >= later) GTEST_SKIP() << "the same pair, the other way round";
  TFakeProperties element;
  AddText(element, kChain[later].property, kChain[later].needle);
  AddText(element, kChain[earlier].property, kChain[earlier].needle);
  ASSERT_TRUE(Holds(kChain[later], element) && Holds(kChain[earlier], element));
  ExpectBranch(element);
}

std::vector<std::tuple<std::size_t, std::size_t>> Pairs() {
  std::vector<std::tuple<std::size_t, std::size_t>> pairs;
  for (std::size_t later = 0; later < 20; ++later) {
    for (std::size_t earlier = 0; earlier < later; ++earlier) pairs.emplace_back(earlier, later);
  }
  return pairs;
}
INSTANTIATE_TEST_SUITE_P(Chain, TDispatchPair, testing::ValuesIn(Pairs()));

class TBIOSTest : public TFirmwareTest, public testing::WithParamInterface<std::size_t> {};

TEST_P(TBIOSTest, FindsASystemBIOS) {
  const TDispatchTest& test = kBIOSTests[GetParam()];
  const TFakeProperties element = {{test.property, "x " + std::string(test.needle)},
                                   {"Version", "1.0-[KV]-"}};
  CompareOne(element);
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "System BIOS", "", "KV"}}));
  TWalkLog log;
  log.BIOSTests(element)
      .Progress("SV got bios from metadata")
      .Read()
      .Append(MissingClass().Entries())
      .Delivery();
  log.ChainTests(element).Report({kSystemBIOS});
  EXPECT_EQ(host.logger.Entries(), log);
}

INSTANTIATE_TEST_SUITE_P(Tests, TBIOSTest, testing::Range(std::size_t{0}, std::size_t{4}));

using TWalk = TFirmwareTest;

TEST_F(TWalk, ElementOfNoComponentYieldsNothing) {
  const TFakeProperties element = {
      {"description", "A keyboard"}, {"category", "Input"}, {"installDirectory", "/PKGS/KBD"}};
  CompareOne(element);
  EXPECT_TRUE(host.Records().empty());
  EXPECT_EQ(host.logger.Entries(), TWalkLog().BIOSTests(element).ChainTests(element).Report());
}

TEST_F(TWalk, ElementWithoutPropertiesYieldsNothing) {
  CompareOne(TFakeProperties{});
  EXPECT_TRUE(host.Records().empty());
  EXPECT_EQ(host.logger.Entries(), TWalkLog().BIOSTests({}).ChainTests({}).Report());
}

TEST_F(TWalk, BIOSUpdateMayBeAUEFIToo) {
  CompareOne(TFakeProperties{{"description", "BIOS Update (uEFI)"}, {"Version", "-[KV]-"}});
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "System BIOS", "", "KV"},
                                      {"Firmware", "System UEFI", "", "KV"}}));
}

TEST_F(TWalk, ElementsAreVisitedInOrder) {
  const TInstanceHandle uefi = Element({{"category", "UEFI"}, {"Version", "2"}});
  const TInstanceHandle bios = Element({{"category", "BIOS"}, {"Version", "1"}});
  Compare(TInstanceList{uefi, bios, uefi});
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "System UEFI", "", "2"},
                                      {"Firmware", "System BIOS", "", "1"},
                                      {"Firmware", "System UEFI", "", "2"}}));
}

// What was found out about a long text counts for all elements that share it.
TEST_F(TWalk, ALongTextPicksTheSameAsAShortOneForEachElementThatSharesIt) {
  host.logger.Keep(NQRXHSK20::kLogProgress);
  const auto walked = [&](const TDispatchTest& test, const std::string& text) {
    const TInstanceHandle element =
        Element({{test.property, text}, {"Version", "1.0-[KV]-"}, {"driverFiles", "f"}});
    const std::size_t before = host.Records().size();
    host.logger.Forget();
    Compare(TInstanceList{element, element});
    TRecords records = host.Records();
    records.erase(records.begin(), records.begin() + static_cast<std::ptrdiff_t>(before));
    return std::pair(records, host.logger.Entries());
  };
  for (const auto& tests : {kBIOSTests, kChain}) {
    for (const TDispatchTest& test : tests) {
      const std::string needle = test.needle;
      EXPECT_EQ(walked(test, std::string(2000, '.') + needle), walked(test, needle)) << needle;
    }
  }
}

TEST_F(TWalk, EmptyElementHandleTripsTheAssertion) {
  EXPECT_THROW(Compare(TInstanceList{nullptr}), NQRXHSK20::TAssertionFailed);
}

}  // namespace
}  // namespace svc::test
