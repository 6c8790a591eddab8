// What Windows tells of firmware in its registry and of its disks, in the form that it has on
// Linux.
#include <windows.h>

#include <deque>

#include "base/shown_text.h"
#include "recorded_machine.h"

namespace svc::collect {
namespace {

using namespace std::string_literals;
using TTexts = std::vector<std::string>;

constexpr const char* kGuid = "{DDC0EE61-E7F0-4E7D-ACC5-C070A398838E}";

class WindowsFirmware : public WindowsInventory {
 protected:
  // Each device as "Name, Vendor, Version, VersionFormat, Source: Identifier | Identifier".
  TTexts Devices() {
    inventory = ReadWindowsMachine(machine, false);
    return DevicesOf(inventory);
  }
  static TTexts DevicesOf(const TInventory& inventory) {
    TTexts texts;
    for (const TInstance& instance : inventory.Instances()) {
      if (instance.ClassName() != kFirmwareDevice) continue;
      TRow row;
      for (const TProperty& property : instance.Properties()) {
        std::string& text = row[property.name] = property.value;
        for (const std::string& element : property.elements)
          text += (text.empty() ? "" : " | ") + element;
      }
      texts.push_back(row["Name"] + ", " + row["Vendor"] + ", " + row["Version"] + ", " +
                      row["VersionFormat"] + ", " + row["Source"] + ": " + row["Identifiers"]);
    }
    return texts;
  }
  void AddDisk(const std::string& model, const std::string& revision, const std::string& interface,
               const std::string& id) {
    machine.answers["root\\cimv2:Win32_DiskDrive"].push_back({{"Model", model},
                                                              {"FirmwareRevision", revision},
                                                              {"InterfaceType", interface},
                                                              {"PNPDeviceID", id}});
  }
  void AddProcessor(const std::string& revision,
                    const std::string& identifier = "Intel64 Family 6 Model 158 Stepping 10") {
    TKeys& keys = machine.keys[kProcessorKeys].value;
    keys[std::to_string(keys.size())] = {{"ProcessorNameString", "Contoso Xeon 5318 "},
                                         {"VendorIdentifier", "GenuineIntel"},
                                         {"Identifier", identifier},
                                         {"Update Revision", revision}};
  }
};

TEST_F(WindowsFirmware, OfTheEfiSystemResourceTableIsToldByItsClasses) {
  machine.keys[kResourceTable].value = {
      {"{00000000-0000-0000-0000-00000000000A}", {{"Type", "1"}, {"Version", "4294967295"}}},
      {"{00000000-0000-0000-0000-00000000000B}", {{"Type", "2"}, {"Version", "7"}}},
      {"{00000000-0000-0000-0000-00000000000C}", {{"Type", "3"}, {"Version", "0"}}},
      {"{00000000-0000-0000-0000-00000000000D}", {{"Type", "4"}}},
      {"{00000000-0000-0000-0000-00000000000}", {{"Type", "1"}, {"Version", "1"}}},
      {"Other", {{"Type", "1"}, {"Version", "1"}}}};
  EXPECT_EQ(
      Devices(),
      (TTexts{"System Firmware, , 4294967295, number, esrt: 00000000-0000-0000-0000-00000000000a",
              "Device Firmware, , 7, number, esrt: 00000000-0000-0000-0000-00000000000b",
              "UEFI Driver, , 0, number, esrt: 00000000-0000-0000-0000-00000000000c",
              "Firmware, , , , esrt: 00000000-0000-0000-0000-00000000000d"}));
  EXPECT_TRUE(inventory.Notes().empty());
}

TEST_F(WindowsFirmware, OfEachKindOfProcessorIsToldOnce) {
  AddProcessor("\0\0\0\0\xF0\0\0\0"s);
  AddProcessor("\0\0\0\0\xF0\0\0\0"s);
  AddProcessor("\0\0\0\0\x01\0\0\xD0"s);
  AddProcessor("\x37\x12\xA0\x08\0\0\0\0"s, "AMD64 Family 25 Model 1 Stepping 1");
  EXPECT_EQ(
      Devices(),
      (TTexts{"Contoso Xeon 5318, GenuineIntel, 0xf0, hex, microcode: "
              "CPUID\\PRO_0&FAM_06&MOD_9E&STP_A | CPUID\\PRO_0&FAM_06&MOD_9E | CPUID\\PRO_0&FAM_06",
              "Contoso Xeon 5318, GenuineIntel, 0xd0000001, hex, microcode: "
              "CPUID\\PRO_0&FAM_06&MOD_9E&STP_A | CPUID\\PRO_0&FAM_06&MOD_9E | CPUID\\PRO_0&FAM_06",
              "Contoso Xeon 5318, GenuineIntel, 0x8a01237, hex, microcode: "
              "CPUID\\PRO_0&FAM_19&MOD_01&STP_1 | CPUID\\PRO_0&FAM_19&MOD_01 | "
              "CPUID\\PRO_0&FAM_19"}));
}

TEST_F(WindowsFirmware, OfProcessorsThatKeepTheirRevisionIsNotTold) {
  for (const std::string& revision :
       {"\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s, "\0\0\0\0\xFF\xFF\xFF\xFF"s,
        "\xFF\xFF\xFF\xFF\0\0\0\0"s, "\0\0\0\0\0\0\0\0"s, "\0\0\0\0\xF0\0\0"s,
        "\0\0\0\0\xF0\0\0\0\0"s, ""s})
    AddProcessor(revision);
  AddProcessor("\0\0\0\0\xF0\0\0\0"s, "ARMv8 (64-bit) Family 8 Model D4B Revision 402");
  AddProcessor("\0\0\0\0\xF0\0\0\0"s, "Intel64 Family 6 Model 158 Stepping A");
  EXPECT_EQ(Devices(), TTexts());
  EXPECT_TRUE(inventory.Notes().empty());
}

constexpr const char* kNvmeController = "PCI\\VEN_144D&DEV_A808&SUBSYS_A801144D&REV_00";

// An NVMe disk behind a controller whose kind a compatible id tells.
void AddNvme(TRecordedMachine& machine, const std::string& kind) {
  machine.answers["root\\cimv2:Win32_DiskDrive"] = {
      {{"Model", "Contoso SSD 970 EVO Plus 1TB"},
       {"FirmwareRevision", "2B2QEXM7 "},
       {"InterfaceType", "SCSI"},
       {"PNPDeviceID", "SCSI\\DISK&VEN_NVME&PROD_CONTOSO_SSD_970\\5&2c9&0&000000"}}};
  machine.answers["root\\cimv2:Win32_SCSIControllerDevice"] = {
      {{"Antecedent",
        R"(\\WEB02\root\cimv2:Win32_SCSIController.DeviceID="ROOT\\SPACEPORT\\0000")"},
       {"Dependent", R"(\\WEB02\root\cimv2:Win32_PnPEntity.DeviceID="SCSI\\DISK\\1")"}},
      {{"Antecedent", R"(\\WEB02\root\cimv2:Win32_SCSIController.DeviceID="PCI\\VEN_144D&DEV_A808)"
                      R"(&SUBSYS_A801144D&REV_00\\4&1F&0&00E8")"},
       {"Dependent", R"(\\WEB02\root\cimv2:Win32_PnPEntity.DeviceID="SCSI\\DISK&VEN_NVME)"
                     R"(&PROD_CONTOSO_SSD_970\\5&2C9&0&000000")"}}};
  TKeys& devices = machine.keys["SYSTEM\\CurrentControlSet\\Enum\\"s + kNvmeController].value;
  devices["3&11&0&1"] = {{"CompatibleIDs", "PCI\\CC_020000"}};
  devices["4&1f&0&00E8"] = {{"CompatibleIDs", "PCI\\VEN_144D\nPCI\\CC_" + kind + "\nPCI\\CC_0108"}};
}

TEST_F(WindowsFirmware, OfAnNvmeDiskHasTheNumbersOfItsController) {
  AddNvme(machine, "010802");
  EXPECT_EQ(Devices(), TTexts{"Contoso SSD 970 EVO Plus 1TB, , 2B2QEXM7, , nvme: "
                              "NVME\\VEN_144D&DEV_A808&SUBSYS_144DA801 | NVME\\VEN_144D&DEV_A808 | "
                              "Contoso SSD 970 EVO Plus 1TB"});
  EXPECT_TRUE(inventory.Notes().empty());
}

TEST_F(WindowsFirmware, OfAnNvmeDiskBehindRaidHasNoNumbersOfThat) {
  const TTexts byModel{
      "Contoso SSD 970 EVO Plus 1TB, , 2B2QEXM7, , nvme: Contoso SSD 970 EVO Plus 1TB"};
  AddNvme(machine, "010400");
  EXPECT_EQ(Devices(), byModel);
  EXPECT_TRUE(inventory.Notes().empty());
  machine.keys.clear();
  EXPECT_EQ(Devices(), byModel);
  EXPECT_TRUE(inventory.Notes().empty());
  machine.answers.erase("root\\cimv2:Win32_SCSIControllerDevice");
  EXPECT_EQ(Devices(), byModel);
  EXPECT_TRUE(IsNoted("Win32_SCSIControllerDevice: invalid class"));
}

TEST_F(WindowsFirmware, OfAnAtaDiskHasTheIdsOfIde) {
  AddDisk("CONTOSO SSD 860 EVO 500GB", "RVT04B6Q", "IDE",
          "SCSI\\DISK&VEN_CONTOSO&PROD_SSD_860_EVO_500G\\4&35424867&0&000000");
  AddDisk("HITACHI ABC ATA Device", "01.0", "IDE", "IDE\\DISKHITACHI_ABC___01.0\\5&1&0&0.0.0");
  EXPECT_EQ(Devices(),
            (TTexts{"CONTOSO SSD 860 EVO 500GB, , RVT04B6Q, , scsi: "
                    "IDE\\CONTOSO_SSD_860_EVO_500GB_______________RVT04B6Q | "
                    "IDE\\0CONTOSO_SSD_860_EVO_500GB_______________ | CONTOSO SSD 860 EVO 500GB",
                    "HITACHI ABC, , 01.0, , scsi: "
                    "IDE\\HITACHI_ABC_____________________________01.0____ | "
                    "IDE\\0HITACHI_ABC_____________________________ | HITACHI ABC"}));
}

TEST_F(WindowsFirmware, OfAScsiDiskHasTheVendorThatItsIdTellsApart) {
  AddDisk("Contoso ST300MM0006 SCSI Disk Device", "0004", "SCSI",
          "SCSI\\DISK&VEN_CONTOSO&PROD_ST300MM0006\\5&1&0&000000");
  AddDisk("Contoso Ultra Fit USB Device", "1.00", "USB",
          "USBSTOR\\DISK&VEN_CONTOSO&PROD_ULTRA_FIT&REV_1.00\\4C530001230&0");
  AddDisk("ATA ST1000NM0033-9ZM SCSI Disk Device", "SN04", "IDE",
          "SCSI\\DISK&VEN_ATA&PROD_ST1000NM0033-9ZM\\5&1&0&000000");
  AddDisk("(A) B SCSI Disk Device", "2", "SCSI", "SCSI\\DISK&VEN_(A)&PROD_B\\5");
  AddDisk("Array SCSI Disk Device", "3", "SCSI", "SCSI\\DISK&VEN_&PROD_ARRAY\\5");
  EXPECT_EQ(Devices(),
            (TTexts{"ST300MM0006, Contoso, 0004, , scsi: "
                    "SCSI\\VEN_Contoso&DEV_ST300MM0006&REV_0004 | "
                    "SCSI\\VEN_Contoso&DEV_ST300MM0006",
                    "Ultra Fit, Contoso, 1.00, , scsi: "
                    "SCSI\\VEN_Contoso&DEV_Ultra-Fit&REV_1.00 | SCSI\\VEN_Contoso&DEV_Ultra-Fit",
                    "ST1000NM0033-9ZM, , SN04, , scsi: "
                    "SCSI\\VEN_ATA&DEV_ST1000NM0033-9ZM&REV_SN04 | "
                    "SCSI\\VEN_ATA&DEV_ST1000NM0033-9ZM",
                    "B, (A), 2, , scsi: SCSI\\VEN_(A)&DEV_B&REV_2 | SCSI\\VEN_(A)&DEV_B",
                    "Array, , 3, , scsi: SCSI\\VEN_&DEV_Array&REV_3 | SCSI\\VEN_&DEV_Array"}));
  EXPECT_TRUE(inventory.Notes().empty());
}

TEST_F(WindowsFirmware, OfADiskWhoseNameWasGivenByOthersHasNoIds) {
  AddDisk("Backup SCSI Disk Device", "1", "SCSI", "SCSI\\DISK&VEN_CONTOSO&PROD_A\\5");
  AddDisk("Contosos A SCSI Disk Device", "1", "SCSI", "SCSI\\DISK&VEN_CONTOSO&PROD_A\\5");
  AddDisk("Contoso SCSI Disk Device", "1", "SCSI", "SCSI\\DISK&VEN_CONTOSO&PROD_A\\5");
  AddDisk("Plain", "1", "SCSI", "");
  AddDisk("Silent", "", "IDE", "IDE\\DISK");
  AddDisk("Silent too", " ", "SCSI", "SCSI\\DISK&VEN_NVME&PROD_A\\5");
  EXPECT_EQ(Devices(), (TTexts{"Backup, , 1, , scsi: ", "Contosos A, , 1, , scsi: ",
                               "Contoso, , 1, , scsi: ", "Plain, , 1, , scsi: "}));
}

TEST_F(WindowsFirmware, HasBounds) {
  AddDisk(std::string(4096, 'a'), "1", "SCSI", "");
  AddDisk(std::string(4097, 'b'), "2", "SCSI", "");
  AddDisk("c", std::string(4097, '3'), "SCSI", "");
  EXPECT_EQ(Devices(), (TTexts{std::string(4096, 'a') + ", , 1, , scsi: ", ", , 2, , scsi: "}));
  machine.answers["root\\cimv2:Win32_DiskDrive"].assign(
      4096, {{"Model", "M"}, {"FirmwareRevision", "1"}});
  EXPECT_EQ(Devices().size(), 4096u);
  EXPECT_TRUE(inventory.Notes().empty());
  machine.answers["root\\cimv2:Win32_DiskDrive"].resize(
      4097, {{"Model", "M"}, {"FirmwareRevision", "1"}});
  EXPECT_EQ(Devices().size(), 4096u);
  EXPECT_TRUE(IsNoted("Win32_DiskDrive: it tells of more than 4096 devices; the others are left"));
}

// --- The registry of the running system ---

// A key that is there until the test ends, as those that the system's loader makes.
class TMadeKey {
 public:
  explicit TMadeKey(std::string path) : path(std::move(path)) {
    DWORD what = 0;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, Widen(this->path).c_str(), 0, nullptr, REG_OPTION_VOLATILE,
                    KEY_ALL_ACCESS, nullptr, &key, &what);
    isMade = what == REG_CREATED_NEW_KEY;
  }
  ~TMadeKey() {
    RegCloseKey(key);
    if (isMade) RegDeleteKeyW(HKEY_LOCAL_MACHINE, Widen(path).c_str());
  }
  TMadeKey(const TMadeKey&) = delete;
  TMadeKey& operator=(const TMadeKey&) = delete;

  void Set(const wchar_t* name, DWORD type, const std::string& bytes) {
    EXPECT_EQ(RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE*>(bytes.data()),
                             static_cast<DWORD>(bytes.size())),
              ERROR_SUCCESS);
  }

 private:
  std::string path;
  HKEY key = nullptr;
  bool isMade = false;
};

TEST(Registry, TellsValuesOfEachKindAsTexts) {
  TMadeKey above("HARDWARE\\SVC_TEST"), one("HARDWARE\\SVC_TEST\\One \xC2\xB5"),
      two("HARDWARE\\SVC_TEST\\Two");
  one.Set(L"Number", REG_DWORD, "\xFF\xFF\xFF\xFF"s);
  one.Set(L"Long", REG_QWORD, "\0\0\0\0\x01\0\0\0"s);
  one.Set(L"Broken", REG_DWORD, "\x01\0"s);
  one.Set(L"Text", REG_SZ, "a\0\xE9\0\0\0x\0"s);
  one.Set(L"Open text", REG_SZ, "a\0b\0"s);
  one.Set(L"Texts", REG_MULTI_SZ, "a\0\0\0b\0\0\0\0\0"s);
  one.Set(L"Bytes", REG_BINARY, "\0\x01\xFF"s);
  one.Set(L"Largest", REG_BINARY, std::string(4096, 'x'));
  one.Set(L"Too large", REG_BINARY, std::string(4097, 'x'));
  one.Set(L"\u65e5", REG_SZ, "\xE5\x65\0\0"s);
  one.Set(L"Empty", REG_SZ, "\0\0"s);
  const auto answer = RegistryKeys("HARDWARE\\SVC_TEST");
  EXPECT_EQ(answer.problem, "");
  EXPECT_EQ(answer.value, (TKeys{{"One µ",
                                  {{"Number", "4294967295"},
                                   {"Long", "4294967296"},
                                   {"Text", "a\xC3\xA9"},
                                   {"Open text", "ab"},
                                   {"Texts", "a\nb"},
                                   {"Bytes", "\0\x01\xFF"s},
                                   {"Largest", std::string(4096, 'x')},
                                   {"日", "日"}}},
                                 {"Two", {}}}));
}

TEST(Registry, TellsOfOneKeyMoreThanThereMayBeDevices) {
  TMadeKey above("HARDWARE\\SVC_TEST");
  std::deque<TMadeKey> keys;
  for (std::size_t number = 0; number < kMostDevices + 2; ++number)
    keys.emplace_back("HARDWARE\\SVC_TEST\\" + std::to_string(number));
  EXPECT_EQ(RegistryKeys("HARDWARE\\SVC_TEST").value.size(), kMostDevices + 1);
}

TEST(Registry, WithoutAKeyTellsNothing) {
  const auto answer = RegistryKeys("HARDWARE\\SVC_TEST\\None");
  EXPECT_EQ(answer.problem, "");
  EXPECT_TRUE(answer.value.empty());
}

TEST_F(WindowsFirmware, OfTheRunningSystemIsReadFromItsRegistry) {
  const std::string table = kResourceTable;
  TMadeKey uefi("HARDWARE\\UEFI"), above(table), entry(table + "\\" + kGuid);
  entry.Set(L"Type", REG_DWORD, "\x01\0\0\0"s);
  entry.Set(L"Version", REG_DWORD, "\x38\0\x01\0"s);
  TMadeKey processor(std::string(kProcessorKeys) + "\\SVC_TEST");
  const std::wstring words = L"AMD64 Family 25 Model 1 Stepping 1";
  processor.Set(L"Identifier", REG_SZ,
                {reinterpret_cast<const char*>(words.data()), 2 * words.size()});
  processor.Set(L"Update Revision", REG_BINARY, "\x37\x12\xA0\x08\0\0\0\0"s);
  TInventory read;
  AddWindowsFirmware(*ThisWindowsMachine(), read);
  const TTexts devices = DevicesOf(read);
  for (const char* const device :
       {"System Firmware, , 65592, number, esrt: ddc0ee61-e7f0-4e7d-acc5-c070a398838e",
        ", , 0x8a01237, hex, microcode: CPUID\\PRO_0&FAM_19&MOD_01&STP_1 | "
        "CPUID\\PRO_0&FAM_19&MOD_01 | CPUID\\PRO_0&FAM_19"})
    EXPECT_EQ(std::count(devices.begin(), devices.end(), device), 1) << device;
  EXPECT_TRUE(read.Notes().empty()) << read.Notes().front();
}

}  // namespace
}  // namespace svc::collect
