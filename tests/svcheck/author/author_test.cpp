// What a catalogue is made of, and what packages are unpacked with.
#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>

#include "collect/archive_reader.h"
#include "svcheck/author/catalogue_files.h"
#include "svcheck/author/new_element.h"
#include "svcheck/author/update.h"

namespace svc::catalogue {
namespace {

// Read again, as a check does.
const TElement& ReadAgain(const TNewElement& element, TCatalogue& catalogue) {
  catalogue = ReadCatalogueText(CatalogueText({element}), DATA_FOLDER);
  EXPECT_EQ(WhyUnusable(catalogue.files.at(0)), "");
  return catalogue.files.at(0).elements.at(0);
}

TEST(NewElement, HasItsTextsInTheCatalogueWhateverTheyHold) {
  constexpr const char* kOdd = "A&B <c> \"d\" 'e' ]]> &amp; \xC3\xA9";
  TNewElement element;
  element.name = element.description = element.category = element.installDirectory = kOdd;
  element.version = element.build = kOdd;
  element.driverFiles = kOdd;
  element.whom = {{"A&B", "<4638>"}, {"R&D", "x<y"}};
  TCatalogue catalogue;
  const TElement& read = ReadAgain(element, catalogue);
  for (const char* name : {"name", "description", "category", "installDirectory", "Version",
                           "BuildNumber", "driverFiles"}) {
    EXPECT_EQ(read.Text(name), kOdd) << name;
  }
  ASSERT_NE(read.Find("applicableMachineTypes"), nullptr);
  EXPECT_EQ(read.Find("applicableMachineTypes")->values,
            (std::vector<std::string>{"-[A&B]-", "-[<4638>]-"}));
  EXPECT_EQ(read.Find("applicableOperatingSystems")->values,
            (std::vector<std::string>{"R&D", "x<y"}));
}

TEST(NewElement, HasNoPropertyWithoutAText) {
  TNewElement element;
  element.name = "n";
  TCatalogue catalogue;
  const TElement& read = ReadAgain(element, catalogue);
  EXPECT_NE(read.Find("name"), nullptr);
  for (const char* name :
       {"description", "category", "installDirectory", "Version", "BuildNumber", "driverFiles"}) {
    EXPECT_TRUE(std::none_of(read.properties.begin(), read.properties.end(),
                             [&](const auto& property) { return property->name == name; }))
        << name;
  }
}

using TTexts = std::vector<std::string>;

TEST(Table, HasRowsOfFieldsWithTheLinesWhereTheyBegin) {
  struct TCase {
    const char* text;
    std::vector<std::pair<std::size_t, TTexts>> rows;
  };
  const TCase kCases[] = {{"", {}},
                          {"a", {{1, {"a"}}}},
                          {"a,b\nc,d\n", {{1, {"a", "b"}}, {2, {"c", "d"}}}},
                          {"a,b\r\nc,d\r\n", {{1, {"a", "b"}}, {2, {"c", "d"}}}},
                          {"\n\na\n\n b \n", {{3, {"a"}}, {5, {"b"}}}},
                          {",\n\"\"\n", {{1, {"", ""}}}},
                          {" a b ,\tc\t, \" d \" ,\"e\"", {{1, {"a b", "c", " d ", "e"}}}},
                          {"\"a,\"\"b\"\"\nc\",d\ne", {{1, {"a,\"b\"\nc", "d"}}, {3, {"e"}}}},
                          {"a;b\nc,d;e\n", {{1, {"a", "b"}}, {2, {"c,d", "e"}}}},
                          {"a;b,c\n", {{1, {"a;b", "c"}}}},
                          {"a\nb;c\n", {{1, {"a"}}, {2, {"b;c"}}}},
                          {"a,b", {{1, {"a", "b"}}}},
                          {"a,", {{1, {"a", ""}}}},
                          {"\"a\"\r\nb", {{1, {"a"}}, {2, {"b"}}}}};
  for (const TCase& one : kCases) {
    std::vector<std::pair<std::size_t, TTexts>> rows;
    for (const TCsvRow& row : ParseCsv(one.text)) rows.emplace_back(row.line, row.fields);
    EXPECT_EQ(rows, one.rows) << one.text;
  }
}

TEST(Table, WithQuotesThatDoNotFitIsRefusedWithItsLine) {
  for (const auto& [text, why] : {std::pair("a\nb\"c", "2 a quote within an unquoted field"),
                                  std::pair("a\n\nb,\"c\nd", "3 a quote is not closed"),
                                  std::pair("\"", "1 a quote is not closed"),
                                  std::pair("\"a\nb\"c\n", "2 text behind a quoted field"),
                                  std::pair("\"a\" \"b\"", "1 text behind a quoted field")}) {
    try {
      ParseCsv(text);
      ADD_FAILURE() << text << " was taken";
    } catch (const TError& error) {
      EXPECT_EQ(std::to_string(error.Number()) + " " + error.what(), why) << text;
      EXPECT_EQ(error.Kind(), EErrorKind::kText);
    }
  }
}

// A catalogue with the classes, and an instance of "B" that writes nothing.
TCatalogue CatalogueOfB(const std::string& classes) {
  return ReadCatalogueText("<?sv-catalogue version=\"4.02\"?><CIM><DECLARATION><DECLGROUP>" +
                               classes +
                               "<VALUE.OBJECT><INSTANCE "
                               "CLASSNAME=\"B\"/></VALUE.OBJECT></DECLGROUP></DECLARATION></CIM>",
                           DATA_FOLDER);
}

std::string ClassText(const std::string& attributes, const std::string& property) {
  return "<VALUE.OBJECT><CLASS " + attributes + ">" + property + "</CLASS></VALUE.OBJECT>";
}

std::string_view TextOfB(const TCatalogue& catalogue, const char* property) {
  EXPECT_EQ(WhyUnusable(catalogue.files.at(0)), "");
  return catalogue.files.at(0).elements.at(0).Text(property);
}

constexpr const char* kUpdateB = "NAME=\"B\" SUPERCLASS=\"QRXPSG_SystemUpdateElement\"";
constexpr const char* kOne = "<PROPERTY NAME=\"Version\"><VALUE>1</VALUE></PROPERTY>";
constexpr const char* kTwo = "<PROPERTY NAME=\"vErsion\"><VALUE>2</VALUE></PROPERTY>";
constexpr const char* kNone = "<PROPERTY NAME=\"vErsion\"/>";
constexpr const char* kOther = "<PROPERTY NAME=\"Versions\"/>";

TEST(ClassDefault, IsThatOfTheLastDeclaration) {
  const std::string first = ClassText(kUpdateB, kOne);
  EXPECT_EQ(TextOfB(CatalogueOfB(first), "Version"), "1");
  const auto textWith = [&](const char* again) {
    return std::string(TextOfB(CatalogueOfB(first + ClassText("NAME=\"B\"", again)), "Version"));
  };
  EXPECT_EQ(textWith(kTwo), "2");
  EXPECT_EQ(textWith(kNone), "");
  EXPECT_EQ(textWith(kOther), "1");
}

TEST(ClassDefault, IsThatOfTheNearestClassThatDeclaresTheProperty) {
  const auto textWith = [&](const char* nearer) {
    return std::string(TextOfB(
        CatalogueOfB(ClassText("NAME=\"A\" SUPERCLASS=\"QRXPSG_SystemUpdateElement\"", kOne) +
                     ClassText("NAME=\"B\" SUPERCLASS=\"A\"", nearer)),
        "Version"));
  };
  EXPECT_EQ(textWith(kOther), "1");
  EXPECT_EQ(textWith(kTwo), "2");
  EXPECT_EQ(textWith(kNone), "");
}

TEST(ClassDefault, HasABlankBehindEachElementOfAnArrayAlsoBehindANull) {
  const auto textOf = [](const std::string& values) {
    return std::string(TextOfB(
        CatalogueOfB(ClassText(
            kUpdateB, "<PROPERTY.ARRAY NAME=\"driverFiles\">" + values + "</PROPERTY.ARRAY>")),
        "driverFiles"));
  };
  EXPECT_EQ(textOf("<VALUE.ARRAY><VALUE>a</VALUE><VALUE.NULL/><VALUE>b</VALUE></VALUE.ARRAY>"),
            "a  b ");
  EXPECT_EQ(textOf("<VALUE.ARRAY><VALUE.NULL/></VALUE.ARRAY>"), " ");
  EXPECT_EQ(textOf("<VALUE.NULL/>"), "");
}

// What a class hands down is summed up while the classes are walked through, one behind the other.
TEST(ClassDefault, CountsForItsOwnClassAndThoseBelowAlone) {
  const std::string update = " SUPERCLASS=\"QRXPSG_SystemUpdateElement\"";
  const auto sumOf = [](const std::string& classes) {
    const TCatalogue catalogue = CatalogueOfB(classes);
    EXPECT_EQ(WhyUnusable(catalogue.files.at(0)), "");
    return catalogue.files.at(0).elements.at(0).inheritedDigest;
  };
  const std::string plain = ClassText(kUpdateB, kOther);
  const std::string beside =
      ClassText("NAME=\"A\"" + update, kOne) + ClassText("NAME=\"C\"" + update, kOne);
  EXPECT_EQ(sumOf(plain), 0U);
  EXPECT_EQ(sumOf(beside + plain), 0U);
  EXPECT_EQ(sumOf(beside + ClassText(kUpdateB, kOne)), sumOf(ClassText(kUpdateB, kOne)));
  EXPECT_NE(sumOf(ClassText(kUpdateB, kOne)), 0U);
}

TEST(ElementOfADriver, SaysWhereItIsFromUnlessThatMadeItFirmware) {
  const auto elementOf = [](const std::string& origin) {
    return ElementOf({"e1000e.ko", "3.8.7", EPlatform::kLinux, origin}, {{"4638"}, {"RHEL5"}});
  };
  const TNewElement element = elementOf("net.rpm");
  EXPECT_EQ(element.name, "e1000e");
  EXPECT_EQ(element.driverFiles, "e1000e.ko-#3.8.7");
  EXPECT_EQ(element.description, "Driver of net.rpm");
  EXPECT_EQ(element.whom, (TFor{{"4638"}, {"RHEL5"}}));
  EXPECT_EQ(elementOf("BIOS Update").description, "");
  EXPECT_EQ(elementOf("Remote Watch Adapter").description, "");
}

// A file in the form of a Windows driver: one section with a version resource at its end.
class TDriverFile {
 public:
  TDriverFile() : bytes(0x290, '\0') {
    Put(0, 0x5A4D);
    Put(0x3C, kHeader);
    Put(kHeader, 0x4550);
    Put(kHeader + 6, 1);                        // Sections.
    Put(kHeader + 20, kSection - kOptional);    // The size of the optional header.
    Put(kOptional, 0x20B);                      // For 64 bits.
    Put(kOptional + 108, 16);                   // Directories.
    Put(kOptional + 112 + 2 * 8, kAddress);     // That of the resources.
    Put(kSection + 12, kAddress);               // In memory,
    Put(kSection + 16, 0x290 - kResources);     // so large,
    Put(kSection + 20, kResources);             // and here in the file.
    PutDirectory(0, 16, 0x80000000U | 0x18);    // By type,
    PutDirectory(0x18, 1, 0x80000000U | 0x30);  // name
    PutDirectory(0x30, 1033, 0x48);             // and language.
    Put(kData, kAddress + kInformation - kResources);
    Put(kSignature, 0xFEEF04BD);
    const int numbers[] = {2, 1, 4, 3};
    for (std::size_t i = 0; i < 4; ++i)
      bytes[kSignature + 8 + 2 * i] = static_cast<char>(numbers[i]);
  }
  void Put(std::size_t at, std::uint32_t number) {
    for (std::size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<char>(number >> (8 * i));
  }
  std::optional<std::string> Version(std::size_t less = 0) const {
    return FileVersionOf(std::string_view(bytes).substr(0, bytes.size() - less));
  }

  static constexpr std::size_t kHeader = 0x40, kOptional = kHeader + 24;
  static constexpr std::size_t kSection = kOptional + 240, kResources = 0x200;
  static constexpr std::size_t kData = kResources + 0x48, kInformation = kResources + 0x58;
  static constexpr std::size_t kSignature = kInformation + 40;
  static constexpr std::uint32_t kAddress = 0x1000;

 private:
  void PutDirectory(std::size_t at, std::uint32_t id, std::uint32_t entry) {
    bytes[kResources + at + 14] = 1;
    Put(kResources + at + 16, id);
    Put(kResources + at + 20, entry);
  }
  std::string bytes;
};

TEST(FileVersion, IsThatOfAWholeAndMarkedVersionResource) {
  const TDriverFile driver;
  EXPECT_EQ(driver.Version(), "1.2.3.4");
  EXPECT_EQ(driver.Version(1), "") << "cut within its numbers";
  TDriverFile unmarked;
  unmarked.Put(TDriverFile::kSignature, 0xFEEF04BC);
  EXPECT_EQ(unmarked.Version(), "");
  TDriverFile nowhere;
  nowhere.Put(TDriverFile::kData, 0x290);
  EXPECT_EQ(nowhere.Version(), "") << "no section holds it";
}

TEST(MachineType, IsAnyLineWithoutMarksAndWithoutBlanksAtItsEnds) {
  for (const char* type :
       {"4638", "A&B", "x-y", "]", "[", "-", "]x-", "-x[", "46 38", "a, (b) | c", "\xC3\xA9"}) {
    EXPECT_TRUE(IsMachineType(type)) << type;
  }
  for (const char* type :
       {"", " ", "-[4638]-", "-[", "]-", "a-[b", "a]-b", "a\tb", "a\nb", " a", "a ", "a\x7F"}) {
    EXPECT_FALSE(IsMachineType(type)) << type;
  }
}

TEST(MachineTypes, ArePartedByBarsOrWhereNoneHoldsABlankByOtherMarks) {
  using TTexts = std::vector<std::string>;
  const std::vector<std::pair<std::string, TTexts>> cases = {
      {"", {}},
      {" | ", {}},
      {"4638", {"4638"}},
      {"4638 4620", {"4638", "4620"}},
      {" 4638, 8871AC1;4620\n2705 ", {"4638", "8871AC1", "4620", "2705"}},
      {"R650,R750;T5", {"R650", "R750", "T5"}},
      {"R650 R750", {"R650 R750"}},
      {"PowerEdge R750", {"PowerEdge R750"}},
      {"3650 M5", {"3650 M5"}},
      {"Standard PC (Q35 + ICH9, 2009)", {"Standard PC (Q35 + ICH9, 2009)"}},
      {"PowerEdge R750; 4638", {"PowerEdge R750", "4638"}},
      {"PowerEdge R750, 4638", {"PowerEdge R750, 4638"}},
      {"PowerEdge R750 | Standard PC (Q35 + ICH9, 2009)|4638",
       {"PowerEdge R750", "Standard PC (Q35 + ICH9, 2009)", "4638"}},
      {"46 38|", {"46 38"}},
      {"a;b, c|d", {"a;b, c", "d"}}};
  for (const auto& [field, types] : cases) EXPECT_EQ(MachineTypesIn(field), types) << field;
}

TEST(DriversOfInf, HaveTheVersionThatItsOwnSectionGives) {
  const auto versionsOf = [](const std::string& lines) {
    std::vector<std::string> versions;
    for (const auto& driver : DriversOfInf(lines + "[SourceDisksFiles]\none.sys=1\n"))
      versions.push_back(driver.version);
    return versions;
  };
  const std::string given = "DriverVer=1/1/2024,1.2.3.4\n", other = "1/1/2024,9.8.7.6\n";
  const std::vector<std::string> right = {"1.2.3.4"}, none;
  EXPECT_EQ(versionsOf("[Version]\n" + given), right);
  EXPECT_EQ(versionsOf("[VERSION]\nCatalogVer=" + other + given + "LayoutVer=" + other), right);
  EXPECT_EQ(versionsOf("[Version]\n" + given + "[Other]\nDriverVer=" + other), right);
  EXPECT_EQ(versionsOf("[Version]\nCatalogVer=" + other), none);
  EXPECT_EQ(versionsOf("[Other]\n" + given), none);
  EXPECT_EQ(versionsOf(given), none);
}

// An archive with what is said of one driver of Windows.
void WriteArchive(const std::string& path, int (*setFormat)(archive*)) {
  archive* const writer = ::archive_write_new();
  ASSERT_EQ(setFormat(writer), ARCHIVE_OK);
  ASSERT_EQ(::archive_write_open_filename(writer, path.c_str()), ARCHIVE_OK);
  archive_entry* const entry = ::archive_entry_new();
  ::archive_entry_set_pathname(entry, "drivers/one.inf");
  ::archive_entry_set_filetype(entry, AE_IFREG);
  constexpr std::string_view kText =
      "[Version]\nDriverVer=1/1/2024,1.2.3.4\n[SourceDisksFiles]\n"
      "one.sys=1\n";
  ::archive_entry_set_size(entry, kText.size());
  ASSERT_EQ(::archive_write_header(writer, entry), ARCHIVE_OK);
  ASSERT_EQ(::archive_write_data(writer, kText.data(), kText.size()),
            static_cast<la_ssize_t>(kText.size()));
  ::archive_entry_free(entry);
  ASSERT_EQ(::archive_write_free(writer), ARCHIVE_OK);
}

TEST(Archives, AreReadByTheirNames) {
  const std::string folder = ::testing::TempDir() + "svcheck-archive-";
  for (const auto& [name, setFormat] : {std::pair("a.zip", &::archive_write_set_format_zip),
                                        std::pair("b.ISO", &::archive_write_set_format_iso9660)}) {
    const std::string path = folder + name;
    WriteArchive(path, setFormat);
    TDriverList list;
    CollectDrivers(path, list);
    EXPECT_TRUE(list.remarks.empty()) << (list.remarks.empty() ? "" : list.remarks.front());
    ASSERT_EQ(list.drivers.size(), 1U) << name;
    EXPECT_EQ(list.drivers.front().file, "one.sys") << name;
    EXPECT_EQ(list.drivers.front().version, "1.2.3.4") << name;
  }
  // The name says what it is.
  WriteArchive(folder + "c.cab", &::archive_write_set_format_zip);
  TDriverList list;
  CollectDrivers(folder + "c.cab", list);
  EXPECT_TRUE(list.drivers.empty());
  EXPECT_EQ(list.remarks.size(), 1U);
}

TEST(Folders, AreReadForWhatStatesDriversByItsWholeName) {
  const std::filesystem::path folder = ::testing::TempDir() + "svcheck-dkms";
  const auto driversWith = [&](const char* name) {
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder / "net-1.2");
    std::ofstream(folder / "net-1.2" / name)
        << "PACKAGE_NAME=\"net\"\nPACKAGE_VERSION=\"1.2\"\nBUILT_MODULE_NAME[0]=\"net\"\n";
    TDriverList list;
    CollectDrivers(folder, list);
    EXPECT_EQ(list.remarks, std::vector<std::string>()) << name;
    EXPECT_EQ(list.read, list.drivers.size()) << name;
    return list.drivers;
  };
  const std::vector<TDriver> drivers = driversWith("dkms.conf");
  ASSERT_EQ(drivers.size(), 1U);
  EXPECT_EQ(drivers[0].file, "net.ko");
  EXPECT_EQ(drivers[0].version, "1.2");
  EXPECT_EQ(drivers[0].platform, EPlatform::kLinux);
  EXPECT_EQ(drivers[0].origin, folder.string());
  for (const char* name : {"DKMS.conf", "dkms.conf.in", "adkms.conf", "net.conf"})
    EXPECT_TRUE(driversWith(name).empty()) << name;
  std::filesystem::remove_all(folder);
}

TEST(Folders, HaveARemarkForEachDriverThatCannotBeRead) {
  const std::filesystem::path folder = ::testing::TempDir() + "svcheck-remarks";
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder);
  for (const char* name : {"a.sys", "b.msi", "dkms.conf", "d.zip", "read.me", ".sys", ".ko"})
    std::ofstream(folder / name) << "nothing";
  TDriverList list;
  CollectDrivers(folder, list);
  EXPECT_TRUE(list.drivers.empty());
  EXPECT_EQ(list.read, 1U);
  const std::string origin = folder.string();
  ASSERT_EQ(list.remarks.size(), 4U);
  EXPECT_EQ(list.remarks[0], origin + ": a.sys is no driver that can be read: it is no PE file");
  EXPECT_EQ(list.remarks[1], origin +
                                 "/b.msi: an installer is not read; unpack it first, with "
                                 "msiexec /a or msiextract, and give the folder");
  EXPECT_TRUE(list.remarks[2].starts_with(origin + "/d.zip: ")) << list.remarks[2];
  EXPECT_TRUE(list.remarks[3].starts_with(origin + ": dkms.conf cannot be used: "))
      << list.remarks[3];
  EXPECT_GT(list.remarks[3].size(), (origin + ": dkms.conf cannot be used: ").size());
  std::filesystem::remove_all(folder);
}

TEST(UnpackedLimit, IsAShareOfThePackageAndNeverMoreThan16GiB) {
  constexpr std::uint64_t kMiB = std::uint64_t{1} << 20;
  constexpr std::uint64_t kMost = 17'179'869'184;
  EXPECT_EQ(UnpackedLimit(0), 64 * kMiB);
  EXPECT_EQ(UnpackedLimit(1), 64 * kMiB + 64);
  EXPECT_EQ(UnpackedLimit(255 * kMiB - 1), kMost - 64);
  EXPECT_EQ(UnpackedLimit(255 * kMiB), kMost);
  for (const std::uint64_t large : {255 * kMiB + 1, kMost, kMost + 1, kMost << 24U, UINT64_MAX})
    EXPECT_EQ(UnpackedLimit(large), kMost) << large;
}

TEST(ArchiveFilter, IsAllowedWhereItStartsNoProgram) {
  const auto isAllowed = [](int filter) {
    const std::unique_ptr<archive, int (*)(archive*)> reader(::archive_read_new(),
                                                             &::archive_read_free);
    try {
      collect::AllowFilter(reader.get(), filter);
      return true;
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(std::string_view(error.what()),
                "it is compressed in a way that the installed libarchive unpacks by other programs "
                "only");
      return false;
    }
  };
  for (const int filter : {ARCHIVE_FILTER_GZIP, ARCHIVE_FILTER_BZIP2, ARCHIVE_FILTER_XZ,
                           ARCHIVE_FILTER_LZMA, ARCHIVE_FILTER_ZSTD, ARCHIVE_FILTER_RPM}) {
    EXPECT_TRUE(isAllowed(filter)) << filter;
  }
  for (const int filter : {ARCHIVE_FILTER_LRZIP, ARCHIVE_FILTER_GRZIP, ARCHIVE_FILTER_PROGRAM}) {
    EXPECT_FALSE(isAllowed(filter)) << filter;
  }
}

}  // namespace
}  // namespace svc::catalogue
