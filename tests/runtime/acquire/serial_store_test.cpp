#include "runtime/acquire/download_folder.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "outside_numbers.h"
#include "runtime/acquire/crypto.h"
#include "runtime/acquire/settings.h"
#include "tests/support/temporary_folder.h"

namespace svc::acquire {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr const char* kAddress = "http://server/sv";

class SerialStore : public testing::Test {
 protected:
  static std::string NameOf(const std::string& address) {
    return "repositories/" + ToHex(Hash(EHash::kSha256, address)).substr(0, 32) + ".json";
  }
  // A note as it stands under an address.
  void Note(const std::string& address, const std::string& text) {
    folder.Write(NameOf(address), text);
  }
  void NoteSerial(const std::string& address, std::uint64_t serial) {
    Note(address, json{{"repository", address}, {"serial", serial}}.dump());
  }
  TSerialStore Store(const std::string& address = kAddress) const {
    return TSerialStore(folder.Path(), address);
  }
  std::vector<std::string> Notes() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder.Path() + "/repositories"))
      names.push_back("repositories/" + entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }
  // The last serial; nothing where the state is unusable, with the name of the note.
  std::optional<std::uint64_t> Last(const std::string& address = kAddress) const {
    try {
      return Store(address).Last();
    } catch (const TError& failure) {
      EXPECT_EQ(OutcomeOf(failure), EOutcome::kStateUnusable);
      EXPECT_NE(std::string(failure.what()).find(".json"), std::string::npos) << failure.what();
      return std::nullopt;
    }
  }

  test::TTemporaryFolder folder;
};

TEST_F(SerialStore, RemembersWhatWasAccepted) {
  EXPECT_EQ(Last(), 0U);
  for (const std::uint64_t serial : {std::uint64_t{0}, std::uint64_t{7}, std::uint64_t{8},
                                     std::uint64_t{18446744073709551615U}}) {
    Store().Accept(serial);
    EXPECT_EQ(Last(), serial);
    EXPECT_EQ(Notes(), std::vector<std::string>{NameOf(kAddress)});
  }
}

TEST_F(SerialStore, TakesNoNumberForAnother) {
  for (const auto& [text, value] : kOutsideNumbers) {
    Note(kAddress, std::string(R"({"repository":"http://server/sv","serial":)") + text + "}");
    EXPECT_EQ(Last(), value) << text;
  }
}

TEST_F(SerialStore, TakesNoTextForANumber) {
  for (const char* text :
       {R"({"serial":"7"})", R"({"serial":null})", R"({"serial":[7]})", R"({"serial":true})",
        R"({"Serial":7})", R"({})", R"([7])", "7", "", "{", R"({"serial":7} more)"}) {
    Note(kAddress, text);
    EXPECT_EQ(Last(), std::nullopt) << text;
  }
  Note(kAddress, R"({"serial":7})");
  EXPECT_EQ(Last(), 7U);
}

TEST_F(SerialStore, ReadsNoLink) {
  folder.Write("elsewhere", R"({"serial":7})");
  fs::create_directories(folder.Path() + "/repositories");
  fs::create_symlink(folder.Path() + "/elsewhere", folder.Path() + "/" + NameOf(kAddress));
  EXPECT_EQ(Last(), std::nullopt);
}

TEST_F(SerialStore, CountsOneServerOnceHoweverItIsWritten) {
  Store("HTTP://Server.:80/s%76").Accept(9);
  for (const char* address : {kAddress, "HTTP://Server.:80/s%76", "http://SERVER/sv"})
    EXPECT_EQ(Last(address), 9U) << address;
  EXPECT_EQ(Last("http://server/other"), 0U);
  EXPECT_EQ(Last("https://server/sv"), 0U);
}

TEST_F(SerialStore, HonoursWhatWasKeptForEachSpelling) {
  NoteSerial("HTTP://server/sv", 9);
  NoteSerial("http://server:80/sv", 11);
  NoteSerial("http://other/sv", 20);
  for (const char* address : {kAddress, "HTTP://server/sv", "http://server:80/sv"})
    EXPECT_EQ(Last(address), 11U) << address;
  NoteSerial(kAddress, 10);
  EXPECT_EQ(Last(), 11U);
  NoteSerial(kAddress, 12);
  EXPECT_EQ(Last(), 12U);
}

TEST_F(SerialStore, PutsOneNoteInThePlaceOfThoseOfEachSpelling) {
  NoteSerial("HTTP://server/sv", 9);
  NoteSerial("http://server:80/sv", 11);
  NoteSerial("http://other/sv", 20);
  Store("http://server:80/sv").Accept(11);
  std::vector<std::string> expected = {NameOf(kAddress), NameOf("http://other/sv")};
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(Notes(), expected);
  EXPECT_EQ(Last(), 11U);
  EXPECT_EQ(Last("http://other/sv"), 20U);
}

TEST_F(SerialStore, PutsOneNoteInThePlaceOfAnOlderOneThatSaysTheSame) {
  NoteSerial(kAddress, 9);
  NoteSerial("HTTP://server/sv", 9);
  Store().Accept(9);
  EXPECT_EQ(Notes(), std::vector<std::string>{NameOf(kAddress)});
}

TEST_F(SerialStore, IsUnusableByADamagedNoteOfItsOwnAlone) {
  Note("http://other/sv", "{");
  EXPECT_EQ(Last(), 0U);
  Note("HTTP://server/sv", "{");
  EXPECT_EQ(Last(), 0U);
  EXPECT_EQ(Last("HTTP://server/sv"), std::nullopt);
}

TEST_F(SerialStore, LeavesANoteAloneThatSaysTheSame) {
  Store().Accept(9);
  const std::string path = folder.Path() + "/" + NameOf(kAddress);
  const auto before = fs::last_write_time(path);
  Store().Accept(9);
  EXPECT_EQ(fs::last_write_time(path), before);
}

}  // namespace
}  // namespace svc::acquire
