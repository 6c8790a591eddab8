// Firmware of any kind: what each source makes of a tree, and the ids by which catalogues know it.
#include "collect/firmware_device.h"

#include <gtest/gtest.h>

#include <ctime>

#include "collect/linux/linux_collector.h"
#include "made_tree.h"

namespace svc::collect {
namespace {

using namespace std::string_literals;

// Each device as "Name, Vendor, Version, VersionFormat, Source: Identifiers".
std::vector<std::string> Devices(const TMadeTree& tree) {
  std::vector<std::string> told;
  for (const TReadInstance& one : tree.Instances(kFirmwareDevice)) {
    std::string text;
    for (const char* name : {"Name", "Vendor", "Version", "VersionFormat", "Source"})
      text += one[name] + (name == "Source"s ? ": " : ", ");
    told.push_back(text + one["Identifiers"]);
  }
  return told;
}

using TTexts = std::vector<std::string>;

// As Devices tells them, of an inventory that these were merged into.
std::vector<std::string> Merged(const std::vector<TFirmwareDevice>& there,
                                const std::vector<TFirmwareDevice>& told) {
  TInventory inventory;
  inventory.Add(TInstance("Other").Set("Identifiers", "A"));
  for (const TFirmwareDevice& device : there) AddDevice(device, inventory);
  MergeDevices(told, inventory);
  std::vector<std::string> texts;
  for (const TReadInstance& one : ReadDocument(ToCimXml(inventory.Instances()))) {
    if (one.className == kFirmwareDevice)
      texts.push_back(one["Name"] + " " + one["Version"] + " " + one["Source"] + ": " +
                      one["Identifiers"]);
  }
  return texts;
}

TEST(MergedDevices, TakeThePlaceOfThoseThatTheyAre) {
  EXPECT_EQ(
      Merged({{"Disk", "", "1", "", {"A", "B"}, "nvme"}, {"Tpm", "", "2", "", {"T"}, "tpm"}},
             {{"Dock", "", "3", "", {"D"}, "told"}, {"SSD", "", "9", "", {"B", "C"}, "told"}}),
      (TTexts{"SSD 9 told: B | C | A", "Tpm 2 tpm: T", "Dock 3 told: D"}));
}

TEST(MergedDevices, TakeAPlaceEachThatOfTheirVersionFirst) {
  const std::vector<TFirmwareDevice> two = {{"One", "", "1", "", {"A"}, "nvme"},
                                            {"Two", "", "2", "", {"A"}, "nvme"}};
  EXPECT_EQ(Merged(two, {{"T", "", "2", "", {"A"}, "told"}}),
            (TTexts{"One 1 nvme: A", "T 2 told: A"}));
  EXPECT_EQ(Merged(two, {{"T", "", "7", "", {"A"}, "told"}, {"U", "", "2", "", {"A"}, "told"}}),
            (TTexts{"T 7 told: A", "U 2 told: A"}));
  EXPECT_EQ(
      Merged({two[0]}, {{"T", "", "1", "", {"A"}, "told"}, {"U", "", "1", "", {"A"}, "told"}}),
      (TTexts{"T 1 told: A", "U 1 told: A"}));
}

TEST(MergedDevices, KeepWhatOnlyTheInventoryKnew) {
  EXPECT_EQ(
      Merged({{"Disk", "Maker", "1", "number", {"A"}, "nvme"}}, {{"", "", "", "", {"A"}, "told"}}),
      TTexts{"Disk 1 told: A"});
}

TEST(MergedDevices, AreLookedForFromTheFirstInstanceOnAndHaveAllThatWasKnown) {
  TInventory inventory;
  AddDevice({"Disk", "Maker", "1", "number", {"A"}, "nvme"}, inventory);
  TFirmwareDevice told{"", "", "", "", {"A"}, "told"};
  told.branch = "stable";
  MergeDevices({told}, inventory);
  ASSERT_EQ(inventory.Instances().size(), 1U);
  const std::vector<TReadInstance> merged = ReadDocument(ToCimXml(inventory.Instances()));
  EXPECT_EQ(merged[0].properties, (std::map<std::string, std::string>{{"Name", "Disk"},
                                                                      {"Vendor", "Maker"},
                                                                      {"Version", "1"},
                                                                      {"VersionFormat", "number"},
                                                                      {"Identifiers", "A"},
                                                                      {"Source", "told"},
                                                                      {"Branch", "stable"}}));
}

TEST(MergedDevices, AreOthersWhereAnIdentifierLooksLikeOneWithAVersion) {
  EXPECT_EQ(Merged({{"Disk", "", "9", "", {"A 1"}, "nvme"}}, {{"T", "", "1", "", {"A"}, "told"}}),
            (TTexts{"Disk 9 nvme: A 1", "T 1 told: A"}));
}

TEST(Device, IsAddedWhereAnythingIsToldOfIt) {
  TInventory inventory;
  AddDevice({"", "Maker", "", "number", {}, "told"}, inventory);
  EXPECT_TRUE(inventory.Instances().empty());
  AddDevice({"N", "", "", "number", {}, "told"}, inventory);
  AddDevice({"", "", "1", "number", {}, "told"}, inventory);
  AddDevice({"", "", "", "number", {"A"}, "told"}, inventory);
  const std::vector<TReadInstance> added = ReadDocument(ToCimXml(inventory.Instances()));
  using TProperties = std::map<std::string, std::string>;
  ASSERT_EQ(added.size(), 3U);
  EXPECT_EQ(added[0].properties, (TProperties{{"Name", "N"}, {"Source", "told"}}));
  EXPECT_EQ(added[1].properties,
            (TProperties{{"Version", "1"}, {"VersionFormat", "number"}, {"Source", "told"}}));
  EXPECT_EQ(added[2].properties, (TProperties{{"Identifiers", "A"}, {"Source", "told"}}));
}

TEST(FirmwareResource, HasTheNameOfItsType) {
  for (const auto& [type, name] : {std::pair("0", "Firmware"), std::pair("1", "System Firmware"),
                                   std::pair("2", "Device Firmware"), std::pair("3", "UEFI Driver"),
                                   std::pair("4", "Firmware")}) {
    EXPECT_EQ(FirmwareResource("guid", type, "7").name, name);
  }
}

TEST(MergedDevices, HaveEachIdentifierThatOnlyTheInventoryKnewOnce) {
  EXPECT_EQ(Merged({{"Disk", "", "1", "", {"A", "B", "C", "B"}, "nvme"}},
                   {{"T", "", "1", "", {"D", "A", "D"}, "told"}}),
            TTexts{"T 1 told: D | A | D | B | C"});
}

TEST(MergedDevices, TakeTimeThatGrowsAsTheirIdentifiersDo) {
  const auto time = [](int count) {
    TFirmwareDevice there{"T", "", "1", "", {"same"}, "nvme"};
    TFirmwareDevice told = there;
    for (int i = 0; i < count; ++i) {
      there.identifiers.push_back("a" + std::to_string(i));
      told.identifiers.push_back("b" + std::to_string(i));
    }
    TInventory inventory;
    AddDevice(there, inventory);
    const auto begin = std::clock();
    MergeDevices({told}, inventory);
    return std::clock() - begin;
  };
  time(2000);
  EXPECT_LE(time(32000), 36 * time(2000) + CLOCKS_PER_SEC / 10);
}

TEST(PciIdentifiers, SayTheMoreExactFirst) {
  EXPECT_EQ(PciIdentifiers("PCI", {"0x8086", "0x1572", "0x1028", "0x0002"}),
            (TTexts{"PCI\\VEN_8086&DEV_1572&SUBSYS_10280002", "PCI\\VEN_8086&DEV_1572"}));
  EXPECT_EQ(PciIdentifiers("NVME", {"144d", "A808", "", ""}), TTexts{"NVME\\VEN_144D&DEV_A808"});
  EXPECT_EQ(PciIdentifiers("PCI", {"0x1", "0x00ab", "0xffff", "0x1"}),
            TTexts{"PCI\\VEN_0001&DEV_00AB"});
}

TEST(PciIdentifiers, AreNoneOfWhatIsNoNumber) {
  for (const char* number : {"", "0x", "0x0", "0000", "0xffff", "0x12345", "0x12g4", "-1", " "}) {
    EXPECT_TRUE(PciIdentifiers("PCI", {number, "0x1", "", ""}).empty()) << number;
    EXPECT_TRUE(PciIdentifiers("PCI", {"0x1", number, "", ""}).empty()) << number;
  }
}

TEST(IdPart, HasNoMarksOfItsOwn) {
  EXPECT_EQ(IdPart(" UEFI  A&B_C\\D/E "), "UEFI-A-B-C-D-E");
  EXPECT_EQ(IdPart("&x&"), "x");
  EXPECT_EQ(IdPart("\xC3\xA4"), "");
  EXPECT_EQ(IdPart("!a\x7F~b\x1F"
                   "c--d-"),
            "!a-~b-c--d");
}

TEST(Guid, IsOneInSmallLetters) {
  EXPECT_EQ(Guid("{FEE82A67-6CE2-4625-9F44-237AD2402C28}"), "fee82a67-6ce2-4625-9f44-237ad2402c28");
  for (const char* text :
       {"", "fee82a67-6ce2-4625-9f44-237ad2402c2", "PSU", "fee82a67-6ce2-4625-9f44-237ad2402c2g",
        "fee82a67x6ce2-4625-9f44-237ad2402c28", "gee82a67-6ce2-4625-9f44-237ad2402c28",
        "fee82a67-6ce2-4625-9f44-237ad2402c289", "{fee82a67-6ce2-4625-9f44-237ad2402c28",
        "fee82a67-6ce2-4625-9f44-237ad2402c28}", "{fee82a67-6ce2-4625-9f44-237ad2402c28x",
        "xfee82a67-6ce2-4625-9f44-237ad2402c28}", "fee82a67-6ce2-4625-9f4-4237ad2402c28"})
    EXPECT_EQ(Guid(text), "") << text;
}

TEST(NvmeDisks, TellModelRevisionAndNumbers) {
  TMadeTree tree;
  tree.Write("/sys/class/nvme/nvme0/model", "Contoso NVMe 960GB   \n")
      .Write("/sys/class/nvme/nvme0/firmware_rev", "GDC5602Q\n")
      .Write("/sys/class/nvme/nvme0/serial", "S4XYNF0M\n")
      .Write("/sys/class/nvme/nvme0/device/vendor", "0x144d\n")
      .Write("/sys/class/nvme/nvme0/device/device", "0xa808\n")
      .Write("/sys/class/nvme/nvme0/device/subsystem_vendor", "0x144d\n")
      .Write("/sys/class/nvme/nvme0/device/subsystem_device", "0xa801\n")
      .Write("/sys/class/nvme/nvme1/model", "Linux\n")
      .Write("/sys/class/nvme/nvme1/firmware_rev", "6.1.0-21\n")
      .Write("/sys/class/nvme/nvme2/model", "Tells nothing\n");
  EXPECT_EQ(Devices(tree),
            (TTexts{"Contoso NVMe 960GB, (none), GDC5602Q, (none), nvme: "
                    "NVME\\VEN_144D&DEV_A808&SUBSYS_144DA801 | NVME\\VEN_144D&DEV_A808 | "
                    "Contoso NVMe 960GB",
                    "Linux, (none), 6.1.0-21, (none), nvme: Linux"}));
  EXPECT_EQ(tree.Collect().document.find("S4XYNF0M"), std::string::npos);
}

const std::string kDisk = "/sys/class/scsi_disk/0:0:0:0/device/";

TMadeTree& WriteDisk(TMadeTree& tree, const std::string& vendor) {
  return tree.Write(kDisk + "vendor", vendor + "\n")
      .Write(kDisk + "model", "ST4000NM0025 X  \n")
      .Write(kDisk + "rev", "NF04\n");
}

// Words of two letters, the second one first.
std::string AtaWords(std::string text, std::size_t size) {
  text.resize(size, ' ');
  for (std::size_t i = 0; i < size; i += 2) std::swap(text[i], text[i + 1]);
  return text;
}

std::string AtaPage() {
  std::string page = "\0\x89\x02\x38"s + std::string(568, '\0');
  page.replace(60 + 46, 8, AtaWords("RVT04B6Q", 8));
  page.replace(60 + 54, 40, AtaWords("Contoso SSD 860 EVO 500GB", 40));
  return page;
}

TEST(ScsiDisks, TellWhatInquiryTells) {
  TMadeTree tree;
  WriteDisk(tree, "CONTOSO ");
  EXPECT_EQ(Devices(tree), TTexts{"ST4000NM0025 X, CONTOSO, NF04, (none), scsi: "
                                  "SCSI\\VEN_CONTOSO&DEV_ST4000NM0025-X&REV_NF04 | "
                                  "SCSI\\VEN_CONTOSO&DEV_ST4000NM0025-X"});
  tree.Write(kDisk + "rev", "    \n");
  EXPECT_EQ(Devices(tree), TTexts{});
}

TEST(SataDisks, TellTheirWholeIdentityWhereThePageHasIt) {
  TMadeTree tree;
  WriteDisk(tree, "ATA     ").Write(kDisk + "vpd_pg89", AtaPage());
  const std::string name = "Contoso_SSD_860_EVO_500GB_______________";
  ASSERT_EQ(name.size(), 40u);
  EXPECT_EQ(Devices(tree),
            TTexts{"Contoso SSD 860 EVO 500GB, (none), RVT04B6Q, (none), scsi: IDE\\" + name +
                   "RVT04B6Q | IDE\\0" + name + " | Contoso SSD 860 EVO 500GB"});
  for (const std::string& page : {AtaPage().substr(0, 571), "\0\x80"s + AtaPage().substr(2), ""s}) {
    tree.Write(kDisk + "vpd_pg89", page);
    EXPECT_EQ(Devices(tree), TTexts{"ST4000NM0025 X, (none), NF04, (none), scsi: "
                                    "SCSI\\VEN_ATA&DEV_ST4000NM0025-X&REV_NF04 | "
                                    "SCSI\\VEN_ATA&DEV_ST4000NM0025-X"});
  }
}

constexpr const char* kCaps =
    "Manufacturer: 0x49465800\nTCG version: 1.2\nFirmware version: 133.32\n";

TEST(Tpms, OfTheFirstKindTellTheirFirmwareInAFile) {
  for (const char* place : {"/sys/class/tpm/tpm0/caps", "/sys/class/tpm/tpm0/device/caps"}) {
    TMadeTree tree;
    tree.Write(place, kCaps).Write("/sys/class/tpm/tpmrm0/dev", "1:1");
    EXPECT_EQ(Devices(tree), TTexts{"TPM 1.2, IFX, 133.32, (none), tpm: TPM\\VEN_IFX"});
    EXPECT_EQ(tree.Notes("/sys/class/tpm"), TTexts{});
  }
  EXPECT_FALSE(ParseTpm1Capabilities("Manufacturer: 0x49465800\n"));
  EXPECT_FALSE(ParseTpm1Capabilities(""));
  EXPECT_FALSE(ParseTpm1Capabilities("Firmware version\nManufacturer: 0x49465800\n"));
  for (const char* maker : {"0xzz", "49465800", "0", ""}) {
    EXPECT_EQ(
        ParseTpm1Capabilities(std::string("Firmware version: 1\nManufacturer: ") + maker)->vendor,
        "")
        << maker;
  }
}

TEST(Tpms, OfTheSecondKindAreNotToldByFiles) {
  TMadeTree tree;
  tree.Write("/sys/class/tpm/tpm0/tpm_version_major", "2\n");
  EXPECT_EQ(Devices(tree), TTexts{});
  EXPECT_EQ(
      tree.Notes("/sys/class/tpm"),
      TTexts{"/sys/class/tpm/tpm0: its firmware is told by the running module only; left out"});
}

std::string TpmAnswer() {
  return "\x80\x01\0\0\0\x53\0\0\0\0\0\0\0\0\x06\0\0\0\x08"s + "\0\0\x01\x05INTC"s +
         "\0\0\x01\x06Inte"s + "\0\0\x01\x07l\0\0\0"s + "\0\0\x01\x08\0\0\0\0"s +
         "\0\0\x01\x09\0\0\0\0"s + "\0\0\x01\x0A\0\0\0\x01"s + "\0\0\x01\x0B\x01\x38\0\x01"s +
         "\0\0\x01\x0C\0\x16\0\0"s;
}

TEST(Tpms, OfTheSecondKindAnswerWithTheirProperties) {
  const auto device = ParseTpm2Properties(TpmAnswer());
  ASSERT_TRUE(device);
  EXPECT_EQ(device->name, "TPM 2.0");
  EXPECT_EQ(device->vendor, "INTC");
  EXPECT_EQ(device->version, "312.1.22.0");
  EXPECT_EQ(device->identifiers,
            (TTexts{"TPM\\VEN_INTC&DEV_0001&VER_2.0", "TPM\\VEN_INTC&DEV_0001",
                    "TPM\\VEN_INTC&MOD_Intel&VER_2.0", "TPM\\VEN_INTC&MOD_Intel"}));
}

TEST(Tpms, HaveAModelOfFourTextsAndATypeOfItsOwn) {
  std::string answer = TpmAnswer();
  answer.replace(answer.find("\x01\x0A"s) + 2, 4, "ABCD");
  answer.replace(answer.find("\x01\x09"s) + 2, 4, "Wxyz");
  EXPECT_EQ(ParseTpm2Properties(answer)->identifiers,
            (TTexts{"TPM\\VEN_INTC&DEV_41424344&VER_2.0", "TPM\\VEN_INTC&DEV_41424344",
                    "TPM\\VEN_INTC&MOD_IntelWxyz&VER_2.0", "TPM\\VEN_INTC&MOD_IntelWxyz"}));
}

TEST(Tpms, HaveWhatCanBeSeenOfTheLettersOfTheirMaker) {
  const auto vendor = [](const std::string& letters) {
    std::string answer = TpmAnswer();
    answer.replace(answer.find("INTC"), 4, letters);
    return ParseTpm2Properties(answer)->vendor;
  };
  EXPECT_EQ(vendor("A B\0"s), "AB");
  EXPECT_EQ(vendor("!A~B"), "!A~B");
  EXPECT_EQ(vendor("\x1F\x20\x7F\x80"), "");
  EXPECT_EQ(vendor("\xFF\x21\x7E\t"), "!~");
}

TEST(Tpms, ThatAnswerWithAnErrorOrTooLittleTellNothing) {
  const std::string whole = TpmAnswer();
  constexpr std::size_t kUpToVersion = 19 + 7 * 8;
  for (std::size_t size = 0; size <= whole.size(); ++size)
    EXPECT_EQ(ParseTpm2Properties(whole.substr(0, size)).has_value(), size >= kUpToVersion) << size;
  std::string refused = whole;
  refused[8] = '\x01';
  EXPECT_FALSE(ParseTpm2Properties(refused));
  std::string many = whole;
  many.replace(15, 4, "\xFF\xFF\xFF\xFF");
  EXPECT_TRUE(ParseTpm2Properties(many)) << "more properties told than are there";
}

std::string Processor(const std::string& microcode, const std::string& stepping = "6") {
  return "processor\t: 0\nvendor_id\t: GenuineIntel\ncpu family\t: 6\nmodel\t\t: 106\n"
         "model name\t: Contoso Xeon 5318\nstepping\t: " +
         stepping + "\nmicrocode\t: " + microcode + "\n\n";
}

TEST(Microcode, IsToldOnceForProcessorsOfOneKind) {
  TMadeTree tree;
  tree.Write("/proc/cpuinfo", Processor("0xd0003b9") + Processor("0xd0003b9"));
  const std::string first =
      "Contoso Xeon 5318, GenuineIntel, 0xd0003b9, hex, microcode: "
      "CPUID\\PRO_0&FAM_06&MOD_6A&STP_6 | CPUID\\PRO_0&FAM_06&MOD_6A | CPUID\\PRO_0&FAM_06";
  EXPECT_EQ(Devices(tree), TTexts{first});
  for (const char* none : {"x", "6x", "", "4294967296"}) {
    tree.Write("/proc/cpuinfo", Processor("0xd0003b9") + Processor("0xd000375", none));
    EXPECT_EQ(Devices(tree),
              (TTexts{first, "Contoso Xeon 5318, GenuineIntel, 0xd000375, hex, microcode: (none)"}))
        << none;
  }
  tree.Write("/proc/cpuinfo", "model name\nmicrocode\t: 0x1\n");
  EXPECT_EQ(Devices(tree), TTexts{"(none), (none), 0x1, hex, microcode: (none)"});
}

TEST(Microcode, ThatAHypervisorHidesIsNotTold) {
  TMadeTree tree;
  for (const char* hidden : {"0xffffffff", "0x0", "", "d0003b9"}) {
    tree.Write("/proc/cpuinfo", Processor(hidden));
    EXPECT_EQ(Devices(tree), TTexts{}) << hidden;
  }
  tree.Write("/proc/cpuinfo", "processor\t: 0\nCPU implementer\t: 0x41\n");
  EXPECT_EQ(Devices(tree), TTexts{});
}

TEST(ResourceTable, IsToldByItsClasses) {
  TMadeTree tree;
  const std::string entries = "/sys/firmware/efi/esrt/entries/";
  tree.Write(entries + "entry0/fw_class", "DDC0EE61-E7F0-4E7D-ACC5-C070A398838E\n")
      .Write(entries + "entry0/fw_type", "1\n")
      .Write(entries + "entry0/fw_version", "65592\n")
      .Write(entries + "entry1/fw_class", "0b97ab5e-3a4c-4c1e-8e8d-5d4fba6e1b6a\n")
      .Write(entries + "entry1/fw_type", "2\n")
      .Write(entries + "entry1/fw_version", "7\n")
      .Write(entries + "entry2/fw_class", "none\n")
      .Write(entries + "entry3/fw_type", "1\n");
  EXPECT_EQ(Devices(tree), (TTexts{"System Firmware, (none), 65592, number, esrt: "
                                   "ddc0ee61-e7f0-4e7d-acc5-c070a398838e",
                                   "Device Firmware, (none), 7, number, esrt: "
                                   "0b97ab5e-3a4c-4c1e-8e8d-5d4fba6e1b6a"}));
  EXPECT_EQ(tree.Notes("entry3"), TTexts{entries + "entry3: No such file or directory; left out"});
}

}  // namespace
}  // namespace svc::collect
