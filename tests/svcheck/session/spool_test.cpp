// Records that are put aside because they are many.
#include "svcheck/session/spool.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "base/error.h"
#include "rules/names.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "svcheck/session/record_origins.h"

namespace svc {
namespace {

using NQRXHSK20::TSharedText;

// The record with a number.
class TNumbered : public IWrittenInstance {
 public:
  explicit TNumbered(std::size_t number) : number(std::to_string(number)) {}
  TSharedText Text(std::string_view name) const override {
    if (name == rules::kResultType) return "type";
    if (name == rules::kResultName) return "name " + number;
    return (name == rules::kResultInstalled ? "installed " : "offered ") + number;
  }

 private:
  std::string number;
};

std::set<int> OpenFiles() {
  std::set<int> files;
  for (int file = 0; file < 1024; ++file) {
    if (::fcntl(file, F_GETFD) != -1) files.insert(file);
  }
  return files;
}

// Four times as many as stay in memory.
constexpr std::size_t kMany = 4U << 16U;

class RecordSpool : public ::testing::Test {
 protected:
  RecordSpool() {
    const std::set<int> before = OpenFiles();
    for (std::size_t number = 0; number < kMany; ++number) spool.Take(TNumbered(number));
    for (const int file : OpenFiles()) {
      if (!before.contains(file)) files.insert(file);
    }
  }
  std::string NameOf(std::size_t number) const {
    report::TRecord record;
    spool.Read(number, record);
    EXPECT_EQ(record.type, "type");
    EXPECT_EQ(record.installed, "installed " + record.name.substr(5));
    EXPECT_EQ(record.offered, "offered " + record.name.substr(5));
    return record.name;
  }

  TRecordSpool spool;
  std::set<int> files;  // Those that it has open.
};

TEST_F(RecordSpool, GivesEachRecordBackInWhicheverOrder) {
  EXPECT_EQ(spool.Count(), kMany);
  EXPECT_EQ(files.size(), 2U) << "one of records and one of texts";
  for (const std::size_t number : {0U, 1023U, 1024U, 65535U, 65536U, 65537U, 3U, 196607U, 196608U,
                                   262143U, 131072U, 131071U}) {
    EXPECT_EQ(NameOf(number), "name " + std::to_string(number));
  }
  for (std::size_t number = 0; number < kMany; number += 97)
    ASSERT_EQ(NameOf(number), "name " + std::to_string(number));
}

TEST_F(RecordSpool, FailsWhereWhatItPutAsideIsGone) {
  ASSERT_FALSE(files.empty());
  for (const int file : files) ASSERT_EQ(::ftruncate(file, 0), 0);
  report::TRecord record;
  for (int attempt = 0; attempt < 2; ++attempt) {
    try {
      spool.Read(100000, record);
      ADD_FAILURE() << "a record comes from nowhere";
    } catch (const TError& failure) {
      EXPECT_TRUE(std::string(failure.what()).starts_with("the records cannot be put aside: "))
          << failure.what();
    }
  }
}

// Texts of one record, shared by their writer or not.
class TWritten : public IWrittenInstance {
 public:
  TWritten(const std::vector<std::string>& texts, bool isShared)
      : texts(boost::make_shared<std::vector<std::string>>(texts)), isShared(isShared) {}
  TSharedText Text(std::string_view name) const override {
    const std::string& text = (*texts)[name == rules::kResultType        ? 0
                                       : name == rules::kResultName      ? 1
                                       : name == rules::kResultInstalled ? 2
                                                                         : 3];
    return isShared ? TSharedText(texts, text) : TSharedText(text);
  }
  const boost::shared_ptr<std::vector<std::string>>& Owner() const { return texts; }

 private:
  boost::shared_ptr<std::vector<std::string>> texts;
  bool isShared;
};

std::string TextsOf(const report::TRecord& record) {
  return record.type + '|' + record.name + '|' + record.installed + '|' + record.offered;
}

TEST(RecordsPutAside, HaveTheirTextsHoweverTheirWriterKeepsThem) {
  TRecordSpool spool;
  const std::string large((std::size_t{8} << 20) + 1, 'x');  // No pool takes it.
  const std::vector<std::vector<std::string>> all = {
      {"a", "b", "c", "d"},   {"a", "b", "", "d"}, {"b", "a", "d", large},
      {"b", large, "c", "c"}, {"", "", "", ""},    {large, "b", "c", "d"}};
  std::vector<boost::shared_ptr<std::vector<std::string>>> owners;
  for (const bool isShared : {false, true, false}) {
    for (const auto& texts : all) {
      const TWritten written(texts, isShared);
      spool.Take(written);
      if (isShared) owners.push_back(written.Owner());
    }
  }
  for (const auto& owner : owners) EXPECT_EQ(owner.use_count(), 2) << "kept, and once";
  ASSERT_EQ(spool.Count(), 3 * all.size());
  for (std::size_t number = 0; number < spool.Count(); ++number) {
    const auto& texts = all[number % all.size()];
    report::TRecord record;
    record.verdict = report::EVerdict::kNewer;
    record.waived = record.expiredWaiver = report::TAcceptance{"r", {}};
    record.release = report::TRelease{"u", "", ""};
    record.compared = report::EVerdict::kNewer;
    record.hasSameSource = true;
    spool.Read(number, record);
    EXPECT_EQ(TextsOf(record), texts[0] + '|' + texts[1] + '|' + texts[2] + '|' + texts[3]);
    EXPECT_EQ(record.verdict, report::EVerdict::kUnknown) << "of another record";
    EXPECT_FALSE(record.waived || record.expiredWaiver || record.release || record.compared ||
                 record.hasSameSource);
  }
}

// Where nothing can be put aside, while it lives.
class TNoRoom {
 public:
  TNoRoom() { ::setenv("TMPDIR", "/proc/self", 1); }
  ~TNoRoom() { ::unsetenv("TMPDIR"); }
};

TEST(RecordsPutAside, AreLostWithTheReasonWhereNoFileCanBeMade) {
  const TNoRoom none;
  TRecordSpool spool;
  spool.Take(TWritten({"a", "b", "c", "d"}, false));
  EXPECT_NO_THROW(spool.DemandWhole());
  const std::string large((std::size_t{8} << 20) + 1, 'x');
  const auto failureOf = [](const auto& step) {
    try {
      step();
      return std::string();
    } catch (const TError& failure) {
      return std::string(failure.what());
    }
  };
  const std::string failure = failureOf([&] {
    spool.Take(TWritten({"a", "b", "c", large}, false));
  });
  EXPECT_TRUE(
      failure.starts_with("the records need a file for the meantime, which cannot be made: "))
      << failure;
  EXPECT_TRUE(
      failure.ends_with("; check the folder for temporary files, or name another with TMPDIR"))
      << failure;
  EXPECT_EQ(failureOf([&] {
              spool.Take(TWritten({"a", "b", "c", "d"}, false));
            }),
            "")
      << "it is told once";
  EXPECT_EQ(failureOf([&] { spool.DemandWhole(); }), failure);
}

TEST(RecordsOfANamespace, TellWhatTheirWriterComparedAndReleased) {
  const auto source = MakeInMemoryNamespace();
  DeclareBuiltinClasses(source);
  std::string text =
      "<CIM><DECLARATION><DECLGROUP><VALUE.OBJECT><CLASS NAME=\"R\"/></VALUE.OBJECT>";
  const auto add = [&](const std::vector<std::pair<std::string_view, std::string>>& properties) {
    text += "<VALUE.OBJECT><INSTANCE CLASSNAME=\"R\">";
    for (const auto& [name, value] : properties) {
      text += "<PROPERTY NAME=\"" + std::string(name) + "\" TYPE=\"string\"><VALUE>" + value +
              "</VALUE></PROPERTY>";
    }
    text += "</INSTANCE></VALUE.OBJECT>";
  };
  add({{rules::kResultType, "t"},
       {rules::kResultName, "n"},
       {rules::kResultInstalled, "i"},
       {rules::kResultOffered, "o"}});
  for (const char* is : {"older", "newer", "same", "odd"}) add({{"InstalledIs", is}});
  for (const char* part : {"Urgency", "ReleaseDate", "Description"}) add({{part, "x"}});
  ParseDocument(source, text + "</DECLGROUP></DECLARATION></CIM>");
  const auto records = RecordsOfInstances(InstancesOf(source, "R"));
  ASSERT_EQ(records->Count(), 8U);
  std::vector<report::TRecord> all(8);
  for (std::size_t number = 0; number < 8; ++number) {
    all[number].waived = report::TAcceptance{"of another", {}};
    records->Read(number, all[number]);
    EXPECT_FALSE(all[number].waived);
  }
  EXPECT_EQ(TextsOf(all[0]), "t|n|i|o");
  EXPECT_FALSE(all[0].release || all[0].compared);
  EXPECT_EQ(all[1].compared, report::EVerdict::kOutdated);
  EXPECT_EQ(all[2].compared, report::EVerdict::kNewer);
  EXPECT_EQ(all[3].compared, report::EVerdict::kCurrent);
  EXPECT_FALSE(all[4].compared);
  for (const std::size_t number : {5U, 6U, 7U}) ASSERT_TRUE(all[number].release) << number;
  EXPECT_EQ(all[5].release->urgency + '|' + all[5].release->date + '|' + all[5].release->notes,
            "x||");
  EXPECT_EQ(all[6].release->date, "x");
  EXPECT_EQ(all[7].release->notes, "x");
}

std::vector<std::string> TextsIn(const TTextSpool& spool) {
  std::vector<std::string> texts;
  spool.ForEach([&](std::string_view text) { texts.emplace_back(text); });
  return texts;
}

TEST(TextSpool, GivesEachTextBackInItsOrder) {
  TTextSpool spool;
  EXPECT_EQ(TextsIn(spool).size(), 0U);
  std::vector<std::string> texts;
  const auto add = [&](const std::string& text) {
    spool.Add(text);
    texts.push_back(text);
  };
  const std::size_t files = OpenFiles().size();
  add("a");
  add("");
  add("long enough");
  EXPECT_EQ(TextsIn(spool), texts);
  EXPECT_EQ(OpenFiles().size(), files) << "few stay in memory";
  for (int number = 0; number < 3; ++number) {
    add(std::string(700'000, static_cast<char>('a' + number)));
    add("");
    add("behind " + std::to_string(number));
  }
  EXPECT_EQ(OpenFiles().size(), files + 1);
  for (int time = 0; time < 2; ++time) EXPECT_EQ(TextsIn(spool), texts) << time;
  add("and after it was read");
  EXPECT_EQ(TextsIn(spool), texts);
}

TEST(TextSpool, StaysInMemoryUpToAMebibyte) {
  constexpr std::size_t kMost = (std::size_t{1} << 20) - sizeof(std::size_t);
  const std::size_t files = OpenFiles().size();
  for (const std::size_t size : {kMost, kMost + 1}) {
    TTextSpool spool;
    spool.Add(std::string(size, 'x'));
    EXPECT_EQ(OpenFiles().size() - files, size == kMost ? 0U : 1U) << size;
    EXPECT_EQ(TextsIn(spool), std::vector<std::string>{std::string(size, 'x')});
  }
}

TEST(TextSpool, KeepsItsFailureForWhoeverReadsIt) {
  const TNoRoom none;
  TTextSpool spool;
  spool.Add("a");
  spool.Add(std::string(std::size_t{2} << 20, 'x'));
  spool.Add("b");
  try {
    TextsIn(spool);
    FAIL() << "something was lost";
  } catch (const TError& failure) {
    const std::string_view why = failure.what();
    EXPECT_TRUE(why.starts_with("what is to be told cannot be put aside: ")) << why;
    EXPECT_TRUE(why.ends_with(
        "; make space in the folder for temporary files, or name another with TMPDIR"))
        << why;
  }
}

}  // namespace
}  // namespace svc
