// What a catalogue is made of, and what packages are unpacked with.
#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>

#include "collect/archive_filter.h"
#include "svcheck/author/catalogue_files.h"
#include "svcheck/author/driver_source.h"
#include "svcheck/author/new_element.h"

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
