#include "plugins/public_firmware/catalogue.h"

#include <gtest/gtest.h>

#include <boost/uuid/uuid_io.hpp>
#include <string>
#include <vector>

namespace svc::publicfirmware {
namespace {

std::string TextOfGuid(const TGuid& guid) { return boost::uuids::to_string(guid); }

// As Python's uuid.uuid5(uuid.NAMESPACE_DNS, text) gives them.
TEST(Guid, OfAnInstanceIdIsItsUuidOfVersionFive) {
  EXPECT_EQ(TextOfGuid(GuidOf("NVME\\VEN_144D&DEV_A808")), "47335265-a509-51f7-841e-1c94911af66b");
  EXPECT_EQ(TextOfGuid(GuidOf("USB\\VID_273F&PID_1004")), "2fa8891f-3ece-53a4-adc4-0dd875685f30");
  EXPECT_EQ(TextOfGuid(GuidOf("")), "4ebd0208-8328-5d69-8c44-ec50939c0967");
}

TEST(Guid, IsTakenAsItIsInEitherCase) {
  constexpr const char* kText = "5b92717b-2cad-4a96-a13b-9d65781df8bf";
  EXPECT_EQ(TextOfGuid(GuidOf(kText)), kText);
  EXPECT_EQ(GuidOf("5B92717B-2CAD-4A96-A13B-9D65781DF8BF"), GuidOf(kText));
}

TEST(Guid, MayHaveTheLeastAndTheGreatestBytes) {
  for (const char* const text :
       {"00000000-0000-0000-0000-000000000000", "ffffffff-ffff-ffff-ffff-ffffffffffff"}) {
    EXPECT_TRUE(GuidOfText(text)) << text;
    EXPECT_EQ(TextOfGuid(GuidOf(text)), text);
  }
}

TEST(Guid, IsNoOtherText) {
  for (const char* const text :
       {"", "5b92717b-2cad-4a96-a13b-9d65781df8b", "5b92717b-2cad-4a96-a13b-9d65781df8bf0",
        "5b92717b-2cad-4a96-a13b-9d65781df8bg", "5b92717b02cad-4a96-a13b-9d65781df8bf",
        "{b92717b-2cad-4a96-a13b-9d65781df8b}", "5b9271-b-2cad-4a96-a13b-9d65781df8bf"}) {
    EXPECT_EQ(GuidOfText(text), std::nullopt) << text;
  }
}

TEST(Vendor, IsThatOfTheInstanceId) {
  using TTexts = std::vector<std::string>;
  EXPECT_EQ(VendorsOf("USB\\VID_273F&PID_1004"), TTexts({"USB:0x273F"}));
  EXPECT_EQ(VendorsOf("PCI\\VEN_8086"), TTexts({"PCI:0x8086"}));
  EXPECT_EQ(VendorsOf("NVME\\VEN_144D&DEV_A808"), TTexts({"NVME:0x144D", "PCI:0x144D"}));
  for (const char* const text : {"", "USB", "USB\\", "USB\\PID_1004", "USB\\VID_27", "VID_273F",
                                 "USB\\VID_273F0", "5b92717b-2cad-4a96-a13b-9d65781df8bf"}) {
    EXPECT_EQ(VendorsOf(text), TTexts()) << text;
  }
}

std::vector<std::string> IdsOf(const TMachineFields& fields) {
  std::vector<std::string> ids;
  for (const TGuid& guid : HardwareIdsOf(fields)) ids.push_back(TextOfGuid(guid));
  return ids;
}

// These, too, as the client gives them for these fields of SMBIOS.
TEST(HardwareIds, AreAllThatTheSchemeKnows) {
  EXPECT_EQ(IdsOf({"Ex", "F", "R", "S", "BM", "BP", "BV", "1.2.3", "01", "0f", "3"}),
            (std::vector<std::string>{
                "92638e0f-95e8-53e2-9714-a3de3f21ab16", "8bc7d71e-3f4a-54f4-a9d7-f396c75eb83b",
                "09dd244e-63c4-5504-9c7f-c9c520fd1c13", "13fc8401-4dee-56b6-bec8-5a6d28555222",
                "7acf1f73-43be-5d4b-a5d9-4890ee2488bf", "e2feca11-adec-5186-be58-3f080dcb24f7",
                "58790fc0-e9c3-5ce8-89f0-18967992f8e6", "12dbe208-2606-5172-af3a-3cf58146f1f7",
                "b640ebd1-ff48-53a0-961a-308c4a6e5610", "e480b80c-5c86-5039-8b34-0dd605f468b2",
                "1c19089e-b7f7-5b0c-a53c-ae820e6ebb00", "6b29d28a-5a28-53a6-8c99-bd52b45be032",
                "ec93efd0-8a6c-582b-898a-a2951655f0dd", "1d95baeb-2479-5f2c-95dd-9f2ad9dc9daf",
                "679c7c76-ed71-5d98-8adb-ca778d3dc386", "6c24cf83-e2b7-5be4-bcf1-9aaddd788112",
                "b8a815f2-c497-573d-b67d-68ef9cffe429", "295624c6-e908-5999-9da4-34f174348ab7"}));
}

TEST(HardwareIds, PassOverZerosBeforeAField) {
  EXPECT_EQ(IdsOf({"Ex", "00F", "0R0", "", "", ""}),
            (std::vector<std::string>{
                "ca7c32b9-6ec6-5637-8505-b9441a8b3beb", "b6e1c3ce-4624-5ae0-9891-3631942a4ae9",
                "6b29d28a-5a28-53a6-8c99-bd52b45be032", "679c7c76-ed71-5d98-8adb-ca778d3dc386"}));
  EXPECT_EQ(IdsOf({"Ex", "", "", "000", "", ""}),
            (std::vector<std::string>{"5ec19337-90e3-5268-a16e-c6d28899bb91",
                                      "679c7c76-ed71-5d98-8adb-ca778d3dc386"}));
}

// As the client gives them for these fields.
TEST(HardwareIds, AreThoseOfTheFieldsThatAreKnown) {
  EXPECT_EQ(IdsOf({"LENOVO", "ThinkPad T1", "20AB", "LENOVO_MT", "LENOVO", "20AC"}),
            std::vector<std::string>(
                {"03eefbf4-1f64-5d9f-a561-db1c04d182be", "029e7af7-159c-562b-ab22-550cfe3a81e8",
                 "ac53f8c1-03a2-56b5-bc86-a312fba5f5a9", "3005effb-8bab-5db5-947e-9fa2b767ac30",
                 "c0e81754-c568-56da-a2b4-1f058536e0c2", "9f809c6a-dd1e-52bd-b3e6-861e779cf178",
                 "8f03ea56-0724-55e7-bcd3-c2d7f5c062e7", "e1acdcd6-a489-595a-add8-c0e8d478161b",
                 "a979147f-817d-5bde-b7e9-bbe4a7bdb528", "7d2c14eb-eaca-5335-86ee-d8b3ee13d17f",
                 "6de5d951-d755-576b-bd09-c5cf66b27234"}));
  EXPECT_EQ(IdsOf({"LENOVO", "", "20AB", "", "", ""}),
            std::vector<std::string>(
                {"8f03ea56-0724-55e7-bcd3-c2d7f5c062e7", "6de5d951-d755-576b-bd09-c5cf66b27234"}));
  EXPECT_TRUE(IdsOf({"", "ThinkPad T1", "20AB", "LENOVO_MT", "LENOVO", "20AC"}).empty());
}

TEST(HardwareIds, TakeTextsBeyondAsciiAndBrokenOnes) {
  const auto first = [](const std::string& maker) {
    return TextOfGuid(HardwareIdsOf({maker, "", "", "", "", ""}).at(0));
  };
  EXPECT_EQ(first("M\xC3\xBCller"), "d577a3b6-566b-55c5-af54-f824176175bf");
  // The first and the last character of each length, and of the halves of a pair.
  EXPECT_EQ(first("\x7F"), "19282692-354a-5942-a696-727c84aef1a0");
  EXPECT_EQ(first("\xC2\x80"), "f59f93c3-d2d4-5b90-a314-919d3e164960");
  EXPECT_EQ(first("\xDF\xBF"), "3441d982-fe8d-531d-a2f9-8965eaf7342b");
  EXPECT_EQ(first("\xE0\xA0\x80"), "5b76efa2-fdd8-57ba-9dd8-db23851c47b3");
  EXPECT_EQ(first("\xEF\xBF\xBF"), "5f074226-2a46-5830-b78d-9d2522b35b53");
  EXPECT_EQ(first("\xF0\x90\x80\x80"), "b8f1ec12-64bb-562d-b657-789fd732a4d5");
  EXPECT_EQ(first("\xF0\x90\x80\x81"), "82bec639-7601-5bfb-b7ce-1efe4d8dd720");
  EXPECT_EQ(first("\xF0\x90\x8F\xBF"), "480def57-42a0-5630-8816-0e1d153a99df");
  EXPECT_EQ(first("\xF0\x90\x90\x80"), "70ebf8fd-eeac-530a-9da6-1e91351407ec");
  EXPECT_EQ(first("\xF4\x8F\xBF\xBF"), "b73e0efe-c3d2-5db1-b1e1-434b2ed7da9f");
  EXPECT_EQ(first("\xE2\x82\xAC \xF0\x9F\x98\x80"), "50003f06-5000-57c2-967f-fea1eb9d5a12");
  // Bytes that begin no character stand for themselves.
  EXPECT_EQ(first("\x80"), "f59f93c3-d2d4-5b90-a314-919d3e164960");
  EXPECT_EQ(first("\xBF"), "a29adb27-e36f-5f66-b571-78c800bd85c0");
  EXPECT_EQ(first("\xC0\x80"), "833cb36b-c0bc-5ea5-8aa0-62c39c2ccdab");
  EXPECT_EQ(first("\xC1\xBF"), "19282692-354a-5942-a696-727c84aef1a0");
  EXPECT_EQ(first("\xF7\xBF\xBF\xBF"), "9e100b3c-3aa0-57a4-aa24-1f6436ed3097");
  // The text ends before a character that is cut short.
  for (const std::string cut : {"\xC0", "\xC3", "\xDF", "\xE2\x82", "\xF0\x9F\x98", "\xFF"}) {
    EXPECT_EQ(first(cut), "aa23ef6f-4371-51e3-9144-e55d27acd927");
    EXPECT_EQ(first("M\xC3\xBCller" + cut), "d577a3b6-566b-55c5-af54-f824176175bf");
  }
}

}  // namespace
}  // namespace svc::publicfirmware
