#include <gtest/gtest.h>

#include <ctime>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/runtime/hskcore/cim_reading.h"

namespace svc::testing {
namespace {

class NamespaceInstances : public ::testing::Test {
 protected:
  TInstanceHandle Create(const std::string& className) {
    TInstanceHandle instance;
    ClassOf(space, className)->CreateInstance(instance, {});
    return instance;
  }

  TNamespaceHandle space = MakeInMemoryNamespace();
};

TEST_F(NamespaceInstances, OfSubclassesAreMergedInOrderOfCreation) {
  Declare(space, "Base");
  Declare(space, "Left", "Base");
  Declare(space, "Right", "Base");
  Declare(space, "Leaf", "Left");
  Declare(space, "Alone");
  int next = 0;
  for (const char* name : {"Right", "Base", "Leaf", "Alone", "Left", "Right", "Base"}) {
    Add(space, name, "n", std::to_string(next++));
  }
  using TTexts = std::vector<std::string>;
  EXPECT_EQ(TextsOf(InstancesOf(space, "Base"), "n"), (TTexts{"0", "1", "2", "4", "5", "6"}));
  EXPECT_EQ(TextsOf(InstancesOf(space, "Base", false), "n"), (TTexts{"1", "6"}));
  EXPECT_EQ(TextsOf(InstancesOf(space, "Left"), "n"), (TTexts{"2", "4"}));
  EXPECT_EQ(TextsOf(InstancesOf(space, "Alone"), "n"), (TTexts{"3"}));
}

TEST_F(NamespaceInstances, OfAnUnknownClassAreAskedForInVain) {
  EXPECT_EQ(StatusOf([&] { ClassOf(space, "A"); }), THSKStatusCode::kClassNotFound);
  Add((Declare(space, "A"), space), "A", "B", "1");
  EXPECT_EQ(StatusOf([&] { ClassOf(space, "B"); }), THSKStatusCode::kClassNotFound);
}

TEST_F(NamespaceInstances, AppearWhenTheyAreCommitted) {
  Declare(space, "A");
  const TInstanceHandle instance = Create("A");
  instance->SetPropertyValue("Type", TCIMValue("Firmware"), {});
  instance->SetPropertyValue("TYPE", TCIMValue("Driver"), {});
  instance->SetPropertyValue("undeclared", TCIMValue(""), {});
  EXPECT_TRUE(InstancesOf(space, "A").empty());
  EXPECT_EQ(TextOf(instance, "type"), "Driver");
  instance->Commit({});
  ASSERT_EQ(InstancesOf(space, "A").size(), 1u);
  EXPECT_EQ(TextOf(InstancesOf(space, "A")[0], "Type"), "Driver");
  EXPECT_FALSE(ValueOf(InstancesOf(space, "A")[0], "undeclared").IsNull());
  EXPECT_EQ(TextOf(instance, "type"), "Driver");
}

TEST_F(NamespaceInstances, AreCommittedOnce) {
  Declare(space, "A");
  const TInstanceHandle instance = Create("A");
  instance->Commit({});
  EXPECT_EQ(StatusOf([&] { instance->Commit({}); }), THSKStatusCode::kFailed);
  EXPECT_EQ(StatusOf([&] { InstancesOf(space, "A")[0]->Commit({}); }), THSKStatusCode::kFailed);
  EXPECT_EQ(InstancesOf(space, "A").size(), 1u);
}

TEST_F(NamespaceInstances, TakeDefaultsBeforeTheirCommitToo) {
  {
    TNamespaceWriter writer(space);
    writer.BeginClass("Base", "");
    writer.WriteValue("Type", ECIMType::kString, "default");
    writer.Finish();
  }
  Declare(space, "A", "Base");
  const TInstanceHandle instance = Create("A");
  EXPECT_EQ(TextOf(instance, "Type"), "default");
  EXPECT_EQ(StatusOf([&] { PropertyOf(instance, "other"); }), THSKStatusCode::kNoSuchProperty);
}

TEST_F(NamespaceInstances, SayWhatTheyHaveNot) {
  Declare(space, "A");
  const TInstanceHandle instance = Create("A");
  const auto textOf = [](auto act) -> std::string {
    try {
      act();
    } catch (const THSKException& error) {
      return error.GetMessageText();
    }
    return "nothing was thrown";
  };
  EXPECT_EQ(textOf([&] { ClassOf(space, "B"); }), "There is no class \"B\"");
  const auto readOther = [&] { PropertyOf(instance, "Other"); };
  EXPECT_EQ(textOf(readOther), "An instance of class \"A\" has no property \"Other\"");
  instance->Commit({});
  EXPECT_EQ(textOf(readOther), "An instance of class \"A\" has no property \"Other\"");
  EXPECT_EQ(textOf([&] { PropertyOf(InstancesOf(space, "A")[0], "Other"); }),
            "An instance of class \"A\" has no property \"Other\"");
  EXPECT_EQ(textOf([&] { instance->Commit({}); }),
            "This instance of class \"A\" is committed already");
}

// A walk along so many would take hundreds of times as long as writing them.
TEST_F(NamespaceInstances, OfManyPropertiesFindEachWithoutAWalk) {
  constexpr int kCount = 30000;
  Declare(space, "A");
  const auto start = std::clock();
  {
    TNamespaceWriter writer(space);
    writer.BeginInstance("A");
    for (int i = 0; i < kCount; ++i) {
      writer.WriteValue("property" + std::to_string(i), ECIMType::kString, "text");
    }
    writer.Finish();
  }
  const auto written = std::clock();
  const TInstanceHandle instance = InstancesOf(space, "A").at(0);
  for (int i = 0; i < kCount; ++i) {
    ASSERT_EQ(TextOf(instance, "property" + std::to_string(i)), "text");
  }
  EXPECT_LE(std::clock() - written, 20 * (written - start) + CLOCKS_PER_SEC / 10);
}

TEST_F(NamespaceInstances, KeepEveryKindOfValueSetInThem) {
  Declare(space, "A");
  const std::vector<TCIMValue> values = {
      TCIMValue("text"),
      TCIMValue::Unsigned(ECIMType::kUint64, ~std::uint64_t{0}),
      TCIMValue::Signed(ECIMType::kSint16, -7),
      TCIMValue::Real(ECIMType::kReal64, 0.1),
      TCIMValue::Boolean(true),
      TCIMValue::Null(ECIMType::kUint8),
      TCIMValue::Null(ECIMType::kString),
      TCIMValue::Null(ECIMType::kString, true),
      TCIMValue::Array(ECIMType::kString, {TCIMValue("a"), TCIMValue()}),
      TCIMValue::Array(ECIMType::kUint8, {TCIMValue::Unsigned(ECIMType::kUint8, 9)}),
  };
  const TInstanceHandle instance = Create("A");
  instance->Commit({});
  for (const TCIMValue& value : values) {
    const TInstanceHandle fresh = Create("A");
    fresh->SetPropertyValue("v", value, {});
    fresh->Commit({});
    instance->SetPropertyValue("v", value, {});
    for (const TInstanceHandle& holder : {fresh, instance}) {
      EXPECT_EQ(ValueOf(holder, "v").Type(), value.Type());
      EXPECT_EQ(ValueOf(holder, "v").IsArray(), value.IsArray());
      EXPECT_EQ(ValueOf(holder, "v").IsNull(), value.IsNull());
      EXPECT_EQ(TextOf(holder, "v"), value.ToString(10));
    }
    for (const TInstanceHandle& stored : InstancesOf(space, "A")) {
      const std::optional<std::string> text = StoredText(*stored, "V");
      EXPECT_EQ(text, TextOf(stored, "v"));
      // Only of a text that is one alone.
      const TCIMValue there = ValueOf(stored, "v");
      const bool isText = there.Type() == ECIMType::kString && !there.IsArray() && !there.IsNull();
      EXPECT_EQ(StoredView(*stored, "V"),
                isText ? std::optional(std::string_view(*text)) : std::nullopt);
    }
  }
}

TEST_F(NamespaceInstances, HaveNoTextOfAPropertyThatTheyHaveNot) {
  Declare(space, "A");
  Add(space, "A", "Name", "1");
  const TInstanceHandle created = Create("A");
  EXPECT_EQ(StoredText(*InstancesOf(space, "A")[0], "Other"), std::nullopt);
  EXPECT_EQ(StoredText(*created, "Name"), std::nullopt);
  EXPECT_EQ(StoredView(*InstancesOf(space, "A")[0], "Other"), std::nullopt);
  EXPECT_EQ(StoredView(*created, "Name"), std::nullopt);
}

TEST_F(NamespaceInstances, ChangeWithoutTouchingTheirNeighbours) {
  Declare(space, "A");
  for (const char* name : {"1", "2"}) {
    TNamespaceWriter writer(space);
    writer.BeginInstance("A");
    writer.WriteValue("first", ECIMType::kString, "same");
    writer.WriteValue("n", ECIMType::kString, name);
    writer.WriteValue("last", ECIMType::kString, "same");
    writer.Finish();
  }
  const auto instances = InstancesOf(space, "A");
  const TPropertyHandle before = PropertyOf(instances[0], "last");
  instances[0]->SetPropertyValue("last", TCIMValue("changed"), {});
  instances[0]->SetPropertyValue("first", TCIMValue::Unsigned(ECIMType::kUint8, 7), {});
  EXPECT_EQ(
      TextOf(instances[0], "first") + TextOf(instances[0], "n") + TextOf(instances[0], "last"),
      "71changed");
  EXPECT_EQ(
      TextOf(instances[1], "first") + TextOf(instances[1], "n") + TextOf(instances[1], "last"),
      "same2same");
  EXPECT_EQ(before->Value({}).ToString(10), "same");
}

TEST_F(NamespaceInstances, OutliveTheNamespaceHandle) {
  Declare(space, "A");
  Add(space, "A", "n", "a text that is kept by nobody else");
  const TInstanceHandle instance = InstancesOf(space, "A").at(0);
  const TClassHandle cimClass = ClassOf(space, "A");
  const TInstanceHandle created = Create("A");
  space.reset();
  const TPropertyHandle property = PropertyOf(instance, "n");
  created->SetPropertyValue("n", TCIMValue("2"), {});
  created->Commit({});
  std::vector<TInstanceHandle> found;
  cimClass->EnumerateInstances(NQRXHSK20::TAddToVectorCallback<ICIMInstance>(found), true, {});
  EXPECT_EQ(found.size(), 2u);
}

TEST_F(NamespaceInstances, PropertiesOutliveEveryOtherHandle) {
  Declare(space, "A");
  Add(space, "A", "n", "a text that is kept by nobody else");
  const TPropertyHandle property = PropertyOf(InstancesOf(space, "A").at(0), "n");
  space.reset();
  EXPECT_EQ(property->Value({}).ToString(10), "a text that is kept by nobody else");
}

TEST_F(NamespaceInstances, AHeldPropertyKeepsItsValueWhateverIsReadBehindIt) {
  Declare(space, "A");
  for (const char* text : {"first", "second", "third"}) Add(space, "A", "n", text);
  const auto instances = InstancesOf(space, "A");
  const TPropertyHandle held = PropertyOf(instances.at(0), "n");
  EXPECT_EQ(TextOf(instances.at(1), "n"), "second");
  const TPropertyHandle last = PropertyOf(instances.at(2), "n");
  EXPECT_NE(held, last);
  EXPECT_EQ(TextOf(instances.at(1), "n"), "second");
  space.reset();
  EXPECT_EQ(held->Value({}).ToString(10), "first");
  EXPECT_EQ(last->Value({}).ToString(10), "third");
}

TEST_F(NamespaceInstances, AreAskedByTheBytesOfANameWhereverTheyStand) {
  Declare(space, "A");
  Add(space, "A", "n", "1");
  const TInstanceHandle instance = InstancesOf(space, "A").at(0);
  instance->SetPropertyValue("m", TCIMValue("2"), {});
  std::string name = "n";
  const auto read = [&] { return TextOf(instance, name); };
  EXPECT_EQ(read(), "1");
  name[0] = 'm';
  EXPECT_EQ(read(), "2");
  name[0] = 'N';
  EXPECT_EQ(read(), "1");
  name[0] = 'x';
  EXPECT_EQ(StatusOf(read), THSKStatusCode::kNoSuchProperty);
  instance->SetPropertyValue("x", TCIMValue("3"), {});
  EXPECT_EQ(read(), "3");
  name = "A";
  EXPECT_NO_THROW(ClassOf(space, name));
  name[0] = 'n';
  EXPECT_EQ(StatusOf([&] { ClassOf(space, name); }), THSKStatusCode::kClassNotFound);
}

TEST_F(NamespaceInstances, MayBeAddedDuringAnEnumeration) {
  Declare(space, "A");
  Add(space, "A", "n", "1");
  int seen = 0;
  ClassOf(space, "A")
      ->EnumerateInstances(
          [&](const TInstanceHandle&) {
            ++seen;
            Add(space, "A", "n", "2");
          },
          true, {});
  EXPECT_EQ(seen, 1);
  EXPECT_EQ(InstancesOf(space, "A").size(), 2u);
}

TEST_F(NamespaceInstances, OfManyPropertiesFindEach) {
  Declare(space, "A");
  {
    TNamespaceWriter writer(space);
    for (int instance = 0; instance < 2; ++instance) {
      writer.BeginInstance("A");
      for (int i = 0; i < 1000; ++i) {
        writer.WriteValue("property" + std::to_string(i * (instance + 1)), ECIMType::kString,
                          std::to_string(i));
      }
      writer.Finish();
    }
  }
  const auto instances = InstancesOf(space, "A");
  for (int i = 0; i < 1000; ++i) {
    EXPECT_EQ(TextOf(instances[0], "Property" + std::to_string(i)), std::to_string(i));
    EXPECT_EQ(TextOf(instances[1], "Property" + std::to_string(2 * i)), std::to_string(i));
  }
  EXPECT_EQ(StatusOf([&] { PropertyOf(instances[1], "property1"); }),
            THSKStatusCode::kNoSuchProperty);
}

std::string PlaceIn(const TInstanceHandle& instance) {
  const auto place = PlaceOf(*instance);
  return place ? std::to_string(place->document) + " at " + std::to_string(place->offset) : "none";
}

TEST_F(NamespaceInstances, HaveThePlacesThatWereKeptOfThem) {
  KeepPlaces(space);
  Declare(space, "A");
  TNamespaceWriter writer(space);
  const auto add = [&](std::size_t offset) {
    writer.BeginInstance("A");
    if (offset != 0) writer.KeepPlace(offset);
    writer.Finish();
  };
  add(5);
  writer.BeginDocument();
  add(7);
  add(0);
  add(9);
  writer.BeginDocument();
  writer.BeginDocument();
  add(11);
  std::vector<std::string> places;
  for (const auto& instance : InstancesOf(space, "A")) places.push_back(PlaceIn(instance));
  EXPECT_EQ(places, (std::vector<std::string>{"none", "0 at 7", "none", "0 at 9", "2 at 11"}));
  const TInstanceHandle created = Create("A");
  EXPECT_EQ(PlaceIn(created), "none");
  created->Commit({});
  EXPECT_EQ(PlaceIn(InstancesOf(space, "A").back()), "none");
}

// The table in which they are found has room for one more, whatever their number.
TEST_F(NamespaceInstances, OfAnyNumberOfPropertiesFindEachAndNoOther) {
  for (int count = 1; count < 140; ++count) {
    space = MakeInMemoryNamespace();
    Declare(space, "A");
    {
      TNamespaceWriter writer(space);
      writer.BeginInstance("A");
      for (int i = 0; i < count; ++i)
        writer.WriteValue("p" + std::to_string(i), ECIMType::kString, std::to_string(i));
      writer.BeginClass("B", "");
      writer.WriteValue("other", ECIMType::kString, "");
      writer.Finish();
    }
    EXPECT_TRUE(InstancesOf(space, "A").empty()) << "it was not finished";
    Add(space, "A", "p0", "0");
    const TInstanceHandle instance = InstancesOf(space, "A").at(0);
    for (int i = 1; i < count; ++i)
      instance->SetPropertyValue("p" + std::to_string(i), TCIMValue(std::to_string(i)), {});
    for (int i = 0; i < count; ++i)
      ASSERT_EQ(TextOf(instance, "P" + std::to_string(i)), std::to_string(i)) << count;
    EXPECT_EQ(StatusOf([&] { PropertyOf(instance, "other"); }), THSKStatusCode::kNoSuchProperty);
  }
}

// One table holds those of all: however full it becomes, it has room for what is not there.
TEST_F(NamespaceInstances, OfTwoFormsOfAnySizeFindTheirOwn) {
  for (int size = 25; size < 70; ++size) {
    space = MakeInMemoryNamespace();
    Declare(space, "A");
    {
      TNamespaceWriter writer(space);
      for (const auto& [prefix, count] : {std::pair("a", 30), std::pair("b", size)}) {
        writer.BeginInstance("A");
        for (int i = 0; i < count; ++i)
          writer.WriteValue(prefix + std::to_string(i), ECIMType::kString, std::to_string(i));
        writer.Finish();
      }
    }
    const auto instances = InstancesOf(space, "A");
    for (int i = 0; i < size; ++i) {
      const std::string number = std::to_string(i);
      EXPECT_EQ(StatusOf([&] { PropertyOf(instances[0], "b" + number); }),
                THSKStatusCode::kNoSuchProperty);
      ASSERT_EQ(TextOf(instances[1], "b" + number), number);
      if (i >= 30) continue;
      ASSERT_EQ(TextOf(instances[0], "a" + number), number);
      EXPECT_EQ(StatusOf([&] { PropertyOf(instances[1], "a" + number); }),
                THSKStatusCode::kNoSuchProperty);
    }
  }
}

// However many forms of instances there are that begin alike or end alike.
TEST_F(NamespaceInstances, OfManyFormsHaveTheirOwnPropertiesAlone) {
  constexpr int kCount = 600;
  Declare(space, "A");
  for (int turn = 0; turn < 2; ++turn) {
    TNamespaceWriter writer(space);
    for (int i = 0; i < kCount; ++i) {
      writer.BeginInstance("A");
      writer.WriteValue("first", ECIMType::kString, "f");
      writer.WriteValue("p" + std::to_string(i), ECIMType::kString, std::to_string(i + turn));
      writer.WriteValue("last", ECIMType::kString, std::to_string(turn));
      writer.Finish();
    }
  }
  const auto instances = InstancesOf(space, "A");
  ASSERT_EQ(instances.size(), 2u * kCount);
  for (int i = 0; i < 2 * kCount; ++i) {
    const int own = i % kCount;
    ASSERT_EQ(TextOf(instances[i], "p" + std::to_string(own)), std::to_string(own + i / kCount));
    ASSERT_EQ(TextOf(instances[i], "last"), std::to_string(i / kCount));
    ASSERT_EQ(TextOf(instances[i], "first"), "f");
    const std::string other = "p" + std::to_string((own + 1) % kCount);
    ASSERT_EQ(StatusOf([&] { PropertyOf(instances[i], other); }), THSKStatusCode::kNoSuchProperty);
  }
}

TEST_F(NamespaceInstances, WithRepeatedTextsReadAsTheyWereWritten) {
  Declare(space, "A");
  constexpr int kCount = 20000;
  const auto textOf = [](int i) {
    return i % 3 == 0 ? "text " + std::to_string(i) : "text " + std::to_string(i % 701);
  };
  {
    TNamespaceWriter writer(space);
    for (int i = 0; i < kCount; ++i) {
      writer.BeginInstance("A");
      writer.WriteValue("n", ECIMType::kString, textOf(i));
      writer.Finish();
    }
  }
  const auto instances = InstancesOf(space, "A");
  ASSERT_EQ(instances.size(), static_cast<std::size_t>(kCount));
  for (int i = 0; i < kCount; ++i) {
    ASSERT_EQ(TextOf(instances[i], "n"), textOf(i));
  }
}

TEST_F(NamespaceInstances, OfALongLineOfClassesInheritFromItsStart) {
  {
    TNamespaceWriter writer(space);
    writer.BeginClass("C0", "");
    writer.WriteValue("top", ECIMType::kString, "here");
    writer.Finish();
  }
  for (int i = 1; i < 3000; ++i) {
    Declare(space, "C" + std::to_string(i), "C" + std::to_string(i - 1));
    Add(space, "C" + std::to_string(i), "n", "1");
  }
  const auto instances = InstancesOf(space, "C0");
  ASSERT_EQ(instances.size(), 2999u);
  for (auto instance = instances.rbegin(); instance != instances.rend(); ++instance) {
    ASSERT_EQ(TextOf(*instance, "TOP"), "here");
    ASSERT_EQ(StatusOf([&] { PropertyOf(*instance, "bottom"); }), THSKStatusCode::kNoSuchProperty);
  }
}

// An instance of class A with an array of each of these texts and of null; none is kept elsewhere.
TCIMValue StoredArray(const TNamespaceHandle& space, ECIMType type,
                      const std::vector<std::string>& texts) {
  Declare(space, "A");
  TNamespaceWriter writer(space);
  writer.BeginInstance("A");
  writer.BeginArray("p", type);
  for (const std::string& text : texts) writer.AddElement(text);
  writer.AddNullElement();
  writer.EndArray();
  writer.Finish();
  return ValueOf(InstancesOf(space, "A").back(), "p");
}

// The elements one by one, with a stroke behind each.
std::string ElementByElement(const TCIMValue& array) {
  std::string text;
  for (const TCIMValue& element : static_cast<const std::vector<TCIMValue>&>(array)) {
    text += element.ToString(10) + "|";
  }
  return text;
}

// Lengths on both sides of a block of sixteen, and of what a mark of one byte or two can tell.
TEST_F(NamespaceInstances, StoredArraysAddTheTextsThatTheirElementsHave) {
  std::vector<std::string> texts;
  for (const std::size_t length : {0, 1, 15, 16, 17, 125, 126, 127, 128, 16382, 16383, 16384, 3}) {
    texts.emplace_back(length, static_cast<char>('a' + length % 26));
    std::string expected;
    for (const std::string& text : texts) expected += text + "|";
    const TCIMValue value = StoredArray(space, ECIMType::kString, texts);
    const auto property = PropertyOf(InstancesOf(space, "A").back(), "p");
    std::string text = "before ";
    property->Value({}).AppendElements(text, '|');
    EXPECT_EQ(text, "before " + expected + "|");
    EXPECT_EQ(ElementByElement(property->Value({})), expected + "|");
    EXPECT_EQ(ElementByElement(value), expected + "|");
  }
}

TEST_F(NamespaceInstances, StoredArraysOfNumbersAddTheirTexts) {
  for (const ECIMType type : {ECIMType::kSint8, ECIMType::kUint64, ECIMType::kReal64}) {
    StoredArray(space, type, {"7", "100"});
    const auto property = PropertyOf(InstancesOf(space, "A").back(), "p");
    std::string text;
    property->Value({}).AppendElements(text, ' ');
    EXPECT_EQ(text, "7 100  ");
    EXPECT_EQ(property->Value({}).ToString(10), "{ 7, 100,  }");
  }
  StoredArray(space, ECIMType::kBoolean, {"true"});
  std::string text;
  ValueOf(InstancesOf(space, "A").back(), "p").AppendElements(text, ' ');
  EXPECT_EQ(text, "TRUE  ");
}

TEST_F(NamespaceInstances, ACopyOfAStoredArrayOutlivesTheNamespace) {
  TCIMValue copy = StoredArray(space, ECIMType::kString, {std::string(40, 'x')});
  TCIMValue moved = std::move(copy);
  space.reset();
  TCIMValue assigned;
  assigned = moved;
  EXPECT_EQ(moved.ToString(10), "{ " + std::string(40, 'x') + ",  }");
  EXPECT_EQ(assigned.ToString(10), moved.ToString(10));
}

TEST_F(NamespaceInstances, TheElementsOfAStoredArrayMayBeAskedForInSeveralThreads) {
  StoredArray(space, ECIMType::kString, {"a", "b"});
  const auto property = PropertyOf(InstancesOf(space, "A").back(), "p");
  std::vector<const std::vector<TCIMValue>*> seen(4);
  std::vector<std::thread> threads;
  for (auto& place : seen) {
    threads.emplace_back([&] {
      place = &static_cast<const std::vector<TCIMValue>&>(property->Value({}));
      EXPECT_EQ(ElementByElement(property->Value({})), "a|b||");
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(std::set(seen.begin(), seen.end()).size(), 1u);
}

TEST(IndependentNamespaces, MayBeUsedInDifferentThreads) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      const TNamespaceHandle space = MakeInMemoryNamespace();
      Declare(space, "A");
      for (int i = 0; i < 500; ++i) {
        Add(space, "A", "n", std::to_string(t));
      }
      for (const auto& instance : InstancesOf(space, "A")) {
        EXPECT_EQ(TextOf(instance, "n"), std::to_string(t));
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

}  // namespace
}  // namespace svc::testing
