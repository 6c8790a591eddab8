#include "tests/plugins/version_checker/firmware/firmware_fixture.h"

using namespace NQRXHSK20;
using namespace svc::checker;

namespace svc::test {
namespace {

using TCalls = std::vector<std::string>;
constexpr const char* kClass = "QRXSG_Thing";

class TContainer : public TFirmwareTest {
 protected:
  std::string Property() {
    return TFirmwareOperations::getStringPropertyFromContainer(host.inventory, kClass, "Version");
  }
  int List() {
    return TFirmwareOperations::getVersionItemFromContainer(host.inventory, kClass, instances);
  }
  std::string Lookup() const { return "GetClass QRXSG_Thing " + PluginContextText(); }
  std::string Enumeration() const {
    return "EnumerateInstances QRXSG_Thing deep " + PluginContextText();
  }

  TInstanceList instances;
};

TEST_F(TContainer, LastInstanceWins) {
  Install(kClass, {{"Version", "A"}});
  Install(kClass, {{"Version", "B"}});
  EXPECT_EQ(Property(), "B");
  EXPECT_EQ(host.logger.Entries(), TExpectedLog().ReadClass(2));
}

TEST_F(TContainer, LastInstanceWinsWithAnEmptyValueToo) {
  Install(kClass, {{"Version", "A"}});
  Install(kClass, {{"Version", ""}});
  EXPECT_EQ(Property(), "");
}

TEST_F(TContainer, LastInstanceWinsWithoutTheProperty) {
  Install(kClass, {{"Version", "A"}});
  Install(kClass, {});
  EXPECT_EQ(Property(), "");
  EXPECT_EQ(host.logger.Entries(), TExpectedLog().ReadClass(1).ReadMissing());
}

TEST_F(TContainer, MissingClassReadsAsEmpty) {
  EXPECT_EQ(Property(), "");
  EXPECT_EQ(host.logger.Entries(), TExpectedLog().ReadClass(0));
  EXPECT_EQ(host.script.Calls(), TCalls{Lookup()});
}

TEST_F(TContainer, ClassWithoutInstancesReadsAsEmpty) {
  host.inventory->Class(kClass);
  EXPECT_EQ(Property(), "");
  EXPECT_EQ(host.logger.Entries(), TExpectedLog().ReadClass(0));
  EXPECT_EQ(host.script.Calls(), (TCalls{Lookup(), Enumeration()}));
}

TEST_F(TContainer, OtherFailureOfTheLookupTripsTheAssertion) {
  host.script.Fail(Lookup(), ThrowStatus(1));
  EXPECT_THROW(Property(), TAssertionFailed);
}

TEST_F(TContainer, ExceptionOfAnotherTypePassesFromTheLookup) {
  host.script.Fail(Lookup(), kThrowOther);
  EXPECT_THROW(Property(), TOtherFailure);
  EXPECT_THROW(List(), TOtherFailure);
}

TEST_F(TContainer, FailureOfTheEnumerationPasses) {
  host.inventory->Class(kClass);
  host.script.Fail(Enumeration(), ThrowStatus(15));
  EXPECT_THROW(Property(), THSKException);
}

TEST_F(TContainer, ListHoldsTheInstancesInOrder) {
  Install(kClass, {{"Version", "A"}});
  Install(kClass, {{"Version", "B"}});
  EXPECT_EQ(List(), 0);
  const auto& stored = host.inventory->Class(kClass).Instances();
  EXPECT_EQ(instances, TInstanceList(stored.begin(), stored.end()));
  EXPECT_EQ(host.logger.Entries(), TExpectedLog().List());
  EXPECT_EQ(host.script.Calls(), (TCalls{Lookup(), Enumeration()}));
}

TEST_F(TContainer, ListIsEmptiedBeforeItIsFilled) {
  Install("QRXSG_Other", {});
  TFirmwareOperations::getVersionItemFromContainer(host.inventory, "QRXSG_Other", instances);
  Install(kClass, {{"Version", "A"}});
  List();
  ASSERT_EQ(instances.size(), 1U);
  EXPECT_EQ(instances[0], host.inventory->Class(kClass).Instances()[0]);
}

TEST_F(TContainer, ListOfAMissingClassIsEmpty) {
  instances.resize(3);
  EXPECT_EQ(List(), 0);
  EXPECT_TRUE(instances.empty());
  EXPECT_EQ(host.logger.Entries(), TExpectedLog().ListMissing());
}

// The assertion is tripped inside the guarded step, like any failure there.
TEST_F(TContainer, OtherFailureOfTheLookupTripsTheAssertionWithinTheGuard) {
  host.script.Fail(Lookup(), ThrowStatus(26));
  EXPECT_EQ(List(), 0);
  const TLog traced = {{4, "In getVersionItemFromContainer"},
                       {4, "after getting class name in container"},
                       {4, "catch exception"}};
  TLog seen;
  for (const TLogEntry& entry : host.logger.Entries()) {
    if (entry.level == 4) seen.push_back(entry);
  }
  EXPECT_EQ(seen, traced);
  ASSERT_EQ(host.logger.UpTo(0).size(), 1U);
  EXPECT_NE(host.logger.UpTo(0)[0].text.find("px != 0"), std::string::npos);
}

TEST_F(TContainer, EveryFailureOfTheEnumerationIsCaught) {
  for (const TFault fault : {ThrowStatus(15), ThrowStatus(1), kThrowOther}) {
    TFakeHost::Current().logger.Forget();
    Install(kClass, {{"Version", "A"}});
    host.script.Fail(Enumeration(), fault);
    EXPECT_EQ(List(), 0);
    EXPECT_TRUE(instances.empty());
    EXPECT_EQ(host.logger.Entries(), TExpectedLog()
                                         .Trace("In getVersionItemFromContainer")
                                         .Trace("after getting class name in container")
                                         .Trace("catch exception"));
  }
}

// A class that fails behind its first instance.
class TBrokenClass : public ICIMClass {
 public:
  explicit TBrokenClass(TInstanceHandle first) : first(std::move(first)) {}
  void CreateInstance(TInstanceHandle&, const CIMContext&) override {}
  void EnumerateInstances(const TInstanceCallback& callback, bool, const CIMContext&) override {
    callback(first);
    throw TOtherFailure();
  }

 private:
  TInstanceHandle first;
};

class TBrokenNamespace : public ICIMNamespace {
 public:
  explicit TBrokenNamespace(TInstanceHandle first) : first(std::move(first)) {}
  void GetClass(boost::shared_ptr<ICIMClass>& cimClass, std::string_view,
                const CIMContext&) override {
    cimClass = boost::make_shared<TBrokenClass>(first);
  }

 private:
  TInstanceHandle first;
};

TEST_F(TContainer, InstancesListedBeforeAFailureCount) {
  const TInstanceHandle first = Element({});
  const auto broken = boost::make_shared<TBrokenNamespace>(first);
  EXPECT_EQ(TFirmwareOperations::getVersionItemFromContainer(broken, kClass, instances), 0);
  EXPECT_EQ(instances, TInstanceList{first});
}

}  // namespace
}  // namespace svc::test
