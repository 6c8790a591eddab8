#include <gtest/gtest.h>

#include "plugins/version_checker/inventory/inventory_operations.h"
#include "tests/support/fake_host.h"

using namespace NQRXHSK20;
using namespace svc::checker;
using svc::test::TFakeHost;
using svc::test::ThrowStatus;
using svc::test::TLog;
using svc::test::TRecord;
using svc::test::TRecords;

namespace {

const TLog kDelivered = {{4, "In DeliverInstance"}};

void Deliver(TFakeHost& host) {
  TInventoryOperations::DeliverInstance(host.inventory, "Firmware", "System BIOS", "1.0", "1.1");
}

std::string Lookup() { return "GetClass QRXSG_SVResult " + svc::test::PluginContextText(); }

TEST(ResultRecord, HoldsTheFourTexts) {
  TFakeHost host;
  Deliver(host);
  EXPECT_EQ(host.Records(), TRecords({{"Firmware", "System BIOS", "1.0", "1.1"}}));
  EXPECT_EQ(host.logger.Entries(), kDelivered);
}

TEST(ResultRecord, PropertiesAreSetInOrderBeforeItIsStored) {
  TFakeHost host;
  Deliver(host);
  EXPECT_EQ(host.script.Calls(),
            (std::vector<std::string>{
                Lookup(), "CreateInstance QRXSG_SVResult {}", "SetPropertyValue Type {}",
                "SetPropertyValue Name {}", "SetPropertyValue InstalledVersion {}",
                "SetPropertyValue SVVersion {}", "Commit QRXSG_SVResult {}"}));
}

TEST(ResultRecord, EmptyTextsAreNoNulls) {
  TFakeHost host;
  TInventoryOperations::DeliverInstance(host.inventory, "", "", "", "");
  const auto record = host.inventory->Class("QRXSG_SVResult").Instances().at(0);
  EXPECT_EQ(record->Properties().size(), 4U);
  for (const auto& [name, value] : record->Properties()) {
    EXPECT_FALSE(value.IsNull()) << name;
    EXPECT_EQ(value.Type(), ECIMType::kString) << name;
    EXPECT_EQ(value.ToString(10), "") << name;
  }
}

TEST(ResultRecord, SameArgumentsGiveTwoRecords) {
  TFakeHost host;
  Deliver(host);
  Deliver(host);
  EXPECT_EQ(host.Records().size(), 2U);
}

TEST(ResultRecord, MissingClassIsLoggedAtEachAttempt) {
  TFakeHost host;
  host.inventory->Remove("QRXSG_SVResult");
  Deliver(host);
  Deliver(host);
  EXPECT_EQ(host.logger.Entries(), TLog({{4, "In DeliverInstance"},
                                         {0, "QRXSG_SVResult not found"},
                                         {4, "In DeliverInstance"},
                                         {0, "QRXSG_SVResult not found"}}));
  EXPECT_EQ(host.script.Count(Lookup()), 2U);
}

TEST(ResultRecord, OtherFailureOfTheLookupTripsTheAssertion) {
  for (const int status : {1, 11, 14, 16, 26}) {
    TFakeHost host;
    host.script.Fail(Lookup(), ThrowStatus(status));
    EXPECT_THROW(Deliver(host), TAssertionFailed) << status;
    EXPECT_TRUE(host.Records().empty());
  }
}

TEST(ResultRecord, ExceptionOfAnotherTypePassesFromTheLookup) {
  TFakeHost host;
  host.script.Fail(Lookup(), svc::test::kThrowOther);
  EXPECT_THROW(Deliver(host), svc::test::TOtherFailure);
}

TEST(ResultRecord, EmptyNamespaceTripsTheAssertion) {
  TFakeHost host;
  EXPECT_THROW(TInventoryOperations::DeliverInstance({}, "", "", "", ""), TAssertionFailed);
}

TEST(ResultRecord, EmptyInstanceTripsTheAssertion) {
  TFakeHost host;
  host.script.Fail("CreateInstance QRXSG_SVResult {}", svc::test::kEmptyHandle);
  EXPECT_THROW(Deliver(host), TAssertionFailed);
}

TEST(ResultRecord, FailureBeforeItIsStoredLeavesNothing) {
  for (const char* call : {"CreateInstance QRXSG_SVResult {}", "SetPropertyValue Type {}",
                           "SetPropertyValue Name {}", "SetPropertyValue InstalledVersion {}",
                           "SetPropertyValue SVVersion {}", "Commit QRXSG_SVResult {}"}) {
    for (const int status : {1, 15}) {
      TFakeHost host;
      host.script.Fail(call, ThrowStatus(status));
      EXPECT_THROW(Deliver(host), THSKException) << call;
      EXPECT_TRUE(host.Records().empty()) << call;
      EXPECT_EQ(host.logger.Entries(), kDelivered) << call;
    }
  }
}

TEST(ResultRecord, NothingOfItIsHeldAfterwards) {
  TFakeHost host;
  Deliver(host);
  EXPECT_EQ(host.inventory.use_count(), 1);
  EXPECT_EQ(host.inventory->Class("QRXSG_SVResult").Instances().at(0).use_count(), 1);
}

}  // namespace
