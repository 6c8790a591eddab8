#include <gtest/gtest.h>

#include "plugins/version_checker/drivers/driver_operations.h"
#include "plugins/version_checker/inventory/properties.h"
#include "rules/driver_list.h"
#include "tests/support/case_name.h"
#include "tests/support/expected_log.h"
#include "tests/support/fake_host.h"

using namespace svc::checker;

namespace svc::test {
namespace {

NQRXHSK20::TSharedText Offered(const std::string& name, const std::string& version) {
  return name + "-#" + version;
}
DriverRecord Installed(const std::string& name, const std::string& version, bool running = true) {
  return {name, "\\" + name, version, running};
}

class TDriverMatching : public testing::Test {
 protected:
  void Compare(const TDriverFiles& offered, const TDriverList& installed) {
    TDriverOperations::CompareDrivers(offered, installed, host.inventory);
  }
  static TExpectedLog& Pair(TExpectedLog& log, const std::string& installed,
                            const std::string& offered) {
    return log.Trace("CurDriverName = " + installed).Trace("SVDriverName = " + offered);
  }

  TFakeHost host;
};

TEST_F(TDriverMatching, SameNameIsDelivered) {
  Compare({Offered("E1000.SYS", "8.10")}, {Installed("e1000.sys", "8.9")});
  EXPECT_EQ(host.Records(), TRecords({{"Driver", "E1000", "8.9", "8.10"}}));
  TExpectedLog log;
  Pair(log, "E1000", "E1000").Trace("Name: E1000Version: 8.9 SV Version: 8.10").Delivery();
  EXPECT_EQ(host.logger.Entries(), log);
}

TEST_F(TDriverMatching, SameVersionIsDeliveredToo) {
  Compare({Offered("a", "1")}, {Installed("a", "1")});
  EXPECT_EQ(host.Records(), TRecords({{"Driver", "A", "1", "1"}}));
}

TEST_F(TDriverMatching, OtherNameIsNot) {
  Compare({Offered("e1000", "1")}, {Installed("e1000x", "1")});
  EXPECT_TRUE(host.Records().empty());
  TExpectedLog log;
  EXPECT_EQ(host.logger.Entries(), Pair(log, "E1000X", "E1000"));
}

// Where nobody wants the trace a long list without a match is known again.
TEST_F(TDriverMatching, LongListWithoutAMatchIsTracedEachTime) {
  constexpr std::size_t kEntries = 300;
  std::string list;
  TExpectedLog log;
  for (std::size_t i = 0; i < kEntries; ++i) list += "b-#1 ";
  ASSERT_GE(list.size(), kLongText);
  for (std::size_t i = 0; i < 2 * kEntries; ++i) Pair(log, "A", "B");
  Compare({list, list}, {Installed("a", "1")});
  EXPECT_TRUE(host.Records().empty());
  EXPECT_EQ(host.logger.Entries(), log);
}

TEST_F(TDriverMatching, StoppedDriverIsSkippedOncePerOffer) {
  Compare({Offered("a", "1"), Offered("b", "2")}, {Installed("a", "1", false)});
  EXPECT_TRUE(host.Records().empty());
  EXPECT_EQ(host.logger.Entries(),
            TLog({{4, "Skipping this driver comparison coz it's not up and running."},
                  {4, "Skipping this driver comparison coz it's not up and running."}}));
}

TEST_F(TDriverMatching, NamelessDriverIsSkipped) {
  Compare({Offered("a", "1")}, {Installed("", "1")});
  EXPECT_TRUE(host.Records().empty());
  EXPECT_EQ(host.logger.Entries(), TLog({{4, "CurDriverName is NULL"}}));
}

TEST_F(TDriverMatching, StoppedIsToldBeforeNameless) {
  Compare({Offered("a", "1")}, {Installed("", "1", false)});
  EXPECT_EQ(host.logger.Entries(),
            TLog({{4, "Skipping this driver comparison coz it's not up and running."}}));
}

TEST_F(TDriverMatching, MarkerMatchesADriverOfThatName) {
  Compare({Offered("a", "1")}, {Installed("NaN", "2"), Installed("nan", "3")});
  EXPECT_EQ(host.Records(), TRecords({{"Driver", "A", "2", "1"}}));
}

TEST_F(TDriverMatching, MarkerAndNameTogetherGiveOneRecord) {
  Compare({Offered("nan", "1")}, {Installed("NaN", "2")});
  EXPECT_EQ(host.Records(), TRecords({{"Driver", "NAN", "2", "1"}}));
}

TEST_F(TDriverMatching, RecordsFollowOffersThenInstalledDrivers) {
  Compare({Offered("b", "1"), Offered("a", "2"), Offered("A.sys", "3")},
          {Installed("a.sys", "4"), Installed("b", "5"), Installed("A", "6")});
  EXPECT_EQ(host.Records(), TRecords({{"Driver", "B", "5", "1"},
                                      {"Driver", "A", "4", "2"},
                                      {"Driver", "A", "6", "2"},
                                      {"Driver", "A", "4", "3"},
                                      {"Driver", "A", "6", "3"}}));
}

TEST_F(TDriverMatching, LineOfEachPair) {
  Compare({Offered("a", "1"), Offered("b", "2")}, {Installed("b", "3"), Installed("c", "4")});
  TExpectedLog log;
  Pair(log, "B", "A");
  Pair(log, "C", "A");
  Pair(log, "B", "B").Trace("Name: BVersion: 3 SV Version: 2").Delivery();
  Pair(log, "C", "B");
  EXPECT_EQ(host.logger.Entries(), log);
}

TEST_F(TDriverMatching, EmptyListsDeliverNothing) {
  Compare({}, {Installed("a", "1")});
  Compare({Offered("a", "1")}, {});
  EXPECT_TRUE(host.Records().empty());
  EXPECT_TRUE(host.logger.Entries().empty());
}

TEST_F(TDriverMatching, NamesOfOnlyAnExtensionAreTheSame) {
  Compare({Offered(".x", "1")}, {Installed(".sys", "2")});
  EXPECT_EQ(host.Records(), TRecords({{"Driver", "", "2", "1"}}));
}

TEST_F(TDriverMatching, MissingRecordClassIsLoggedForEachMatch) {
  host.inventory->Remove("QRXSG_SVResult");
  Compare({Offered("a", "1")}, {Installed("a", "1"), Installed("a", "2")});
  EXPECT_EQ(host.logger.UpTo(3),
            TLog({{0, "QRXSG_SVResult not found"}, {0, "QRXSG_SVResult not found"}}));
}

TEST_F(TDriverMatching, RecordsBeforeAFailureStay) {
  host.script.FailAt(7 + 6, ThrowStatus(1));  // Storing the second record; each makes seven calls.
  EXPECT_THROW(Compare({Offered("a", "1")}, {Installed("a", "2"), Installed("a", "3")}),
               NQRXHSK20::THSKException);
  EXPECT_EQ(host.Records(), TRecords({{"Driver", "A", "2", "1"}}));
}

// Lists and names that are long are looked at once for all that share them.
TEST_F(TDriverMatching, SharedListsAndNamesDeliverTheSameEachTime) {
  std::string files;
  for (int i = 0; i < 300; ++i) files += "other" + std::to_string(i) + "-#1 ";
  const NQRXHSK20::TSharedText none(files + "x-#1");
  const NQRXHSK20::TSharedText one(files + "long-#2");
  const NQRXHSK20::TSharedText first("long-#2 " + files + "x-#1");
  const std::string suffix(2000, 'y');
  const NQRXHSK20::TSharedText longName("LONG." + suffix);
  const TDriverList installed = {{longName, "", "5", true}, {longName, "", "6", true}};
  for (const int level : {3, 4}) {
    host.logger.Keep(level);
    Compare({none, one, none, first, one, first}, installed);
  }
  TRecords expected;
  for (int i = 0; i < 8; ++i) {
    expected.push_back({"Driver", "LONG", "5", "2"});
    expected.push_back({"Driver", "LONG", "6", "2"});
  }
  EXPECT_EQ(host.Records(), expected);
}

// Names that stand in one another's way in a table of them, and tables of every fullness.
TEST_F(TDriverMatching, EachOfManyDriversIsFoundByItsNameAlone) {
  host.logger.Keep(3);
  TDriverList installed;
  TRecords expected;
  for (int count = 1; count <= 70; ++count) {
    const std::string name = "drv" + std::to_string(count);
    installed.push_back(Installed(name + ".sys", std::to_string(count)));
    expected.push_back({"Driver", "DRV" + std::to_string(count), std::to_string(count), "7"});
    TDriverFiles offered;
    for (int i = 1; i <= count; ++i) offered.push_back(Offered("DRV" + std::to_string(i), "7"));
    offered.push_back(Offered("drv" + std::to_string(count + 1), "8"));
    offered.push_back(Offered("drv", "8"));
    const std::size_t before = host.Records().size();
    Compare(offered, installed);
    TRecords records = host.Records();
    records.erase(records.begin(), records.begin() + static_cast<std::ptrdiff_t>(before));
    ASSERT_EQ(records, expected);
  }
}

struct TName {
  const char* name;
  const char* text;
  const char* normalised;
};
void PrintTo(const TName& name, std::ostream* stream) { *stream << name.text; }

class TNormalisedName : public testing::TestWithParam<TName> {};

TEST_P(TNormalisedName, IsUpperCaseAndCutBeforeTheFirstDot) {
  rules::TDriverNameForm form;
  EXPECT_EQ(form.Of(GetParam().text), GetParam().normalised);
  EXPECT_EQ(form.Of(GetParam().normalised), GetParam().normalised);
  EXPECT_EQ(form.HashOf(GetParam().text, 5), form.HashOf(GetParam().normalised, 5));
  EXPECT_NE(form.HashOf(GetParam().text, 5), form.HashOf("x" + std::string(GetParam().text), 5));
}

// One locale has capitals beyond Z, another has its own capital of a letter that others have.
TEST(DriverNameForm, GoesByTheCapitalsOfTheLocale) {
  const auto expectSame = [](int (*capitalOf)(int), const std::string& name,
                             const std::string& capitals) {
    rules::TDriverNameForm form(capitalOf);
    EXPECT_EQ(form.Of(name + ".sys"), capitals);
    EXPECT_EQ(form.HashOf(name, 5), form.HashOf(capitals, 5));
    EXPECT_NE(form.HashOf(name, 5), form.HashOf("Q", 5));
  };
  for (const std::string before : {"", "abcdefg", "abcdefgh"}) {
    const std::string upper(rules::TDriverNameForm().Of(before));
    const auto latin1 = [](int c) { return c >= 0xE0 && c != 0xF7 ? c - 0x20 : std::toupper(c); };
    expectSame(latin1, before + "\xE9z", upper + "\xC9Z");
    const auto hasNoCapitalI = [](int c) { return c == 'i' ? c : std::toupper(c); };
    expectSame(hasNoCapitalI, before + "iz", upper + "iZ");
  }
}

// Of a character more, less or another one at any place.
TEST(DriverNameForm, NumbersNamesApart) {
  rules::TDriverNameForm form;
  const std::string name = "abcdefghijklmnopqrst";
  for (std::size_t size = 0; size <= name.size(); ++size) {
    std::set<std::uint64_t> hashes = {form.HashOf(name.substr(0, size), 5)};
    for (std::size_t place = 0; place < size; ++place) {
      std::string other = name.substr(0, size);
      other[place] = '0';
      EXPECT_TRUE(hashes.insert(form.HashOf(other, 5)).second) << other;
      other[place] = static_cast<char>(name[place] - 'a' + 'A');
      EXPECT_EQ(form.HashOf(other, 5), form.HashOf(name.substr(0, size) + ".sys", 5)) << other;
      EXPECT_TRUE(hashes.insert(form.HashOf(name.substr(0, place), 5)).second);
    }
    EXPECT_NE(form.HashOf(name.substr(0, size), 6), form.HashOf(name.substr(0, size), 5));
  }
}

constexpr TName kNames[] = {
    {"LowerCase", "e1000.sys", "E1000"},
    {"UpperCase", "E1000.SYS", "E1000"},
    {"SeveralDots", "a.b.sys", "A"},
    {"NoDot", "tg3", "TG3"},
    {"DotFirst", ".sys", ""},
    {"DotLast", "a.", "A"},
    {"Empty", "", ""},
    {"BytesOutsideASCII", "\xE4.x", "\xE4"},
};
INSTANTIATE_TEST_SUITE_P(Names, TNormalisedName, testing::ValuesIn(kNames), TCaseName());

}  // namespace
}  // namespace svc::test
