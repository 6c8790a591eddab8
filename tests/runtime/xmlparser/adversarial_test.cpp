// Documents made to hurt: memory stays in proportion to the document. (What the allocator has given
// out is asked while the objects are alive; time is not measured here.)
#include <gtest/gtest.h>
#include <malloc.h>

#include <functional>

#include "loading.h"

namespace svc::xml {
namespace {

std::size_t MemoryInUse() {
  const auto state = mallinfo2();
  return state.uordblks + state.hblkhd;
}

std::string Repeat(int times, const std::function<std::string(int)>& make) {
  std::string text;
  for (int i = 0; i < times; ++i) text += make(i);
  return text;
}

std::string Instance(const std::string& properties) {
  return "<VALUE.OBJECT><INSTANCE CLASSNAME='K'>" + properties + "</INSTANCE></VALUE.OBJECT>";
}

std::string Property(int number) {
  return "<PROPERTY NAME='p" + std::to_string(number) + "'><VALUE>v</VALUE></PROPERTY>";
}

void ExpectMemoryInProportion(const std::string& objects) {
  const std::string document = WithClass(objects);
  const std::size_t before = MemoryInUse();
  const TLoaded loaded = LoadBlock(document);
  EXPECT_EQ(loaded.message, "");
  EXPECT_LE(MemoryInUse() - before, 10 * document.size() + (8u << 20)) << document.substr(0, 200);
}

TEST(Adversarial, AHugeValue) {
  ExpectMemoryInProportion(
      Instance("<PROPERTY NAME='P'><VALUE>" + std::string(4 << 20, 'x') + "</VALUE></PROPERTY>"));
}

TEST(Adversarial, AHugeValueOfReferences) {
  ExpectMemoryInProportion(Instance("<PROPERTY NAME='P'><VALUE>" +
                                    Repeat(300'000, [](int) { return "&lt;\r\n"; }) +
                                    "</VALUE></PROPERTY>"));
}

TEST(Adversarial, ManyPropertyNamesInOneInstance) {
  ExpectMemoryInProportion(Instance(Repeat(40'000, Property)));
}

TEST(Adversarial, APropertyNameForEachInstance) {
  ExpectMemoryInProportion(Repeat(20'000, [](int i) { return Instance(Property(i)); }));
}

TEST(Adversarial, DeepNesting) {
  const std::string deep =
      Repeat(240, [](int i) { return "<q" + std::to_string(i % 10) + ">"; }) +
      Repeat(240, [](int i) { return "</q" + std::to_string(9 - i % 10) + ">"; });
  ExpectMemoryInProportion(
      Repeat(500, [&](int) { return Instance("<QUALIFIER>" + deep + "</QUALIFIER>"); }));
}

TEST(Adversarial, ALongListOfAttributes) {
  ExpectMemoryInProportion(
      Instance("<PROPERTY NAME='P'" +
               Repeat(100'000, [](int i) { return " a" + std::to_string(i) + "='1'"; }) + "/>"));
}

TEST(Adversarial, ManyClasses) {
  ExpectMemoryInProportion(Repeat(20'000, [](int i) {
    return "<VALUE.OBJECT><CLASS NAME='C" + std::to_string(i) + "'/></VALUE.OBJECT>";
  }));
}

TEST(Adversarial, ManyTinyInstances) {
  ExpectMemoryInProportion(Repeat(60'000, [](int) { return Instance(""); }));
}

}  // namespace
}  // namespace svc::xml
