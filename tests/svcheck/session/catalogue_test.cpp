// What is known of a catalogue's folder and of an inventory without a query.
#include "svcheck/session/catalogue.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "runtime/hskcore/in_memory_namespace.h"
#include "svcheck/session/record_origins.h"
#include "tests/support/temporary_folder.h"

namespace svc {
namespace {

using report::EOutcome;
using TNamespace = boost::shared_ptr<NQRXHSK20::ICIMNamespace>;
using TTexts = std::vector<std::string>;

constexpr std::string_view kBegin = "<CIM><DECLARATION><DECLGROUP>";
constexpr std::string_view kEnd = "</DECLGROUP></DECLARATION></CIM>";
constexpr std::string_view kDialect = "<?sv-catalogue version=\"4.02\"?>";

std::string Instance(const std::string& className, const std::string& properties) {
  return "<VALUE.OBJECT><INSTANCE CLASSNAME=\"" + className + "\">" + properties +
         "</INSTANCE></VALUE.OBJECT>";
}
std::string Property(const std::string& name, const std::string& value) {
  return "<PROPERTY NAME=\"" + name + "\" TYPE=\"string\"><VALUE>" + value + "</VALUE></PROPERTY>";
}
std::string Element(const std::string& types, const std::string& more = "") {
  return Instance("QRXPSG_SystemUpdateElement", Property("applicableMachineTypes", types) + more);
}
std::string Document(const std::string& instances) {
  return std::string(kBegin) + instances + std::string(kEnd);
}
std::string Catalogue(const std::string& instances) {
  return std::string(kDialect) + Document(instances);
}

TNamespace Elements(const std::string& instances) {
  const TNamespace made = MakeInMemoryNamespace();
  ParseDocument(made, Document("<VALUE.OBJECT><CLASS NAME=\"QRXPSG_SystemUpdateElement\"/>"
                               "</VALUE.OBJECT>" +
                               instances));
  return made;
}

class CatalogueFolder : public testing::Test {
 protected:
  std::string At(const std::string& name) const { return folder.Path() + "/" + name; }
  TCatalogueFolder Load(const std::string& name, const std::string& data = DATA_FOLDER) const {
    return LoadCatalogueFolder(At(name), data);
  }
  void ExpectBad(const std::string& name, EOutcome outcome, const std::string& cause) const {
    const TCatalogueFolder found = Load(name);
    EXPECT_EQ(found.outcome, outcome) << name;
    EXPECT_EQ(found.cause, cause) << name;
    EXPECT_EQ(found.elements, nullptr) << name;
  }

  test::TTemporaryFolder folder;
};

TEST_F(CatalogueFolder, IsLoadedAsAQueryDoes) {
  folder.Write("good/index.xml", Catalogue(Element("-[4638]-") + Element("-[4639]-")));
  const TCatalogueFolder found = Load("good");
  EXPECT_EQ(found.outcome, EOutcome::kDone);
  EXPECT_EQ(found.cause, "");
  ASSERT_NE(found.elements, nullptr);
  EXPECT_EQ(MachineTypesIn(found.elements), (TTexts{"4638", "4639"}));
  const TCatalogueFolder without = Load("good", At("none"));
  EXPECT_EQ(without.outcome, EOutcome::kNoDefinitions);
  EXPECT_NE(without.cause.find(At("none") + "/sv/sv.definitions.xml"), std::string::npos)
      << without.cause;
  EXPECT_EQ(without.elements, nullptr);
}

TEST_F(CatalogueFolder, ThatIsOfNoUseIsToldWithItsFile) {
  folder.Write("cut/index.xml", std::string(kDialect) + "\n<CIM>");
  ExpectBad("cut", EOutcome::kUnreadableCatalogue,
            At("cut/index.xml:2: the text ends before the root element does"));
  folder.Write("old/index.xml", "<?sv-catalogue version=\"4.01\"?>" + Document(""));
  const TCatalogueFolder old = Load("old");
  EXPECT_EQ(old.outcome, EOutcome::kUnsupportedCatalogue);
  EXPECT_TRUE(old.cause.starts_with(At("old/index.xml"))) << old.cause;
  const TCatalogueFolder none = Load("none");
  EXPECT_EQ(none.outcome, EOutcome::kNoCatalogue);
  EXPECT_NE(none.cause.find(At("none/index.xml")), std::string::npos) << none.cause;
  std::filesystem::create_directories(At("folder/index.xml"));
  EXPECT_EQ(Load("folder").outcome, EOutcome::kNoCatalogue);
}

TEST_F(CatalogueFolder, HasAnIndexWhereAnythingButAFolderStands) {
  folder.Write("good/index.xml", "");
  std::filesystem::create_directories(At("folder/index.xml"));
  std::filesystem::create_directories(At("link"));
  std::filesystem::create_symlink("nowhere", At("link/index.xml"));
  EXPECT_TRUE(HasIndex(At("good")));
  EXPECT_FALSE(HasIndex(At("folder")));
  EXPECT_FALSE(HasIndex(At("link")));
  EXPECT_FALSE(HasIndex(At("none")));
}

TEST_F(CatalogueFolder, OfNoUseBecomesTheCauseOfAnotherFailure) {
  const auto told = [&](const std::string& name, EOutcome outcome) {
    report::TReport report;
    report.outcome = outcome;
    report.errors = {"before"};
    const bool isTold = TellOfCatalogueToo(At(name), DATA_FOLDER, report);
    EXPECT_EQ(isTold, report.errors.size() > 1);
    EXPECT_EQ(isTold, report.outcome != outcome);
    return report;
  };
  folder.Write("good/index.xml", Catalogue(""));
  folder.Write("cut/index.xml", std::string(kDialect) + "<CIM>");
  EXPECT_EQ(told("good", EOutcome::kFailed).errors, TTexts{"before"});
  const std::string cause = Load("cut").cause;
  const report::TReport failed = told("cut", EOutcome::kFailed);
  EXPECT_EQ(failed.outcome, EOutcome::kUnreadableCatalogue);
  EXPECT_EQ(failed.errors, (TTexts{cause, "before", "get the catalogue anew"}));
  const report::TReport unknown = told("cut", EOutcome::kUnknownMachine);
  EXPECT_EQ(unknown.outcome, EOutcome::kUnreadableCatalogue);
  EXPECT_EQ(unknown.errors,
            (TTexts{cause, "before", std::string(report::RowOf(EOutcome::kUnknownMachine).sentence),
                    "get the catalogue anew"}));
  const report::TReport missing = told("none", EOutcome::kFailed);
  EXPECT_EQ(missing.outcome, EOutcome::kNoCatalogue);
  EXPECT_EQ(missing.errors.back(), "give the folder that holds index.xml with --catalogue");
}

TEST_F(CatalogueFolder, IsAsOldAsItsFile) {
  using TSeconds = std::chrono::seconds;
  folder.Write("c/index.xml", "");
  const auto at = [](int seconds) {
    return std::filesystem::file_time_type::clock::from_sys(
        std::chrono::sys_seconds(TSeconds(seconds)));
  };
  std::filesystem::last_write_time(At("c/index.xml"), at(86400));
  const report::TCatalogue catalogue = CatalogueIn(At("c"));
  EXPECT_EQ(catalogue.source, "folder");
  EXPECT_EQ(catalogue.path, At("c"));
  EXPECT_FALSE(catalogue.elements);
  EXPECT_EQ(catalogue.modified, 86400);
  EXPECT_FALSE(CatalogueIn(At("none")).modified);
}

TEST(MachineTypes, OfACatalogueAreEachOnceInTheOrderOfTheirElements) {
  EXPECT_EQ(MachineTypesIn(Elements("")), TTexts());
  EXPECT_EQ(MachineTypesIn(Elements(Element("-[2]-, -[1]-") + Element("") + Element("-[1]- -[3]-") +
                                    Element("4"))),
            (TTexts{"2", "1", "3"}));
}

TEST(CatalogueDate, IsTheNewestThatIsNotAhead) {
  constexpr std::int64_t kDay = 86400;
  constexpr std::int64_t kNow = 10957 * kDay;  // The first day of 2000.
  const auto dateOf = [](const TTexts& dates) {
    std::string elements;
    for (const std::string& date : dates) elements += Element("", Property("ReleaseDate", date));
    return DateOf(Elements(elements), kNow);
  };
  EXPECT_FALSE(dateOf({}));
  EXPECT_FALSE(dateOf({"", "soon", "1999", "1999-1-01", "1999-12", "199912-3", "1999-02-29"}));
  EXPECT_EQ(dateOf({"1970-01-02"}), kDay);
  EXPECT_EQ(dateOf({"19700102"}), kDay);
  EXPECT_EQ(dateOf({"1970-01-02T23:00:00Z"}), kDay);
  EXPECT_EQ(dateOf({"197001020000.5"}), kDay);
  EXPECT_EQ(dateOf({"1970-01-02", "1970-01-04", "1970-01-03", ""}), 3 * kDay);
  EXPECT_EQ(dateOf({"2000-01-01"}), kNow) << "of this second";
  EXPECT_FALSE(dateOf({"2000-01-02"})) << "ahead";
  EXPECT_EQ(dateOf({"1970-01-02", "2000-01-02"}), kDay);
}

TEST(NothingApplies, ForTheTypesThatTheCatalogueIsFor) {
  const auto whyOf = [](const std::string& type, const TTexts& types) {
    report::TReport report;
    report.outcome = EOutcome::kNothingApplicable;
    report.machine.type = type;
    report.catalogue.elements = 7;
    return WhyNothingApplies(report, types);
  };
  const std::string none = "none of the catalogue's 7 elements is for machine type 4638";
  EXPECT_EQ(whyOf("4638", {}), none + "; it names no machine type");
  EXPECT_EQ(whyOf("4638", {"4639"}), none + "; its only type is 4639");
  EXPECT_EQ(whyOf("4638", {"4639", "1111"}), none + "; its types are 4639 and 1111");
  EXPECT_EQ(whyOf("4638", {"2222", "4639", "1111"}).substr(0, none.size() + 20),
            none + "; its types are 4639");
  EXPECT_EQ(whyOf("4638", {"4637", "4639", "4636", "9999"}),
            none + "; the nearest of its 4 types are 4636, 4637 and 4639");
  const std::string system =
      "none of the catalogue's elements for machine type 4638 is for this "
      "system";
  EXPECT_EQ(whyOf("4638", {"1", "4638"}), system);
  EXPECT_NE(whyOf("4638", {"46380"}), system);
  EXPECT_NE(whyOf("4638", {"463"}), system);
}

TNamespace Inventory(const std::string& instances) {
  const TNamespace made = MakeInMemoryNamespace();
  DeclareBuiltinClasses(made);
  ParseDocument(made, Document(instances));
  return made;
}

std::string Machine(const std::string& type, const std::string& rest = "") {
  return Instance("QRXSG_ComputerSystem", Property("MachineType", type) + rest);
}

TEST(MachineOfAnInventory, IsTheFirstThatTellsItsTypeOrElseTheLast) {
  const auto typeAndModel = [](const std::string& instances) {
    const report::TMachine machine = MachineIn(Inventory(instances));
    return machine.type + '|' + machine.model;
  };
  const auto machine = [](const std::string& type, const std::string& model) {
    return Machine(type, Property("Model", model));
  };
  EXPECT_EQ(typeAndModel(""), "|");
  EXPECT_EQ(typeAndModel(machine("1", "a") + machine("2", "b")), "1|a");
  EXPECT_EQ(typeAndModel(machine("", "a") + machine("2", "b") + machine("3", "c")), "2|b");
  EXPECT_EQ(typeAndModel(machine("", "a") + machine("", "b")), "|b");
}

TEST(MachineOfAnInventory, HasEachTextInItsPlaceAndAHostFromTheSystemAtNeed) {
  const std::string rest =
      Property("Manufacturer", "m") + Property("Model", "o") + Property("SerialNumber", "s");
  const std::string system = Instance(
      "QRXSG_OperatingSystem", Property("CSName", "of system") + Property("Caption", "c") +
                                   Property("Version", "v") + Property("HardwarePlatform", "p"));
  const report::TMachine named =
      MachineIn(Inventory(Machine("t", rest + Property("Name", "n")) + system));
  EXPECT_EQ(named.type + named.manufacturer + named.model + named.serialNumber + named.host,
            "tmosn");
  EXPECT_EQ(MachineIn(Inventory(Machine("t", rest) + system)).host, "of system");
  EXPECT_EQ(MachineIn(Inventory(Machine("t", rest))).host, "");
  const report::TOperatingSystem told = SystemIn(Inventory(system));
  EXPECT_EQ(told.caption + told.version + told.platform, "cvp");
}

TEST(MachineOfAnInventory, TakesATypeThatIsGiven) {
  const auto typesAfter = [](const std::string& instances) {
    const TNamespace inventory = Inventory(instances);
    SetMachineType(inventory, "new");
    std::string types;
    for (const auto& machine : InstancesOf(inventory, "QRXSG_ComputerSystem"))
      types += TextOf(*machine, "MachineType") + ';';
    return types;
  };
  EXPECT_EQ(typesAfter(""), "new;");
  EXPECT_EQ(typesAfter(Machine("old")), "new;");
  EXPECT_EQ(typesAfter(Machine("") + Machine("old")), "new;old;");
}

TEST(MachineOfAnInventory, IsMissedWithWhatIsThere) {
  EXPECT_EQ(
      WhyNoMachineType(Inventory("")),
      "the inventory has no QRXSG_ComputerSystem; collect it anew as root, or add the type to "
      "it");
  EXPECT_EQ(
      WhyNoMachineType(Inventory(Machine(""))),
      "the inventory has no QRXSG_ComputerSystem with a MachineType; collect it anew as root, "
      "or add the type to it");
}

}  // namespace
}  // namespace svc
