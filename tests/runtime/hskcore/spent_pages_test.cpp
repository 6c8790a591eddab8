// Memory that a namespace takes over from a block that its caller still owns.
#include <sys/mman.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <string>

#include "runtime/hskcore/os_platform.h"
#include "tests/runtime/hskcore/cim_reading.h"

namespace svc::testing {
namespace {

constexpr std::size_t kSize = 1 << 20;

class SpentPages : public ::testing::Test {
 protected:
  // So much that the namespace has use for pages.
  void WriteTexts(int count) {
    for (int i = 0; i < count; ++i) {
      writer.BeginInstance("A");
      writer.WriteValue("text", ECIMType::kString, TextNumber(written++));
      writer.Finish();
    }
  }
  static std::string TextNumber(int number) {
    return std::to_string(number) + std::string(100, '.');
  }
  void ExpectTexts() {
    const auto instances = InstancesOf(space, "A");
    ASSERT_EQ(instances.size(), written);
    for (int i = 0; i < written; ++i) ASSERT_EQ(TextOf(instances[i], "text"), TextNumber(i));
  }

  TNamespaceHandle space = MakeInMemoryNamespace();
  TNamespaceWriter writer{space};
  int written = 0;

  void SetUp() override {
    EXPECT_FALSE(writer.WantsPages());
    Declare(space, "A");
    WriteTexts(3000);
  }
};

TEST_F(SpentPages, HoldTextsWhenTheirBlockIsGone) {
  std::unique_ptr<char, decltype(&std::free)> block(static_cast<char*>(std::malloc(kSize)),
                                                    &std::free);
  std::memset(block.get(), 'x', kSize);
  const std::span<char> pages = WholePages({block.get(), kSize});
  ASSERT_GE(pages.size(), kSize - (1 << 17));
  ASSERT_TRUE(writer.WantsPages());
  ASSERT_TRUE(writer.TakePages(pages));
  EXPECT_EQ(pages.front(), 0);
  EXPECT_EQ(pages.back(), 0);
  // A block may itself begin with a page.
  EXPECT_TRUE(pages.data() == block.get() || pages.data()[-1] == 'x');
  block.reset();
  WriteTexts(12'000);
  ExpectTexts();
}

TEST_F(SpentPages, AreNotTakenFromSharedMemory) {
  void* const shared =
      mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(shared, MAP_FAILED);
  const std::span<char> block(static_cast<char*>(shared), kSize);
  std::memset(shared, 'x', kSize);
  ASSERT_TRUE(writer.WantsPages());
  EXPECT_FALSE(writer.TakePages(WholePages(block)));
  WriteTexts(12'000);
  EXPECT_EQ(block.front(), 'x');
  EXPECT_EQ(block.back(), 'x');
  munmap(shared, kSize);
  ExpectTexts();
}

TEST_F(SpentPages, AreWholePagesOnly) {
  char block[100] = {};
  EXPECT_TRUE(WholePages(block).empty());
  EXPECT_TRUE(WholePages({}).empty());
}

}  // namespace
}  // namespace svc::testing
