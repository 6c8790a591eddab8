// What is read of the metadata of a firmware service, and how it stands in a catalogue.
#include "svcheck/importer/appstream.h"

#include <gtest/gtest.h>

#include "base/error.h"

namespace svc::offers {
namespace {

using TTexts = std::vector<std::string>;

std::vector<TComponent> Read(std::string text) {
  std::vector<TComponent> components;
  ReadAppStream(text.data(), text.size(),
                [&](const TComponent& component) { components.push_back(component); });
  return components;
}

// Its line and what is wrong.
std::string Refusal(const std::string& text) {
  try {
    Read(text);
    return "";
  } catch (const TError& error) {
    EXPECT_EQ(error.Kind(), EErrorKind::kText);
    return std::to_string(error.Number()) + ": " + error.what();
  }
}

std::string Repeated(const std::string& text, std::size_t times) {
  std::string all;
  for (std::size_t i = 0; i < times; ++i) all += text;
  return all;
}

constexpr const char* kProvides = "<provides><firmware type=\"flashed\">guid</firmware></provides>";

// A component that somebody may want, with more within it and within its release.
std::string Component(const std::string& within, const std::string& release = "",
                      const std::string& attributes = "version=\"1\"") {
  return "<component type=\"firmware\">" + std::string(kProvides) + within + "<releases><release " +
         attributes + ">" + release + "</release></releases></component>";
}

TRelease ReleaseOf(const std::string& within, const std::string& attributes = "version=\"1\"") {
  const std::vector<TComponent> read = Read(Component("", within, attributes));
  EXPECT_EQ(read.size(), 1U);
  return read.at(0).releases.at(0);
}

TEST(Component, IsReadWholeAndTranslationsArePassedOver) {
  const std::vector<TComponent> read = Read(Component(
      "<id> a.b </id><id xml:lang=\"de\">x</id><name>Dock\n\t  two</name>"
      "<name xml:lang=\"de\">Andockstation</name><branch>main</branch>"
      "<developer><name xml:lang=\"de\">Beispiel</name><url>u</url><name>Example</name></developer>"
      "<unknown><id>y</id><text/></unknown>"
      "<provides><firmware type=\"runtime\">r</firmware><mediatype>m</mediatype>"
      "<firmware type=\"flashed\">two<!-- c --><b> of</b></firmware>"
      "<firmware type=\"flashed\"/></provides>"
      "<custom><value key=\"LVFS::VersionFormat\">triplet</value><other>o</other>"
      "<value key=\"LVFS::UpdateProtocol\">org.p</value><value key=\"else\">e</value></custom>"));
  ASSERT_EQ(read.size(), 1U);
  const TComponent& component = read[0];
  EXPECT_EQ(component.id, "a.b");
  EXPECT_EQ(component.name, "Dock two");
  EXPECT_EQ(component.vendor, "Example");
  EXPECT_EQ(component.branch, "main");
  EXPECT_EQ(component.versionFormat, "triplet");
  EXPECT_EQ(component.protocol, "org.p");
  EXPECT_EQ(component.identifiers, (TTexts{"guid", "two of"}));
  EXPECT_EQ(component.requirements, TTexts());
  EXPECT_EQ(component.releases.size(), 1U);
  EXPECT_EQ(Read(Component("<developer_name>Old</developer_name>")).at(0).vendor, "Old");
}

TEST(Component, IsHandedOverWhereItIsFirmwareForSomebody) {
  const std::string releases = "<releases><release version=\"1\"/></releases>";
  const auto count = [](const std::string& text) { return Read(text).size(); };
  const std::string whole =
      "<component type=\"firmware\">" + (kProvides + releases) + "</component>";
  EXPECT_EQ(count(whole), 1U);
  EXPECT_EQ(count("<component type=\"desktop\">" + (kProvides + releases) + "</component>"), 0U);
  EXPECT_EQ(count("<component>" + (kProvides + releases) + "</component>"), 0U);
  EXPECT_EQ(count("<component type=\"firmware\">" + releases + "</component>"), 0U);
  EXPECT_EQ(count("<component type=\"firmware\">" + std::string(kProvides) + "</component>"), 0U);
  EXPECT_EQ(count("<component type=\"firmware\">" + std::string(kProvides) +
                  "<releases><release/><note version=\"1\"/></releases></component>"),
            0U);
  EXPECT_EQ(count("<!-- c --><components>text<component type=\"desktop\"><id>x</id></component>" +
                  whole + "<other>" + whole + "</other>" + whole + "</components>"),
            2U);
  EXPECT_EQ(count("<components/>"), 0U);
}

TEST(Component, HasRequirementsOfWordsBetweenBlanks) {
  const std::vector<TComponent> read = Read(Component(
      "<requires><id compare=\"ge\" version=\"1.9.1\">org.fwupd</id><firmware version=\"2\"/>"
      "<firmware compare=\"lt\" version=\" 3 \">guid</firmware><hardware>a|b</hardware><client/>"
      "<firmware compare=\"ge\" version=\"4\" depth=\"1\"/>"
      "<firmware compare=\"ge\" version=\"5\" depth=\"0\"/>"
      "<firmware compare=\"ge\" version=\"6\" depth=\"1\">own</firmware>"
      "<firmware compare=\"g e\" version=\"7\"/><firmware compare=\"ge\" version=\"8\t9\"/>"
      "</requires>"));
  EXPECT_EQ(read.at(0).requirements,
            (TTexts{"id ge 1.9.1 org.fwupd", "firmware - 2", "firmware lt 3 guid",
                    "hardware - - a|b", "client - -", "firmware ge 4 parent", "firmware ge 5",
                    "firmware ge 6 own", "unreadable - -", "unreadable - -"}));
}

TEST(Release, IsReadWhole) {
  const TRelease release = ReleaseOf(
      "<location> https://x/a.cab </location><size type=\"installed\">9</size>"
      "<size type=\"download\">12</size><url>u</url>"
      "<checksum type=\"sha1\" target=\"container\">ab</checksum>"
      "<checksum type=\"sha256\">none</checksum>"
      "<issues><issue>CVE-1</issue><note>n</note><issue/><issue>CVE-2</issue></issues>",
      "version=\" 1.2 \" urgency=\"high\" date=\"2027-06-30\" timestamp=\"0\"");
  EXPECT_EQ(release.version, "1.2");
  EXPECT_EQ(release.urgency, "high");
  EXPECT_EQ(release.date, "2027-06-30");
  EXPECT_EQ(release.size, "12");
  EXPECT_EQ(release.location, "https://x/a.cab");
  EXPECT_EQ(release.description, "");
  EXPECT_EQ(release.hashes, TTexts{"sha1:ab"});
  EXPECT_EQ(release.issues, (TTexts{"CVE-1", "CVE-2"}));
  EXPECT_TRUE(release.contents.empty());
}

TEST(Release, HasOneOfFourUrgencies) {
  for (const char* known : {"low", "medium", "high", "critical"})
    EXPECT_EQ(ReleaseOf("", "version=\"1\" urgency=\"" + std::string(known) + "\"").urgency, known);
  for (const char* other : {"", "HIGH", "unknown", "lo"})
    EXPECT_EQ(ReleaseOf("", "version=\"1\" urgency=\"" + std::string(other) + "\"").urgency, "");
}

TEST(Release, HasTheDayOfItsSeconds) {
  const auto dateOf = [](const std::string& seconds) {
    return ReleaseOf("", "version=\"1\" timestamp=\"" + seconds + "\"").date;
  };
  EXPECT_EQ(dateOf("0"), "1970-01-01");
  EXPECT_EQ(dateOf("86399"), "1970-01-01");
  EXPECT_EQ(dateOf("86400"), "1970-01-02");
  EXPECT_EQ(dateOf("1700000000"), "2023-11-14");
  for (const char* none : {"", "x", "1x", "0x1", "1 2", "99999999999999999999"})
    EXPECT_EQ(dateOf(none), "") << none;
}

TEST(Release, TellsOfItsArchiveInItsBinaryArtifactAsWell) {
  const TRelease release = ReleaseOf(
      "<artifacts><artifact type=\"source\"><location>s</location></artifact>"
      "<note><location>n</location></note>"
      "<artifact type=\"binary\"><location>b</location><size type=\"download\">7</size>"
      "<size type=\"installed\">8</size><checksum type=\"sha256\">cd</checksum><more/>"
      "<checksum type=\"sha1\" target=\"content\">ef</checksum></artifact></artifacts>");
  EXPECT_EQ(release.location, "b");
  EXPECT_EQ(release.size, "7");
  EXPECT_EQ(release.hashes, (TTexts{"sha256:cd", "sha1:ef"}));
  EXPECT_TRUE(release.contents.empty());
}

TEST(Release, HasChecksumsOfItsContentInSmallLetters) {
  const TRelease release = ReleaseOf(
      "<checksum type=\"sha256\" target=\"content\" filename=\"x.fw\">AbC1</checksum>"
      "<checksum type=\"sha1\" target=\"content\"> 0F </checksum>"
      "<checksum type=\"sha1\" target=\"content\" filename=\"none\"/>"
      "<checksum type=\"sha1\" target=\"else\">11</checksum>"
      "<size target=\"content\">3</size>");
  EXPECT_EQ(release.contents, (std::vector<TContentHash>{{"sha256", "abc1", "x.fw"},
                                                         {"sha1", "0f", "firmware.bin"}}));
  EXPECT_EQ(release.hashes, TTexts());
  EXPECT_EQ(release.size, "");
}

TEST(Release, IsDescribedInALineForEachParagraphAndItem) {
  EXPECT_EQ(ReleaseOf("<description><p>One <em>and</em>\n two.</p><p xml:lang=\"de\">Eins</p>"
                      "<ul><li>a</li><li>b</li><li/></ul><ol><li>c</li></ol><p> </p>"
                      "<div><p>deep</p></div></description>"
                      "<description xml:lang=\"de\"><p>Alles</p></description>")
                .description,
            "One and two.\n- a\n- b\n- c\ndeep");
}

// Each is tried with as much as there may be, and with one more.
TEST(Metadata, HasBoundsForWhatItHolds) {
  const auto branch = [](std::size_t size) {
    return Component("\n<branch>" + std::string(size, 'n') + "</branch>");
  };
  EXPECT_EQ(Read(branch(kLongestText)).at(0).branch, std::string(kLongestText, 'n'));
  EXPECT_EQ(Refusal(branch(kLongestText + 1)), "2: a text is longer than any that is published");
  const auto version = [](std::size_t size) {
    return Component("\n", "", "version=\"" + std::string(size, '1') + "\"");
  };
  EXPECT_EQ(Read(version(kLongestText)).at(0).releases.at(0).version.size(), kLongestText);
  EXPECT_EQ(Refusal(version(kLongestText + 1)), "2: an attribute is longer than any published");
  const auto issues = [](std::size_t count) {
    return Component("", "<issues>" + Repeated("<issue>i</issue>", count) + "<issue/></issues>");
  };
  EXPECT_EQ(Read(issues(kMostItems)).at(0).releases.at(0).issues.size(), kMostItems);
  EXPECT_EQ(Refusal(issues(kMostItems + 1)), "1: a component has more items than any published");
  const auto releases = [](std::size_t count) {
    return "<component type=\"firmware\">" + std::string(kProvides) + "<releases>" +
           Repeated("<release version=\"1\"/>", count) + "</releases></component>";
  };
  EXPECT_EQ(Read(releases(kMostItems)).at(0).releases.size(), kMostItems);
  EXPECT_EQ(Refusal(releases(kMostItems + 1)),
            "1: a component has more releases than any published");
}

TEST(Metadata, HasDescriptionsOfABoundedLength) {
  const auto described = [](std::size_t first, std::size_t second) {
    return Component("", "<description><p>" + std::string(first, 'x') + "</p><p>" +
                             std::string(second, 'y') + "</p></description>");
  };
  EXPECT_EQ(Read(described(kLongestDescription, 0)).at(0).releases.at(0).description.size(),
            kLongestDescription);
  EXPECT_EQ(Refusal(described(kLongestDescription + 1, 0)),
            "1: a text is longer than any that is published");
  EXPECT_EQ(Read(described(1000, kLongestDescription - 1000)).size(), 1U);
  EXPECT_EQ(Refusal(described(1000, kLongestDescription - 999)),
            "1: a description is longer than any published");
}

TEST(Metadata, IsOneWholeDocument) {
  EXPECT_EQ(Refusal("<html/>"), "1: the root element is neither \"components\" nor \"component\"");
  EXPECT_NE(Refusal(""), "");
  EXPECT_NE(Refusal("no document"), "");
  EXPECT_NE(Refusal("<components>\n<component>\n</components>"), "");
  EXPECT_NE(Refusal("<components/>\n<components/>"), "");
  EXPECT_NE(Refusal("<components/>\nrest"), "");
  EXPECT_EQ(Refusal("<?xml version=\"1.0\"?>\n<components/>\n<!-- c -->\n"), "");
}

TEST(Instance, HasEachPropertyThatIsToldUnderItsName) {
  TComponent component;
  component.id = "i";
  component.name = "A & <b>";
  component.vendor = "v";
  component.branch = "main";
  component.protocol = "p";
  component.versionFormat = "f";
  component.identifiers = {"g1", "g&2"};
  component.requirements = {"r - -"};
  TRelease release;
  release.version = "1";
  release.urgency = "high";
  release.date = "2027-06-30";
  release.size = "12";
  release.location = "l";
  release.description = "one\n&#10;two\n";
  release.hashes = {"sha1:ab"};
  release.issues = {"CVE-1"};
  EXPECT_EQ(InstanceText(component, release),
            R"(<VALUE.OBJECT><INSTANCE CLASSNAME="SVC_FirmwareOffer">
  <PROPERTY NAME="ComponentId" TYPE="string"><VALUE>i</VALUE></PROPERTY>
  <PROPERTY NAME="Name" TYPE="string"><VALUE>A &amp; &lt;b&gt;</VALUE></PROPERTY>
  <PROPERTY NAME="Vendor" TYPE="string"><VALUE>v</VALUE></PROPERTY>
  <PROPERTY NAME="Version" TYPE="string"><VALUE>1</VALUE></PROPERTY>
  <PROPERTY NAME="VersionFormat" TYPE="string"><VALUE>f</VALUE></PROPERTY>
  <PROPERTY NAME="Urgency" TYPE="string"><VALUE>high</VALUE></PROPERTY>
  <PROPERTY NAME="ReleaseDate" TYPE="string"><VALUE>2027-06-30</VALUE></PROPERTY>
  <PROPERTY NAME="Size" TYPE="string"><VALUE>12</VALUE></PROPERTY>
  <PROPERTY NAME="Location" TYPE="string"><VALUE>l</VALUE></PROPERTY>
  <PROPERTY NAME="Branch" TYPE="string"><VALUE>main</VALUE></PROPERTY>
  <PROPERTY NAME="Protocol" TYPE="string"><VALUE>p</VALUE></PROPERTY>
  <PROPERTY NAME="Description" TYPE="string"><VALUE>one
&amp;#10;two
</VALUE></PROPERTY>
  <PROPERTY.ARRAY NAME="Identifiers" TYPE="string"><VALUE.ARRAY>
    <VALUE>g1</VALUE>
    <VALUE>g&amp;2</VALUE>
  </VALUE.ARRAY></PROPERTY.ARRAY>
  <PROPERTY.ARRAY NAME="Requirements" TYPE="string"><VALUE.ARRAY>
    <VALUE>r - -</VALUE>
  </VALUE.ARRAY></PROPERTY.ARRAY>
  <PROPERTY.ARRAY NAME="Hashes" TYPE="string"><VALUE.ARRAY>
    <VALUE>sha1:ab</VALUE>
  </VALUE.ARRAY></PROPERTY.ARRAY>
  <PROPERTY.ARRAY NAME="Issues" TYPE="string"><VALUE.ARRAY>
    <VALUE>CVE-1</VALUE>
  </VALUE.ARRAY></PROPERTY.ARRAY>
</INSTANCE></VALUE.OBJECT>
)");
  EXPECT_EQ(
      InstanceText({}, {}),
      "<VALUE.OBJECT><INSTANCE CLASSNAME=\"SVC_FirmwareOffer\">\n</INSTANCE></VALUE.OBJECT>\n");
}

// What a file declares before its instances is each property that they may have.
TEST(Instance, HasNoPropertyThatTheFileDoesNotDeclare) {
  TComponent component;
  TRelease release;
  for (std::string* text :
       {&component.id, &component.name, &component.vendor, &component.branch, &component.protocol,
        &component.versionFormat, &release.version, &release.urgency, &release.date, &release.size,
        &release.location, &release.description}) {
    *text = "x";
  }
  for (TTexts* texts :
       {&component.identifiers, &component.requirements, &release.hashes, &release.issues}) {
    *texts = {"x"};
  }
  const std::string text = InstanceText(component, release);
  const std::string begin(FileBegin());
  std::size_t count = 0;
  for (std::size_t at = text.find("<PROPERTY"); at != text.npos; at = text.find("<PROPERTY", at)) {
    const std::string declaration = text.substr(at, text.find('>', at) - at) + "/>";
    EXPECT_NE(begin.find(declaration), begin.npos) << declaration;
    at += declaration.size();
    ++count;
  }
  EXPECT_EQ(count, 16U);
  EXPECT_TRUE(begin.starts_with("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<CIM "));
  EXPECT_TRUE(begin.ends_with("</CLASS></VALUE.OBJECT>\n"));
  EXPECT_EQ(FileEnd(), "</DECLGROUP>\n</DECLARATION>\n</CIM>\n");
}

}  // namespace
}  // namespace svc::offers
