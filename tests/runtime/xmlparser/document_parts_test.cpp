// Documents that several threads read.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "judges.h"
#include "made_documents.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/hskcore/namespace_writer.h"
#include "runtime/xmlparser/document_text.h"
#include "runtime/xmlparser/document_window.h"
#include "runtime/xmlparser/xml_parser.h"
#include "runtime/xmlparser/xml_reader.h"

namespace svc::xml {
namespace {

using TNamespace = boost::shared_ptr<NQRXHSK20::ICIMNamespace>;

constexpr TStreaming InParts(unsigned threads, std::size_t window = TDocumentWindow::kUsual) {
  return {.window = window, .threads = threads, .smallestPart = 1};
}

std::string InFrame(const std::string& objects) {
  return "<CIM><DECLARATION><DECLGROUP>\n" + objects + "</DECLGROUP></DECLARATION></CIM>\n";
}

std::string ClassOf(const std::string& name) {
  return "<VALUE.OBJECT><CLASS NAME='" + name + "'><PROPERTY NAME='more'><VALUE>of " + name +
         "</VALUE></PROPERTY></CLASS></VALUE.OBJECT>\n";
}

std::string InstanceOf(const std::string& name, const std::string& members) {
  return "<VALUE.OBJECT><INSTANCE CLASSNAME='" + name + "'>" + members +
         "</INSTANCE></VALUE.OBJECT>\n";
}

std::string PropertyOf(const std::string& name, const std::string& text) {
  return "<PROPERTY NAME='" + name + "'><VALUE>" + text + "</VALUE></PROPERTY>";
}

// Of class A, each with its number.
std::string Instances(int first, int count) {
  std::string objects;
  for (int i = first; i < first + count; ++i) {
    objects += InstanceOf("A", PropertyOf("P", std::to_string(i)));
  }
  return objects;
}

// Whether others have read the end of it; what came of it is in `target`.
bool IsReadInParts(const TDocumentFile& file, const TNamespace& target, const TStreaming& how) {
  const TFile opened = OpenForBlocks(file.Path());
  std::fseek(opened.get(), 0, SEEK_END);
  TDocumentWindow window(opened.get(), static_cast<std::size_t>(std::ftell(opened.get())),
                         how.window);
  TDocumentParts parts(file.Path(), window, target, how, true);
  TDocumentText text(window);
  TXmlReader reader(text);
  TNamespaceWriter writer(target);
  TCimBuilder builder(reader, writer);
  builder.LeaveTo(parts);
  builder.Build(EDialect::kAny, true);
  return builder.IsReadByOthers();
}

bool IsReadInParts(const std::string& document, unsigned threads = 2) {
  return IsReadInParts(TDocumentFile(document), MakeInMemoryNamespace(), InParts(threads));
}

void ExpectSame(const std::string& document, const TStreaming& how) {
  const std::string difference = DifferenceOfStreaming(document, how);
  ASSERT_EQ(difference, "") << how.threads << " threads, window " << how.window << " of\n"
                            << document;
}

// The middle of what follows the first instance comes to stand at every place, by and by.
void ExpectSameWhereverItIsCut(const std::string& document, std::size_t step = 1) {
  for (std::size_t behind = 0; behind < document.size(); behind += step) {
    const std::string longer = document + "<!--" + std::string(behind, ' ') + "-->";
    ExpectSame(longer, InParts(2, 1 + behind * 7 % 600));
  }
}

TEST(DocumentParts, AreReadByAsManyThreadsAsThereAre) {
  const std::string document = InFrame(ClassOf("A") + Instances(0, 60));
  for (const unsigned threads : {2u, 3u, 4u, 40u}) {
    EXPECT_TRUE(IsReadInParts(document, threads)) << threads;
    ExpectSame(document, InParts(threads));
    ExpectSame(document, InParts(threads, 300));
  }
  EXPECT_FALSE(IsReadInParts(document, 1));
  EXPECT_FALSE(IsReadInParts(InFrame(ClassOf("A") + Instances(0, 1))));
}

TEST(DocumentParts, AreOfAnEarnestSize) {
  const std::string document = InFrame(ClassOf("A") + Instances(0, 60));
  const std::size_t behindTheFirst = document.size() -
                                     document.find(
                                         "</VALUE.OBJECT>\n<VALUE.OBJECT>"
                                         "<INSTANCE CLASSNAME='A'><PROPERTY "
                                         "NAME='P'><VALUE>1<") -
                                     15;
  const TDocumentFile file(document);
  const auto isRead = [&](std::size_t smallest) {
    return IsReadInParts(file, MakeInMemoryNamespace(), {.threads = 2, .smallestPart = smallest});
  };
  EXPECT_TRUE(isRead(behindTheFirst / 2));
  EXPECT_FALSE(isRead(behindTheFirst / 2 + 1));
  EXPECT_EQ(TStreaming().smallestPart, std::size_t{4} << 20);
  EXPECT_EQ(TStreaming().threads, 1u);
}

TEST(DocumentParts, MayBeCutAnywhere) {
  ExpectSameWhereverItIsCut(InFrame(
      ClassOf("A") + Instances(0, 3) + "<!-- " + Instances(70, 2) + " -->" + Instances(3, 2) +
      InstanceOf("A", PropertyOf("P", "<![CDATA[" + Instances(80, 2) + "]]>")) + "<?p " +
      Instances(90, 1) + "?>" + Instances(5, 2)));
}

TEST(DocumentParts, MayBeCutWithinContainersOfManyKinds) {
  const std::string named =
      "<VALUE.NAMEDOBJECT><INSTANCENAME CLASSNAME='A'/><INSTANCE CLASSNAME='A'>" +
      PropertyOf("P", "n") + "</INSTANCE></VALUE.NAMEDOBJECT>";
  const std::string group = "</DECLGROUP><DECLGROUP>" + Instances(5, 3);
  ExpectSameWhereverItIsCut(
      InFrame(ClassOf("A") + Instances(0, 5) + group + "</DECLGROUP><DECLGROUP.WITHNAME>" + named +
              named + Instances(8, 2) + "</DECLGROUP.WITHNAME><DECLGROUP>" + Instances(10, 2)),
      3);
  ExpectSameWhereverItIsCut(
      "<CIM><MESSAGE><SIMPLERSP><IMETHODRESPONSE NAME='a'><IRETURNVALUE><CLASS NAME='A'/>"
      "<INSTANCE CLASSNAME='A'/><INSTANCE CLASSNAME='A'/><INSTANCE CLASSNAME='A'>" +
          PropertyOf("P", "1") +
          "</INSTANCE></IRETURNVALUE></IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>",
      3);
}

TEST(DocumentParts, AreFollowedThroughAGroupThatBeginsAgain) {
  EXPECT_TRUE(IsReadInParts(
      InFrame(ClassOf("A") + Instances(0, 9) + "</DECLGROUP><DECLGROUP>" + Instances(9, 9))));
  EXPECT_FALSE(
      IsReadInParts(InFrame(ClassOf("A") + Instances(0, 9) + "</DECLGROUP><DECLGROUP.WITHNAME>" +
                            Instances(9, 12) + "</DECLGROUP.WITHNAME><DECLGROUP>")));
}

TEST(DocumentParts, KnowTheClassesThatWereDeclaredBeforeTheFirstInstance) {
  const std::string document = InFrame(ClassOf("A") + ClassOf("B") + Instances(0, 9) +
                                       InstanceOf("b", PropertyOf("Q", "2")));
  EXPECT_TRUE(IsReadInParts(document));
  ExpectSameWhereverItIsCut(document, 5);
}

TEST(DocumentParts, OfADocumentThatDeclaresClassesLaterAreReadAlone) {
  const std::string many = Instances(0, 9);
  const std::string late = InstanceOf("B", PropertyOf("Q", "2"));
  for (const std::string& objects :
       {// Declared before the middle, used behind it.
        ClassOf("A") + Instances(0, 2) + ClassOf("B") + many + late,
        ClassOf("A") + many + many + ClassOf("B") + late, ClassOf("A") + many + many + ClassOf("A"),
        ClassOf("A") + many + "<VALUE.OBJECT><CLASS NAME='B' SUPERCLASS='A'/></VALUE.OBJECT>" +
            many + late}) {
    EXPECT_FALSE(IsReadInParts(InFrame(objects)));
    ExpectSameWhereverItIsCut(InFrame(objects), 17);
  }
}

TEST(DocumentParts, MayDeclareClassesThatOnlyTheFirstOneUses) {
  const std::string document = InFrame(ClassOf("A") + Instances(0, 2) + ClassOf("B") +
                                       InstanceOf("B", "") + Instances(2, 20));
  EXPECT_TRUE(IsReadInParts(document));
  ExpectSame(document, InParts(2));
}

TEST(DocumentParts, HaveNamesAndShapesOfTheirOwn) {
  std::string objects = ClassOf("A");
  for (int i = 0; i < 40; ++i) {
    const std::string own = "Name" + std::to_string(i % 20);
    objects += InstanceOf("A", PropertyOf(i % 3 == 0 ? "files" : "TYPES", "t") +
                                   PropertyOf(own, "x") + PropertyOf("Version", std::to_string(i)) +
                                   "<PROPERTY.ARRAY NAME='Q'><VALUE.ARRAY><VALUE>" + own +
                                   "</VALUE></VALUE.ARRAY></PROPERTY.ARRAY>");
  }
  for (const unsigned threads : {2u, 5u}) {
    EXPECT_TRUE(IsReadInParts(InFrame(objects), threads));
    ExpectSame(InFrame(objects), InParts(threads));
  }
}

TEST(DocumentParts, AreRefusedForWhatIsWrongInAnyOfThem) {
  for (const std::string& wrong :
       {std::string("<WRONG/>"), std::string("text"), std::string("<VALUE.OBJECT/>"),
        InstanceOf("Unknown", ""), InstanceOf("A", PropertyOf("P", "1") + PropertyOf("p", "2")),
        std::string("</DECLGROUP>"), InstanceOf("A", PropertyOf("P", "\x01"))}) {
    for (int place = 0; place <= 20; ++place) {
      const std::string document =
          InFrame(ClassOf("A") + Instances(0, place) + "\n" + wrong + Instances(place, 20 - place));
      ExpectSame(document, InParts(2));
      ExpectSame(document, InParts(3, 100));
      // One instance in each: where it is wrong, another part begins.
      ExpectSame(document, InParts(40));
    }
  }
}

TEST(DocumentParts, MayEndAnywhere) {
  const std::string document = InFrame(ClassOf("A") + Instances(0, 6));
  for (std::size_t size = 0; size < document.size(); size += 2) {
    ExpectSame(document.substr(0, size), InParts(2, 1 + size));
    ExpectSame(document.substr(0, size) + std::string(3, '\0'), InParts(3));
  }
}

TEST(DocumentParts, OfMadeDocumentsAndBrokenOnesAreTheSame) {
  for (std::uint64_t seed = 1; seed <= 400; ++seed) {
    TChance chance(seed);
    const std::string made = seed % 2 == 0 ? MakeDocument(chance) : MakeRegularDocument(chance);
    const std::string broken = Mutate(made, chance);
    for (const std::string& document : {made, broken}) {
      ExpectSame(document, InParts(2 + static_cast<unsigned>(chance.Below(4)),
                                   1 + chance.Below(document.size() + 1)));
    }
  }
}

TEST(DocumentParts, KeepThePlacesOfTheirInstances) {
  const TDocumentFile file(InFrame(ClassOf("A") + Instances(0, 30)));
  std::vector<std::vector<std::size_t>> places;
  for (const unsigned threads : {1u, 2u, 4u}) {
    const TNamespace target = MakeInMemoryNamespace();
    KeepPlaces(target);
    EXPECT_EQ(IsReadInParts(file, target, InParts(threads)), threads > 1);
    boost::shared_ptr<NQRXHSK20::ICIMClass> cimClass;
    target->GetClass(cimClass, "A", {});
    std::vector<boost::shared_ptr<NQRXHSK20::ICIMInstance>> instances;
    cimClass->EnumerateInstances(NQRXHSK20::TAddToVectorCallback(instances), true, {});
    auto& itsPlaces = places.emplace_back();
    for (const auto& instance : instances) itsPlaces.push_back(PlaceOf(*instance)->offset);
    EXPECT_EQ(itsPlaces.size(), 30u);
  }
  EXPECT_EQ(places[1], places[0]);
  EXPECT_EQ(places[2], places[0]);
}

// Written to as any other, and kept by what was handed out of it.
TEST(DocumentParts, AreOneNamespaceInTheEnd) {
  TNamespace target = MakeInMemoryNamespace();
  ASSERT_TRUE(
      IsReadInParts(TDocumentFile(InFrame(ClassOf("A") + Instances(0, 30))), target, InParts(3)));
  ASSERT_TRUE(IsReadInParts(TDocumentFile(InFrame(Instances(30, 30))), target, InParts(2)));
  boost::shared_ptr<NQRXHSK20::ICIMClass> cimClass;
  target->GetClass(cimClass, "A", {});
  std::vector<boost::shared_ptr<NQRXHSK20::ICIMInstance>> instances;
  cimClass->EnumerateInstances(NQRXHSK20::TAddToVectorCallback(instances), true, {});
  ASSERT_EQ(instances.size(), 60u);
  std::vector<boost::shared_ptr<NQRXHSK20::ICIMProperty>> kept;
  for (std::size_t i = 0; i < instances.size(); ++i) {
    instances[i]->GetProperty(kept.emplace_back(), "P", {});
    instances[i]->SetPropertyValue("Q", NQRXHSK20::TCIMValue(std::to_string(i)), {});
    boost::shared_ptr<NQRXHSK20::ICIMProperty> written;
    instances[i]->GetProperty(written, "q", {});
    EXPECT_EQ(written->Value({}).ToString(10), std::to_string(i));
  }
  cimClass.reset();
  instances.clear();
  target.reset();
  for (std::size_t i = 0; i < kept.size(); ++i) {
    EXPECT_EQ(kept[i]->Value({}).ToString(10), std::to_string(i));
  }
}

}  // namespace
}  // namespace svc::xml
