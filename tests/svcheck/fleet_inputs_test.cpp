// The machines of a fleet, as they come out of files, folders and lines.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <filesystem>

#include "base/error.h"
#include "svcheck/fleet/inputs.h"
#include "tests/support/temporary_folder.h"

namespace svc::fleet {
namespace {

using EInventory = TTask::EInventory;

class FleetInputs : public testing::Test {
 protected:
  std::string At(const std::string& name) const { return folder.Path() + "/" + name; }
  std::vector<TTask> All(const std::string& path) const {
    TInputs inputs({path});
    std::vector<TTask> tasks;
    while (auto task = inputs.Next()) tasks.push_back(*std::move(task));
    return tasks;
  }
  TTask OfLine(const std::string& line) const {
    folder.Write("m.ndjson", line + "\n");
    const std::vector<TTask> tasks = All(At("m.ndjson"));
    EXPECT_EQ(tasks.size(), 1U) << line;
    return tasks.empty() ? TTask() : tasks.front();
  }
  std::string CauseOf(const std::string& line) const {
    const TTask task = OfLine(line);
    EXPECT_EQ(task.inventory, EInventory::kNone) << line;
    const std::string place = At("m.ndjson") + ":1: ";
    EXPECT_TRUE(task.text.starts_with(place)) << task.text;
    return task.text.substr(std::min(place.size(), task.text.size()));
  }

  test::TTemporaryFolder folder;
};

struct TEscape {
  const char* written;
  const char* meant;
};
constexpr std::array<TEscape, 13> kEscapes = {{{"\\\"", "\""},
                                               {"\\\\", "\\"},
                                               {"\\/", "/"},
                                               {"\\b", "\b"},
                                               {"\\f", "\f"},
                                               {"\\n", "\n"},
                                               {"\\r", "\r"},
                                               {"\\t", "\t"},
                                               {"\\u0041", "A"},
                                               {"\\u20ac", "\xE2\x82\xAC"},
                                               {"\\ud83d\\ude00", "\xF0\x9F\x98\x80"},
                                               {"\xC3\xA9", "\xC3\xA9"},
                                               {"\x7F", "\x7F"}}};

TEST_F(FleetInputs, HaveEachCharacterThatALineWritesWhateverItsForm) {
  for (const auto& [written, meant] : kEscapes) {
    const std::string name = std::string("\"machine\":\"a") + written + "b\"";
    const std::string text = std::string("\"inventory\":\"<c>") + written + written + "d\"";
    for (const std::string& line :
         {"{" + name + "," + text + "}", "{" + text + "," + name + "}",
          "{\"more\":[1," + ("{" + name + "}]") + "," + name + "," + text + "}"}) {
      const TTask task = OfLine(line);
      EXPECT_EQ(task.inventory, EInventory::kDocument) << line << task.text;
      EXPECT_EQ(task.machine, std::string("a") + meant + "b") << line;
      EXPECT_EQ(task.text, std::string("<c>") + meant + meant + "d") << line;
    }
  }
}

TEST_F(FleetInputs, AreTheSameWhereverAnEscapeStandsInTheText) {
  for (std::size_t at = 0; at < 20; ++at) {
    for (const TEscape& escape : kEscapes) {
      const std::string text(at, '~');
      for (const std::size_t rest : {0U, 15U, 16U}) {
        const std::string behind(rest, ' ');
        const std::string line =
            R"({"machine":"m","inventory":")" + text + escape.written + behind + "\"}";
        EXPECT_EQ(OfLine(line).text, text + escape.meant + behind) << line;
      }
    }
  }
}

TEST_F(FleetInputs, AreLongTextsWholeWhereverALineEndsInABlock) {
  for (const std::size_t size : {std::size_t{1} << 18, (std::size_t{1} << 18) - 1,
                                 (std::size_t{1} << 18) + 1, std::size_t{3} << 18}) {
    const std::string empty = R"({"machine":"m","inventory":""})";
    std::string line = empty;
    line.insert(line.size() - 2, size - empty.size(), 'x');
    folder.Write("m.ndjson", line + "\n\n" + empty + "\n" + line + "\nx\n" + line + "y");
    const std::vector<TTask> tasks = All(At("m.ndjson"));
    ASSERT_EQ(tasks.size(), 5U) << size;
    EXPECT_EQ(tasks[3].machine, At("m.ndjson:5"));
    EXPECT_EQ(tasks[4].machine, At("m.ndjson:6"));
    EXPECT_EQ(tasks[0].text, std::string(size - empty.size(), 'x'));
    EXPECT_EQ(tasks[1].text, "");
    EXPECT_EQ(tasks[2].text, tasks[0].text);
  }
}

TEST_F(FleetInputs, TakeTheLastOfTwoMembersOfAName) {
  const TTask task = OfLine(R"({"machine":"a","machine":"b","inventory":1,"inventory":"c"})");
  EXPECT_EQ(task.machine, "b");
  EXPECT_EQ(task.text, "c");
  for (const char* last : {"1", "null", "true", "-1", "1.5", "[\"x\"]", "{\"machine\":\"x\"}"}) {
    EXPECT_EQ(CauseOf(R"({"inventory":"c","machine":"a","machine":)" + std::string(last) + "}"),
              "the line has no text \"machine\"");
    const std::string line = R"({"machine":"a","inventory":"c","inventory":)";
    EXPECT_EQ(CauseOf(line + last + "}"), "the line has no text \"inventory\"");
    EXPECT_EQ(OfLine(line + last + "}").machine, "a");
  }
}

TEST_F(FleetInputs, AreNoneOfALineThatIsNoObject) {
  for (const char* line : {"[", "{", "x", "1", "\"machine\"", "null", "[1]", "{}x", "{\"a\":1e999}",
                           "[[[[", "{\"machine\":\"a\tb\",\"inventory\":\"c\"}", "{\"a\":1,}",
                           "{\"machine\":\"a\",\"inventory\":\"b\"} {}"}) {
    EXPECT_EQ(CauseOf(line), "the line is no JSON object") << line;
  }
  EXPECT_EQ(CauseOf("{}"), "the line has no text \"machine\"");
}

TEST_F(FleetInputs, AreNoneOfALineWhoseInventoryIsNoText) {
  for (const char* inventory :
       {"<c/>\"", "5", "5\"", "null", "\"<c/>", "", "'<c/>'", "[\"<c/>\"]"}) {
    EXPECT_NE(CauseOf("{\"machine\":\"m\",\"inventory\":" + std::string(inventory) + "}"), "")
        << inventory;
  }
}

TEST_F(FleetInputs, PassOverNumbersOfAnySize) {
  for (const char* number : {"2147483648", "4294967296", "4294967297", "9223372036854775808",
                             "18446744073709551616", "18446744073709551620", "-2147483649"}) {
    const TTask task =
        OfLine("{\"n\":" + std::string(number) + R"(,"machine":"a","inventory":"b"})");
    EXPECT_EQ(task.inventory, EInventory::kDocument) << number;
    EXPECT_EQ(task.machine, "a");
  }
}

TEST_F(FleetInputs, NestUpToALimit) {
  const auto nested = [](std::size_t depth, const char* open, const char* close) {
    std::string line = R"({"machine":"a","inventory":"b","more":)";
    for (std::size_t i = 1; i < depth; ++i) line += open;
    line += "1";
    for (std::size_t i = 1; i < depth; ++i) line += close;
    return line + "}";
  };
  for (const auto& [open, close] : {std::pair("[", "]"), std::pair("{\"x\":", "}")}) {
    EXPECT_EQ(OfLine(nested(255, open, close)).machine, "a");
    EXPECT_EQ(OfLine(nested(256, open, close)).machine, "a");
    EXPECT_EQ(CauseOf(nested(257, open, close)), "the line nests arrays and objects too deeply");
    EXPECT_EQ(CauseOf(nested(300'000, open, close)),
              "the line nests arrays and objects too deeply");
  }
}

TEST_F(FleetInputs, NumberTheirLinesFromOneWithThoseThatAreBlank) {
  folder.Write("m.ndjson", "\n \t\r\nx\n\ny");
  const std::vector<TTask> tasks = All(At("m.ndjson"));
  ASSERT_EQ(tasks.size(), 2U);
  EXPECT_EQ(tasks[0].machine, At("m.ndjson:3"));
  EXPECT_EQ(tasks[1].machine, At("m.ndjson:5"));
}

TEST_F(FleetInputs, AreFilesAloneAndWhatElseStandsThereIsOneFailureEach) {
  folder.Write("f/a.xml", "<a/>");
  folder.Write("f/folder.xml/b.xml", "<b/>");
  ASSERT_EQ(::symlink((At("f/a.xml")).c_str(), At("f/link.xml").c_str()), 0);
  ASSERT_EQ(::symlink("/dev/zero", At("f/zero.xml").c_str()), 0);
  ASSERT_EQ(::symlink("/dev/zero", At("f/zero.ndjson").c_str()), 0);
  ASSERT_EQ(::symlink("nowhere", At("f/gone.ndjson").c_str()), 0);
  for (const char* name : {"f/p.xml", "f/q.xml.gz", "f/r.xml.zst", "f/p.ndjson", "f/p.jsonl.gz"})
    ASSERT_EQ(::mkfifo(At(name).c_str(), 0600), 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  At("f/s.xml").copy(static_cast<char*>(address.sun_path), sizeof address.sun_path - 1);
  const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ::close(socket);

  std::map<std::string, std::string> told;
  for (const TTask& task : All(At("f"))) {
    const bool isFile = task.inventory == EInventory::kFile;
    const std::string name = task.machine.substr(task.machine.rfind('/') + 1);
    EXPECT_TRUE(told.emplace(name, isFile ? "file" : task.text).second) << name;
  }
  const std::string rest = " and no file; what a program writes can come by standard input";
  EXPECT_EQ(told,
            (std::map<std::string, std::string>{
                {"a", "file"},
                {"b", "file"},
                {"link", "file"},
                {"zero", At("f/zero.xml: is a device") + rest},
                {"zero.ndjson", At("f/zero.ndjson: is a device") + rest},
                {"gone.ndjson", At("f/gone.ndjson: cannot be opened: No such file or directory")},
                {"p", At("f/p.xml: is a pipe") + rest},
                {"q", At("f/q.xml.gz: is a pipe") + rest},
                {"r", At("f/r.xml.zst: is a pipe") + rest},
                {"p.ndjson", At("f/p.ndjson: is a pipe") + rest},
                {"p.jsonl.gz", At("f/p.jsonl.gz: is a pipe") + rest},
                {"s", At("f/s.xml: is a socket") + rest}}));
}

TEST_F(FleetInputs, OfSeveralPathsComeEachOnceInTheirOrder) {
  folder.Write("z.xml", "<z/>");
  folder.Write("f/b.xml.gz", "");
  folder.Write("f/a/c.xml", "<c/>");
  folder.Write("m.jsonl", "{\"machine\":\"m\",\"inventory\":\"<m/>\"}\n");
  folder.Write("y.xml.zst", "");
  TInputs inputs({At("z.xml"), At("f"), At("m.jsonl"), At("y.xml.zst"), At("z.xml")});
  std::vector<std::string> machines;
  while (const auto task = inputs.Next()) machines.push_back(task->machine);
  EXPECT_EQ(machines, (std::vector<std::string>{"z", "a/c", "b", "m", "y", "z"}));
}

TEST_F(FleetInputs, ThatAreCompressedWithoutSayingSoAreOneFailure) {
  for (const std::string begin : {"\x1F\x8B", "\x28\xB5\x2F\xFD"}) {
    folder.Write("m.ndjson", begin + "a\n" + begin + "b\n{}\n");
    const std::vector<TTask> tasks = All(At("m.ndjson"));
    ASSERT_EQ(tasks.size(), 1U);
    const std::string place = At("m.ndjson") + ":1";
    EXPECT_EQ(tasks[0].machine, place);
    EXPECT_EQ(tasks[0].inventory, EInventory::kNone);
    EXPECT_EQ(tasks[0].text, place + ": it is compressed; let its name end in .gz or .zst");
    EXPECT_EQ(CauseOf(begin.substr(0, begin.size() - 1)), "the line is no JSON object");
    folder.Write("m.ndjson", "\n" + begin + "\nx\n");
    const std::vector<TTask> others = All(At("m.ndjson"));
    ASSERT_EQ(others.size(), 2U) << "what begins otherwise is text";
    EXPECT_EQ(others[0].text, At("m.ndjson") + ":2: the line is no JSON object");
    EXPECT_EQ(others[1].text, At("m.ndjson") + ":3: the line is no JSON object");
  }
}

TEST_F(FleetInputs, AreDemandedWhereNoneIsToBeFound) {
  folder.Write("f/read.me", "no inventory");
  folder.Write("a.xml", "<a/>");
  const auto complaintOn = [](const std::vector<std::string>& paths) {
    try {
      DemandInventories(paths);
      return std::string();
    } catch (const TError& error) {
      EXPECT_EQ(error.Kind(), EErrorKind::kCatalogue);
      return std::string(error.what());
    }
  };
  EXPECT_EQ(complaintOn({"-", At("a.xml"), At("f/read.me")}), "");
  EXPECT_EQ(complaintOn({At("a.xml"), At("none")}),
            "there are no inventories at " + At("none") +
                ", which does not exist; name a file or a folder of them with --inventories");
  EXPECT_EQ(complaintOn({At("f")}), "there are no inventories in " + At("f") +
                                        "; name a folder of .xml, .ndjson or .jsonl files with "
                                        "--inventories");
  for (const char* name : {"f/b.xml", "f/b.xml.gz", "f/b.ndjson", "f/b.jsonl.zst"}) {
    folder.Write(name, "");
    EXPECT_EQ(complaintOn({At("f")}), "") << name;
    std::filesystem::remove(At(name));
    EXPECT_NE(complaintOn({At("f")}), "") << name;
  }
}

TEST_F(FleetInputs, NamedOneByOneAreFilesAsWell) {
  ASSERT_EQ(::mkfifo(At("p.xml").c_str(), 0600), 0);
  for (const char* path : {"/dev/null", "p.xml"}) {
    const std::vector<TTask> tasks = All(path);
    ASSERT_EQ(tasks.size(), 1U) << path;
    EXPECT_EQ(tasks[0].inventory, EInventory::kNone) << path;
  }
}

}  // namespace
}  // namespace svc::fleet
