// Which installed pieces have no record, and why; which drivers are built of the same source.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "report/records.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "svcheck/session/query_session.h"
#include "svcheck/session/record_origins.h"

namespace svc {
namespace {

using TNamespace = boost::shared_ptr<NQRXHSK20::ICIMNamespace>;
using TTexts = std::vector<std::string>;
using TProperties = std::vector<std::pair<std::string, std::string>>;

std::string Instance(const std::string& className, const TProperties& properties) {
  std::string text = "<VALUE.OBJECT><INSTANCE CLASSNAME=\"" + className + "\">";
  for (const auto& [name, value] : properties) {
    text +=
        "<PROPERTY NAME=\"" + name + "\" TYPE=\"string\"><VALUE>" + value + "</VALUE></PROPERTY>";
  }
  return text + "</INSTANCE></VALUE.OBJECT>";
}

TNamespace Namespace(const std::string& instances) {
  const TNamespace made = MakeInMemoryNamespace();
  DeclareBuiltinClasses(made);
  const std::string declared =
      "<VALUE.OBJECT><CLASS NAME=\"QRXPSG_SystemUpdateElement\"/></VALUE.OBJECT>"
      "<VALUE.OBJECT><CLASS NAME=\"SVC_FirmwareDevice\"/></VALUE.OBJECT>";
  ParseDocument(made, "<CIM><DECLARATION><DECLGROUP>" + declared + instances +
                          "</DECLGROUP></DECLARATION></CIM>");
  return made;
}

std::string Driver(const std::string& name, const std::string& version,
                   const std::string& state = "4", const std::string& source = "") {
  TProperties properties = {{"Path", "C:\\" + name + ".ko"},
                            {"Name", name},
                            {"Version", version},
                            {"CurrentState", state}};
  if (!source.empty()) properties.emplace_back("SourceVersion", source);
  return Instance("QRXSG_DeviceDriverInfo", properties);
}

std::string Element(const TProperties& more, const std::string& types = "-[4638]-",
                    const std::string& systems = "SLES10_64") {
  TProperties properties = {{"applicableMachineTypes", types},
                            {"applicableOperatingSystems", systems}};
  properties.insert(properties.end(), more.begin(), more.end());
  return Instance("QRXPSG_SystemUpdateElement", properties);
}

class TRecords : public report::IRecordSource {
 public:
  struct TTold {
    std::string type, name, installed, offered;
  };
  explicit TRecords(std::vector<TTold> given) : told(std::move(given)) {}
  std::size_t Count() const noexcept override { return told.size(); }
  void Read(std::size_t number, report::TRecord& record) const override {
    record = report::TRecord();
    record.type = told[number].type;
    record.name = told[number].name;
    record.installed = told[number].installed;
    record.offered = told[number].offered;
  }

 private:
  std::vector<TTold> told;
};

constexpr const char* kFirmware = "Firmware";

struct TCase {
  std::string inventory;
  std::string catalogue;
  std::vector<TRecords::TTold> records = {};
  bool isLive = false;
  bool withoutDrivers = false;
  std::string system = "SLES10_64";
};

TTexts NotCompared(const TCase& one) {
  const TNamespace inventory = Namespace(one.inventory);
  const TNamespace catalogue = Namespace(one.catalogue);
  const TRecords records(one.records);
  const report::TCoverage coverage = CoverageOf(
      {inventory, catalogue, records, "4638", one.system, one.isLive, one.withoutDrivers});
  TTexts pieces;
  for (const report::TPiece& piece : coverage.notCompared) {
    pieces.push_back(piece.type + '|' + std::string(std::string_view(piece.name)) + '|' +
                     std::string(std::string_view(piece.version)) + '|' +
                     std::string(report::RowOf(piece.why).name));
  }
  pieces.push_back("of " + std::to_string(coverage.installed));
  return pieces;
}

TEST(Coverage, LeavesOutWhatHasARecordOfItsNameAndVersion) {
  const auto own = [](const std::string& className, const std::string& version) {
    return Instance(className, {{"Name", "N"}, {"Version", version}});
  };
  const auto left = [](const std::string& inventory, const TRecords::TTold& record) {
    return NotCompared({inventory, "", {record}}).size() - 1;
  };
  for (const char* className : {"QRXSG_IPMIFirmwareElement", "QRXSG_LSIFirmwareElement",
                                "QRXSG_LSIBIOSElement", "SVC_FirmwareDevice"}) {
    EXPECT_EQ(left(own(className, "1"), {kFirmware, "N", "1", "2"}), 0U) << className;
    EXPECT_EQ(left(own(className, "1"), {kFirmware, "M", "1", "2"}), 1U) << className;
    EXPECT_EQ(left(own(className, "1"), {kFirmware, "N", "2", "1"}), 1U) << className;
    EXPECT_EQ(left(own(className, "1"), {kFirmware, "1", "N", ""}), 1U) << className;
  }
  const std::string bios = own("QRXSG_SystemBIOSElement", "1");
  EXPECT_EQ(left(bios, {kFirmware, "System BIOS", "1", "2"}), 0U);
  EXPECT_EQ(left(bios, {kFirmware, "System UEFI", "1", "2"}), 0U);
  EXPECT_EQ(left(bios, {kFirmware, "N", "1", "2"}), 1U);
  const std::string numbered = own("QRXSG_BcmDeviceFirmwareElement", "1");
  EXPECT_EQ(left(numbered, {kFirmware, "Broadcom NetXtreme Network Device  0", "1", "2"}), 0U);
  EXPECT_EQ(left(numbered, {kFirmware, "N", "1", "2"}), 1U);
  const std::string any = own("QRXSG_MegaLSIFWPackageBuildFirmwareElement", "1");
  EXPECT_EQ(left(any, {kFirmware, "whatever", "1", "2"}), 0U);
  EXPECT_EQ(left(any, {kFirmware, "N", "2", "2"}), 1U);
  const std::string diagnostics =
      Instance("QRXSG_DiagnosticVPD", {{"BuildNumber", "B"}, {"Version", "V"}});
  EXPECT_EQ(left(diagnostics, {kFirmware, "Diagnostics", "B - V", "2"}), 0U);
  EXPECT_EQ(left(diagnostics, {kFirmware, "Diagnostics", "B", "2"}), 1U);
  const std::string adapters = Instance("QRXSG_SPROMFirmwareVPDMain",
                                        {{"Name", "N"}, {"BuildNumber", "B"}, {"Version", "1"}}) +
                               Instance("QRXSG_SPROMFirmwareVPDMain",
                                        {{"Name", "O"}, {"BuildNumber", "C"}, {"Version", "2"}});
  EXPECT_EQ(left(adapters, {kFirmware, "N", "2 (B) ", "x"}), 1U) << "with the version of the last";
  EXPECT_EQ(left(adapters, {kFirmware, "N", "1 (B) ", "x"}), 2U);
  EXPECT_EQ(left(adapters, {kFirmware, "O", "C", "x"}), 1U);
}

TEST(Coverage, KnowsADriverByItsFileWhateverItsVersionIsOfAnotherRecord) {
  const std::string inventory = Driver("net", "1.0") + Driver("net", "1.0") + Driver("disk", "2.0");
  EXPECT_EQ(NotCompared({inventory, "", {{"Driver", "NET", "1.0", "2"}}}),
            (TTexts{"Driver|DISK|2.0|not-offered", "of 3"}));
  EXPECT_EQ(
      NotCompared({inventory, "", {{"Driver", "NET", "1.1", "2"}, {"Driver", "DISK", "2.0", ""}}}),
      (TTexts{"Driver|NET|1.0|not-offered", "Driver|NET|1.0|not-offered", "of 3"}));
  EXPECT_EQ(NotCompared({Driver("net", "1.0", "1"), "", {{"Driver", "NET", "1.0", "2"}}}),
            (TTexts{"Driver|NET|1.0|not-running", "of 1"}));
  EXPECT_EQ(NotCompared({Instance("QRXSG_DeviceDriverInfo",
                                  {{"Name", "plain"}, {"Version", "1"}, {"CurrentState", "4"}}),
                         ""}),
            (TTexts{"Driver|plain|1|not-offered", "of 1"}))
      << "without a file it goes by its name";
}

TEST(Coverage, LeavesRecordsOfDriversOutWhereTheyAreNotShown) {
  const std::string element = Element({{"driverFiles", "net.ko-#2.0"}});
  TCase one{Driver("net", "1.0"), element, {{"Driver", "NET", "1.0", "2.0"}}};
  EXPECT_EQ(NotCompared(one), TTexts{"of 1"});
  one.withoutDrivers = true;
  EXPECT_EQ(NotCompared(one), (TTexts{"Driver|NET|1.0|other-system", "of 1"}));
  EXPECT_EQ(NotCompared({Instance("QRXSG_IPMIFirmwareElement", {{"Name", "N"}, {"Version", "1"}}),
                         Element({{"category", "BMC/H8"},
                                  {"description", "Baseboard Management Controller"}}),
                         {},
                         false,
                         true}),
            (TTexts{"Firmware|N|1|not-offered", "of 1"}))
      << "firmware is shown";
}

TEST(Coverage, TellsTheNearestOffer) {
  const auto driverFor = [](const std::string& elements, bool isLive = false) {
    return NotCompared({Driver("net", "1.0"), elements, {}, isLive}).front().substr(15);
  };
  const TProperties files = {{"driverFiles", "disk.ko-#1 net.ko-#2.0"}};
  const std::string here = Element(files);
  const std::string otherSystem = Element(files, "-[4638]-", "RHEL5");
  const std::string otherMachine = Element(files, "-[9999]-");
  const std::string nothing = Element({{"driverFiles", "disk.ko-#1"}});
  const std::string without = Element({{"driverFiles", "-#1 net.ko-#"}});
  EXPECT_EQ(driverFor(nothing + without), "not-offered");
  EXPECT_EQ(driverFor(otherMachine + nothing), "other-machine");
  EXPECT_EQ(driverFor(otherSystem + otherMachine), "other-system");
  EXPECT_EQ(driverFor(otherMachine + otherSystem), "other-system");
  EXPECT_EQ(driverFor(otherMachine + here + otherSystem), "not-offered")
      << "it is offered for another piece of its kind";
  EXPECT_EQ(driverFor(Element(files, "-[9999]-", "RHEL5")), "other-machine");
  // A live query takes what is for the family.
  const std::string family = Element(files, "-[4638]-", "Linux");
  EXPECT_EQ(driverFor(family), "other-system");
  EXPECT_EQ(driverFor(family, true), "not-offered");
  EXPECT_EQ(driverFor(here, true), "other-system");
}

TEST(Coverage, TakesFirmwareForAnySystemButInALiveQuery) {
  const std::string bios = Instance("QRXSG_SystemBIOSElement", {{"Name", "N"}, {"Version", "1"}});
  const auto reasonOf = [&](const std::string& system, bool isLive, const std::string& code) {
    const std::string element = Element({{"description", "a bios UPDATE"}}, "-[4638]-", system);
    const std::string piece = NotCompared({bios, element, {}, isLive, false, code}).front();
    return piece.substr(piece.rfind('|') + 1);
  };
  EXPECT_EQ(reasonOf("RHEL5", false, "SLES10_64"), "not-offered") << "it is for this machine";
  EXPECT_EQ(reasonOf("RHEL5", true, "SLES10_64"), "other-system");
  EXPECT_EQ(reasonOf("Linux", true, "SLES10_64"), "not-offered");
  EXPECT_EQ(reasonOf("odd", true, "odd"), "not-offered") << "of no family it is the code itself";
}

TEST(Coverage, FindsTheComponentOfAnElementAsTheComparisonDoes) {
  const auto reasonOf = [](const std::string& piece, const TProperties& element) {
    const std::string told = NotCompared({piece, Element(element, "-[9999]-")}).front();
    return told.substr(told.rfind('|') + 1);
  };
  const std::string bmc = Instance("QRXSG_IPMIFirmwareElement", {{"Name", "N"}, {"Version", "1"}});
  const std::string bios = Instance("QRXSG_SystemBIOSElement", {{"Version", "1"}});
  EXPECT_EQ(
      reasonOf(bmc, {{"category", "BMC/H8"}, {"description", "Baseboard Management Controller"}}),
      "other-machine");
  EXPECT_EQ(reasonOf(bmc, {{"category", "BMC/H8"}, {"description", "Integrated System Control"}}),
            "not-offered")
      << "that is another processor";
  EXPECT_EQ(reasonOf(bmc, {{"description", "BIOS Update"}}), "not-offered");
  EXPECT_EQ(reasonOf(bios, {{"description", "BIOS Update"}}), "other-machine");
  EXPECT_EQ(reasonOf(bios, {{"category", "uefi"}}), "other-machine");
  EXPECT_EQ(reasonOf(bios, {{"description", "Diagnostic"}}), "not-offered");
}

TEST(Coverage, NamesAPieceByWhatItIsWhereItHasNoName) {
  EXPECT_EQ(NotCompared({Instance("QRXSG_SystemBIOSElement", {{"Name", "N"}, {"Version", "1"}}) +
                             Instance("QRXSG_DiagnosticVPD", {}) +
                             Instance("QRXSG_IPMIFirmwareElement", {{"Version", "2"}}) +
                             Instance("QRXSG_SPROMFirmwareVPDMain", {{"BuildNumber", "B"}}) +
                             Instance("SVC_FirmwareDevice", {{"Version", "3"}}),
                         ""}),
            (TTexts{"Firmware|System BIOS|1|not-offered", "Firmware|Diagnostics||no-version",
                    "Firmware|Remote Watch Adapter II|B|not-offered", "Firmware|BMC|2|not-offered",
                    "Firmware|SVC_FirmwareDevice|3|not-offered", "of 5"}));
}

// Texts from 1024 bytes on are looked at once, wherever they stand.
TEST(Coverage, IsTheSameOfLongTexts) {
  for (const std::size_t size : {1019U, 1020U, 1021U, 3000U}) {
    const std::string name(size, 'n');
    const std::string upper(size, 'N');
    const std::string version(size + 4, '1');
    const TCase one{Driver(name, version) + Driver(name, version) + Driver(name, "2"),
                    "",
                    {{"Driver", upper, version, "x"}}};
    EXPECT_EQ(NotCompared(one),
              (TTexts{"Driver|" + std::string(200, 'N') + "...|2|not-offered", "of 3"}))
        << size;
  }
}

// --- Drivers of the same source ---

std::string Sources(const std::string& list) {
  return Element({{"driverFiles", ""}, {"driverSources", list}});
}

// Whether the record of the driver that is offered as 2 is of the same source.
bool IsSame(const std::string& inventory, const std::string& catalogue,
            const TRecords::TTold& told = {"Driver", "NET", "1", "2"}) {
  const auto records = WithSources(std::make_shared<TRecords>(std::vector{told}),
                                   Namespace(inventory), Namespace(catalogue));
  EXPECT_EQ(records->Count(), 1U);
  report::TRecord record;
  records->Read(0, record);
  EXPECT_EQ(record.name, told.name);
  if (record.hasSameSource) {
    EXPECT_EQ(record.compared, report::EVerdict::kCurrent);
  } else {
    EXPECT_FALSE(record.compared);
  }
  return record.hasSameSource;
}

TEST(SameSource, IsThatOfADriverWhereBothSidesStateIt) {
  const std::string installed = Driver("net", "1", "4", " ABC ");
  EXPECT_TRUE(IsSame(installed, Sources("ABC:net.ko-#2")));
  EXPECT_TRUE(IsSame(installed, Sources("X:disk.ko-#1 ABC:net.ko-#2 Y:net.ko-#3")));
  EXPECT_FALSE(IsSame(installed, Sources("ABD:net.ko-#2")));
  EXPECT_FALSE(IsSame(installed, Sources("ABC:net.ko-#3")));
  EXPECT_FALSE(IsSame(installed, Sources("ABC:disk.ko-#2")));
  EXPECT_FALSE(IsSame(installed, Sources(":net.ko-#2")));
  EXPECT_FALSE(IsSame(installed, Sources("net.ko-#2")));
  EXPECT_FALSE(IsSame(installed, ""));
  EXPECT_FALSE(IsSame(Driver("net", "1"), Sources("ABC:net.ko-#2")));
  EXPECT_FALSE(IsSame(Driver("net", "3", "4", "ABC"), Sources("ABC:net.ko-#2")));
  EXPECT_FALSE(IsSame(installed, Sources("ABC:net.ko-#2"), {kFirmware, "NET", "1", "2"}));
  EXPECT_TRUE(IsSame(Driver("net", "1", "4", "A"), Sources("A:net.ko-#2"))) << "one character";
}

TEST(SameSource, IsUnknownWhereOneSideStatesTwo) {
  const std::string installed = Driver("net", "1", "4", "ABC");
  const std::string offered = Sources("ABC:net.ko-#2");
  EXPECT_TRUE(IsSame(installed + installed, offered + offered));
  EXPECT_FALSE(IsSame(installed + Driver("net", "1", "4", "ABD"), offered));
  EXPECT_FALSE(IsSame(installed + Driver("net", "1"), offered)) << "one may be of another";
  EXPECT_FALSE(IsSame(Driver("net", "1") + installed, offered));
  EXPECT_TRUE(IsSame(installed + Driver("net", "3"), offered)) << "of another version";
  EXPECT_TRUE(IsSame(installed + Driver("disk", "1"), offered)) << "another driver";
  EXPECT_FALSE(IsSame(installed, offered + Sources("ABD:net.ko-#2")));
  EXPECT_FALSE(IsSame(installed, Sources("ABC:net.ko-#2 ABD:net.ko-#2")));
}

TEST(SameSource, IsNotSoughtInTextsThatAreTooLong) {
  const std::string most(256, 'A');
  EXPECT_TRUE(IsSame(Driver("net", "1", "4", most), Sources(most.substr(7) + ":net.ko-#2")) ==
              false);
  EXPECT_FALSE(IsSame(Driver("net", "1", "4", most + 'A'), Sources(most + "A:net.ko-#2")));
  const std::string source(256 - std::string(":net.ko").size(), 'A');
  EXPECT_TRUE(IsSame(Driver("net", "1", "4", source), Sources(source + ":net.ko-#2")));
  EXPECT_FALSE(IsSame(Driver("net", "1", "4", source + 'A'), Sources(source + "A:net.ko-#2")));
  const std::string version(256, '1');
  EXPECT_TRUE(IsSame(Driver("net", version, "4", "A"), Sources("A:net.ko-#" + version),
                     {"Driver", "NET", version, version}));
  EXPECT_FALSE(IsSame(Driver("net", "1", "4", "A"), Sources("A:net.ko-#1" + version),
                      {"Driver", "NET", "1", "1" + version}));
}

}  // namespace
}  // namespace svc
