// Namespaces that hold one content in common.
#include <gtest/gtest.h>

#include <thread>

#include "runtime/hskcore/cim_state.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/hskcore/namespace_writer.h"
#include "tests/runtime/hskcore/cim_reading.h"

namespace svc::testing {
namespace {

TNamespaceHandle MakeFilled() {
  const TNamespaceHandle space = MakeInMemoryNamespace();
  Declare(space, "Base");
  Declare(space, "Derived", "Base");
  Add(space, "Base", "Name", "first");
  Add(space, "Derived", "Name", "second");
  return space;
}

TNamespaceHandle Sharer(const TNamespaceHandle& source) {
  const TNamespaceHandle space = MakeInMemoryNamespace();
  AdoptState(space, ShareState(source));
  return space;
}

using TTexts = std::vector<std::string>;

TTexts NamesIn(const TNamespaceHandle& space) {
  return TextsOf(InstancesOf(space, "Base"), "Name");
}

TEST(SharedState, HoldsWhatItsSourceHeld) {
  EXPECT_EQ(NamesIn(Sharer(MakeFilled())), (TTexts{"first", "second"}));
}

TEST(SharedState, HandsOutAPropertyOnce) {
  const TNamespaceHandle source = MakeFilled();
  const TNamespaceHandle sharer = Sharer(source);
  const TPropertyHandle one = PropertyOf(InstancesOf(source, "Base")[0], "Name");
  EXPECT_EQ(one, PropertyOf(InstancesOf(sharer, "Base")[0], "name"));
}

// Also where the new value takes the place of one of its form.
TEST(SharedState, IsLeftAsItIsByASharerThatWrites) {
  const TNamespaceHandle source = MakeFilled();
  const TNamespaceHandle other = Sharer(source);
  const TNamespaceHandle writing = Sharer(source);
  for (const TInstanceHandle& instance : InstancesOf(writing, "Base"))
    instance->SetPropertyValue("name", TCIMValue("changed"), {});
  EXPECT_EQ(NamesIn(writing), (TTexts{"changed", "changed"}));
  EXPECT_EQ(NamesIn(other), (TTexts{"first", "second"}));
  EXPECT_EQ(NamesIn(source), (TTexts{"first", "second"}));
  for (const TInstanceHandle& instance : InstancesOf(source, "Base"))
    instance->SetPropertyValue("name", TCIMValue("own"), {});
  EXPECT_EQ(NamesIn(source), (TTexts{"own", "own"}));
  EXPECT_EQ(NamesIn(other), (TTexts{"first", "second"}));
}

using TNumbers = std::vector<TRowId>;

struct TNumberObserver : IReadObserver {
  void OnGetClass(std::string_view) override {}
  void OnGetProperty(const ICIMInstance& instance, std::string_view) override {
    numbers.push_back(NumberOf(instance));
  }
  TNumbers numbers;
};

// A sharer that does not show the first instance of its source.
TNamespaceHandle SharerOfTheSecond(const TNamespaceHandle& source) {
  TNamespaceHandle space = Sharer(source);
  HideInstances(space, MakeHiddenInstances(ShareState(source), {true}));
  return space;
}

TEST(HiddenInstances, AreLeftOutOfEnumerations) {
  const TNamespaceHandle source = MakeFilled();
  EXPECT_EQ(NamesIn(SharerOfTheSecond(source)), (TTexts{"second"}));
  EXPECT_EQ(NamesIn(Sharer(source)), (TTexts{"first", "second"}));
}

TEST(HiddenInstances, AreNoneOfThoseThatTheListDoesNotReach) {
  const TNamespaceHandle source = MakeFilled();
  const auto names = [&](const std::vector<bool>& isHidden) {
    const TNamespaceHandle space = Sharer(source);
    HideInstances(space, MakeHiddenInstances(ShareState(source), isHidden));
    return NamesIn(space);
  };
  EXPECT_EQ(names({}), (TTexts{"first", "second"}));
  EXPECT_EQ(names({false}), (TTexts{"first", "second"}));
  EXPECT_EQ(names({false, true}), (TTexts{"first"}));
  EXPECT_EQ(names({true, true, true}), (TTexts{}));
}

TEST(HiddenInstances, KeepTheNumbersOfTheOthers) {
  const TNamespaceHandle space = SharerOfTheSecond(MakeFilled());
  TNumberObserver observer;
  SetReadObserver(space, &observer);
  NamesIn(space);
  EXPECT_EQ(observer.numbers, (TNumbers{1}));
}

TEST(HiddenInstances, ShowOnceTheNamespaceIsWrittenTo) {
  const TNamespaceHandle space = SharerOfTheSecond(MakeFilled());
  Add(space, "Base", "Name", "third");
  EXPECT_EQ(NamesIn(space), (TTexts{"first", "second", "third"}));
}

TEST(HiddenInstances, ShowInAnotherState) {
  const TNamespaceHandle space = SharerOfTheSecond(MakeFilled());
  AdoptState(space, ShareState(MakeFilled()));
  EXPECT_EQ(NamesIn(space), (TTexts{"first", "second"}));
}

TEST(SharedState, APropertyOutlivesItsNamespaces) {
  TNamespaceHandle source = MakeFilled();
  TNamespaceHandle sharer = Sharer(source);
  const TPropertyHandle kept = PropertyOf(InstancesOf(sharer, "Base")[1], "Name");
  source.reset();
  sharer.reset();
  EXPECT_EQ(kept->Value({}).ToString(10), "second");
}

TEST(SharedState, IsCopiedBeforeAnInstanceIsAdded) {
  const TNamespaceHandle source = MakeFilled();
  const TNamespaceHandle sharer = Sharer(source);
  Add(sharer, "Base", "Name", "third");
  EXPECT_EQ(NamesIn(sharer), (TTexts{"first", "second", "third"}));
  EXPECT_EQ(NamesIn(source), (TTexts{"first", "second"}));
  EXPECT_FALSE(SharedStateOf(sharer));
  EXPECT_TRUE(SharedStateOf(source));
}

TEST(SharedState, IsCopiedBeforeItsSourceChanges) {
  const TNamespaceHandle source = MakeFilled();
  const TNamespaceHandle sharer = Sharer(source);
  Declare(source, "Other");
  Add(source, "Other", "Name", "elsewhere");
  EXPECT_EQ(StatusOf([&] { ClassOf(sharer, "Other"); }), THSKStatusCode::kClassNotFound);
}

TEST(SharedState, IsCopiedBeforeAValueIsReplaced) {
  const TNamespaceHandle source = MakeFilled();
  const TNamespaceHandle sharer = Sharer(source);
  const TInstanceHandle instance = InstancesOf(sharer, "Base")[0];
  EXPECT_EQ(TextOf(instance, "Name"), "first");
  instance->SetPropertyValue("Name", "changed", {});
  instance->SetPropertyValue("New", "added", {});
  EXPECT_EQ(TextOf(instance, "Name"), "changed");
  EXPECT_EQ(TextOf(instance, "New"), "added");
  EXPECT_EQ(NamesIn(source), (TTexts{"first", "second"}));
}

TEST(SharedState, ACopyOutlivesWhatItWasCopiedFrom) {
  TNamespaceHandle source = MakeFilled();
  const TNamespaceHandle sharer = Sharer(source);
  Add(sharer, "Derived", "Name", "third");
  source.reset();
  EXPECT_EQ(NamesIn(sharer), (TTexts{"first", "second", "third"}));
}

TEST(SharedState, ArraysOfACopyOutliveWhatTheyWereCopiedFrom) {
  TNamespaceHandle source = MakeFilled();
  AddArray(source, "Derived", "Name", std::string(3000, 'a'));
  TNamespaceHandle sharer = Sharer(source);
  AddArray(sharer, "Derived", "Name", "own");
  const auto instances = InstancesOf(sharer, "Derived");
  const TPropertyHandle copied = PropertyOf(instances.at(1), "Name");
  const TPropertyHandle own = PropertyOf(instances.at(2), "Name");
  source.reset();
  EXPECT_EQ(TextOf(instances.at(1), "Name"), "{ " + std::string(3000, 'a') + " }");
  sharer.reset();
  EXPECT_EQ(copied->Value({}).ToString(10), "{ " + std::string(3000, 'a') + " }");
  EXPECT_EQ(own->Value({}).ToString(10), "{ own }");
}

TEST(SharedState, FindsInheritedDefaultsAfterTheCopy) {
  const TNamespaceHandle source = MakeFilled();
  TNamespaceWriter writer(source);
  writer.BeginClass("Base", "");
  writer.WriteValue("Note", ECIMType::kString, "as declared");
  writer.Finish();
  const TNamespaceHandle sharer = Sharer(source);
  const TInstanceHandle instance = InstancesOf(sharer, "Derived")[0];
  EXPECT_EQ(TextOf(instance, "Note"), "as declared");
  Declare(sharer, "Another");
  EXPECT_EQ(TextOf(instance, "Note"), "as declared");
}

TEST(SharedState, IsReadByManyThreads) {
  const TNamespaceHandle source = MakeFilled();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([space = Sharer(source)] {
      for (int round = 0; round < 200; ++round) EXPECT_EQ(NamesIn(space).size(), 2u);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(SharedState, OnlyAnEmptyOrASharingNamespaceTakesOne) {
  const TNamespaceHandle space = MakeInMemoryNamespace();
  EXPECT_TRUE(TakesSharedStates(space));
  Declare(space, "Own");
  EXPECT_FALSE(TakesSharedStates(space));
  ShareState(space);
  EXPECT_TRUE(TakesSharedStates(space));
}

}  // namespace
}  // namespace svc::testing
