#include "collect/firmware_device.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "made_tree.h"

namespace svc::collect {
namespace {

using namespace std::string_literals;

const std::string kEnd = SmbiosStructure(127, "", {});

// A Firmware Inventory structure; `state` 4 is enabled, 5 absent.
std::string Firmware(const std::string& name, const std::string& version, const std::string& id,
                     char idFormat = 0, char state = 4) {
  std::string formatted = "\x01\x02\x00\x03"s + idFormat + "\0\0\0"s + std::string(8, '\0') +
                          std::string(2, '\0') + state + '\0';
  return SmbiosStructure(45, formatted, {name, version, id});
}

// Only the bytes of the text exist, so that a sanitizer sees a read behind them.
TSmbiosTable ParseExactly(const std::string& bytes) {
  const std::unique_ptr<char[]> exact(new char[bytes.size()]);
  bytes.copy(exact.get(), bytes.size());
  return ParseSmbiosTable({exact.get(), bytes.size()});
}

TEST(SmbiosTable, ReadsTextsByTheirNumbers) {
  const TSmbiosTable table =
      ParseExactly(SmbiosStructure(0, "\x01\x02\0\0\x03"s, {"QRX", "QKL118A", "03/07/2010"}) +
                   SmbiosStructure(1, "\x00\x09"s, {"one"}) + kEnd + "garbage");
  EXPECT_EQ(table.problem, "");
  ASSERT_EQ(table.structures.size(), 3U);
  EXPECT_EQ(table.First(0)->Text(4), "QRX");
  EXPECT_EQ(table.First(0)->Text(5), "QKL118A");
  EXPECT_EQ(table.First(0)->Text(8), "03/07/2010");
  EXPECT_EQ(table.First(1)->Text(4), "");
  EXPECT_EQ(table.First(1)->Text(5), "") << "there is no ninth string";
  EXPECT_EQ(table.First(1)->Text(200), "") << "behind the structure";
  EXPECT_EQ(table.First(2), nullptr);
}

TEST(SmbiosTable, ListsFirmwareThatIsThere) {
  const TSmbiosTable table = ParseExactly(
      Firmware("Management Module", "1.30", "YUOO84C") + Firmware("Spare", "1.0", "x", 0, 5) +
      Firmware("Boot ROM", "2.0", "{0000}", 1) + Firmware("Nameless", "", "x") + kEnd);
  const auto components = table.FirmwareComponents();
  ASSERT_EQ(components.size(), 2U);
  EXPECT_EQ(components[0].name, "Management Module");
  EXPECT_EQ(components[0].version, "1.30");
  EXPECT_EQ(components[0].id, "YUOO84C");
  EXPECT_EQ(components[1].id, "") << "a GUID is no build";
}

struct TBrokenCase {
  std::string bytes;
  std::size_t structures;
  std::string problem;
};

class BrokenSmbiosTable : public testing::TestWithParam<TBrokenCase> {};

TEST_P(BrokenSmbiosTable, KeepsWhatCameBeforeAndSaysWhatIsWrong) {
  const TSmbiosTable table = ParseExactly(GetParam().bytes);
  EXPECT_EQ(table.structures.size(), GetParam().structures);
  EXPECT_EQ(table.problem, GetParam().problem);
}

const std::string kGood = SmbiosStructure(0, "\x01", {"QRX"});  // 10 bytes

INSTANTIATE_TEST_SUITE_P(
    Tables, BrokenSmbiosTable,
    testing::Values(
        TBrokenCase{"", 0, ""},
        TBrokenCase{"\0"s, 0, "the structure at byte 0 ends within a header"},
        TBrokenCase{kGood + "\x01\x06\0"s, 1, "the structure at byte 10 ends within a header"},
        TBrokenCase{kGood + "\x01\x03\0\0\0\0"s, 1, "the structure at byte 10 says a length of 3"},
        TBrokenCase{kGood + "\x01\xFF\0\0\0\0"s, 1,
                    "the structure at byte 10 says 255 bytes where 6 are left"},
        TBrokenCase{kGood + "\x01\x05\0\0x"s, 1,
                    "the structure at byte 10 has strings without an end"},
        TBrokenCase{kGood + "\x01\x06\0\0x"s, 1,
                    "the structure at byte 10 says 6 bytes where 5 are left"},
        TBrokenCase{kGood + "\x01\x04\0\0\0\0"s, 2, ""},
        TBrokenCase{kGood + "\x01\x04\0\0text"s, 1,
                    "the structure at byte 10 has strings without an end"},
        TBrokenCase{kGood + "\x01\x04\0\0text\0"s, 1,
                    "the structure at byte 10 has strings without an end"}));

TEST(SmbiosTable, NeverReadsBehindATableCutAnywhere) {
  const std::string whole = kGood + Firmware("BMC", "1.0", "x") + kEnd;
  for (std::size_t size = 0; size < whole.size(); ++size) {
    for (const auto& component : ParseExactly(whole.substr(0, size)).FirmwareComponents()) {
      EXPECT_EQ(component.name, "BMC");
    }
  }
}

TEST(SmbiosTable, EndsOnAnyBytes) {
  std::mt19937 random(7);
  for (int round = 0; round < 2000; ++round) {
    std::string bytes(random() % 200, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random() % 8 == 0 ? 0 : random());
    const TSmbiosTable table = ParseExactly(bytes);
    EXPECT_LE(table.structures.size(), bytes.size() / 6);
    table.FirmwareComponents();
  }
}

TEST(WithoutIdentity, KeepsWhatEveryMachineOfTheKindTells) {
  const std::string system = "\x01\x02\0\x03"s + std::string(16, '\x5A') + "\x06"s;
  const std::string table = SmbiosStructure(1, system, {"QRX", "4638", "KQ12345"}) + kGood +
                            SmbiosStructure(2, "\x01", {"KQ67890"}) +
                            SmbiosStructure(17, "\x01", {"KQ33333"}) + kEnd;
  const std::string blanked = WithoutIdentity(table);
  EXPECT_EQ(blanked.find("KQ"), std::string::npos);
  EXPECT_EQ(blanked.find('\x5A'), std::string::npos);
  const TSmbiosTable rest = ParseExactly(blanked);
  EXPECT_EQ(rest.problem, "");
  ASSERT_EQ(rest.structures.size(), 3U);
  EXPECT_EQ(rest.First(1)->Text(4), "QRX");
  EXPECT_EQ(rest.First(1)->Text(5), "4638");
  EXPECT_EQ(rest.First(1)->Text(7), " ");
  EXPECT_EQ(rest.First(1)->Bytes(8, 16), std::string(16, '\0'));
  EXPECT_EQ(rest.First(1)->Byte(24), 6);
  EXPECT_EQ(rest.First(0)->Text(4), "QRX");
}

TEST(WithoutIdentity, MindsShortStructures) {
  EXPECT_EQ(ParseExactly(WithoutIdentity(SmbiosStructure(1, "", {}))).structures.size(), 2U);
  EXPECT_EQ(ParseExactly(WithoutIdentity(SmbiosStructure(1, "\0\0\0\x09\xAA"s, {"KQ"})))
                .structures.size(),
            2U);
  EXPECT_EQ(ParseExactly(WithoutIdentity("\x01\xFF")).structures.size(), 1U);
}

TEST(DeviceId, TellsTheRevisionAndTheAuxiliaryOneWhereThatIsNotZero) {
  const std::string response = "\0\x20\x81\x81\x23\x02\xBF\xD0\0\0\x2A\0"s;
  const auto told = [](const std::string& bytes) {
    const auto controller = ParseDeviceId(bytes);
    return controller ? controller->version + " " + controller->auxiliary : "none";
  };
  EXPECT_EQ(told(response + "\x0A\x0B\x0C\x0D"), "1.23 0a0b0c0d");
  EXPECT_EQ(told(response + "\x0A\x0B\x0C\x0D\x0E"), "1.23 0a0b0c0d");
  EXPECT_EQ(told(response + "\x0A\x0B\x0C"), "1.23 ");
  EXPECT_EQ(told(response + "\0\0\0\0"s), "1.23 ");
  EXPECT_EQ(told(response + "\0\0\0\x01"s), "1.23 00000001");
  EXPECT_EQ(told(response), "1.23 ");
  EXPECT_EQ(told(response.substr(0, 11)), "none");
  EXPECT_EQ(told("\x01" + response.substr(1)), "none");
}

TEST(SmbiosUuid, HasItsFirstFieldsInTheGivenByteOrder) {
  const std::string bytes = "\x33\x22\x11\x00\x55\x44\x77\x66\x88\x99\xAA\xBB\xCC\xDD\xEE\xFF"s;
  EXPECT_EQ(SmbiosUuid(bytes, true), "00112233-4455-6677-8899-aabbccddeeff");
  EXPECT_EQ(SmbiosUuid(bytes, false), "33221100-5544-7766-8899-aabbccddeeff");
  EXPECT_EQ(SmbiosUuid(std::string(16, '\xFF'), true), "");
  EXPECT_EQ(SmbiosUuid(std::string(16, '\0'), true), "");
  EXPECT_EQ(SmbiosUuid("short", true), "");
}

}  // namespace
}  // namespace svc::collect
