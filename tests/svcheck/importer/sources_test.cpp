// What compressed metadata and archives become, and where that ends.
#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>

#include "base/error.h"
#include "svcheck/importer/appstream.h"
#include "tests/support/temporary_folder.h"

namespace svc::offers {
namespace {

template <typename TAct>
std::string Refusal(const TAct& act) {
  try {
    act();
    return "";
  } catch (const TError& error) {
    return error.what();
  }
}

std::string Packed(const std::string& text, int (*addFilter)(archive*)) {
  std::string packed(text.size() + (1U << 20U), '\0');
  std::size_t size = 0;
  archive* const writer = ::archive_write_new();
  ::archive_write_set_format_raw(writer);
  EXPECT_EQ(addFilter(writer), ARCHIVE_OK);
  ::archive_write_set_bytes_in_last_block(writer, 1);
  EXPECT_EQ(::archive_write_open_memory(writer, packed.data(), packed.size(), &size), ARCHIVE_OK);
  archive_entry* const entry = ::archive_entry_new();
  ::archive_entry_set_filetype(entry, AE_IFREG);
  EXPECT_EQ(::archive_write_header(writer, entry), ARCHIVE_OK);
  EXPECT_EQ(::archive_write_data(writer, text.data(), text.size()),
            static_cast<la_ssize_t>(text.size()));
  ::archive_entry_free(entry);
  EXPECT_EQ(::archive_write_free(writer), ARCHIVE_OK);
  packed.resize(size);
  return packed;
}

constexpr std::size_t kPlenty = 1U << 30U;
constexpr const char* kTooMuch =
    "cannot be unpacked: unpacked it is larger than any that is published";

TEST(Unpacked, IsWhatIsThereOrWasCompressedOnce) {
  const std::string text = "<components>\n\x01\xFF</components>";
  EXPECT_EQ(Unpacked(text, kPlenty), text);
  EXPECT_EQ(Unpacked("", kPlenty), "");
  for (const auto addFilter : {&::archive_write_add_filter_gzip, &::archive_write_add_filter_xz,
                               &::archive_write_add_filter_zstd}) {
    const std::string packed = Packed(text, addFilter);
    EXPECT_NE(packed, text);
    EXPECT_EQ(Unpacked(packed, kPlenty), text);
    EXPECT_EQ(Refusal([&] { Unpacked(Packed(packed, addFilter), kPlenty); }),
              "cannot be unpacked: it is compressed more than once");
    EXPECT_NE(Refusal([&] { Unpacked(packed.substr(0, packed.size() - 12), kPlenty); }), "")
        << "cut";
  }
  const std::string other = Packed(text, &::archive_write_add_filter_bzip2);
  EXPECT_EQ(Unpacked(other, kPlenty), other) << "another compression is none";
}

TEST(Unpacked, IsNoMoreThanMayBe) {
  const std::string text(200'000, 'x');  // More than a block.
  for (const std::string& bytes : {text, Packed(text, &::archive_write_add_filter_gzip)}) {
    EXPECT_EQ(Unpacked(bytes, text.size()), text);
    EXPECT_EQ(Refusal([&] { Unpacked(bytes, text.size() - 1); }), kTooMuch);
  }
}

// 16 MiB, and 256 times what there is of it. A name in the head of gzip's format makes it as long
// as is wanted.
TEST(Unpacked, HasItsShareOfWhatItIs) {
  constexpr std::size_t kPacked = 24'000;
  const std::string text((16U << 20U) + 256 * kPacked, ' ');
  const auto packedTo = [packed =
                             Packed(text, &::archive_write_add_filter_gzip)](std::size_t size) {
    constexpr std::size_t kHead = 10;
    EXPECT_LT(packed.size(), size);
    EXPECT_EQ(packed[3], 0) << "no name yet";
    std::string named = packed;
    named[3] = 8;
    return named.insert(kHead, std::string(size - packed.size() - 1, 'n') + '\0');
  };
  EXPECT_EQ(Unpacked(packedTo(kPacked), kPlenty).size(), text.size());
  EXPECT_EQ(Refusal([&] { Unpacked(packedTo(kPacked - 1), kPlenty); }), kTooMuch);
}

// A cabinet archive (MS-CAB) of files by their names, not compressed.
std::string Cabinet(const std::vector<std::pair<std::string, std::string>>& files) {
  const auto number = [](std::size_t value, std::size_t size) {
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i) bytes += static_cast<char>(value >> 8 * i & 0xFF);
    return bytes;
  };
  std::string data, entries;
  for (const auto& [name, content] : files) {
    entries += number(content.size(), 4) + number(data.size(), 4) + number(0, 2) +
               number(0x5A21, 2) + number(0, 2) + number(0x20, 2) + name + '\0';
    data += content;
  }
  constexpr std::size_t kHead = 36 + 8, kMostOfBlock = 0x8000;
  std::string blocks;
  std::size_t count = 0;
  for (; count * kMostOfBlock < data.size(); ++count) {
    const std::string part = data.substr(count * kMostOfBlock, kMostOfBlock);
    blocks += number(0, 4) + number(part.size(), 2) + number(part.size(), 2) + part;
  }
  const std::size_t size = kHead + entries.size() + blocks.size();
  return "MSCF" + number(0, 4) + number(size, 4) + number(0, 4) + number(kHead, 4) + number(0, 4) +
         "\3\1" + number(1, 2) + number(files.size(), 2) + number(0, 2) + number(1, 2) +
         number(0, 2) + number(kHead + entries.size(), 4) + number(count, 2) + number(0, 2) +
         entries + blocks;
}

using TTexts = std::vector<std::string>;

class Archive : public testing::Test {
 protected:
  std::string Path() const { return folder.Path() + "/a.cab"; }
  TTexts Metadata() const {
    TTexts texts;
    ReadCabinet(Path(), [&](std::string metadata) { texts.push_back(std::move(metadata)); });
    return texts;
  }
  std::set<TContentHash> Hashes(const std::vector<TContentHash>& asked) const {
    return HashesIn(Path(), asked);
  }

  test::TTemporaryFolder folder;
};

TEST_F(Archive, HoldsMetadataInFilesOfTheirNameAlone) {
  folder.Write("a.cab", Cabinet({{"b/two.metainfo.xml", "<two/>"},
                                 {"firmware.bin", "data"},
                                 {"one.metainfo.xml", "<one/>"},
                                 {"three.metainfo.xml.bak", "<three/>"},
                                 {"metainfo.xml", "<four/>"}}));
  EXPECT_EQ(Metadata(), (TTexts{"<two/>", "<one/>"}));
}

TEST_F(Archive, TellsTheHashesThatAreAskedForOfFilesThatAreThereOnce) {
  folder.Write("a.cab", Cabinet({{"deep/x.fw", "abc"},
                                 {"other.bin", "def"},
                                 {"a/twice.bin", "abc"},
                                 {"b/twice.bin", "abc"}}));
  const TContentHash sha1 = {"sha1", "a9993e364706816aba3e25717850c26c9cd0d89d", "x.fw"};
  const TContentHash sha256 = {
      "sha256", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad", "x.fw"};
  EXPECT_EQ(Hashes({{"sha1", "", "x.fw"}}), std::set{sha1});
  EXPECT_EQ(Hashes({{"sha256", "00", "x.fw"}, {"sha1", "", "x.fw"}}), (std::set{sha1, sha256}));
  EXPECT_EQ(Hashes({{"sha512", "", "other.bin"}}).size(), 1U);
  EXPECT_EQ(Hashes({{"md5", "", "x.fw"},
                    {"sha1", "", "deep/x.fw"},
                    {"sha1", "", "fw"},
                    {"sha1", "", "twice.bin"},
                    {"x.fw", "", "sha1"}}),
            std::set<TContentHash>());
}

TEST_F(Archive, ThatIsBrokenOrNoneIsRefused) {
  const std::string whole = Cabinet({{"one.metainfo.xml", "<one/>"}});
  for (const std::string& broken :
       {std::string("MSCF"), whole.substr(0, whole.size() - 1), std::string("PK\3\4")}) {
    folder.Write("a.cab", broken);
    EXPECT_TRUE(Refusal([&] { Metadata(); }).starts_with("cannot be unpacked: ")) << broken.size();
  }
  std::filesystem::remove(Path());
  EXPECT_NE(Refusal([&] { Metadata(); }), "");
}

// 16 MiB, all of it together.
TEST_F(Archive, HoldsABoundedAmountOfMetadata) {
  constexpr std::size_t kMost = 16U << 20U, kFirst = 9U << 20U;
  for (const std::size_t more : {0U, 1U}) {
    folder.Write("a.cab", Cabinet({{"one.metainfo.xml", std::string(kFirst, 'x')},
                                   {"two.metainfo.xml", std::string(kMost - kFirst + more, 'y')}}));
    if (more == 0) {
      EXPECT_EQ(Metadata().at(1), std::string(kMost - kFirst, 'y'));
    } else {
      EXPECT_EQ(Refusal([&] { Metadata(); }), kTooMuch);
    }
  }
}

// Nobody writes to it: who opened it would wait.
TEST_F(Archive, IsNoPipeAndNoDevice) {
  const std::string why = "it is a device and no file";
  EXPECT_EQ(Refusal([] { ReadCabinet("/dev/null", [](const std::string&) {}); }), why);
  EXPECT_EQ(Refusal([] { HashesIn("/dev/null", {{"sha1", "", "x"}}); }), why);
  ASSERT_EQ(::mkfifo(Path().c_str(), 0600), 0);
  EXPECT_NE(Refusal([&] { Metadata(); }), "");
  EXPECT_NE(Refusal([&] { Hashes({{"sha1", "", "x"}}); }), "");
}

}  // namespace
}  // namespace svc::offers
