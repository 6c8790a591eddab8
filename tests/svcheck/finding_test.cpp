// What `svcheck doctor` finds of a catalogue.
#include "svcheck/verbs/doctor_findings.h"

#include <gtest/gtest.h>

#include <chrono>

#include "tests/support/temporary_folder.h"

namespace svc {
namespace {

namespace fs = std::filesystem;
using std::chrono::hours;

constexpr const char* kOneElement =
    "<?xml version=\"1.0\"?><?sv-catalogue version=\"4.02\"?><CIM><DECLARATION><DECLGROUP>"
    "<VALUE.OBJECT><INSTANCE CLASSNAME=\"QRXPSG_SystemUpdateElement\"></INSTANCE></VALUE.OBJECT>"
    "</DECLGROUP></DECLARATION></CIM>";
constexpr const char* kNoElement =
    "<?xml version=\"1.0\"?><?sv-catalogue version=\"4.02\"?><CIM><DECLARATION><DECLGROUP>"
    "</DECLGROUP></DECLARATION></CIM>";

class CatalogueFinding : public testing::Test {
 protected:
  TFinding Of(const char* text, hours age) const {
    folder.Write("index.xml", text);
    fs::last_write_time(folder.Path() + "/index.xml", fs::file_time_type::clock::now() - age);
    return ExamineCatalogue(folder.Path(), DATA_FOLDER);
  }

  test::TTemporaryFolder folder;
};

TEST_F(CatalogueFinding, IsAWarningFromMoreThan180DaysOn) {
  constexpr hours kDay(24);
  for (const hours age : {hours(0), 179 * kDay, 180 * kDay - hours(1)}) {
    const TFinding finding = Of(kOneElement, age);
    EXPECT_EQ(finding.kind, EFinding::kGood) << age.count();
    EXPECT_EQ(finding.advice, "");
    EXPECT_NE(finding.text.find(", 1 update element, "), std::string::npos) << finding.text;
  }
  for (const hours age : {180 * kDay + hours(1), 181 * kDay, 1799 * kDay, 1801 * kDay}) {
    const TFinding finding = Of(kOneElement, age);
    EXPECT_EQ(finding.kind, EFinding::kWarning) << age.count();
    EXPECT_EQ(finding.advice, "newer updates may be out: get the catalogue anew");
  }
}

TEST_F(CatalogueFinding, IsAWarningWithoutElementsHoweverNew) {
  const TFinding finding = Of(kNoElement, hours(0));
  EXPECT_EQ(finding.kind, EFinding::kWarning);
  EXPECT_EQ(finding.advice, "it offers nothing: get the catalogue anew");
}

TEST_F(CatalogueFinding, IsAProblemWhereThereIsNone) {
  EXPECT_EQ(ExamineCatalogue("", DATA_FOLDER).kind, EFinding::kUnset);
  EXPECT_EQ(ExamineCatalogue(folder.Path() + "/none", DATA_FOLDER).kind, EFinding::kProblem);
  EXPECT_EQ(Of("<CIM>", hours(0)).kind, EFinding::kProblem);
}

}  // namespace
}  // namespace svc
