#include <gtest/gtest.h>

#include <boost/make_shared.hpp>

#include "plugins/version_checker/inventory/inventory_operations.h"
#include "plugins/version_checker/inventory/properties.h"
#include "tests/support/expected_log.h"
#include "tests/support/fake_host.h"

using namespace NQRXHSK20;
using namespace svc::checker;
using svc::test::ContextText;
using svc::test::EFault;
using svc::test::TExpectedLog;
using svc::test::TFakeHost;
using svc::test::ThrowStatus;
using svc::test::TLog;

namespace {

using TCalls = std::vector<std::string>;

class TPropertyReading : public testing::Test {
 protected:
  // The property "Version" of an instance that holds this value.
  std::string Read(const TCIMValue& value) {
    const auto instance = host.inventory->Add("QRXSG_Thing", {{"Version", value}});
    std::string text = "what was there before";
    EXPECT_EQ(&TInventoryOperations::GetPropertyValue(instance, "Version", text), &text);
    return text;
  }

  TFakeHost host;
};

TEST_F(TPropertyReading, TextIsReadAsItStands) {
  EXPECT_EQ(Read(" 1.2 -[QKL]- "), " 1.2 -[QKL]- ");
  EXPECT_EQ(host.logger.Entries(), TExpectedLog().Read());
}

TEST_F(TPropertyReading, EmptyTextIsNoNull) {
  EXPECT_EQ(Read(""), "");
  EXPECT_EQ(host.logger.Entries(), TExpectedLog().Read());
}

TEST_F(TPropertyReading, NullIsEmptyWithoutAnError) {
  EXPECT_EQ(Read(TCIMValue()), "");
  EXPECT_EQ(host.logger.Entries(), TExpectedLog().ReadNull());
}

TEST_F(TPropertyReading, NullArrayIsEmpty) {
  EXPECT_EQ(Read(TCIMValue::Null(ECIMType::kString, true)), "");
  EXPECT_EQ(host.logger.Entries(), TExpectedLog().ReadNull());
}

TEST_F(TPropertyReading, NumbersAreDecimal) {
  EXPECT_EQ(Read(TCIMValue::Unsigned(ECIMType::kUint8, 255)), "255");
  EXPECT_EQ(Read(TCIMValue::Signed(ECIMType::kSint32, -16)), "-16");
}

TEST_F(TPropertyReading, EachElementOfAnArrayIsFollowedByABlank) {
  EXPECT_EQ(Read(TCIMValue::Array(ECIMType::kString, {"x"})), "x ");
  EXPECT_EQ(Read(TCIMValue::Array(ECIMType::kString, {"A", "B"})), "A B ");
  EXPECT_EQ(Read(TCIMValue::Array(ECIMType::kUint16, {TCIMValue::Unsigned(ECIMType::kUint16, 10),
                                                      TCIMValue::Null(ECIMType::kUint16)})),
            "10  ");
}

TEST_F(TPropertyReading, EmptyArrayIsEmpty) {
  EXPECT_EQ(Read(TCIMValue::Array(ECIMType::kString, {})), "");
  EXPECT_EQ(host.logger.Entries(), TExpectedLog().Read());
}

TEST_F(TPropertyReading, MissingPropertyIsEmptyAndTraced) {
  const auto instance = host.inventory->Add("QRXSG_Thing", {});
  std::string text = "what was there before";
  EXPECT_EQ(TInventoryOperations::GetPropertyValue(instance, "Version", text), "");
  EXPECT_EQ(host.logger.Entries(), TExpectedLog().ReadMissing());
}

TEST_F(TPropertyReading, ValueIsAskedForAgainToRenderIt) {
  Read("1.2");
  EXPECT_EQ(host.script.Calls(),
            (TCalls{"GetProperty Version {}", "Value Version {}", "Value Version {}"}));
}

TEST_F(TPropertyReading, NullIsAskedForOnce) {
  Read(TCIMValue());
  EXPECT_EQ(host.script.Calls(), (TCalls{"GetProperty Version {}", "Value Version {}"}));
}

TEST_F(TPropertyReading, AnyStatusOfTheHostIsSwallowed) {
  for (const int status : {1, 4, 9, 11, 12, 13, 15, 26, 32, 77, -1}) {
    for (const char* call : {"GetProperty Version {}", "Value Version {}"}) {
      SCOPED_TRACE(std::string(call) + " fails with " + std::to_string(status));
      host.logger.Forget();
      host.script.Fail(call, ThrowStatus(status));
      EXPECT_EQ(Read("1.2"), "");
      EXPECT_EQ(host.logger.Entries(), TExpectedLog().ReadMissing());
    }
  }
}

TEST_F(TPropertyReading, FailureWhileAValueIsRenderedIsSwallowed) {
  host.script.FailAt(2, ThrowStatus(13));  // The second Value.
  EXPECT_EQ(Read("1.2"), "");
  EXPECT_EQ(host.logger.Entries(), TExpectedLog().ReadMissing());
}

TEST_F(TPropertyReading, OtherExceptionsPass) {
  host.script.Fail("Value Version {}", svc::test::kThrowOther);
  EXPECT_THROW(Read("1.2"), svc::test::TOtherFailure);
}

TEST_F(TPropertyReading, EmptyPropertyHandleTripsTheAssertion) {
  host.script.Fail("GetProperty Version {}", svc::test::kEmptyHandle);
  EXPECT_THROW(Read("1.2"), TAssertionFailed);
}

TEST_F(TPropertyReading, EmptyInstanceHandleTripsTheAssertion) {
  std::string text;
  EXPECT_THROW(TInventoryOperations::GetPropertyValue(nullptr, "Version", text), TAssertionFailed);
}

// Gives the property as the host gives one that instances share: it is the same at each reading.
class TSharingInstance : public svc::test::TFakeInstance {
 public:
  using TFakeInstance::TFakeInstance;
  void GetProperty(boost::shared_ptr<ICIMProperty>& property, std::string_view name,
                   const CIMContext& context) const override {
    TFakeInstance::GetProperty(property, name, context);
    if (!kept) kept = property;
    property = kept;
  }

 private:
  mutable boost::shared_ptr<ICIMProperty> kept;
};

// An array's text from this length on is kept for those who share the array.
constexpr std::size_t kShared = 64;

class TSharedReading : public testing::Test {
 protected:
  boost::shared_ptr<TSharingInstance> Holding(const TCIMValue& value) {
    return boost::make_shared<TSharingInstance>(host.script, host.inventory->Class("QRXSG_Thing"),
                                                svc::test::TFakeProperties{{"Version", value}});
  }
  TSharedText Read(const boost::shared_ptr<TSharingInstance>& instance) {
    host.logger.Forget();
    TSharedText text = reader.Read(instance, "Version");
    EXPECT_EQ(host.logger.Entries(), TExpectedLog().Read());
    return text;
  }
  // An array of one element is read as the element and a blank.
  static TCIMValue ArrayOfLength(std::size_t length) {
    return TCIMValue::Array(ECIMType::kString, {std::string(length - 1, 'x')});
  }

  TFakeHost host;
  TPropertyReader reader;
};

TEST_F(TSharedReading, TextIsThatOfTheHost) {
  for (const std::size_t length : {std::size_t{0}, std::size_t{1}, kShared}) {
    const std::string expected(length, 'x');
    const TSharedText text = Read(Holding(expected));
    EXPECT_EQ(text, expected);
    EXPECT_TRUE(text.IsShared()) << length;
    EXPECT_TRUE(text.Owner()) << length;
  }
}

TEST_F(TSharedReading, LongArrayIsMadeATextOnceForThoseThatShareIt) {
  for (const std::size_t length : {kShared - 1, kShared, kShared + 1}) {
    const auto instance = Holding(ArrayOfLength(length));
    const TSharedText first = Read(instance);
    const TSharedText second = Read(instance);
    EXPECT_EQ(first, std::string(length - 1, 'x') + " ");
    EXPECT_EQ(second, first);
    EXPECT_EQ(first.View().data() == second.View().data(), length >= kShared) << length;
  }
}

TEST_F(TSharedReading, ArrayOfAnotherInstanceIsReadAfresh) {
  const TSharedText first = Read(Holding(ArrayOfLength(kShared)));
  const TSharedText second = Read(Holding(ArrayOfLength(kShared + 1)));
  EXPECT_EQ(second.size(), first.size() + 1);
  EXPECT_EQ(Read(Holding("short")), "short");
}

// What is looked at is what is read, and leaves the same in the log.
TEST_F(TSharedReading, WhatIsLookedAtIsWhatIsRead) {
  for (const std::size_t length :
       {std::size_t{2}, kShared - 1, kShared, kLongText - 1, kLongText, kLongText + 1}) {
    for (const TCIMValue& value : {TCIMValue(std::string(length, 'x')), ArrayOfLength(length),
                                   TCIMValue::Null(ECIMType::kString)}) {
      const auto instance = Holding(value);
      host.logger.Forget();
      const TSharedText read = TPropertyReader().Read(instance, "Version");
      const auto log = host.logger.Entries();
      host.logger.Forget();
      TPropertyReader looking;
      EXPECT_EQ(looking.Look(instance, "Version"), read) << length;
      EXPECT_EQ(host.logger.Entries(), log);
    }
  }
}

TEST_F(TSharedReading, ALongArrayThatIsLookedAtIsMadeATextOnceForThoseThatShareIt) {
  for (const std::size_t length : {kLongText - 1, kLongText, kLongText + 1}) {
    const auto instance = Holding(ArrayOfLength(length));
    const TSharedText first = reader.Look(instance, "Version");
    EXPECT_EQ(first.Owner() != nullptr, length >= kLongText) << length;
    reader.Look(Holding("short"), "Version");
    EXPECT_EQ(reader.Look(instance, "Version").View().data() == first.View().data() &&
                  first.Owner() != nullptr,
              length >= kLongText);
  }
}

TEST(ValueReading, NullIsEmptyAndTraced) {
  TFakeHost host;
  std::string text = "what was there before";
  EXPECT_EQ(&TInventoryOperations::GetValue(TCIMValue(), text), &text);
  EXPECT_EQ(text, "");
  EXPECT_EQ(host.logger.Entries(), TLog({{4, "In GetValue"}}));
}

}  // namespace
