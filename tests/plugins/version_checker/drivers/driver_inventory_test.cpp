#include <gtest/gtest.h>

#include "plugins/version_checker/drivers/driver_operations.h"
#include "tests/support/case_name.h"
#include "tests/support/expected_log.h"
#include "tests/support/fake_host.h"

using namespace NQRXHSK20;
using namespace svc::checker;

namespace svc::test {
namespace {

constexpr const char* kClass = "QRXSG_DeviceDriverInfo";

struct TPath {
  const char* name;
  const char* path;
  const char* fileName;
};
void PrintTo(const TPath& path, std::ostream* stream) { *stream << path.path; }

class TFileName : public testing::TestWithParam<TPath> {};

TEST_P(TFileName, IsTheTextBehindTheLastBackslash) {
  EXPECT_EQ(FileNameOfPath(GetParam().path), GetParam().fileName);
}

constexpr TPath kPaths[] = {
    {"Path", "\\SystemRoot\\system32\\drivers\\e1000.sys", "e1000.sys"},
    {"NoBackslash", "e1000.sys", "e1000.sys"},
    {"BackslashAtTheEnd", "drivers\\", ""},
    {"OnlyABackslash", "\\", ""},
    {"SlashesSeparateNothing", "C:\\lib/modules/e1000.ko", "lib/modules/e1000.ko"},
    {"Empty", "", ""},
};
INSTANTIATE_TEST_SUITE_P(Paths, TFileName, testing::ValuesIn(kPaths), TCaseName());

struct TState {
  const char* name;
  const char* text;
  bool running;
};
void PrintTo(const TState& state, std::ostream* stream) { *stream << '"' << state.text << '"'; }

class TDriverState : public testing::TestWithParam<TState> {};

TEST_P(TDriverState, IsRunningForExactlyOneText) {
  TFakeHost host;
  DriverRecord record;
  record.running = !GetParam().running;
  TDriverOperations::SetRunningState(record, GetParam().text);
  EXPECT_EQ(record.running, GetParam().running);
  EXPECT_EQ(host.logger.Entries(), TExpectedLog().Trace("Driver status:").Trace(GetParam().text));
}

constexpr TState kStates[] = {
    {"Four", "4", true},          {"One", "1", false},          {"Seven", "7", false},
    {"LeadingZero", "04", false}, {"BlankBehind", "4 ", false}, {"BlankBefore", " 4", false},
    {"Empty", "", false},         {"Word", "Running", false},   {"FortyFour", "44", false},
};
INSTANTIATE_TEST_SUITE_P(Texts, TDriverState, testing::ValuesIn(kStates), TCaseName());

class TInstalledDrivers : public testing::Test {
 protected:
  void Install(const std::string& path, const std::string& version, const std::string& state) {
    host.inventory->Add(kClass, {{"Path", path}, {"Version", version}, {"CurrentState", state}});
  }
  TDriverList Collect() {
    TDriverList list;
    TDriverOperations::CollectInstalledDrivers(list, host.inventory);
    return list;
  }
  std::string Lookup() const {
    return std::string("GetClass ") + kClass + " " + PluginContextText();
  }

  TFakeHost host;
};

TEST_F(TInstalledDrivers, AreReadInOrder) {
  Install("\\drivers\\e1000.sys", "8.9", "4");
  Install("tg3.sys", "3.1", "1");
  const TDriverList list = Collect();
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0].path, "\\drivers\\e1000.sys");
  EXPECT_EQ(list[0].fileName, "e1000.sys");
  EXPECT_EQ(list[0].version, "8.9");
  EXPECT_TRUE(list[0].running);
  EXPECT_EQ(list[1].fileName, "tg3.sys");
  EXPECT_FALSE(list[1].running);
  TExpectedLog log;
  for (const char* state : {"4", "1"}) {
    log.Read().Read().Read().Read().Trace("Driver status:").Trace(state);
  }
  EXPECT_EQ(host.logger.Entries(), log);
}

TEST_F(TInstalledDrivers, CallsOfTheHostInOrder) {
  Install("a", "1", "4");
  Collect();
  std::vector<std::string> calls = {Lookup(), "EnumerateInstances QRXSG_DeviceDriverInfo deep {}"};
  for (const char* property : {"Path", "Version", "Path", "CurrentState"}) {
    calls.push_back(std::string("GetProperty ") + property + " {}");
    calls.push_back(std::string("Value ") + property + " {}");
    calls.push_back(std::string("Value ") + property + " {}");
  }
  EXPECT_EQ(host.script.Calls(), calls);
}

TEST_F(TInstalledDrivers, SamePathGivesTwoRecords) {
  Install("a", "1", "4");
  Install("a", "2", "4");
  const TDriverList list = Collect();
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0].version, "1");
  EXPECT_EQ(list[1].version, "2");
}

TEST_F(TInstalledDrivers, AreAppended) {
  Install("a", "1", "4");
  TDriverList list(1);
  TDriverOperations::CollectInstalledDrivers(list, host.inventory);
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[1].fileName, "a");
}

TEST_F(TInstalledDrivers, MissingPropertiesReadAsEmpty) {
  host.inventory->Add(kClass, {});
  host.inventory->Add(kClass, {{"Path", TCIMValue()}, {"CurrentState", TCIMValue()}});
  const TDriverList list = Collect();
  ASSERT_EQ(list.size(), 2U);
  for (const DriverRecord& record : list) {
    EXPECT_TRUE(record.path.empty() && record.fileName.empty() && record.version.empty());
    EXPECT_FALSE(record.running);
  }
}

TEST_F(TInstalledDrivers, NumericStateIsReadAsText) {
  host.inventory->Add(kClass, {{"CurrentState", TCIMValue::Unsigned(ECIMType::kUint16, 4)}});
  EXPECT_TRUE(Collect().at(0).running);
}

TEST_F(TInstalledDrivers, ArrayStateIsNotRunning) {
  host.inventory->Add(kClass, {{"CurrentState", TCIMValue::Array(ECIMType::kString, {"4"})}});
  EXPECT_FALSE(Collect().at(0).running);
}

TEST_F(TInstalledDrivers, NoneWithoutTheClass) {
  EXPECT_TRUE(Collect().empty());
  EXPECT_TRUE(host.logger.Entries().empty());
}

TEST_F(TInstalledDrivers, NoneWithoutInstances) {
  host.inventory->Class(kClass);
  EXPECT_TRUE(Collect().empty());
  EXPECT_TRUE(host.logger.Entries().empty());
}

TEST_F(TInstalledDrivers, LookupThatFailsInAnyWayGivesNone) {
  Install("a", "1", "4");
  for (const int status : {1, 11, 15, 26}) {
    host.script.Fail(Lookup(), ThrowStatus(status));
    EXPECT_TRUE(Collect().empty());
  }
  EXPECT_TRUE(host.logger.Entries().empty());
}

// A host may fill the handle before it says that there is no such class.
TEST_F(TInstalledDrivers, NoneOfAClassThatTheHostTakesBack) {
  struct TTakesBack : TFakeNamespace {
    using TFakeNamespace::TFakeNamespace;
    void GetClass(boost::shared_ptr<ICIMClass>& cimClass, std::string_view name,
                  const CIMContext& context) override {
      TFakeNamespace::GetClass(cimClass, name, context);
      throw THSKException("taken back", THSKStatusCode::kClassNotFound);
    }
  };
  const auto inventory = boost::make_shared<TTakesBack>(host.script);
  inventory->Add(kClass, {{"Path", "a"}, {"Version", "1"}, {"CurrentState", "4"}});
  TDriverList list;
  TDriverOperations::CollectInstalledDrivers(list, inventory);
  EXPECT_TRUE(list.empty());
  EXPECT_EQ(host.script.Calls(), std::vector<std::string>{Lookup()});
}

TEST_F(TInstalledDrivers, FailureOfTheEnumerationPasses) {
  Install("a", "1", "4");
  host.script.Fail("EnumerateInstances QRXSG_DeviceDriverInfo deep {}", ThrowStatus(15));
  EXPECT_THROW(Collect(), THSKException);
}

}  // namespace
}  // namespace svc::test
