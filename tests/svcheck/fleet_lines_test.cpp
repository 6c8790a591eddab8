// The bytes of a fleet's files and pipes, and the lines in them.
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <deque>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "svcheck/fleet/byte_source.h"
#include "svcheck/fleet/inputs.h"
#include "svcheck/system/failure.h"
#include "tests/support/temporary_folder.h"

namespace svc::fleet {
namespace {

using TTexts = std::vector<std::string>;

// Hands out one piece a call. Ready where the next one is not empty, which stands for a wait.
class TPieces : public IByteSource {
 public:
  explicit TPieces(TTexts given) : pieces(given.begin(), given.end()) {}
  std::size_t Read(char* block, std::size_t size) override {
    while (!pieces.empty() && pieces.front().empty()) pieces.pop_front();
    if (pieces.empty()) return 0;
    const std::size_t count = pieces.front().copy(block, size);
    pieces.front().erase(0, count);
    if (pieces.front().empty()) pieces.pop_front();
    return count;
  }
  bool IsReady() const override { return pieces.empty() || !pieces.front().empty(); }

 private:
  std::deque<std::string> pieces;
};

TTexts LinesOf(TTexts pieces) {
  TLineReader reader(std::make_unique<TPieces>(std::move(pieces)));
  TTexts lines;
  while (auto line = reader.Next()) {
    lines.push_back(*std::move(line) + (reader.LastHadEnd() ? "$" : ""));
  }
  EXPECT_FALSE(reader.Next()) << "nor after the end";
  return lines;
}

TEST(FleetLines, AreTheSameInWhateverPiecesTheyCome) {
  EXPECT_EQ(LinesOf({}), TTexts());
  EXPECT_EQ(LinesOf({"\n"}), TTexts({"$"}));
  EXPECT_EQ(LinesOf({"a\n"}), TTexts({"a$"}));
  EXPECT_EQ(LinesOf({"a"}), TTexts({"a"}));
  for (const TTexts& pieces : {TTexts{"a b\n\ncd\ne"}, TTexts{"a", " b\n", "\n", "cd", "\n", "e"},
                               TTexts{"a b", "\n\nc", "d\ne"}, TTexts{"a b\n\ncd", "\ne"}}) {
    EXPECT_EQ(LinesOf(pieces), TTexts({"a b$", "$", "cd$", "e"}));
  }
  const std::string large(std::size_t{1} << 18, 'x');
  for (const std::string& line : {large, large.substr(1), large + 'y'}) {
    EXPECT_EQ(LinesOf({"a\n" + line + "\nb\n" + line + '\n' + line + "\n" + line}),
              TTexts({"a$", line + "$", "b$", line + "$", line + "$", line}));
    EXPECT_EQ(LinesOf({line + "\nb\n", line + "\nc"}), TTexts({line + "$", "b$", line + "$", "c"}));
  }
}

TEST(FleetLines, AreReadyWhereAWholeOneIsThereOrMoreCanBeRead) {
  TLineReader reader(std::make_unique<TPieces>(TTexts{"a\nb\nc", "", "\nd\n", ""}));
  EXPECT_TRUE(reader.IsReady()) << "something can be read";
  EXPECT_EQ(reader.Next(), "a");
  EXPECT_TRUE(reader.IsReady()) << "b is there";
  EXPECT_EQ(reader.Next(), "b");
  EXPECT_FALSE(reader.IsReady()) << "of c nobody has written the end";
  EXPECT_EQ(reader.Next(), "c");
  EXPECT_TRUE(reader.IsReady()) << "d is there";
  EXPECT_EQ(reader.Next(), "d");
  EXPECT_FALSE(reader.IsReady());
  EXPECT_FALSE(reader.Next());
}

TEST(FleetLines, AreAsLongAsTheirReaderTakesAndNoLonger) {
  const auto failureOf = [](const std::string& line, std::size_t longest) {
    TLineReader reader(std::make_unique<TPieces>(TTexts{line, line + "\n"}), longest);
    try {
      EXPECT_EQ(reader.Next(), line + line);
    } catch (const std::runtime_error& error) {
      return std::string(error.what());
    }
    return std::string();
  };
  EXPECT_EQ(failureOf("12345", 5), "");
  EXPECT_EQ(failureOf("123456", 5), "a line is longer than a fleet writes");
}

class FleetBytes : public testing::Test {
 protected:
  std::string At(const std::string& name) const { return folder.Path() + "/" + name; }
  template <typename TStep>
  static std::string FailureOf(const TStep& step) {
    try {
      step();
      return "";
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  }

  test::TTemporaryFolder folder;
};

TEST_F(FleetBytes, OfAFileAreAllOfItWhateverItsSize) {
  const std::size_t block = std::size_t{1} << 18;
  for (const std::size_t size :
       {std::size_t{0}, std::size_t{1}, block - 1, block, block + 1, 2 * block, 3 * block + 5}) {
    std::string text(size, 'x');
    for (std::size_t i = 0; i < size; i += 997) text[i] = static_cast<char>('a' + i % 26);
    folder.Write("a.xml", text);
    EXPECT_EQ(ReadDocument(At("a.xml")), text) << size;
  }
}

TEST_F(FleetBytes, OfACompressedFileAreWhatItUnpacksTo) {
  // Of "abc abc abc ", and of nothing.
  constexpr char kPacked[] =
      "\037\213\010\000\000\000\000\000\002\003\113\114\112\126\110\204\142\000\274\314\005\212\014"
      "\000\000\000";
  constexpr char kNothing[] =
      "\037\213\010\000\000\000\000\000\002\003\003\000\000\000\000\000\000\000\000\000";
  folder.Write("a.xml.gz", std::string(kPacked, sizeof kPacked - 1));
  EXPECT_EQ(ReadDocument(At("a.xml.gz")), "abc abc abc ");
  folder.Write("a.xml.gz", std::string(kNothing, sizeof kNothing - 1));
  EXPECT_EQ(ReadDocument(At("a.xml.gz")), "");
  folder.Write("a.xml.gz", "");
  EXPECT_EQ(ReadDocument(At("a.xml.gz")), "");
  folder.Write("a.xml.gz", std::string(kPacked, sizeof kPacked - 9));
  EXPECT_TRUE(FailureOf([&] {
                ReadDocument(At("a.xml.gz"));
              }).starts_with(At("a.xml.gz") + ": cannot be unpacked: "))
      << "it is cut off";
}

TEST_F(FleetBytes, ThatCannotBeReadAreToldWithTheirFile) {
  EXPECT_EQ(FailureOf([&] { OpenBytes(At("none")); }),
            At("none") + ": cannot be opened: No such file or directory");
  EXPECT_EQ(FailureOf([&] { OpenBytes(folder.Path()); }),
            folder.Path() +
                ": is a folder and no file; what a program writes can come by standard input");
  folder.Write("a", "text");
  EXPECT_EQ(WhyNoFile(At("a")), "");
  EXPECT_EQ(WhyNoFile(At("none")), "");
}

TEST(FleetNames, SayWhetherAFileIsCompressed) {
  for (const char* name : {"a.gz", "a.zst", ".gz", "a.xml.zst"}) EXPECT_TRUE(IsCompressed(name));
  for (const char* name : {"a", "gz", "a.gz.xml", "azst", "a.zst ", ""})
    EXPECT_FALSE(IsCompressed(name)) << name;
}

TEST(FleetPipes, AreReadAsSoonAsSomethingIsThere) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  const TFile reading(::fdopen(ends[0], "r"));
  std::array<char, 8> block{};
  EXPECT_FALSE(HasSome(reading.get())) << "nobody has written";
  ASSERT_EQ(::write(ends[1], "abc", 3), 3);
  EXPECT_TRUE(HasSome(reading.get()));
  EXPECT_EQ(ReadSome(reading.get(), block.data(), 2), 2U);
  EXPECT_TRUE(HasSome(reading.get())) << "c is left";
  EXPECT_EQ(ReadSome(reading.get(), block.data() + 2, 6), 1U);
  EXPECT_EQ(std::string(block.data(), 3), "abc");
  EXPECT_FALSE(HasSome(reading.get()));
  ::close(ends[1]);
  EXPECT_TRUE(HasSome(reading.get())) << "its end";
  EXPECT_EQ(ReadSome(reading.get(), block.data(), 8), 0U);
}

TEST_F(FleetBytes, ThatTheSystemRefusesAreNone) {
  folder.Write("a", "text");
  const TFile writing(std::fopen(At("a").c_str(), "w"));
  char byte = 0;
  EXPECT_FALSE(ReadSome(writing.get(), &byte, 1));
  EXPECT_EQ(errno, EBADF);
}

TEST(FleetShards, AreEachMachineOfItsNumberAndNoOther) {
  const auto of = [](const std::string& text) {
    const TShard shard = ShardOf(text);
    std::string machines;
    for (std::uint64_t machine = 0; machine < 6; ++machine)
      if (shard.Has(machine)) machines += std::to_string(machine);
    return machines;
  };
  EXPECT_EQ(of(""), "012345");
  EXPECT_EQ(of("1/1"), "012345");
  EXPECT_EQ(of("1/2"), "024");
  EXPECT_EQ(of("2/2"), "135");
  EXPECT_EQ(of("3/4"), "2");
  EXPECT_EQ(of("7/7"), "");
}

TEST(FleetShards, AreWrittenAsNumberAndCount) {
  for (const std::string text :
       {"0/2", "3/2", "1", "1/", "/2", "1/2/", "1/2x", "1x/2", "1-2", "a/b", " 1/2", "1/ 2", "-1/2",
        "1/-2", "1/0", "/", "1/99999999999999999999"}) {
    try {
      ShardOf(text);
      ADD_FAILURE() << text << " is taken";
    } catch (const TError& error) {
      EXPECT_EQ(error.Kind(), EErrorKind::kUsage);
      EXPECT_EQ(std::string(error.what()),
                "--shard " + text + " is no shard; write I/N, the first of four is 1/4");
    }
  }
}

TEST_F(FleetBytes, WithoutAMachineMakeTheirPathBarren) {
  folder.Write("empty.ndjson", "");
  folder.Write("blank.jsonl", "\n \n");
  folder.Write("a.xml", "<a/>");
  folder.Write("bad.ndjson", "x\n");
  folder.Write("f/b.ndjson", "");
  folder.Write("g/b.ndjson", "");
  folder.Write("g/c.ndjson", R"({"machine":"m","inventory":"<m/>"})");
  const auto barrenOf = [](const TTexts& paths) {
    TInputs inputs(paths);
    while (inputs.Next()) EXPECT_EQ(inputs.Barren().size(), 0U);
    return inputs.Barren();
  };
  EXPECT_EQ(barrenOf({At("a.xml"), At("bad.ndjson"), At("g")}), TTexts());
  EXPECT_EQ(barrenOf({At("a.xml"), At("empty.ndjson"), At("blank.jsonl")}),
            TTexts({At("empty.ndjson"), At("blank.jsonl")}));
  EXPECT_EQ(barrenOf({At("f")}), TTexts({At("f")}));
  TInputs inputs({At("f"), At("a.xml"), At("empty.ndjson")});
  ASSERT_TRUE(inputs.Next());
  EXPECT_EQ(inputs.Barren(), TTexts({At("f")})) << "before its end is known of the others";
  EXPECT_FALSE(inputs.Next());
  EXPECT_EQ(inputs.Barren(), TTexts({At("f"), At("empty.ndjson")}));
}

}  // namespace
}  // namespace svc::fleet
