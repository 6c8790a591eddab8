// Parts of a document that are read at once, and joined.
#include "runtime/hskcore/namespace_writer.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "runtime/hskcore/in_memory_namespace.h"
#include "tests/runtime/hskcore/cim_reading.h"

namespace svc::testing {
namespace {

using TTexts = std::vector<std::string>;

class NamespacePart : public ::testing::Test {
 protected:
  NamespacePart() {
    Declare(space, "Base");
    Declare(space, "A", "Base");
    Declare(space, "B", "Base");
    Add(space, "A", "n", "0");
  }
  // In order, with the name of the property that each has beside its number.
  static void AddAll(const TNamespaceHandle& target, int first, const TTexts& names) {
    TNamespaceWriter writer(target);
    for (const std::string& name : names) {
      writer.BeginInstance(first % 2 == 0 ? "A" : "B");
      writer.WriteValue(name, ECIMType::kString, name + " of " + std::to_string(first));
      writer.WriteValue("n", ECIMType::kUint8, std::to_string(first++));
      writer.Finish();
    }
  }

  TNamespaceHandle space = MakeInMemoryNamespace();
};

TEST_F(NamespacePart, KeepsPlacesWhereTheWholeDoes) {
  for (const bool areKept : {false, true}) {
    const TNamespaceHandle whole = MakeInMemoryNamespace();
    if (areKept) KeepPlaces(whole);
    TNamespaceWriter writer(whole);
    writer.BeginDocument();
    Declare(whole, "A");
    Add(whole, "A", "n", "0");
    TNamespacePart part(whole);
    TNamespaceWriter second(part.Objects());
    second.BeginInstance("A");
    second.KeepPlace(77);
    second.Finish();
    part.JoinTo(whole);
    const auto instances = InstancesOf(whole, "A");
    ASSERT_EQ(instances.size(), 2u);
    EXPECT_FALSE(PlaceOf(*instances[0]).has_value());
    const auto place = PlaceOf(*instances[1]);
    EXPECT_EQ(place.has_value(), areKept);
    EXPECT_EQ(place ? place->offset : 77, 77u);
  }
}

TEST_F(NamespacePart, StandsBehindWhatTheWholeGotMeanwhile) {
  TNamespacePart second(space);
  TNamespacePart third(space);
  std::thread reading([&] { AddAll(second.Objects(), 3, {"red", "green"}); });
  AddAll(third.Objects(), 5, {"GREEN", "blue", "red"});
  AddAll(space, 1, {"blue", "Green"});
  reading.join();
  EXPECT_EQ(InstancesOf(space, "Base").size(), 3u);
  second.JoinTo(space);
  third.JoinTo(space);
  EXPECT_EQ(TextsOf(InstancesOf(space, "Base"), "n"),
            (TTexts{"0", "1", "2", "3", "4", "5", "6", "7"}));
  EXPECT_EQ(TextsOf(InstancesOf(space, "A"), "n"), (TTexts{"0", "2", "4", "6"}));
  EXPECT_EQ(TextsOf(InstancesOf(space, "B"), "n"), (TTexts{"1", "3", "5", "7"}));
  const auto all = InstancesOf(space, "Base");
  const TTexts names = {"", "blue", "Green", "red", "green", "GREEN", "blue", "red"};
  const TTexts folded = {"", "blue", "green", "red", "green", "green", "blue", "red"};
  for (std::size_t i = 1; i < all.size(); ++i) {
    for (const char* name : {"red", "green", "blue"}) {
      if (name == folded[i]) {
        EXPECT_EQ(TextOf(all[i], name), names[i] + " of " + std::to_string(i));
      } else {
        EXPECT_EQ(StatusOf([&] { PropertyOf(all[i], name); }), THSKStatusCode::kNoSuchProperty);
      }
    }
  }
}

TEST_F(NamespacePart, IsNoneOfTheWholeUntilItIsJoined) {
  {
    TNamespacePart part(space);
    AddAll(part.Objects(), 1, {"red"});
    EXPECT_EQ(InstancesOf(part.Objects(), "Base").size(), 2u);
  }
  EXPECT_EQ(InstancesOf(space, "Base").size(), 1u);
}

TEST_F(NamespacePart, TakesTheClassesThatTheWholeHadAndKeepsThoseThatItGot) {
  TNamespacePart part(space);
  Declare(space, "C", "B");
  EXPECT_EQ(StatusOf([&] { AddAll(part.Objects(), 1, {"red"}), ClassOf(part.Objects(), "C"); }),
            THSKStatusCode::kClassNotFound);
  Add(space, "C", "n", "9");
  part.JoinTo(space);
  EXPECT_EQ(TextsOf(InstancesOf(space, "B"), "n"), (TTexts{"9", "1"}));
  Add(space, "C", "n", "10");
  EXPECT_EQ(TextsOf(InstancesOf(space, "C"), "n"), (TTexts{"9", "10"}));
}

// The texts of a part live as long as what was handed out of the whole.
TEST_F(NamespacePart, LeavesItsTextsToTheWhole) {
  const std::string large(3000, 'n');
  TPropertyHandle property;
  TPropertyHandle array;
  {
    TNamespacePart part(space);
    AddAll(part.Objects(), 1, {large});
    AddArray(part.Objects(), "B", "array", large);
    part.JoinTo(space);
    property = PropertyOf(InstancesOf(space, "B").at(0), large);
    array = PropertyOf(InstancesOf(space, "B").at(1), "array");
  }
  space.reset();
  EXPECT_EQ(property->Value({}).ToString(10), large + " of 1");
  EXPECT_EQ(array->Value({}).ToString(10), "{ " + large + " }");
}

}  // namespace
}  // namespace svc::testing
