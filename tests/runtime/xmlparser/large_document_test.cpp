// Documents of the size that catalogues have, read from one block.
#include <gtest/gtest.h>

#include "loading.h"

namespace svc::xml {
namespace {

std::string TextOf(int number) {
  return "text " + std::to_string(number) + " of " + std::string(number % 150, 'x');
}

std::string Instance(int number, const std::string& lineEnd) {
  return "<VALUE.OBJECT>" + lineEnd + "<INSTANCE CLASSNAME='K'>" + lineEnd +
         "<PROPERTY NAME='P'><VALUE>" + TextOf(number) + "</VALUE></PROPERTY>" + lineEnd +
         "<PROPERTY NAME='Same'><VALUE>of few</VALUE></PROPERTY>" + lineEnd +
         "</INSTANCE></VALUE.OBJECT>" + lineEnd;
}

constexpr int kInstances = 12'000;
constexpr int kLinesOfInstance = 5;

std::string Instances(const std::string& lineEnd) {
  std::string text;
  for (int i = 0; i < kInstances; ++i) text += Instance(i, lineEnd);
  return text;
}

TEST(LargeDocument, KeepsEveryText) {
  const TLoaded loaded = LoadBlock(WithClass(Instances("\n")));
  ASSERT_EQ(loaded.message, "");
  const TInstances instances = InstancesOf(loaded, "K");
  ASSERT_EQ(instances.size(), kInstances);
  for (int i = 0; i < kInstances; ++i) {
    ASSERT_EQ(ValueOf(instances[i], "P").ToString(10), TextOf(i));
    ASSERT_EQ(ValueOf(instances[i], "Same").ToString(10), "of few");
  }
}

TEST(LargeDocument, KeepsEveryTextOfSeveralGroups) {
  const std::string ofGroup = "</DECLGROUP>\n<DECLGROUP>";
  const TLoaded loaded =
      LoadBlock(WithClass(Instances("\n") + ofGroup + Instances("\n") + ofGroup + Instance(1, "")));
  ASSERT_EQ(loaded.message, "");
  const TInstances instances = InstancesOf(loaded, "K");
  ASSERT_EQ(instances.size(), 2 * kInstances + 1);
  for (int i = 0; i < 2 * kInstances; ++i)
    ASSERT_EQ(ValueOf(instances[i], "P").ToString(10), TextOf(i % kInstances));
}

TEST(LargeDocument, IsRefusedForTheRightLine) {
  for (const std::string lineEnd : {"\n", "\r\n", "\r"}) {
    const std::string instances = Instances(lineEnd);
    for (const int pad : {0, 1, 2}) {
      const TLoaded loaded = LoadBlock(WithClass(std::string(pad, ' ') + instances + "<UNKNOWN/>"));
      const std::string line = std::to_string(3 + kInstances * kLinesOfInstance);
      EXPECT_EQ(loaded.message.substr(0, loaded.message.find(':')), "line " + line) << pad;
      const TLoaded within =
          LoadBlock(WithClass(std::string(pad, ' ') + instances +
                              "<VALUE.OBJECT><CLASS NAME='&lt;" + lineEnd + "&no;"));
      EXPECT_EQ(within.message.substr(0, within.message.find(':')),
                "line " + std::to_string(4 + kInstances * kLinesOfInstance))
          << pad;
    }
  }
}

}  // namespace
}  // namespace svc::xml
