// The dialect of a catalogue, and which refusal comes first when several apply.
#include <gtest/gtest.h>

#include "loading.h"
#include "runtime/xmlparser/cim_elements.h"

namespace svc::xml {
namespace {

TEST(Dialect, VersionsCompareAsTwoIntegers) {
  for (const char* good : {"4.02", "4.2", "4.10", "4.3", "5.0", "10.0", "04.002",
                           "99999999999999999999.0", "4.99999999999999999999"})
    EXPECT_TRUE(IsDialect402(good)) << good;
  for (const char* bad : {"", "4", "4.", ".02", "4.1", "4.01", "3.99", "4.02.1", "4.x", "-4.02",
                          "4,02", "four", "4.-2"})
    EXPECT_FALSE(IsDialect402(bad)) << bad;
}

int StatusOf(const std::string& document) { return LoadBlock(document, true).status; }

TEST(Dialect, ACatalogueSaysItsVersionBeforeItsRootElement) {
  EXPECT_EQ(StatusOf("<?sv-catalogue version=\"4.02\"?><CIM/>"), 0);
  EXPECT_EQ(
      StatusOf("<?xml version='1.0'?>\n<!-- c --><?sv-catalogue  version = '4.10' ?>\n<CIM/>"), 0);
  EXPECT_EQ(StatusOf("<?sv-catalogue made='x' version='4.02'?><CIM/>"), 0);
  EXPECT_EQ(StatusOf("<?sv-catalogue made-on='1 May 2026, 10:00' version='4.02'?><CIM/>"), 0);
  EXPECT_EQ(StatusOf("<?sv-catalogue version=\"4.1\"?><CIM/>"), 9);
  EXPECT_EQ(StatusOf("<?sv-catalogue version=4.02?><CIM/>"), 9);
  EXPECT_EQ(StatusOf("<?sv-catalogue?><CIM/>"), 9);
  EXPECT_EQ(StatusOf("<?SV-Catalogue version='4.02'?><CIM/>"), 9);
  EXPECT_EQ(StatusOf("<CIM/>"), 9);
  EXPECT_EQ(StatusOf("<CIM><?sv-catalogue version='4.02'?></CIM>"), 9);
}

TEST(Dialect, TheFirstInstructionCounts) {
  EXPECT_EQ(StatusOf("<?sv-catalogue version='4.1'?><?sv-catalogue version='4.02'?><CIM/>"), 9);
  EXPECT_EQ(StatusOf("<?sv-catalogue version='4.02'?><?sv-catalogue version='4.1'?><CIM/>"), 0);
}

TEST(Dialect, IsJudgedWhereTheRootElementBegins) {
  EXPECT_EQ(StatusOf(""), 1);
  EXPECT_EQ(StatusOf("<!-- -- --><CIM/>"), 1);
  EXPECT_EQ(StatusOf("<CIM a='1' a='2'/>"), 1);
  EXPECT_EQ(StatusOf("<CIM><broken"), 9);
  EXPECT_EQ(StatusOf("<html/>"), 1) << "no catalogue at all";
  EXPECT_EQ(StatusOf("<?sv-catalogue version='4.02'?><html/>"), 1);
}

TEST(Dialect, IsNotAskedForOutsideOfCatalogues) {
  EXPECT_EQ(LoadBlock("<CIM/>").status, 0);
  EXPECT_EQ(LoadFile("<CIM/>").status, 0);
}

}  // namespace
}  // namespace svc::xml
