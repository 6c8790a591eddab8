// Texts that are shared instead of copied, and instances that go to a sink instead of a namespace.
#include "host/hskcore/shared_text.h"

#include <gtest/gtest.h>

#include <boost/make_shared.hpp>

#include "runtime/hskcore/in_memory_namespace.h"
#include "tests/runtime/hskcore/cim_reading.h"

namespace svc::testing {
namespace {

using NQRXHSK20::TSharedText;

TEST(SharedText, OfItsOwnLivesAsLongAsAPart) {
  TSharedText part;
  {
    const TSharedText text(std::string(100, 'x') + "end");
    EXPECT_FALSE(text.IsShared());
    part = text.Part(text.View().substr(100));
  }
  EXPECT_EQ(part, "end");
  EXPECT_EQ(part, TSharedText("end"));
  EXPECT_FALSE(part == "END");
}

TEST(SharedText, OfSomebodyElseTakesNoCopy) {
  const auto owner = boost::make_shared<const std::string>("a long text");
  const TSharedText text(owner, *owner);
  EXPECT_TRUE(text.IsShared());
  EXPECT_TRUE(text.Part(text.View().substr(2)).IsShared());
  EXPECT_EQ(text.View().data(), owner->data());
  const TCIMValue value(text);
  const TCIMValue copy = value;
  ASSERT_NE(copy.SharedText(), nullptr);
  EXPECT_EQ(copy.SharedText()->View().data(), owner->data());
  EXPECT_EQ(copy.ToString(10), "a long text");
  EXPECT_EQ(copy.TextView(), "a long text");
  EXPECT_EQ(copy.Type(), ECIMType::kString);
  EXPECT_FALSE(copy.IsNull());
}

TEST(SharedText, OfAValueIsThatOfATextOnly) {
  EXPECT_EQ(TCIMValue("x").TextView(), "x");
  EXPECT_EQ(TCIMValue("x").SharedText(), nullptr);
  EXPECT_EQ(TCIMValue().TextView(), std::nullopt);
  EXPECT_EQ(TCIMValue::Unsigned(ECIMType::kUint8, 1).TextView(), std::nullopt);
  EXPECT_EQ(TCIMValue::Array(ECIMType::kString, {}).TextView(), std::nullopt);
}

TEST(SharedText, IsStoredByANamespace) {
  const TNamespaceHandle space = MakeInMemoryNamespace();
  Declare(space, "A");
  TInstanceHandle instance;
  ClassOf(space, "A")->CreateInstance(instance, {});
  instance->SetPropertyValue("p", TCIMValue(TSharedText("text")), {});
  instance->Commit({});
  EXPECT_EQ(TextOf(InstancesOf(space, "A").at(0), "p"), "text");
}

struct TTexts : IInstanceSink {
  void Take(const IWrittenInstance& instance) override {
    // A text may go with its instance.
    std::vector<std::string>& texts = taken.emplace_back();
    for (const char* name : {"p", "Q", "none"}) texts.emplace_back(instance.Text(name).View());
  }
  std::vector<std::vector<std::string>> taken;
};

TEST(InstanceSink, TakesWhatIsCommittedToItsClassAndThoseBelow) {
  const TNamespaceHandle space = MakeInMemoryNamespace();
  {
    TNamespaceWriter writer(space);
    writer.BeginClass("A", "");
    writer.WriteValue("q", ECIMType::kUint8, "7");
    writer.Finish();
  }
  Declare(space, "B", "A");
  Declare(space, "Other");
  TTexts sink;
  SetInstanceSink(space, "a", &sink);
  for (const char* name : {"A", "B", "Other"}) {
    TInstanceHandle instance;
    ClassOf(space, name)->CreateInstance(instance, {});
    instance->SetPropertyValue("P", TCIMValue("first"), {});
    instance->SetPropertyValue("p", TCIMValue(name), {});
    EXPECT_EQ(TextOf(instance, "P"), name);
    instance->Commit({});
  }
  const std::vector<std::vector<std::string>> taken = {{"A", "7", ""}, {"B", "7", ""}};
  EXPECT_EQ(sink.taken, taken);
  EXPECT_TRUE(InstancesOf(space, "A").empty());
  EXPECT_EQ(InstancesOf(space, "Other").size(), 1U);

  SetInstanceSink(space, "a", nullptr);
  TInstanceHandle instance;
  ClassOf(space, "A")->CreateInstance(instance, {});
  instance->Commit({});
  EXPECT_EQ(sink.taken, taken);
  EXPECT_EQ(InstancesOf(space, "A").size(), 1U);
}

TEST(Superclass, IsThereWhereAClassDerivesFromAnother) {
  const TNamespaceHandle space = MakeInMemoryNamespace();
  Declare(space, "A");
  EXPECT_FALSE(HasSuperclass(space, "A"));
  Declare(space, "B", "A");
  EXPECT_FALSE(HasSuperclass(space, "A"));
  EXPECT_TRUE(HasSuperclass(space, "b"));
  EXPECT_FALSE(HasSuperclass(space, "C"));
}

TEST(InstanceSink, TakesAnInstanceOnce) {
  const TNamespaceHandle space = MakeInMemoryNamespace();
  Declare(space, "A");
  TTexts sink;
  SetInstanceSink(space, "A", &sink);
  TInstanceHandle instance;
  ClassOf(space, "A")->CreateInstance(instance, {});
  EXPECT_EQ(StatusOf([&] { PropertyOf(instance, "p"); }), THSKStatusCode::kNoSuchProperty);
  instance->Commit({});
  constexpr const char* kCause =
      "This instance of class \"A\" is committed already, or nobody takes it";
  EXPECT_EQ(CauseOf([&] { instance->Commit({}); }), kCause);
  EXPECT_EQ(sink.taken.size(), 1U);
  ClassOf(space, "A")->CreateInstance(instance, {});
  SetInstanceSink(space, "A", nullptr);
  EXPECT_EQ(CauseOf([&] { instance->Commit({}); }), kCause) << "it was made for the sink";
  EXPECT_EQ(sink.taken.size(), 1U);
}

// What was read before is read anew when a class between is declared again.
TEST(PropertyCache, SeesADeclarationThatComesAfterARead) {
  for (const int depth : {1, 7, 8, 9, 20}) {
    const TNamespaceHandle space = MakeInMemoryNamespace();
    const auto declare = [&](int number, const char* text) {
      TNamespaceWriter writer(space);
      writer.BeginClass("C" + std::to_string(number),
                        number == 0 ? "" : "C" + std::to_string(number - 1));
      if (text != nullptr) writer.WriteValue("p", ECIMType::kString, text);
      writer.Finish();
    };
    for (int i = 0; i <= depth; ++i) declare(i, i == 0 ? "top" : nullptr);
    const std::string lowest = "C" + std::to_string(depth);
    Add(space, lowest, "other", "x");
    const TInstanceHandle instance = InstancesOf(space, lowest).at(0);
    EXPECT_EQ(TextOf(instance, "p"), "top");
    EXPECT_EQ(StatusOf([&] { PropertyOf(instance, "q"); }), THSKStatusCode::kNoSuchProperty);
    for (int i = 0; i <= depth; ++i) {
      const std::string text = "of " + std::to_string(i);
      declare(i, text.c_str());
      EXPECT_EQ(TextOf(instance, "p"), text) << depth;
    }
    {
      TNamespaceWriter writer(space);
      writer.BeginClass("C0", "");
      writer.WriteValue("q", ECIMType::kString, "late");
      writer.Finish();
    }
    EXPECT_EQ(TextOf(instance, "q"), "late");
  }
}

}  // namespace
}  // namespace svc::testing
