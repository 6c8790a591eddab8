// What is read of inventory and catalogue, and how much of it at most.
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "host/hskcore/exception.h"
#include "host/xmlparser/namespace_populator.h"
#include "host/xmlparser/xml_parser.h"
#include "plugins/public_firmware/catalogue.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "tests/plugins/public_firmware/made_documents.h"
#include "tests/support/temporary_folder.h"

using namespace NQRXHSK20;

namespace svc::publicfirmware {
namespace {

constexpr const char* kGuid = "5b92717b-2cad-4a96-a13b-9d65781df8bf";
constexpr std::size_t kMebi = std::size_t{1} << 20;

std::string Copies(std::size_t count, const std::string& text) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) all += text;
  return all;
}

class Machine : public testing::Test {
 protected:
  TMachine Read(const std::string& objects) const {
    folder.Write("inventory.xml", Document(objects));
    const TNamespaceHandle inventory = MakeInMemoryNamespace();
    TNamespacePopulator::PopulateFromXMLFile(inventory, folder.Path() + "/inventory.xml");
    return ReadMachine(inventory);
  }

  test::TTemporaryFolder folder;
};

TEST_F(Machine, HasWhatTheInventoryTellsOfEachDevice) {
  const TMachine machine = Read(
      Class("SVC_FirmwareDevice") +
      Instance("SVC_FirmwareDevice",
               Property("Name", "Dock") + Property("Version", "1.0") +
                   Property("VersionFormat", "pair") + Property("Branch", "b") +
                   Property("BootloaderVersion", "0.9") + Array("VendorIds", {"USB:0x273F", "A"}) +
                   Array("Identifiers", {"USB\\VID_273F", kGuid})) +
      Instance("SVC_FirmwareDevice"));
  ASSERT_EQ(machine.devices.size(), 2U);
  const TDevice& dock = machine.devices[0];
  EXPECT_EQ(dock.name, "Dock");
  EXPECT_EQ(dock.version, "1.0");
  EXPECT_EQ(dock.format, "pair");
  EXPECT_EQ(dock.branch, "b");
  EXPECT_EQ(dock.bootloaderVersion, "0.9");
  EXPECT_EQ(dock.vendors, TTexts({"A", "USB:0x273F"}));
  std::vector<TGuid> guids = {GuidOf("USB\\VID_273F"), GuidOf(kGuid)};
  EXPECT_EQ(dock.guids, guids);
  std::sort(guids.begin(), guids.end());
  EXPECT_EQ(machine.hardwareIds, guids);
  const TDevice& other = machine.devices[1];
  EXPECT_EQ(other.name + other.version + other.format + other.branch + other.bootloaderVersion, "");
  EXPECT_TRUE(other.vendors.empty() && other.guids.empty());
}

TEST_F(Machine, IsKnownByTheFieldsOfItsSystem) {
  std::vector<TGuid> ids =
      HardwareIdsOf({"Ex", "F", "R", "S", "BM", "BP", "BV", "1.2.3", "01", "0f", "3"});
  EXPECT_EQ(ids.size(), 18U);
  std::sort(ids.begin(), ids.end());
  const TMachine machine = Read(
      Class("QRXSG_ComputerSystem") +
      Instance("QRXSG_ComputerSystem",
               Property("Manufacturer", "Ex") + Property("Family", "F") + Property("Model", "R") +
                   Property("SKUNumber", "S") + Property("BaseboardManufacturer", "BM") +
                   Property("BaseboardProduct", "BP") + Property("BIOSVendor", "BV") +
                   Property("BIOSVersion", "1.2.3") + Property("BIOSMajorRelease", "1") +
                   Property("BIOSMinorRelease", "15") + Property("EnclosureType", "3")));
  EXPECT_EQ(machine.hardwareIds, ids);
  EXPECT_TRUE(machine.devices.empty());
}

struct TNumber {
  std::string decimal, release, enclosure;
};

TEST_F(Machine, IsKnownByNumbersOfAByteInHexadecimalDigits) {
  for (const auto& [decimal, release, enclosure] :
       {TNumber{"0", "00", "0"}, TNumber{"1", "01", "1"}, TNumber{"9", "09", "9"},
        TNumber{"15", "0f", "f"}, TNumber{"16", "10", "10"}, TNumber{"171", "ab", "ab"},
        TNumber{"255", "ff", "ff"}, TNumber{"256", "", ""}, TNumber{"", "", ""},
        TNumber{"x", "", ""}}) {
    TMachineFields fields{"Ex", "", "R", "", "", "", "BV", "1.2.3", release, "01", enclosure};
    std::vector<TGuid> ids = HardwareIdsOf(fields);
    std::swap(fields.biosMajor, fields.biosMinor);
    const std::vector<TGuid> swapped = HardwareIdsOf(fields);
    ids.insert(ids.end(), swapped.begin(), swapped.end());
    std::sort(ids.begin(), ids.end());
    const std::string system = Property("Manufacturer", "Ex") + Property("Model", "R") +
                               Property("BIOSVendor", "BV") + Property("BIOSVersion", "1.2.3") +
                               Property("EnclosureType", decimal);
    const TMachine machine =
        Read(Class("QRXSG_ComputerSystem") +
             Instance("QRXSG_ComputerSystem", system + Property("BIOSMajorRelease", decimal) +
                                                  Property("BIOSMinorRelease", "1")) +
             Instance("QRXSG_ComputerSystem", system + Property("BIOSMajorRelease", "1") +
                                                  Property("BIOSMinorRelease", decimal)));
    EXPECT_EQ(machine.hardwareIds, ids) << decimal;
  }
}

TEST_F(Machine, HasAHundredThousandIdentifiersAtMost) {
  const auto devices = [](std::size_t more) {
    return Class("SVC_FirmwareDevice",
                 Array("VendorIds", TTexts(500, "V")) + Array("Identifiers", TTexts(500, "I"))) +
           Copies(100, Instance("SVC_FirmwareDevice")) + Class("QRXSG_Other") +
           Instance("SVC_FirmwareDevice",
                    Array("VendorIds", TTexts(more, "V")) + Array("Identifiers", {}));
  };
  EXPECT_EQ(Read(devices(0)).devices.size(), 101U);
  EXPECT_THROW(Read(devices(1)), std::length_error);
}

TEST_F(Machine, HasSixteenMebibytesOfTextsAtMost) {
  const std::string mebi(kMebi, 'n');
  for (const char* const name :
       {"Name", "Version", "VersionFormat", "Branch", "BootloaderVersion"}) {
    const std::string devices = Class("SVC_FirmwareDevice", Property(name, mebi)) +
                                Copies(16, Instance("SVC_FirmwareDevice"));
    EXPECT_EQ(Read(devices).devices.size(), 16U) << name;
    EXPECT_THROW(Read(devices + Instance("SVC_FirmwareDevice", Property(name, "1"))),
                 std::length_error)
        << name;
  }
}

TEST_F(Machine, HasSixteenMebibytesOfItsSystemsTextsAtMost) {
  const std::string mebi(kMebi, 'n');
  for (const char* const name :
       {"Manufacturer", "Family", "Model", "SKUNumber", "BaseboardManufacturer", "BaseboardProduct",
        "BIOSVendor", "BIOSVersion"}) {
    const std::string systems = Class("QRXSG_ComputerSystem", Property(name, mebi)) +
                                Copies(16, Instance("QRXSG_ComputerSystem"));
    EXPECT_NO_THROW(Read(systems)) << name;
    EXPECT_THROW(Read(systems + Instance("QRXSG_ComputerSystem", Property(name, "1"))),
                 std::length_error)
        << name;
  }
}

// --- A host that fails ---

struct TFailingInstance : ICIMInstance {
  explicit TFailingInstance(THSKStatusCode status) : status(status) {}
  void Commit(const CIMContext&) override {}
  void GetProperty(boost::shared_ptr<ICIMProperty>&, std::string_view,
                   const CIMContext&) const override {
    throw THSKException("no property", status);
  }
  void SetPropertyValue(std::string_view, const TCIMValue&, const CIMContext&) override {}

  THSKStatusCode status;
};

struct TFailingNamespace : ICIMNamespace {
  explicit TFailingNamespace(THSKStatusCode status) : status(status) {}
  void GetClass(boost::shared_ptr<ICIMClass>&, std::string_view, const CIMContext&) override {
    throw THSKException("no class", status);
  }

  THSKStatusCode status;
};

TEST(TextOfAProperty, IsEmptyWhereThereIsNoneAndOtherFailuresPass) {
  const auto read = [](THSKStatusCode status) {
    return TextOf(TInstanceHandle(new TFailingInstance(status)), "Name");
  };
  EXPECT_EQ(read(THSKStatusCode::kNoSuchProperty), "");
  EXPECT_THROW(read(THSKStatusCode::kFailed), THSKException);
  EXPECT_THROW(read(THSKStatusCode::kClassNotFound), THSKException);
}

TEST(MachineWithoutClasses, IsEmptyAndOtherFailuresPass) {
  const auto read = [](THSKStatusCode status) {
    return ReadMachine(TNamespaceHandle(new TFailingNamespace(status)));
  };
  const TMachine machine = read(THSKStatusCode::kClassNotFound);
  EXPECT_TRUE(machine.devices.empty() && machine.hardwareIds.empty());
  EXPECT_THROW(read(THSKStatusCode::kFailed), THSKException);
  EXPECT_THROW(read(THSKStatusCode::kNoSuchProperty), THSKException);
}

// --- What defaults of classes make of a small catalogue ---

// What may be made of the smallest file.
constexpr std::size_t kAlways = 8 * kMebi;

class OfferDefaults : public testing::Test {
 protected:
  // A catalogue of just so many bytes.
  TOfferIndex Index(std::string document, std::size_t bytes) const {
    document.append(bytes - document.size(), '\n');
    folder.Write("firmware.xml", document);
    return TOfferIndex(folder.Path() + "/firmware.xml");
  }
  static void ExpectRefused(const std::function<void()>& action, const std::string& path) {
    try {
      action();
      ADD_FAILURE() << "accepted";
    } catch (const THSKException& error) {
      EXPECT_EQ(error.GetStatusCode(), THSKStatusCode::kFailed);
      EXPECT_EQ(error.GetMessageText(),
                "Public firmware: " + path +
                    ": the defaults of its classes make far more of it than it holds; import it "
                    "anew");
    }
  }

  test::TTemporaryFolder folder;
};

TEST_F(OfferDefaults, MayTakeAsMuchInIdentifiersAsTheFileAndEightMebibytes) {
  // With the marks around each, 1 KiB.
  const std::string identifier(1024 - std::string("<VALUE></VALUE>").size(), 'i');
  const std::string document =
      Document(Class("SVC_FirmwareOffer", Array("Identifiers", TTexts(100, identifier))) +
               Copies(90, Instance("SVC_FirmwareOffer")));
  const std::size_t read = std::size_t{90} * 100 * 1024;
  EXPECT_EQ(Index(document, read - kAlways).Count(), 90U);
  ExpectRefused([&] { Index(document, read - kAlways - 1); }, folder.Path() + "/firmware.xml");
}

TEST_F(OfferDefaults, MayTakeThreeTimesTheFileAndEightMebibytesInReleases) {
  const std::vector<TGuid> guids = {GuidOf(kGuid)};
  const auto document = [](std::size_t count) {
    const std::string half(50'000, '1');
    return Document(Class("SVC_FirmwareOffer",
                          Property("Version", half) + Property("Branch", half) +
                              Array("Requirements", {half, half}) + Array("Identifiers", {kGuid})) +
                    Copies(count, Instance("SVC_FirmwareOffer")));
  };
  const std::string one = document(1);
  const std::size_t each = Index(one, one.size()).For(guids).at(0).Size();
  EXPECT_EQ(each, sizeof(TOffer) + 2 * sizeof(std::string) + 4 * std::size_t{50'000});
  const std::size_t count = 46;
  const std::size_t least = (each * count - kAlways + 2) / 3;
  EXPECT_EQ(Index(document(count), least).For(guids).size(), count);
  const TOfferIndex index = Index(document(count), least - 1);
  ExpectRefused([&] { index.For(guids); }, folder.Path() + "/firmware.xml");
}

}  // namespace
}  // namespace svc::publicfirmware
