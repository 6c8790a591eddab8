// Documents that are parsed once and loaded often.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "host/hskcore/exception.h"
#include "host/xmlparser/xml_parser.h"
#include "runtime/hskcore/cim_state.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/xmlparser/prepared_documents.h"

namespace {

using namespace NQRXHSK20;
using TNamespace = boost::shared_ptr<ICIMNamespace>;

std::string Document(const std::string& objects) {
  return "<?sv-catalogue version=\"4.02\"?><CIM><DECLARATION><DECLGROUP>" + objects +
         "</DECLGROUP></DECLARATION></CIM>";
}

const std::string kClass = "<VALUE.OBJECT><CLASS NAME=\"C\"/></VALUE.OBJECT>";
const std::string kInstance = "<VALUE.OBJECT><INSTANCE CLASSNAME=\"C\"/></VALUE.OBJECT>";

// Loads a document as a catalogue's loader does. Returns the number of classes collected.
std::size_t Load(const TNamespace& target, const std::string& text, std::size_t room = 1) {
  const std::unique_ptr<char, decltype(&std::free)> block(
      static_cast<char*>(std::calloc(text.size() + room, 1)), &std::free);
  std::memcpy(block.get(), text.data(), text.size());
  TCIMXMLParser parser(target);
  parser.SetSV402Mode();
  parser.Parse(block.get());
  return parser.GetClassesCollected().size();
}

TNamespace Loaded(std::initializer_list<std::string> documents) {
  const TNamespace space = svc::MakeInMemoryNamespace();
  for (const std::string& document : documents) Load(space, document);
  return space;
}

std::size_t CountInstances(const TNamespace& space) {
  boost::shared_ptr<ICIMClass> found;
  space->GetClass(found, "C", {});
  std::vector<boost::shared_ptr<ICIMInstance>> instances;
  found->EnumerateInstances(TAddToVectorCallback<ICIMInstance>(instances), true, {});
  return instances.size();
}

TEST(SharedDocuments, AreOffUntilAskedFor) {
  EXPECT_FALSE(svc::SharedStateOf(Loaded({Document(kClass)})));
}

TEST(SharedDocuments, AreOffAgainWithTheLastWhoAskedForThem) {
  {
    const svc::TDocumentSharing first;
    { const svc::TDocumentSharing second; }
    EXPECT_TRUE(svc::SharedStateOf(Loaded({Document(kClass)})));
  }
  EXPECT_FALSE(svc::SharedStateOf(Loaded({Document(kClass)})));
}

TEST(SharedDocuments, TheSameBytesAreParsedOnce) {
  const svc::TDocumentSharing sharing;
  const auto definitions = Document(kClass);
  const auto index = Document(kInstance);
  const auto first = Loaded({definitions, index});
  const auto second = Loaded({definitions, index});
  EXPECT_TRUE(svc::SharedStateOf(first));
  EXPECT_EQ(svc::SharedStateOf(first), svc::SharedStateOf(second));
  EXPECT_EQ(CountInstances(second), 1u);
}

TEST(SharedDocuments, OtherBytesAreNotTakenForThem) {
  const svc::TDocumentSharing sharing;
  const auto one = Loaded({Document(kClass), Document(kInstance)});
  const auto two = Loaded({Document(kClass), Document(kInstance + kInstance)});
  EXPECT_EQ(CountInstances(one), 1u);
  EXPECT_EQ(CountInstances(two), 2u);
}

TEST(SharedDocuments, WhatIsBehindTheDocumentInItsBlockDoesNotCount) {
  const svc::TDocumentSharing sharing;
  const auto first = Loaded({Document(kClass)});
  const TNamespace second = svc::MakeInMemoryNamespace();
  EXPECT_EQ(Load(second, Document(kClass), 5000), 1u);
  EXPECT_TRUE(svc::SharedStateOf(first));
  EXPECT_EQ(svc::SharedStateOf(first), svc::SharedStateOf(second));
}

TEST(SharedDocuments, ADocumentWithoutItsLastByteIsNotTakenForIt) {
  const svc::TDocumentSharing sharing;
  const std::string whole = Document(kClass);
  Loaded({whole});
  EXPECT_THROW(Loaded({whole.substr(0, whole.size() - 1)}), THSKException);
}

TEST(SharedDocuments, WhatANamespaceHeldBeforeCounts) {
  const svc::TDocumentSharing sharing;
  const auto once = Loaded({Document(kClass), Document(kInstance)});
  const auto twice = Loaded({Document(kClass), Document(kInstance), Document(kInstance)});
  EXPECT_EQ(CountInstances(once), 1u);
  EXPECT_EQ(CountInstances(twice), 2u);
}

TEST(SharedDocuments, TheClassesCollectedAreThoseOfTheDocument) {
  const svc::TDocumentSharing sharing;
  for (int round = 0; round < 2; ++round) {
    const TNamespace space = svc::MakeInMemoryNamespace();
    EXPECT_EQ(Load(space, Document(kClass)), 1u);
    EXPECT_EQ(Load(space, Document(kInstance)), 0u);
  }
}

TEST(ClassesCollected, AreThoseOfTheDocumentEachOnceHoweverTheyAreRepeated) {
  const auto declared = [](const std::string& names) {
    std::string objects;
    for (const char name : names) {
      objects += "<VALUE.OBJECT><CLASS NAME=\"" + std::string(1, name) + "\"/></VALUE.OBJECT>";
    }
    return Load(svc::MakeInMemoryNamespace(), Document(objects));
  };
  EXPECT_EQ(declared("A"), 1U);
  EXPECT_EQ(declared("AA"), 1U);
  EXPECT_EQ(declared("ABABCACBDDABCD"), 4U);
}

// Whoever finds a document of the same digest has to guess two seeds.
TEST(DigestOf, IsTwoHashesAndTheLength) {
  const std::string digest = svc::xml::DigestOf("a document");
  ASSERT_EQ(digest.size(), 48U);
  EXPECT_NE(digest.substr(0, 16), digest.substr(16, 16));
  EXPECT_EQ(digest.substr(32), "000000000000000a");
  EXPECT_EQ(svc::xml::DigestOf("a document"), digest);
  const std::string other = svc::xml::DigestOf("b document");
  EXPECT_NE(other.substr(0, 16), digest.substr(0, 16));
  EXPECT_NE(other.substr(16, 16), digest.substr(16, 16));
}

TEST(SharedDocuments, ADocumentThatIsRefusedIsRefusedEachTime) {
  const svc::TDocumentSharing sharing;
  for (int round = 0; round < 2; ++round) {
    EXPECT_THROW(Loaded({Document(kInstance)}), THSKException);
  }
}

}  // namespace
