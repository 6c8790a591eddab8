// What the rules find, where, and how it is told; and what a list of firmware becomes.
#include <gtest/gtest.h>

#include "base/error.h"
#include "svcheck/author/catalogue_files.h"
#include "svcheck/author/new_element.h"
#include "svcheck/author/rules.h"
#include "svcheck/author/update.h"

namespace svc::catalogue {
namespace {

using TTexts = std::vector<std::string>;
using TProperties = std::vector<std::pair<std::string, std::string>>;

std::string Line(const std::string& name, const std::string& value) {
  return "<PROPERTY NAME=\"" + name + "\" TYPE=\"string\"><VALUE>" + value +
         "</VALUE></PROPERTY>\n";
}

std::string List(const std::string& name, const TTexts& values) {
  std::string text = "<PROPERTY.ARRAY NAME=\"" + name + "\" TYPE=\"string\"><VALUE.ARRAY>";
  for (const std::string& value : values) text += "<VALUE>" + value + "</VALUE>";
  return text + "</VALUE.ARRAY></PROPERTY.ARRAY>\n";
}

// An element of which each property has a line of its own, the first the second of the file's.
std::string Element(const TProperties& properties, const TTexts& types = {"-[4638]-"},
                    const TTexts& systems = {"RHEL5_64", "Linux"}) {
  std::string text = "<VALUE.OBJECT><INSTANCE CLASSNAME=\"QRXPSG_SystemUpdateElement\">\n";
  for (const auto& [name, value] : properties) text += Line(name, value);
  if (!types.empty()) text += List("applicableMachineTypes", types);
  if (!systems.empty()) text += List("applicableOperatingSystems", systems);
  return text + "</INSTANCE></VALUE.OBJECT>\n";
}

// Each finding as "line rule: detail".
TTexts Findings(const std::string& elements, bool isLive = false) {
  TCatalogue catalogue =
      ReadCatalogueText("<?sv-catalogue version=\"4.02\"?><CIM><DECLARATION><DECLGROUP>" +
                            elements + "</DECLGROUP></DECLARATION></CIM>",
                        DATA_FOLDER);
  catalogue.isLive = isLive;
  EXPECT_EQ(WhyUnusable(catalogue.files.at(0)), "");
  const std::vector<TUpdate> updates = UpdatesOf(catalogue);
  TTexts told;
  TellEach(catalogue, updates, Lint(catalogue, updates), [&](const TToldFinding& finding) {
    EXPECT_EQ(finding.file.name, "index.xml");
    told.push_back(std::to_string(finding.line) + " " + std::string(finding.rule.id) + ": " +
                   std::string(finding.detail));
  });
  return told;
}

TProperties Bios(const std::string& version, const TProperties& more = {}) {
  TProperties properties = {{"name", "b"}, {"category", "BIOS"}, {"Version", version}};
  properties.insert(properties.end(), more.begin(), more.end());
  return properties;
}

TProperties Drivers(const std::string& files) { return {{"name", "d"}, {"driverFiles", files}}; }

TProperties Adapter(const std::string& description, const std::string& files) {
  return {{"name", "a"}, {"description", description}, {"driverFiles", files}};
}

constexpr const char* kMegaRaid = "QRX Arrayon AX20i SAS Controller Firmware";
constexpr const char* kMegaRaidEntry = "QRX Arrayon AX 20i SAS Controller Firmware-#7.0.1";

TEST(Rules, TellOfAnElementWhereAndWhatItIs) {
  const std::vector<std::pair<std::string, TTexts>> kCases = {
      {Element(Bios("-[A]-")), {}},
      {Element(Bios("-[A]-", {{"Versoin", "1"}})), {"5 property-mistyped: Versoin for Version"}},
      {Element(Bios("-[A]-", {{"Versionxy", "1"}})),
       {"5 property-mistyped: Versionxy for Version"}},
      {Element(Bios("-[A]-", {{"Versionxyz", "1"}})), {}},
      {Element(Bios("-[A]-"), {}), {"1 machine-types-missing: "}},
      {Element(Bios("-[A]-"), {"4638", "-[4620]-", "x&lt;"}),
       {"5 machine-type-marks: \"4638\"", "5 machine-type-marks: \"x<\""}},
      {Element(Bios("-[A]-"), {"-[]-", "-[ 4638]-"}),
       {"5 machine-type-unreachable: \"-[]-\"", "5 machine-type-unreachable: \"-[ 4638]-\""}},
      {Element(Bios("-[A]-"), {"-[4638]-"}, {}), {"1 systems-missing: "}},
      {Element(Drivers("a.ko-#1"), {"-[4638]-"}, {}), {"1 drivers-without-system: "}},
      {Element(Drivers("a.ko-#1"), {"-[4638]-"}, {"rhel5_64", "Linux"}),
       {"5 system-case: \"rhel5_64\""}},
      {Element(Bios("-[A]-"), {"-[4638]-"}, {"rhel5_64", "Linux"}), {}},
      {Element(Bios("-[A]-"), {"-[4638]-"}, {"S1", "S2", "S3"}),
       {"6 system-unknown: \"S1\", \"S2\", \"S3\""}},
      {Element(Bios("-[A]-"), {"-[4638]-"}, {"S1", "S2", "S3", "S4"}),
       {"6 system-unknown: \"S1\", \"S2\", \"S3\" and 1 more"}},
      {Element({{"name", "n"}, {"description", "Something"}}), {"3 updates-nothing: "}},
      {Element({{"name", "n"}, {"category", "BMC/H8"}}), {"1 processor-unnamed: "}},
      {Element(Bios("-[A]-", {{"description", "Remote Watch Adapter"}})),
       {"3 also-bios: beside Remote Watch Adapter"}},
      {Element({{"name", "n"},
                {"Version", "-[A]-"},
                {"description", "BIOS Update of a Remote Watch Adapter"}}),
       {"4 also-bios: beside Remote Watch Adapter"}},
      {Element(Bios("-[A]-", {{"installDirectory", "\\PKGS\\DIAG"}})),
       {"5 folder-form: \"\\PKGS\\DIAG\""}},
      {Element(Bios("")), {"4 version-missing: "}},
      {Element(Bios("-[]-")), {"4 version-missing: "}},
      {Element(Bios("1.12")), {"4 version-unmarked: \"1.12\""}},
      {Element(Bios("1-[A")), {"4 version-half-marked: \"1-[A\""}},
      {Element(Bios("A]-")), {"4 version-half-marked: \"A]-\""}},
      {Element(Bios("]-A-[")), {"4 version-missing: ", "4 version-half-marked: \"]-A-[\""}},
      {Element(Bios("-[A ]-")), {"4 version-blanks: \"A \""}},
      {Element({{"name", "n"},
                {"description", "Diagnostics"},
                {"Version", "-[fdcp-1.10]-"},
                {"BuildNumber", "D"}}),
       {"5 version-unmarked: \"D\""}},
      {Element({{"name", "n"}, {"description", "Diagnostics"}, {"Version", "-[fdcp-1.10]-"}}),
       {"1 build-missing: "}},
      {Element({{"name", "n"},
                {"description", "Diagnostics"},
                {"Version", "-[fdcp-1.10]-"},
                {"BuildNumber", "-[D]-"}},
               {"-[4620]-", "-[2705]-"}),
       {"4 diagnostics-skipped: "}},
      {Element({{"name", "n"},
                {"description", "Diagnostics"},
                {"Version", "-[fdcp-1.10]-"},
                {"BuildNumber", "-[D]-"}},
               {"-[4620]-", "-[4638]-"}),
       {}},
      {Element({{"name", "n"}, {"description", "Diagnostics"}, {"Version", "-[fdcp-1.11]-"}},
               {"-[4620]-"}),
       {}},
      {Element(Adapter("Broadcom NetXtreme and NetXtreme II Firmware", "Nx-#1 ok-#2 nX-#3")),
       {"4 broadcom-case: \"Nx\"", "4 broadcom-case: \"nX\""}},
      {Element(Adapter(kMegaRaid, "")), {"4 adapter-files-missing: "}},
      {Element(Adapter(kMegaRaid, kMegaRaidEntry)), {}},
      {Element(Adapter(kMegaRaid, "QRX Arrayon AX  SAS Controller Firmware-#7")),
       {"4 megaraid-model: \"QRX Arrayon AX  SAS Controller Firmware-#7\""}},
      {Element(Adapter(kMegaRaid, "QRX Arrayon AX 2 SAS Controller Firmware-#7")), {}},
      {Element(Adapter(kMegaRaid, "QRX Arrayon AX-20i SAS Controller Firmware-#7")),
       {"4 megaraid-model: \"QRX Arrayon AX-20i SAS Controller Firmware-#7\""}},
      {Element(Adapter(kMegaRaid, "QRX Arrayon AX 20i SAS Adapter Firmware-#7")),
       {"4 megaraid-key: \"QRX Arrayon AX 20i SAS Adapter Firmware-#7\""}},
      {Element(Adapter("LSI 1064", "lsi-#1")), {"4 lsi-bios-missing: \"lsi-#1\""}},
      {Element(Adapter("LSI 1064", "lsi-#1 bios-#2")), {}},
      {Element(Drivers("a.ko 1.0")), {"3 drivers-unversioned: \"a.ko 1.0\""}},
      {Element(Drivers(" ")), {}},
      {Element(Drivers("a.ko-#1b.ko-#2 c.ko-#3")), {"3 drivers-glued: \"a.ko-#1b.ko-#2\""}},
      {Element(Drivers("a.ko-#1 b.ko-# -#2")),
       {"3 driver-entry-empty: \"b.ko-#\"", "3 driver-entry-empty: \"-#2\""}},
      {Element(Drivers("k/a.ko-#1 .ko-#2 b\\c.ko-#3")),
       {"3 driver-unreachable: \"k/a.ko\"", "3 driver-unreachable: \".ko\"",
        "3 driver-unreachable: \"b\\c.ko\""}},
      {Element(Drivers("a.ko-#1 2 b.ko-#3")), {"3 driver-name-blanks: \"2 b.ko\""}},
      {Element(Drivers("a.ko-#1 ")), {"3 driver-version-blanks: \"1 \""}},
      {Element(Bios("-[A]-")) + Element(Bios("-[A]-")),
       {"8 duplicate-element: also at index.xml:1"}},
      {Element(Bios("-[A]-")) + Element(Bios("-[B]-")),
       {"9 duplicate-name: also at index.xml:1",
        "11 conflicting-firmware: System BIOS, also at index.xml:1"}},
      {Element(Bios("-[A]-")) + Element(Bios("-[B]-"), {"-[4620]-"}), {}},
      {Element(Drivers("a.ko-#1 A.sys-#2")),
       {"3 duplicate-driver: \"A.sys\", also at index.xml:1"}},
      {Element(Drivers("a.ko-#1")) + Element({{"name", "e"}, {"driverFiles", "A.ko-#2"}}),
       {"9 duplicate-driver: \"A.ko\", also at index.xml:1"}},
      {Element(Drivers("a.ko-#1")) +
           Element({{"name", "e"}, {"driverFiles", "A.ko-#2"}}, {"-[4638]-"}, {"SLES9", "Linux"}),
       {}},
      {Element(Bios("-[A]-")) + "<VALUE.OBJECT><CLASS NAME=\"Other\"/></VALUE.OBJECT>\n"
                                "<VALUE.OBJECT><INSTANCE CLASSNAME=\"Other\"/></VALUE.OBJECT>\n",
       {"9 other-class: \"Other\""}},
      {"", {"0 no-elements: "}}};
  for (const auto& [text, findings] : kCases) EXPECT_EQ(Findings(text), findings) << text;
}

TEST(Rules, TellOfALiveCataloguesElementThatNamesNoFamily) {
  const std::string text = Element(Bios("-[A]-"), {"-[4638]-"}, {"RHEL5", "SLES9", "vmware3"});
  EXPECT_EQ(Findings(text, false), TTexts());
  EXPECT_EQ(Findings(text, true), TTexts{"6 family-missing: VMware, Linux"});
}

TEST(FirmwareList, BecomesElementsThatAQueryRecognises) {
  const auto elements = ReadFirmwareList(
      "type,name,version,machine types,operating systems,build\n"
      "bios,B,1,4638,RHEL5,\nuefi,U,-[2]-,4638,Linux,\ndiagnostics,D,fdcp-1.10,4638,Linux,-[X]-\n"
      "rwa ii,R2,3,4638,Linux,\nrwa,R,4,4638,Linux,\niscp,I,5,4638,Linux,\nh8,H,6,4638,Linux,\n"
      "bmc,M,7,4638,Linux,\nbroadcom,NX1,8,4638,Linux,\nbroadcom,NX2,9,4638,Linux,\n"
      "broadcom,NX3,10,4620,Linux,\nmegaraid,ax20IS,11,4638,Linux,\nmegaraid,20m,12,,Linux,\n"
      "lsi bios,SAS1064E rev,13,4638,Linux,\nlsi firmware,SAS1064E,14,4638,Linux,\n"
      "lsi firmware,SAS1078,15,4638,Linux,\nlsi firmware,S,16,4620,Linux,\n"
      "driver,e.ko,17,4638,Linux,\ndriver,w.sys,18,4638,,\ndriver,v.ko,19,4638,VMware,\n",
      {{"A", "B"}, {}});
  TTexts told;
  for (const TNewElement& element : elements) {
    std::string text = element.name;
    for (const std::string* part :
         {&element.category, &element.installDirectory, &element.description, &element.version,
          &element.build, &element.driverFiles}) {
      text += "|" + *part;
    }
    for (const TTexts* list : {&element.whom.machineTypes, &element.whom.systems}) {
      text += "|";
      for (const std::string& each : *list) text += (text.back() == '|' ? "" : ",") + each;
    }
    told.push_back(text);
  }
  EXPECT_EQ(
      told,
      (TTexts{
          "B|BIOS||System BIOS|-[1]-|||4638|RHEL5,Linux", "U|UEFI||System uEFI|-[2]-|||4638|Linux",
          "D|Diagnostics|/PKGS/DIAG|Preboot Diagnostics|-[fdcp-1.10]-|-[X]-||4638|Linux",
          "R2|Remote management|/PKGS/RWA2|Remote Watch Adapter II Firmware|-[3]-|||4638|Linux",
          "R|Remote management|/PKGS/REMOTWAT|Remote Watch Adapter Firmware|-[4]-|||4638|Linux",
          "I|System management||Integrated System Control Processor Firmware|-[5]-|||4638|Linux",
          "H|BMC/H8||Integrated System Control H8 Firmware|-[6]-|||4638|Linux",
          "M|BMC/H8||Baseboard Management Controller Firmware|-[7]-|||4638|Linux",
          "NX1|Network||Broadcom NetXtreme and NetXtreme II Firmware|||nx1-#8 nx2-#9|4638|Linux",
          "NX3|Network||Broadcom NetXtreme and NetXtreme II Firmware|||nx3-#10|4620|Linux",
          "ax20IS|RAID||QRX Arrayon AX20is SAS Controller Firmware|||QRX Arrayon AX 20is SAS "
          "Controller Firmware-#11|4638|Linux",
          "20m|RAID||QRX Arrayon AX20M SAS Controller Firmware|||QRX Arrayon AX 20M SAS Controller "
          "Firmware-#12|A,B|Linux",
          "e|||Driver of a list|||e.ko-#17|4638|Linux",
          "w|||Driver of a list|||w.sys-#18|4638|Windows 2003,Windows 2000,Windows 2008",
          "v|||Driver of a list|||v.ko-#19|4638|VMware",
          "SAS1064E rev|SAS||LSI 1064 or LSI 1078 SAS Controller|||sas1064e-#14 bios_1064e-#13 "
          "sas1078-#15|4638|Linux",
          "S|SAS||LSI 1064 or LSI 1078 SAS Controller|||s-#16|4620|Linux"}));
}

TEST(FirmwareList, ThatCannotBeUsedIsRefusedWithItsLine) {
  const std::string head = "type,name,version,machine types,operating systems,build\n";
  const std::string first =
      "; the first row names the columns: type, name, version, machine types, operating systems";
  const std::string columns =
      "the columns are type, name, version, machine types, operating systems, build";
  const std::string chip = "2 an LSI BIOS goes by the name of its chip, such as SAS1064E";
  const std::vector<std::pair<std::string, std::string>> kCases = {
      {"", "1 the list is empty; its first row names the columns"},
      {"name,version\n", "1 no column \"type\"" + first},
      {"type,version\n", "1 no column \"name\"" + first},
      {"\ntype,name\n", "2 no column \"version\"" + first},
      {"type,name,version,versoin\n",
       "1 there is no column \"versoin\"; did you mean \"version\"? " + columns},
      {"type,name,version,colour\n", "1 there is no column \"colour\"; " + columns},
      {"type,name,version,Name\n", "1 the column \"name\" is there twice"},
      {head + "bios,b,1,4638,,\nvalve,b,1,4638,,\n",
       "3 unknown type \"valve\"; there are BIOS, UEFI, Diagnostics, RWA II, RWA, ISCP, H8, BMC, "
       "Broadcom, MegaRAID, LSI firmware, LSI BIOS, Driver"},
      {head + "bios,,1,4638,,\n", "2 name or version is empty"},
      {head + "bios,b,,4638,,\n", "2 name or version is empty"},
      {head + "bios\n", "2 name or version is empty"},
      {head + "bios,b-#c,1,4638,,\n", "2 \"b-#c\" cannot stand in a catalogue"},
      {head + "bios,b,1-#2,4638,,\n", "2 \"1-#2\" cannot stand in a catalogue"},
      {head + "bios,\"b\tc\",1,4638,,\n", "2 \"b\tc\" cannot stand in a catalogue"},
      {head + "bios,b,\"1\n2\",4638,,\n", "2 \"1\n2\" cannot stand in a catalogue"},
      {head + "bios,b,1,,,\n", "2 no machine type; fill the column, or give --machine TYPE"},
      {head + "bios,b,1,-[4638]-,,\n", "2 \"-[4638]-\" is no machine type"},
      {head + "bios,b,1,4638,RHEL9,\n",
       "2 unknown operating system \"RHEL9\"; there are " + KnownSystems()},
      {head + "bios,b,1-[2,4638,,\n", "2 the marks of \"1-[2\" are not a pair"},
      {head + "bios,b,1]-2,4638,,\n", "2 the marks of \"1]-2\" are not a pair"},
      {head + "bios,b,-[]-,4638,,\n", "2 the marks of \"-[]-\" are not a pair"},
      {head + "bios,b,]-1-[,4638,,\n", "2 the marks of \"]-1-[\" are not a pair"},
      {head + "diagnostics,b,fdcp-1.10,4638,,\n",
       "2 diagnostics fdcp-1.10 go by their build; fill a column \"build\""},
      {head + "broadcom,b c,1,4638,,\n", "2 \"b c\" must not hold a blank"},
      {head + "broadcom,b,1 2,4638,,\n", "2 \"1 2\" must not hold a blank"},
      {head + "megaraid,20i,1 2,4638,,\n", "2 \"1 2\" must not hold a blank"},
      {head + "lsi firmware,S T,1,4638,,\n", "2 \"s t\" must not hold a blank"},
      {head + "megaraid,AX30,1,4638,,\n",
       "2 unknown model \"AX30\"; there are AX20i, AX20is, AX20M"},
      {head + "lsi bios,1064,1,4638,,\n", chip},
      {head + "lsi bios,SAS,1,4638,,\n", chip},
      {head + "bios,b,1,4638,,\nlsi bios,SAS1064E,1,4638,,\n",
       "3 an LSI BIOS needs a row of its LSI firmware"},
      {head + "bios,b\xE9,1,4638,,\n", "2 the text is no UTF-8; save the list in that encoding"}};
  for (const auto& [text, why] : kCases) {
    try {
      ReadFirmwareList(text, {{}, {}});
      ADD_FAILURE() << text << " was taken";
    } catch (const TError& error) {
      EXPECT_EQ(std::to_string(error.Number()) + " " + error.what(), why) << text;
      EXPECT_EQ(error.Kind(), EErrorKind::kText);
    }
  }
}

TEST(Systems, AreThoseThatACatalogueKnows) {
  EXPECT_EQ(KnownSystems(),
            "VMWARE3, VMware, VMWARE4, SLES9_64, Linux, SLES10_64, SLES11_64, RHEL3_64, RHEL4_64, "
            "RHEL5_64, RHEL6_64, SLES9, SLES10, SLES11, RHEL3, RHEL4, RHEL5, RHEL6, Windows 2003, "
            "Windows 2000, Windows 2008, any");
  for (const char* system : {"any", "RHEL5", "Linux", "VMware", "Windows 2003"})
    EXPECT_TRUE(IsSystem(system)) << system;
  for (const char* other : {"", "ANY", "rhel5", "RHEL", "Windows"})
    EXPECT_FALSE(IsSystem(other)) << other;
  EXPECT_EQ(WithFamilies({"RHEL5", "SLES9", "VMware"}),
            (TTexts{"VMware", "SLES9", "Linux", "RHEL5"}));
  EXPECT_EQ(SystemsFor(EPlatform::kLinux, {"Windows 2003"}), TTexts());
  EXPECT_EQ(SystemsFor(EPlatform::kWindows, {"Windows 2003", "RHEL5"}), TTexts{"Windows 2003"});
  EXPECT_EQ(SystemsFor(EPlatform::kLinux, {"Linux"}), TTexts{"Linux"});
  EXPECT_EQ(SystemsFor(EPlatform::kLinux, {"RHEL5", "VMware"}),
            (TTexts{"VMware", "RHEL5", "Linux"}));
  EXPECT_EQ(SystemsFor(EPlatform::kWindows, {}),
            (TTexts{"Windows 2003", "Windows 2000", "Windows 2008"}));
  EXPECT_EQ(SystemsFor(EPlatform::kLinux, {}).size(), 15U) << "without VMware";
}

}  // namespace
}  // namespace svc::catalogue
