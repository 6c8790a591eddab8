#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <string>
#include <vector>

#include "host/hskcore/exception.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/hskcore/namespace_writer.h"
#include "tests/runtime/hskcore/cim_reading.h"

namespace svc::testing {
namespace {

class NamespaceWriter : public ::testing::Test {
 protected:
  TNamespaceHandle space = MakeInMemoryNamespace();
  TNamespaceWriter writer{space};
};

TEST_F(NamespaceWriter, KeepsEveryKindOfValue) {
  Declare(space, "A");
  writer.BeginInstance("A");
  writer.WriteValue("text", ECIMType::kString, " 1.00 ");
  writer.WriteValue("empty", ECIMType::kString, "");
  writer.WriteValue("number", ECIMType::kUint16, "0x24");
  writer.WriteValue("negative", ECIMType::kSint64, "-5");
  writer.WriteValue("truth", ECIMType::kBoolean, "true");
  writer.WriteValue("real", ECIMType::kReal32, "0.1");
  writer.WriteValue("date", ECIMType::kDateTime, "20260131000000.000000+060");
  writer.WriteNull("nothing", ECIMType::kString, false);
  writer.WriteNull("noNumber", ECIMType::kUint8, false);
  writer.WriteNull("noArray", ECIMType::kUint8, true);
  writer.Finish();
  const TInstanceHandle instance = InstancesOf(space, "A").at(0);
  EXPECT_EQ(TextOf(instance, "text"), " 1.00 ");
  EXPECT_EQ(TextOf(instance, "empty"), "");
  EXPECT_FALSE(ValueOf(instance, "empty").IsNull());
  EXPECT_EQ(static_cast<std::uint16_t>(ValueOf(instance, "number")), 36);
  EXPECT_EQ(TextOf(instance, "negative"), "-5");
  EXPECT_EQ(TextOf(instance, "truth"), "TRUE");
  EXPECT_EQ(TextOf(instance, "real"), "0.1");
  EXPECT_EQ(ValueOf(instance, "date").Type(), ECIMType::kDateTime);
  EXPECT_TRUE(ValueOf(instance, "nothing").IsNull());
  EXPECT_TRUE(ValueOf(instance, "noNumber").IsNull());
  EXPECT_EQ(ValueOf(instance, "noNumber").Type(), ECIMType::kUint8);
  EXPECT_TRUE(ValueOf(instance, "noArray").IsNull());
  EXPECT_TRUE(ValueOf(instance, "noArray").IsArray());
}

TEST_F(NamespaceWriter, KeepsArraysInOrderWithTheirNulls) {
  Declare(space, "A");
  writer.BeginInstance("A");
  writer.BeginArray("texts", ECIMType::kString);
  writer.AddElement("4620");
  writer.AddNullElement();
  writer.AddElement("");
  writer.EndArray();
  writer.BeginArray("numbers", ECIMType::kSint8);
  writer.AddElement("-1");
  writer.AddNullElement();
  writer.EndArray();
  writer.BeginArray("none", ECIMType::kString);
  writer.EndArray();
  writer.Finish();
  const TInstanceHandle instance = InstancesOf(space, "A").at(0);
  EXPECT_EQ(TextOf(instance, "texts"), "{ 4620, ,  }");
  const TCIMValue texts = ValueOf(instance, "texts");
  EXPECT_TRUE(static_cast<const std::vector<TCIMValue>&>(texts)[1].IsNull());
  EXPECT_FALSE(static_cast<const std::vector<TCIMValue>&>(texts)[2].IsNull());
  EXPECT_EQ(TextOf(instance, "numbers"), "{ -1,  }");
  EXPECT_FALSE(ValueOf(instance, "none").IsNull());
  EXPECT_EQ(TextOf(instance, "none"), "{ }");
}

TEST_F(NamespaceWriter, FindsNamesInAnyCase) {
  writer.BeginClass("QRXPSG_SystemUpdateElement", "");
  writer.Finish();
  Add(space, "qrxpsg_SYSTEMUPDATEELEMENT", "applicableMachineTypes", "4620");
  const auto instances = InstancesOf(space, "QRXPSG_SystemUpdateElemenT");
  ASSERT_EQ(instances.size(), 1u);
  EXPECT_EQ(TextOf(instances[0], "APPLICABLEMACHINETYPES"), "4620");
  EXPECT_EQ(writer.FindClass("qrxpsg_systemupdateelement"), 0u);
  EXPECT_EQ(writer.FindClass("qrxpsg_systemupdateelements"), kNoClass);
}

TEST_F(NamespaceWriter, TellsLettersFromTheirNeighboursInTheCodeTable) {
  Declare(space, "A");
  for (const auto& [one, other] :
       std::vector<std::pair<std::string, std::string>>{{"a@c", "a`c"},
                                                        {"a[c", "a{c"},
                                                        {"long_name@x", "long_name`x"},
                                                        {"\xc3\x84", "\xc3\xa4"}}) {
    writer.BeginInstance("A");
    writer.WriteValue(one, ECIMType::kString, "1");
    writer.WriteValue(other, ECIMType::kString, "2");
    writer.Finish();
    const TInstanceHandle instance = InstancesOf(space, "A").back();
    EXPECT_EQ(TextOf(instance, one) + TextOf(instance, other), "12") << one;
  }
}

TEST_F(NamespaceWriter, RefusesAPropertyWrittenTwice) {
  Declare(space, "A");
  for (const char* second : {"Version", "VERSION"}) {
    writer.BeginInstance("A");
    writer.WriteValue("Version", ECIMType::kString, "1");
    writer.WriteValue("name", ECIMType::kString, "n");
    EXPECT_EQ(CauseOf([&] { writer.WriteValue(second, ECIMType::kString, "2"); }),
              "PROPERTY \"" + std::string(second) + "\" written twice");
    writer.Abandon();
  }
  const std::string shown(60, 'n');
  for (const char* rest : {"", "n"}) {
    writer.BeginInstance("A");
    writer.WriteValue(shown + rest, ECIMType::kString, "1");
    EXPECT_EQ(CauseOf([&] { writer.WriteValue(shown + rest, ECIMType::kString, "2"); }),
              "PROPERTY \"" + shown + (*rest == 0 ? "\"" : "\"...") + " written twice");
    writer.Abandon();
  }
  writer.BeginInstance("A");
  writer.WriteValue("Version", ECIMType::kString, "1");
  EXPECT_EQ(StatusOf([&] { writer.WriteNull("version", ECIMType::kUint8, true); }),
            THSKStatusCode::kFailed);
  EXPECT_TRUE(InstancesOf(space, "A").empty());
}

TEST_F(NamespaceWriter, TakesAPropertyInEachInstanceOnce) {
  Declare(space, "A");
  for (int i = 0; i < 3; ++i) {
    Add(space, "A", "Version", "1");
  }
  writer.BeginInstance("A");
  writer.WriteValue("other", ECIMType::kString, "1");
  writer.WriteValue("Version", ECIMType::kString, "2");
  writer.Finish();
  EXPECT_EQ(TextsOf(InstancesOf(space, "A"), "Version"),
            (std::vector<std::string>{"1", "1", "1", "2"}));
}

TEST_F(NamespaceWriter, RefusesValuesThatDoNotFitTheirType) {
  Declare(space, "A");
  writer.BeginInstance("A");
  EXPECT_EQ(StatusOf([&] { writer.WriteValue("n", ECIMType::kUint8, "256"); }),
            THSKStatusCode::kFailed);
  writer.BeginInstance("A");
  EXPECT_EQ(StatusOf([&] { writer.WriteValue("n", ECIMType::kDateTime, "now"); }),
            THSKStatusCode::kFailed);
  writer.BeginInstance("A");
  writer.BeginArray("n", ECIMType::kBoolean);
  EXPECT_EQ(StatusOf([&] { writer.AddElement("maybe"); }), THSKStatusCode::kFailed);
}

TEST_F(NamespaceWriter, ShowsNothingOfAnAbandonedInstance) {
  Declare(space, "A");
  writer.BeginInstance("A");
  writer.WriteValue("n", ECIMType::kString, "1");
  writer.Abandon();
  writer.BeginInstance("A");
  writer.WriteValue("n", ECIMType::kString, "2");
  EXPECT_TRUE(InstancesOf(space, "A").empty());
  writer.Finish();
  EXPECT_EQ(TextsOf(InstancesOf(space, "A"), "n"), (std::vector<std::string>{"2"}));
}

TEST_F(NamespaceWriter, RefusesAnInstanceOfAnUndeclaredClass) {
  EXPECT_EQ(StatusOf([&] { writer.BeginInstance("A"); }), THSKStatusCode::kClassNotFound);
}

TEST_F(NamespaceWriter, GivesClassesByTheirIds) {
  const TClassId id = writer.BeginClass("A", "");
  writer.Finish();
  EXPECT_EQ(writer.FindClass("a"), id);
  Add(space, "A", "n", "1");
  std::vector<TInstanceHandle> found;
  writer.ClassHandle(id)->EnumerateInstances(NQRXHSK20::TAddToVectorCallback<ICIMInstance>(found),
                                             true, {});
  EXPECT_EQ(found.size(), 1u);
}

TEST_F(NamespaceWriter, ReadsDefaultsOfTheClassAndOfThoseAbove) {
  writer.BeginClass("Base", "");
  writer.WriteValue("Type", ECIMType::kString, "base");
  writer.WriteValue("level", ECIMType::kUint8, "3");
  writer.WriteNull("nothing", ECIMType::kString, false);
  writer.Finish();
  writer.BeginClass("Derived", "Base");
  writer.WriteValue("Type", ECIMType::kString, "derived");
  writer.Finish();
  Add(space, "Derived", "own", "x");
  const TInstanceHandle instance = InstancesOf(space, "Derived").at(0);
  EXPECT_EQ(TextOf(instance, "Type"), "derived");
  EXPECT_EQ(TextOf(instance, "level"), "3");
  EXPECT_TRUE(ValueOf(instance, "nothing").IsNull());
  EXPECT_EQ(StatusOf([&] { PropertyOf(instance, "undeclared"); }), THSKStatusCode::kNoSuchProperty);
}

TEST_F(NamespaceWriter, KeepsTheFormWrittenInTheInstance) {
  writer.BeginClass("A", "");
  writer.WriteNull("drivers", ECIMType::kString, true);
  writer.Finish();
  Add(space, "A", "drivers", "one");
  const TCIMValue value = ValueOf(InstancesOf(space, "A").at(0), "drivers");
  EXPECT_FALSE(value.IsArray());
  EXPECT_EQ(value.ToString(10), "one");
}

TEST_F(NamespaceWriter, AddsToAClassDeclaredAgain) {
  writer.BeginClass("A", "");
  writer.WriteValue("one", ECIMType::kString, "1");
  writer.Finish();
  Add(space, "A", "own", "x");
  const TInstanceHandle instance = InstancesOf(space, "A").at(0);
  EXPECT_EQ(StatusOf([&] { PropertyOf(instance, "two"); }), THSKStatusCode::kNoSuchProperty);
  writer.BeginClass("a", "");
  writer.WriteValue("two", ECIMType::kString, "2");
  writer.Finish();
  EXPECT_EQ(TextOf(instance, "one") + TextOf(instance, "two"), "12");
}

TEST_F(NamespaceWriter, TakesTheDefaultThatCameLast) {
  writer.BeginClass("A", "");
  writer.WriteValue("one", ECIMType::kString, "1");
  writer.Finish();
  Add(space, "A", "own", "x");
  const TInstanceHandle instance = InstancesOf(space, "A").at(0);
  writer.BeginClass("a", "");
  writer.WriteValue("ONE", ECIMType::kString, "2");
  writer.Finish();
  EXPECT_EQ(TextOf(instance, "one"), "2");
  writer.BeginClass("A", "");
  writer.WriteNull("one", ECIMType::kString, false);
  writer.Finish();
  EXPECT_TRUE(ValueOf(instance, "one").IsNull());
}

TEST_F(NamespaceWriter, TakesTheSuperclassThatCameSecond) {
  Declare(space, "Base");
  Declare(space, "A");
  Add(space, "A", "n", "1");
  EXPECT_TRUE(InstancesOf(space, "Base").empty());
  Declare(space, "A", "Base");
  Declare(space, "A", "BASE");
  Declare(space, "A");
  EXPECT_EQ(InstancesOf(space, "Base").size(), 1u);
}

TEST_F(NamespaceWriter, RefusesTwoSuperclasses) {
  Declare(space, "Base");
  Declare(space, "Other");
  Declare(space, "A", "Base");
  EXPECT_EQ(CauseOf([&] { writer.BeginClass("A", "Other"); }),
            "CLASS \"A\" has two superclasses: \"Base\" and \"Other\"");
}

TEST_F(NamespaceWriter, RefusesASuperclassThatIsNotDeclared) {
  EXPECT_EQ(CauseOf([&] { writer.BeginClass("A", "Base"); }),
            "CLASS \"A\": its superclass \"Base\" is not declared before it");
  EXPECT_EQ(writer.FindClass("A"), kNoClass);
  EXPECT_EQ(StatusOf([&] { writer.BeginClass("A", "A"); }), THSKStatusCode::kFailed);
}

TEST_F(NamespaceWriter, RefusesClassesThatDeriveFromEachOther) {
  Declare(space, "A");
  Declare(space, "B", "A");
  Declare(space, "C", "B");
  EXPECT_EQ(CauseOf([&] { writer.BeginClass("A", "C"); }),
            "CLASS \"A\": its superclass \"C\" derives from it");
  EXPECT_EQ(StatusOf([&] { writer.BeginClass("A", "A"); }), THSKStatusCode::kFailed);
}

TEST(NamespaceWriterTarget, MustBeAnInMemoryNamespace) {
  class TForeign : public ICIMNamespace {
    void GetClass(boost::shared_ptr<ICIMClass>&, std::string_view,
                  const NQRXHSK20::CIMContext&) override {}
  };
  EXPECT_EQ(StatusOf([] { TNamespaceWriter writer{TNamespaceHandle()}; }), THSKStatusCode::kFailed);
  EXPECT_EQ(StatusOf([] { TNamespaceWriter writer{boost::make_shared<TForeign>()}; }),
            THSKStatusCode::kFailed);
}

class WrittenInSteps : public NamespaceWriter {
 protected:
  void SetUp() override {
    Declare(space, "A");
    writer.BeginInstance("A");
    first = {writer.NameOf("first").number, {ECIMType::kString, false, false}};
    list = {writer.NameOf("list").number, {ECIMType::kString, true, false}};
    number = {writer.NameOf("number").number, {ECIMType::kUint8, false, false}};
  }
  bool KeepText(TPropertyStep& step, const std::string& text) {
    text.copy(writer.RoomForText(), text.size());
    return writer.KeepText(step, text.size());
  }
  bool KeepArray(TPropertyStep& step, const std::string& text) {
    char* const room = writer.RoomForArray();
    room[0] = static_cast<char>(text.size() + 1);
    text.copy(room + 1, text.size());
    return writer.KeepArray(step, 1, text.size() + 1);
  }

  TPropertyStep first;
  TPropertyStep list;
  TPropertyStep number;
};

TEST_F(WrittenInSteps, InstancesAreAsOthers) {
  for (const bool isListFirst : {false, true, true, false, false}) {
    writer.BeginInstance("A");
    const bool isListKept = isListFirst && KeepArray(list, "one");
    EXPECT_TRUE(KeepText(first, std::string(300, 'x')));
    EXPECT_TRUE(isListKept || KeepArray(list, "one"));
    EXPECT_TRUE(writer.KeepValue(number, "0x24"));
    writer.WriteValue("last", ECIMType::kString, "z");
    writer.Finish();
  }
  ASSERT_EQ(InstancesOf(space, "A").size(), 5u);
  for (const TInstanceHandle& instance : InstancesOf(space, "A")) {
    EXPECT_EQ(TextOf(instance, "first"), std::string(300, 'x'));
    EXPECT_EQ(TextOf(instance, "list"), "{ one }");
    EXPECT_EQ(TextOf(instance, "number"), "36");
    EXPECT_EQ(TextOf(instance, "last"), "z");
  }
}

TEST_F(WrittenInSteps, ASecondPropertyOfTheNameIsNotWritten) {
  for (int i = 0; i < 3; ++i) {
    writer.BeginInstance("A");
    EXPECT_TRUE(KeepText(first, "1"));
    EXPECT_FALSE(KeepText(first, "2"));
    EXPECT_THROW(writer.WriteValue("FIRST", ECIMType::kString, "3"), NQRXHSK20::THSKException);
    writer.BeginInstance("A");
    writer.WriteValue("LIST", ECIMType::kString, "4");
    EXPECT_TRUE(KeepText(first, "5"));
    EXPECT_FALSE(KeepArray(list, "6"));
    writer.Finish();
  }
  ASSERT_EQ(InstancesOf(space, "A").size(), 3u);
  for (const TInstanceHandle& instance : InstancesOf(space, "A")) {
    EXPECT_EQ(TextOf(instance, "first"), "5");
    EXPECT_EQ(TextOf(instance, "list"), "4");
  }
}

TEST_F(WrittenInSteps, AValueThatDoesNotFitIsNotWritten) {
  TPropertyStep date{writer.NameOf("date").number, {ECIMType::kDateTime, false, false}};
  writer.BeginInstance("A");
  EXPECT_FALSE(writer.KeepValue(number, "256"));
  EXPECT_TRUE(writer.KeepValue(number, "255"));
  EXPECT_FALSE(writer.KeepValue(date, "20260131000000.000000"));
  EXPECT_TRUE(writer.KeepValue(date, "20260131000000.000000+060"));
  writer.Finish();
  const TInstanceHandle instance = InstancesOf(space, "A").at(0);
  EXPECT_EQ(TextOf(instance, "number"), "255");
  EXPECT_EQ(TextOf(instance, "date"), "20260131000000.000000+060");
}

}  // namespace
}  // namespace svc::testing
