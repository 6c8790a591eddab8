// What documents made to hurt cost in memory.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "tests/runtime/hskcore/cim_reading.h"
#include "tests/runtime/hskcore/counted_memory.h"

namespace svc::testing {
namespace {

// Writes a document's objects and gives the length that the document would have.
using TFamily = std::function<std::size_t(TNamespaceWriter&, int count)>;

std::size_t WriteInstance(TNamespaceWriter& writer, const std::string& property,
                          const std::string& text) {
  writer.BeginInstance("A");
  writer.WriteValue(property, ECIMType::kString, text);
  writer.Finish();
  return std::string(R"(<INSTANCE CLASSNAME="A"><PROPERTY NAME=""><VALUE></VALUE></PROPERTY>)"
                     "</INSTANCE>")
             .size() +
         property.size() + text.size();
}

std::size_t TinyInstances(TNamespaceWriter& writer, int count) {
  for (int i = 0; i < count; ++i) {
    writer.BeginInstance("A");
    writer.Finish();
  }
  return std::string(R"(<INSTANCE CLASSNAME="A"/>)").size() * count;
}

std::size_t OwnPropertyNames(TNamespaceWriter& writer, int count) {
  std::size_t length = 0;
  for (int i = 0; i < count; ++i) {
    length += WriteInstance(writer, "p" + std::to_string(i), "");
  }
  return length;
}

std::size_t ManyPropertiesInOne(TNamespaceWriter& writer, int count) {
  std::size_t length = 0;
  writer.BeginInstance("A");
  for (int i = 0; i < count; ++i) {
    const std::string name = "p" + std::to_string(i);
    writer.WriteNull(name, ECIMType::kString, false);
    length += std::string(R"(<PROPERTY NAME=""/>)").size() + name.size();
  }
  writer.Finish();
  return length;
}

std::size_t ManyClasses(TNamespaceWriter& writer, int count) {
  std::size_t length = 0;
  for (int i = 0; i < count; ++i) {
    const std::string name = "C" + std::to_string(i);
    writer.ClassHandle(writer.BeginClass(name, ""));
    writer.Finish();
    length += std::string(R"(<CLASS NAME=""/>)").size() + name.size();
  }
  return length;
}

std::size_t LongLineOfClasses(TNamespaceWriter& writer, int count) {
  std::string above = "A";
  std::size_t length = 0;
  for (int i = 0; i < count; ++i) {
    const std::string name = "C" + std::to_string(i);
    writer.BeginClass(name, above);
    writer.WriteNull("p", ECIMType::kString, false);
    writer.Finish();
    above = name;
    length += std::string(R"(<CLASS NAME="" SUPERCLASS=""><PROPERTY NAME="p"/></CLASS>)").size() +
              2 * name.size();
  }
  return length;
}

std::size_t OneHugeText(TNamespaceWriter& writer, int count) {
  return WriteInstance(writer, "p", std::string(static_cast<std::size_t>(count) * 64, 'x'));
}

std::size_t OneHugeArray(TNamespaceWriter& writer, int count) {
  writer.BeginInstance("A");
  writer.BeginArray("p", ECIMType::kString);
  for (int i = 0; i < count; ++i) {
    writer.AddElement("");
  }
  writer.EndArray();
  writer.Finish();
  return std::string("<VALUE></VALUE>").size() * count;
}

std::size_t TextsThatNeverRepeat(TNamespaceWriter& writer, int count) {
  std::size_t length = 0;
  for (int i = 0; i < count; ++i) {
    length += WriteInstance(writer, "p", std::to_string(i));
  }
  return length;
}

struct TGrowthCase {
  const char* name;
  TFamily write;
};

void PrintTo(const TGrowthCase& row, std::ostream* out) { *out << row.name; }

struct TCost {
  std::size_t document;
  TCountedMemory memory;
};

TCost CostOf(const TFamily& write, int count) {
  StartCounting();
  TCost cost{};
  {
    const TNamespaceHandle space = MakeInMemoryNamespace();
    Declare(space, "A");
    TNamespaceWriter writer(space);
    cost.document = write(writer, count);
  }
  cost.memory = Counted();
  return cost;
}

class StrangeDocument : public ::testing::TestWithParam<TGrowthCase> {};

// The document itself is in memory too while it is read: nine of the ten times are the namespace's.
TEST_P(StrangeDocument, TakesMemoryInProportion) {
  for (const int count : {20000, 160000}) {
    const TCost cost = CostOf(GetParam().write, count);
    EXPECT_LE(cost.memory.peakBytes, 9 * cost.document + (8u << 20))
        << count << ": "
        << static_cast<double>(cost.memory.peakBytes) / static_cast<double>(cost.document)
        << " times the document";
  }
}

INSTANTIATE_TEST_SUITE_P(
    Families, StrangeDocument,
    ::testing::Values(TGrowthCase{"tiny instances", TinyInstances},
                      TGrowthCase{"each instance its own property name", OwnPropertyNames},
                      TGrowthCase{"one instance of many properties", ManyPropertiesInOne},
                      TGrowthCase{"many classes", ManyClasses},
                      TGrowthCase{"classes that derive one from the other", LongLineOfClasses},
                      TGrowthCase{"one huge text", OneHugeText},
                      TGrowthCase{"one huge array", OneHugeArray},
                      TGrowthCase{"texts that never repeat", TextsThatNeverRepeat}));

TEST(Text, CostsLittleBesideItself) {
  const TCost cost = CostOf(TextsThatNeverRepeat, 100000);
  constexpr std::size_t kRow = 24 + 8;
  constexpr std::size_t kText = 4 + 6;
  EXPECT_LE(cost.memory.peakBytes, 100000 * (kRow + kText) * 4 / 3);
}

TEST(Instances, TakeNoMoreMemoryForAValueThatTakesAnothersPlace) {
  const TNamespaceHandle space = MakeInMemoryNamespace();
  Declare(space, "A");
  TNamespaceWriter writer(space);
  writer.BeginInstance("A");
  for (const char* name : {"a", "b", "c", "d"}) writer.WriteValue(name, ECIMType::kUint8, "1");
  writer.Finish();
  const TInstanceHandle instance = InstancesOf(space, "A").at(0);
  constexpr unsigned kTimes = 100000;
  StartCounting();
  for (unsigned i = 0; i < kTimes; ++i) {
    instance->SetPropertyValue("b", TCIMValue::Unsigned(ECIMType::kUint8, i % 2), {});
  }
  EXPECT_LE(Counted().peakBytes, 4096U);
  EXPECT_EQ(TextOf(instance, "b"), "1");
}

TEST(Text, ThatIsLargeLeavesNoRoomUnusedBeforeIt) {
  constexpr std::size_t kCount = 20;
  constexpr std::size_t kSize = 600'000;
  const auto large = [&](TNamespaceWriter& writer, int count) {
    for (int i = 0; i < count; ++i) WriteInstance(writer, "p", std::string(kSize, 'x'));
    return std::size_t{0};
  };
  EXPECT_LE(CostOf(large, kCount).memory.peakBytes, (kCount + 1) * kSize + (2u << 20));
}

TEST(Instances, OfFormsThatThereWereBeforeTakeNoMoreThanTheirValues) {
  const auto repeated = [](TNamespaceWriter& writer, int count) {
    for (int i = 0; i < count; ++i) {
      writer.BeginInstance("A");
      writer.WriteNull("p" + std::to_string(i % 1000), ECIMType::kString, false);
      writer.Finish();
    }
    return std::size_t{0};
  };
  constexpr std::size_t kRow = 24 + 8;
  EXPECT_LE(CostOf(repeated, 100000).memory.peakBytes, 100000 * kRow * 4 / 3);
}

TEST(Instances, AreNotAllocatedOneByOne) {
  const auto alike = [](TNamespaceWriter& writer, int count) {
    for (int i = 0; i < count; ++i) {
      writer.BeginInstance("A");
      for (const char* name : {"name", "Version", "category"}) {
        writer.WriteValue(name, ECIMType::kString, "a text of more than sixteen bytes");
      }
      writer.Finish();
    }
    return std::size_t{0};
  };
  EXPECT_LE(CostOf(alike, 100000).memory.allocations, 1000u);
}

}  // namespace
}  // namespace svc::testing
