// When the answer of one machine is another's too.
#include "svcheck/fleet/comparison.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "rules/names.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "svcheck/fleet/unread_texts.h"
#include "svcheck/session/record_origins.h"
#include "tests/support/temporary_folder.h"

namespace svc::fleet {
namespace {

using EInventory = TTask::EInventory;

constexpr std::string_view kStart =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- <INSTANCE> --><CIM><DECLARATION><DECLGROUP>";
constexpr std::string_view kEnd = "</DECLGROUP></DECLARATION></CIM>\n";

std::string Property(const std::string& name, const std::string& value,
                     const std::string& type = "string") {
  return "<PROPERTY NAME=\"" + name + "\" TYPE=\"" + type + "\">\n <VALUE>" + value +
         "</VALUE></PROPERTY>\n";
}

std::string Instance(const std::string& className, const std::string& properties) {
  return "<VALUE.OBJECT><INSTANCE CLASSNAME=\"" + className + "\">" + properties +
         "</INSTANCE></VALUE.OBJECT>\n";
}

std::string Machine(const std::string& serial, const std::string& host) {
  return Instance(
      "QRXSG_ComputerSystem",
      Property("MachineType", "4638") + Property("SerialNumber", serial) + Property("Name", host));
}

std::string Document(const std::string& instances) {
  return std::string(kStart) + instances + std::string(kEnd);
}

// What is read of an inventory of which a query read the drivers' versions.
std::string ReadsOf(const std::string& document) {
  const auto inventory = MakeInMemoryNamespace();
  KeepPlaces(inventory);
  DeclareBuiltinClasses(inventory);
  ParseDocument(inventory, document);
  TInventoryReads reads;
  SetReadObserver(inventory, &reads);
  for (const auto& driver : InstancesOf(inventory, rules::kDriverClass)) {
    boost::shared_ptr<NQRXHSK20::ICIMProperty> property;
    driver->GetProperty(property, "VERSION", {});
  }
  SetReadObserver(inventory, nullptr);
  reads.AddTold(inventory);
  return reads.Bytes();
}

std::vector<std::string> UnreadIn(const std::string& document) {
  std::vector<std::string> texts;
  for (const TUnreadText& text : FindUnread(document, ReadsOf(document))) {
    texts.push_back(document.substr(text.begin, text.end - text.begin) + (text.isTold ? "!" : ""));
  }
  return texts;
}

std::string Driver(const std::string& name, const std::string& version) {
  return Instance("QRXSG_DeviceDriverInfo", Property("Name", name) + Property("Version", version));
}

TEST(InventoryReads, AreCountedByTheBytesOfANameWhereverTheyStand) {
  const std::string document = Document(Machine("S1", "host") + Driver("net", "1.0"));
  const auto readsOf = [&](const std::vector<std::string>& names) {
    const auto inventory = MakeInMemoryNamespace();
    KeepPlaces(inventory);
    DeclareBuiltinClasses(inventory);
    ParseDocument(inventory, document);
    TInventoryReads reads;
    std::string name(7, ' ');
    for (const std::string& next : names) {
      name.replace(0, next.size(), next);  // In the same place.
      reads.OnGetProperty(*InstancesOf(inventory, rules::kDriverClass).at(0), name);
    }
    return reads.Bytes();
  };
  EXPECT_EQ(readsOf({"Version", "VERSION", "Version"}), readsOf({"Version"}));
  EXPECT_NE(readsOf({"Version", "Variant"}), readsOf({"Version"}));
  EXPECT_EQ(readsOf({"Version", "Variant", "Version"}), readsOf({"Version", "Variant"}));
}

using TTexts = std::vector<std::string>;

TEST(UnreadTexts, AreThoseThatNobodyReadOrTellsAndTheSerialNumber) {
  EXPECT_EQ(UnreadIn(Document(Machine("S1", "host") + Driver("net", "1.0") + Driver("", "2.0"))),
            (TTexts{"S1!", "host", "net", ""}));
}

TEST(UnreadTexts, AreTextsOfInstancesAlone) {
  const std::string number = Property("Speed", "9", "uint16");
  const std::string array =
      "<PROPERTY.ARRAY NAME=\"A\" TYPE=\"string\"><VALUE.ARRAY><VALUE>v</VALUE></VALUE.ARRAY>"
      "</PROPERTY.ARRAY>";
  const std::string declared =
      "<VALUE.OBJECT><CLASS NAME=\"Other\">" + Property("Default", "d") + "</CLASS></VALUE.OBJECT>";
  const std::string empty = "<VALUE.OBJECT><INSTANCE CLASSNAME=\"Other\"/></VALUE.OBJECT>";
  EXPECT_EQ(UnreadIn(Document(declared + Machine("S1", "host") + empty + declared +
                              Instance("Other", number + array + Property("Seen", "s")))),
            (TTexts{"S1!", "host", "s"}));
}

TEST(UnreadTexts, AreNoneOfSeveralMachinesThatOneIsToldOf) {
  EXPECT_EQ(UnreadIn(Document(Machine("S1", "a") + Machine("S2", "b"))), (TTexts{"a", "b"}));
}

TEST(UnreadTexts, AreNoneWhereMarkupDoesNotShowThem) {
  const std::string plain = Document(Machine("S1", "host"));
  ASSERT_EQ(UnreadIn(plain).size(), 2U);
  const std::string reads = ReadsOf(plain);
  const auto with = [&](std::string_view there, std::string_view put) {
    std::string document = plain;
    return document.replace(document.find(there), there.size(), put);
  };
  EXPECT_EQ(UnreadIn(with("<CIM>", "<!DOCTYPE CIM><CIM>")), TTexts());
  EXPECT_EQ(UnreadIn(with("<CIM>", "<?note?><CIM>")), TTexts());
  EXPECT_EQ(UnreadIn(with("<CIM>", "\r<CIM>")), TTexts());
  EXPECT_EQ(UnreadIn(with("<CIM>", "<CIM><!-- <b> -->")), UnreadIn(plain));
  EXPECT_TRUE(FindUnread(with("<CIM>", "<CIM><!-- "), reads).empty()) << "it does not end";
  EXPECT_EQ(UnreadIn(with(">host<", "><![CDATA[host]]><")), TTexts());
  EXPECT_EQ(UnreadIn(with("UTF-8", "ISO-8859-1")), TTexts());
  for (const char* const usual : {"utf-8", "US-ASCII"}) {
    EXPECT_EQ(UnreadIn(with("UTF-8", usual)), UnreadIn(plain)) << usual;
  }
  EXPECT_EQ(UnreadIn(with(" encoding=\"UTF-8\"", "")), UnreadIn(plain));
  EXPECT_EQ(UnreadIn("\xEF\xBB\xBF" + plain), TTexts());
  EXPECT_TRUE(FindUnread(with("<CIM>", " <CIM>"), reads).empty()) << "what was read is elsewhere";
  EXPECT_TRUE(FindUnread(plain, "").empty());
  EXPECT_TRUE(FindUnread(plain, reads.substr(0, reads.size() - 1)).empty());
}

TEST(UnreadTexts, AreFoundInEveryDeclarationThatMeansUtf8) {
  const auto with = [](std::string_view encoding) {
    constexpr std::string_view kThere = " encoding=\"UTF-8\"";
    std::string document = Document(Machine("S1", "host"));
    return document.replace(document.find(kThere), kThere.size(), encoding);
  };
  for (const char* encoding : {"", " standalone='yes'", " encoding='utf-8'",
                               " encoding=\"US-ASCII\"", " encoding='UTF-8'"}) {
    EXPECT_EQ(UnreadIn(with(encoding)), (TTexts{"S1!", "host"})) << encoding;
  }
  std::string undeclared = with("");
  undeclared.erase(0, undeclared.find("?>") + 3);
  EXPECT_EQ(UnreadIn(undeclared), (TTexts{"S1!", "host"}));
}

TEST(UnreadTexts, AreReplacedByPrintableTextWithoutMarkupAlone) {
  for (const char* text : {"", " ", "host-1", "a\"b\\c'd", "~"}) EXPECT_TRUE(IsHarmless(text));
  for (const char* text : {"<", ">", "&", "\t", "\n", "\x7F", "\x1F", "\xC3\xA9"}) {
    EXPECT_FALSE(IsHarmless(text)) << text;
  }
}

class KeptAnswers : public testing::Test {
 protected:
  static TTask Task(const std::string& machine, const std::string& text) {
    return {machine, EInventory::kDocument, text};
  }
  static std::string LinesOf(const std::string& machine, const std::string& serial) {
    const std::string head = "{\"machine\":\"" + machine + "\"";
    const std::string told = serial.empty() ? "" : ",\"serialNumber\":\"" + serial + "\"";
    return head + ",\"Type\":\"Driver\"}\n" + head + ",\"outcome\":\"done\"" + told + "}\n";
  }
  // Compares it where it is to be compared.
  std::optional<std::string> Answer(const std::string& machine, const std::string& text,
                                    const std::string& serial) {
    TTask task = Task(machine, text);
    const auto found = kept.Find(number, task);
    if (found) return found->lines;
    EXPECT_TRUE(task.wantsReads);
    kept.Learn(number++, LinesOf(machine, serial), ReadsOf(text));
    return {};
  }
  static std::string Inventory(const std::string& serial, const std::string& host,
                               const std::string& version = "1.0") {
    return Document(Machine(serial, host) + Driver(host, version));
  }

  TKeptAnswers kept;
  std::uint64_t number = 0;
};

TEST_F(KeptAnswers, AreThoseOfMachinesThatDifferInWhatIsUnread) {
  ASSERT_FALSE(Answer("a", Inventory("S1", "host"), "S1"));
  EXPECT_EQ(Answer("b", Inventory("S1", "host"), ""), LinesOf("b", "S1"));
  EXPECT_EQ(Answer("c\"", Inventory("Z-99", "other"), ""), LinesOf("c\\\"", "Z-99"));
  EXPECT_EQ(Answer("d", Inventory("S", ""), ""), LinesOf("d", "S"));
  EXPECT_EQ(Answer("e", Inventory("S12", "hos"), ""), LinesOf("e", "S12"));
  EXPECT_EQ(number, 1U);
}

TEST_F(KeptAnswers, AreNoOthers) {
  ASSERT_FALSE(Answer("a", Inventory("S1", "host"), "S1"));
  const std::string more =
      Document(Machine("S1", "host") + Driver("host", "1.0") + Driver("host", "1.0"));
  for (const std::string& other :
       {Inventory("S1", "host", "1.1"), Inventory("S1", "host", "1.0 "), Inventory("", "host"),
        Inventory(" S1", "host"), Inventory("S\"1", "host"), Inventory("S1", "h&amp;t"),
        Inventory("S1", "h\xC3\xB6st"), more, Document(Machine("S1", "host")),
        Inventory("S1", "host") + "\n", Inventory("S1", "host").substr(0, 300)}) {
    TTask task = Task("b", other);
    EXPECT_FALSE(kept.Find(1, task)) << other;
    kept.Learn(1, "", "");
  }
}

TEST_F(KeptAnswers, AreNoneWithoutReadsOrWithLinesOfAnother) {
  const std::string text = Inventory("S1", "host");
  TTask task = Task("a", text);
  ASSERT_FALSE(kept.Find(0, task));
  kept.Learn(0, LinesOf("a", "S1"), "");
  ASSERT_FALSE(kept.Find(1, task));
  kept.Learn(1, LinesOf("a", "S1") + LinesOf("b", "S1"), ReadsOf(text));
  ASSERT_FALSE(kept.Find(2, task));
  kept.Learn(7, LinesOf("a", "S1"), ReadsOf(text));  // Which nobody asked for.
  EXPECT_FALSE(kept.Find(3, task));
}

TEST_F(KeptAnswers, TellNoOtherSerialNumberWhereItIsNotToldAsItIs) {
  ASSERT_FALSE(Answer("a", Inventory("S1", "host"), "S 1"));
  EXPECT_EQ(Answer("b", Inventory("S1", "other"), ""), LinesOf("b", "S 1"));
  EXPECT_FALSE(Answer("c", Inventory("S2", "host"), "S2"));
}

TEST_F(KeptAnswers, AreSoManyAndTheOneUsedLastStays) {
  const auto numbered = [](std::size_t i) { return Inventory("S1", "h", std::to_string(i)); };
  for (std::size_t i = 0; i < TKeptAnswers::kMostKept; ++i) {
    ASSERT_FALSE(Answer("m", numbered(i), "S1")) << i;
  }
  EXPECT_TRUE(Answer("m", numbered(0), "S1"));
  EXPECT_FALSE(Answer("m", numbered(1000), "S1"));
  EXPECT_TRUE(Answer("m", numbered(0), "S1"));
  EXPECT_TRUE(Answer("m", numbered(2), "S1"));
  EXPECT_FALSE(Answer("m", numbered(1), "S1"));
}

TEST_F(KeptAnswers, TakeSoMuchMemory) {
  const auto large = [](std::size_t number, std::size_t size) {
    return Document(Machine("S1", std::string(size, 'x')) + Driver("", std::to_string(number)));
  };
  const std::size_t most = TKeptAnswers::kMostText - large(10, 0).size();
  TTask tooLarge = Task("m", large(10, most + 1));
  EXPECT_FALSE(kept.Find(0, tooLarge));
  EXPECT_FALSE(tooLarge.wantsReads);
  for (std::size_t i = 10; i < 10 + TKeptAnswers::kMostBytes / TKeptAnswers::kMostText; ++i) {
    ASSERT_FALSE(Answer("m", large(i, most), "S1")) << i;
  }
  EXPECT_TRUE(Answer("m", large(12, 1), "S1"));
  EXPECT_FALSE(Answer("m", large(10, 1), "S1"));
}

TEST_F(KeptAnswers, AreSoughtSeldomWhereNoMachineIsLikeAnother) {
  std::size_t tried = 0;
  for (std::uint64_t i = 0; i < 1000; ++i) {
    TTask task = Task("m", Inventory("S1", "h", std::to_string(i)));
    EXPECT_FALSE(kept.Find(i, task));
    tried += task.wantsReads ? 1 : 0;
    kept.Learn(i, LinesOf("m", "S1"), task.wantsReads ? ReadsOf(task.text) : "");
  }
  EXPECT_GT(tried, 100U);
  EXPECT_LT(tried, 150U);
  std::size_t found = 0;
  for (std::uint64_t i = 0; i < 100; ++i) {
    TTask task = Task("m", Inventory("S1", "h", "same"));
    found += kept.Find(1000 + i, task) ? 1 : 0;
    kept.Learn(1000 + i, LinesOf("m", "S1"), task.wantsReads ? ReadsOf(task.text) : "");
  }
  EXPECT_GT(found, 60U) << "and then always";
}

// Machines whose inventories are files, which others may write to meanwhile.
class KeptAnswersOfFiles : public KeptAnswers {
 protected:
  using TClock = std::filesystem::file_time_type::clock;

  // A file that was written so long ago.
  TTask File(const std::string& name, const std::string& text, std::chrono::seconds age) const {
    folder.Write(name, text);
    const std::string path = folder.Path() + "/" + name;
    std::filesystem::last_write_time(path, TClock::now() - age);
    return {name, EInventory::kFile, path};
  }
  // Whether the answer to the first task is the second one's too. `between` is done while the first
  // one is compared.
  template <typename TStep>
  bool IsShared(TTask first, TTask second, const TStep& between) {
    TKeptAnswers answers;
    EXPECT_FALSE(answers.Find(0, first));
    EXPECT_TRUE(first.wantsReads);
    between();
    answers.Learn(0, LinesOf(first.machine, "S1"), ReadsOf(Inventory("S1", "host")));
    const auto found = answers.Find(1, second);
    EXPECT_EQ(found ? found->lines : LinesOf(second.machine, "S2"), LinesOf(second.machine, "S2"));
    return found.has_value();
  }

  static constexpr std::chrono::hours kHour{1};
  test::TTemporaryFolder folder;
};

TEST_F(KeptAnswersOfFiles, AreThoseOfFilesThatHaveSettled) {
  const auto nothing = [] {};
  const auto isShared = [&](std::chrono::seconds age) {
    return IsShared(File("a.xml", Inventory("S1", "host"), age),
                    File("b.xml", Inventory("S2", "host"), std::chrono::seconds(0)), nothing);
  };
  EXPECT_TRUE(isShared(kHour));
  EXPECT_TRUE(isShared(std::chrono::seconds(3)));
  EXPECT_FALSE(isShared(std::chrono::seconds(0)));
  EXPECT_FALSE(isShared(-kHour)) << "it says that it was written later";
}

TEST_F(KeptAnswersOfFiles, AreNoneOfAFileThatBecameAnotherMeanwhile) {
  const std::string text = Inventory("S1", "host");
  const auto isSharedAfter = [&](const auto& between) {
    return IsShared(File("a.xml", text, kHour), File("b.xml", Inventory("S2", "host"), kHour),
                    between);
  };
  EXPECT_FALSE(isSharedAfter([&] { File("a.xml", text, 2 * kHour); })) << "of another time";
  EXPECT_FALSE(isSharedAfter([&] { std::filesystem::remove(folder.Path() + "/a.xml"); }));
  EXPECT_FALSE(isSharedAfter([&] {
    const auto time = std::filesystem::last_write_time(folder.Path() + "/a.xml");
    folder.Write("a.xml", text + "\n");
    std::filesystem::last_write_time(folder.Path() + "/a.xml", time);
  })) << "of another size";
  EXPECT_TRUE(isSharedAfter([] {}));
}

TEST_F(KeptAnswersOfFiles, AreNoneOfDocumentsAndOfCompressedFiles) {
  const std::string text = Inventory("S1", "host");
  EXPECT_FALSE(IsShared(File("a.xml", text, kHour), Task("b", text), [] {}));
  EXPECT_FALSE(IsShared(Task("a", text), File("b.xml", text, kHour), [] {}));
  for (const TTask& other :
       {File("a.xml.gz", text, kHour), File("a.xml.zst", text, kHour),
        File("large.xml", std::string(TKeptAnswers::kMostText + 1, 'x'), kHour),
        TTask{"none", EInventory::kFile, folder.Path() + "/none.xml"},
        TTask{"folder", EInventory::kFile, folder.Path()},
        TTask{"nothing", EInventory::kNone, text}}) {
    TTask task = other;
    EXPECT_FALSE(kept.Find(0, task)) << other.machine;
    EXPECT_FALSE(task.wantsReads) << other.machine;
  }
  TTask largest = File("largest.xml", std::string(TKeptAnswers::kMostText, 'x'), kHour);
  EXPECT_FALSE(kept.Find(0, largest));
  EXPECT_TRUE(largest.wantsReads);
}

TEST_F(KeptAnswers, AreOfAnAnswerThatIsNotTooLong) {
  const std::string text = Inventory("S1", "host");
  const std::string last = LinesOf("a", "S1");
  for (const std::size_t more : {0U, 1U}) {
    TTask task = Task("a", text);
    ASSERT_FALSE(kept.Find(number, task));
    const std::string filler =
        R"({"machine":"a",")" +
        std::string(TKeptAnswers::kMostText - last.size() - 17 + (1 - more), 'x') + "\n";
    kept.Learn(number++, filler + last, ReadsOf(text));
    TTask other = Task("b", text);
    EXPECT_EQ(kept.Find(number, other).has_value(), more == 1);
    if (more == 0) kept.Learn(number++, "", "");
  }
}

TEST_F(KeptAnswers, TellASerialNumberInTheirLastLineAlone) {
  const std::string text = Inventory("S1", "host");
  TTask task = Task("a", text);
  ASSERT_FALSE(kept.Find(0, task));
  const auto lines = [](const std::string& machine, const std::string& serial) {
    const std::string head = "{\"machine\":\"" + machine + "\"";
    return head + ",\"Name\":\"S1\",\"serialNumber\":\"S1\"}\n" + head +
           ",\"outcome\":\"done\",\"serialNumber\":\"" + serial + "\",\"errors\":[]}\n";
  };
  kept.Learn(0, lines("a", "S1"), ReadsOf(text));
  TTask other = Task("bcd", Inventory("Z-12345", "x"));
  EXPECT_EQ(kept.Find(1, other)->lines, lines("bcd", "Z-12345"));
  TTask shorter = Task("", Inventory("9", "x"));
  EXPECT_EQ(kept.Find(2, shorter)->lines, lines("", "9"));
  TTask same = Task("c", Inventory("S1", "host"));
  EXPECT_EQ(kept.Find(3, same)->lines, lines("c", "S1"));
}

TEST_F(KeptAnswers, OfOneLineTellItsSerialNumber) {
  const auto line = [](const std::string& machine, const std::string& serial) {
    return "{\"machine\":\"" + machine + "\",\"outcome\":\"done\",\"serialNumber\":\"" + serial +
           "\"}\n";
  };
  const std::string text = Inventory("S1", "host");
  TTask task = Task("a", text);
  ASSERT_FALSE(kept.Find(0, task));
  kept.Learn(0, line("a", "S1"), ReadsOf(text));
  TTask other = Task("b", Inventory("S-22", "x"));
  EXPECT_EQ(kept.Find(1, other)->lines, line("b", "S-22"));
}

}  // namespace
}  // namespace svc::fleet
