// Broken documents: the reader takes what expat takes, and nothing else.
#include <gtest/gtest.h>

#include <string>

#include "judges.h"
#include "loading.h"
#include "made_documents.h"

namespace svc::xml {
namespace {

const char kSmall[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- c --><?sv-catalogue version=\"4.02\"?>\n"
    "<CIM a='1'><DECLARATION><DECLGROUP><VALUE.OBJECT><CLASS NAME=\"K\"/></VALUE.OBJECT>\r\n"
    "<VALUE.OBJECT><INSTANCE CLASSNAME=\"K\"><PROPERTY NAME=\"P\"><VALUE>a &amp; \xC3\xA9"
    "<![CDATA[<]]>&#x20AC;</VALUE></PROPERTY></INSTANCE></VALUE.OBJECT></DECLGROUP>"
    "</DECLARATION></CIM>";

// Refused on purpose, although well-formed.
bool IsRefusedOnPurpose(const std::string& verdict) {
  for (const char* purpose : {"internal subset", "unknown entity", "byte order mark", "256 deep"})
    if (verdict.find(purpose) != std::string::npos) return true;
  return false;
}

void ExpectAgreement(const std::string& document) {
  const std::string expat = JudgeByExpat(document);
  const std::string reader = JudgeByReader(document);
  if (expat.empty() && IsRefusedOnPurpose(reader)) return;
  EXPECT_EQ(expat.empty(), reader.empty()) << "expat: " << expat << "\nreader: " << reader << "\n"
                                           << document;
  if (!expat.empty()) {
    EXPECT_NE(LoadFile(document).status, 0) << document;
  }
}

TEST(Mutation, ATruncatedDocumentIsRefusedWhereverItEnds) {
  const std::string whole(kSmall);
  ASSERT_EQ(JudgeByReader(whole), "");
  ASSERT_EQ(LoadBlock(whole, true).message, "");
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const TLoaded loaded = LoadBlock(whole.substr(0, size), true);
    EXPECT_EQ(loaded.status, 1) << size << ": " << loaded.message;
    const bool isWithinCharacter = (whole[size] & 0xC0) == 0x80;
    if (!isWithinCharacter) {
      EXPECT_NE(loaded.message.find("the text ends before"), std::string::npos)
          << size << ": " << loaded.message;
    }
    ExpectAgreement(whole.substr(0, size));
  }
}

TEST(Mutation, EveryChangeOfOneByteIsJudgedAsExpatDoes) {
  for (std::size_t at = 0; at < sizeof kSmall - 1; ++at) {
    for (int byte = 0; byte < 256; byte += byte < 128 ? 1 : 9) {
      std::string changed(kSmall);
      changed[at] = static_cast<char>(byte);
      const std::string expat = JudgeByExpat(changed);
      const std::string reader = JudgeByReader(changed);
      if (!IsRefusedOnPurpose(reader)) {
        ASSERT_EQ(expat.empty(), reader.empty()) << expat << "|" << reader << "|" << changed;
      }
    }
  }
}

TEST(Mutation, MutatedDocumentsAreJudgedAsExpatDoes) {
  int accepted = 0;
  for (std::uint64_t seed = 1; seed <= 4000; ++seed) {
    TChance chance(seed);
    const std::string document = Mutate(MakeDocument(chance), chance);
    accepted += JudgeByExpat(document).empty();
    ExpectAgreement(document);
  }
  EXPECT_GT(accepted, 200);
  EXPECT_LT(accepted, 3600);
}

TEST(Mutation, AChangeAmongInstancesThatAreWrittenAlikeIsSeen) {
  int accepted = 0;
  for (std::uint64_t seed = 1; seed <= 2000; ++seed) {
    TChance chance(seed);
    const std::string document = Mutate(MakeRegularDocument(chance), chance);
    accepted += JudgeByExpat(document).empty();
    ExpectAgreement(document);
  }
  EXPECT_GT(accepted, 100);
  EXPECT_LT(accepted, 1800);
}

}  // namespace
}  // namespace svc::xml
