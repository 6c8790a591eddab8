// The whole answer to one machine of a fleet, and which machines are of one kind.
#include "svcheck/fleet/machine_check.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <iterator>
#include <string_view>
#include <thread>
#include <utility>

#include "base/error.h"
#include "rules/names.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/hskcore/namespace_writer.h"
#include "runtime/xmlparser/document_window.h"
#include "svcheck/fleet/summary.h"
#include "svcheck/fleet/workers.h"
#include "svcheck/system/failure.h"
#include "tests/support/temporary_folder.h"

namespace svc::fleet {
namespace {

using EInventory = TTask::EInventory;
using NQRXHSK20::ECIMType;

constexpr const char* kSample = DATA_FOLDER "/sample/inventory.xml";

std::string Property(const std::string& name, const std::string& value) {
  return "<PROPERTY NAME=\"" + name + "\" TYPE=\"string\"><VALUE>" + value + "</VALUE></PROPERTY>";
}

std::string Document(const std::string& properties) {
  return "<CIM><DECLARATION><DECLGROUP><VALUE.OBJECT><INSTANCE "
         "CLASSNAME=\"QRXSG_ComputerSystem\">" +
         properties + "</INSTANCE></VALUE.OBJECT></DECLGROUP></DECLARATION></CIM>";
}

constexpr std::string_view kNothingFound =
    R"("summary":{"outdated":0,"unknown":0,"newer":0,"current":0,"compared":0},"errors":[)";

class MachineChecks : public testing::Test {
 protected:
  static TCheckSettings Settings() {
    TCheckSettings settings;
    settings.query.dataFolder = DATA_FOLDER;
    settings.query.plugin = PLUGIN;
    settings.catalogue = DATA_FOLDER "/sample/catalogue";
    return settings;
  }
  static std::string AnswerOf(const std::string& machine, EInventory kind, const std::string& text,
                              const TCheckSettings& settings = Settings()) {
    TMachineCheck check(settings);
    return check.Answer({machine, kind, text});
  }
  std::string Text(const std::string& name) const {
    std::ifstream file(folder.Path() + "/" + name);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  test::TTemporaryFolder folder;
};

TEST_F(MachineChecks, TellEachRecordAndBehindThemWhatMachineItIsAndHowItEnded) {
  const std::string head = R"({"machine":"a \"b\"",)";
  const auto firmware = [&](const std::string& rest) {
    return head + R"("Type":"Firmware",)" + rest;
  };
  const std::string answer = AnswerOf("a \"b\"", EInventory::kFile, kSample);
  EXPECT_TRUE(answer.starts_with(
      firmware(R"("Name":"System BIOS","InstalledVersion":"YUE110B","SVVersion":"YUE112A",)"
               R"("verdict":"outdated"})"
               "\n") +
      firmware(R"("Name":"System UEFI","InstalledVersion":"YUE110B","SVVersion":"YUE112A",)"
               R"("verdict":"outdated"})"
               "\n")))
      << answer;
  EXPECT_TRUE(answer.ends_with(
      "\n" + head +
      R"("outcome":"done","state":"updates","machineType":"4638","manufacturer":"QRX",)"
      R"("model":"QRX Rackwell 4638 -[4638A2G]-","serialNumber":"06C4638",)"
      R"("operatingSystem":{"caption":"Red Hat Enterprise Linux Server release 5.3",)"
      R"("version":"2.6.18-128.el5","platform":"x86_64"},"summary":{"outdated":10,"unknown":3,)"
      R"("newer":3,"current":5,"compared":18},"errors":[]})"
      "\n"))
      << answer;
  EXPECT_EQ(std::count(answer.begin(), answer.end(), '\n'), 10 + 3 + 3 + 5 + 1);
}

TEST_F(MachineChecks, AreTheSameOfAFileAndOfItsText) {
  std::ifstream sample(kSample);
  const std::string text{std::istreambuf_iterator<char>(sample), {}};
  EXPECT_EQ(AnswerOf("m", EInventory::kDocument, text), AnswerOf("m", EInventory::kFile, kSample));
}

TEST_F(MachineChecks, AnswerTheSameWhicheverMachinesWereBefore) {
  TMachineCheck check(Settings());
  const TTask sample{"m", EInventory::kFile, kSample};
  const TTask typed{"t", EInventory::kDocument, Document(Property("MachineType", "4638"))};
  const std::string first = check.Answer(sample);
  const std::string second = check.Answer(typed);
  EXPECT_TRUE(second.ends_with(
      "{\"machine\":\"t\",\"outcome\":\"done\",\"state\":\"nothing-compared\",\"stateReason\":"
      "\"none "
      "of 3 records could be ordered: no installed version was read (3)\",\"machineType\":\"4638\","
      "\"summary\":{\"outdated\":0,\"unknown\":3,\"newer\":0,\"current\":0,\"compared\":0},"
      "\"errors\":[]}\n"))
      << second;
  EXPECT_EQ(check.Answer(sample), first);
  EXPECT_EQ(check.Answer(typed), second);
  EXPECT_EQ(check.Answer(sample), first);
}

TEST_F(MachineChecks, TellWhyNothingIsOfferedForAMachine) {
  EXPECT_EQ(AnswerOf("o", EInventory::kDocument,
                     Document(Property("MachineType", "9999") + Property("Manufacturer", "M") +
                              Property("Model", "m o") + Property("SerialNumber", "S"))),
            R"({"machine":"o","outcome":"nothing-applicable","state":"nothing-compared",)"
            R"("stateReason":"none of the catalogue's 16 elements is for machine type 9999; the )"
            R"(nearest of its 5 types are 2705, 4620 and 4631","machineType":"9999",)"
            R"("manufacturer":"M","model":"m o","serialNumber":"S",)" +
                std::string(kNothingFound) + "]}\n");
}

TEST_F(MachineChecks, TellWhatAMachineLacksThatHasNoAnswer) {
  EXPECT_EQ(AnswerOf("u", EInventory::kDocument, Document(Property("Model", "x"))),
            R"({"machine":"u","outcome":"unknown-machine","state":"failed","stateReason":"The )"
            R"(inventory does not tell the machine type.","machineType":"","model":"x",)" +
                std::string(kNothingFound) +
                R"("the inventory has no QRXSG_ComputerSystem with a MachineType; collect it anew )"
                R"(as root, or add the type to it"]})"
                "\n");
  EXPECT_EQ(AnswerOf("n", EInventory::kNone, "no \"text\""),
            R"({"machine":"n","outcome":"failed","state":"failed","stateReason":"no \"text\"",)"
            R"("machineType":"",)" +
                std::string(kNothingFound) + R"("no \"text\""]})" + "\n");
  EXPECT_EQ(AnswerOf("n", EInventory::kNone, "why"), FailedAnswer("n", "why"));
  EXPECT_EQ(AnswerOf("m", EInventory::kFile, folder.Path() + "/none.xml.gz"),
            FailedAnswer("m", folder.Path() + "/none.xml.gz: cannot be opened: No such file or "
                                              "directory"));
}

TEST_F(MachineChecks, TellOfTheSystemWhateverIsKnownOfIt) {
  const auto systemOf = [](const std::string& properties) {
    std::string text = Document(Property("MachineType", "9999"));
    text.insert(text.find("</DECLGROUP>"),
                "<VALUE.OBJECT><INSTANCE CLASSNAME=\"QRXSG_OperatingSystem\">" + properties +
                    "</INSTANCE></VALUE.OBJECT>");
    const std::string answer = AnswerOf("m", EInventory::kDocument, text);
    const std::string begin = "\"machineType\":\"9999\",";
    const std::size_t at = answer.find(begin) + begin.size();
    return answer.substr(at, answer.find("\"summary\"") - at);
  };
  EXPECT_EQ(systemOf(""), "");
  EXPECT_EQ(systemOf(Property("Caption", "c")), R"("operatingSystem":{"caption":"c"},)");
  EXPECT_EQ(systemOf(Property("Version", "v")),
            R"("operatingSystem":{"caption":"","version":"v"},)");
  EXPECT_EQ(systemOf(Property("HardwarePlatform", "p")),
            R"("operatingSystem":{"caption":"","platform":"p"},)");
}

// Whoever has a log has its own, so that nothing is told that another machine could use.
TEST_F(MachineChecks, TellWhatWasReadWhereItIsWantedAndHoldsForOthers) {
  TTask task{"m", EInventory::kFile, kSample, true};
  const std::string plain = AnswerOf("m", EInventory::kFile, kSample);
  const auto answerOf = [&](const TCheckSettings& settings) {
    TMachineCheck check(settings);
    return check.Answer(task);
  };
  const std::string read = answerOf(Settings());
  EXPECT_EQ(PartsOf(read).lines, plain);
  EXPECT_GT(PartsOf(read).reads.size(), 100U);
  EXPECT_EQ(plain.find(kBeforeReads), plain.npos) << "it was not wanted";
  TCheckSettings logged = Settings();
  logged.logFolder = folder.Path();
  EXPECT_EQ(answerOf(logged), plain);
  task = {"u", EInventory::kDocument, Document(""), true};
  EXPECT_EQ(PartsOf(answerOf(Settings())).reads, "") << "it failed";
  task = {"o", EInventory::kDocument, Document(Property("MachineType", "9999")), true};
  EXPECT_NE(PartsOf(answerOf(Settings())).reads, "");
}

TEST_F(MachineChecks, WriteALogForEachMachineUnderItsName) {
  TCheckSettings settings = Settings();
  settings.logFolder = folder.Path();
  TMachineCheck check(settings);
  check.Answer({"a/b", EInventory::kFile, kSample});
  check.Answer({"c", EInventory::kFile, kSample});
  EXPECT_NE(Text("a%2fb.ndjson"), "");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), 2);
  const auto lines = [](const std::string& text) {
    return std::count(text.begin(), text.end(), '\n');
  };
  EXPECT_EQ(lines(Text("a%2fb.ndjson")), lines(Text("c.ndjson"))) << "each has all of it";
}

TEST_F(MachineChecks, AcceptWhatIsWaivedUntilItExpires) {
  folder.Write(
      "waivers.toml",
      "[[waiver]]\nname = \"System BIOS\"\nreason = \"known\"\nexpires = 2999-12-31\n"
      "[[waiver]]\nname = \"System UEFI\"\nreason = \"was known\"\nexpires = 2001-01-01\n");
  TCheckSettings settings = Settings();
  settings.waivers = folder.Path() + "/waivers.toml";
  const std::string answer = AnswerOf("m", EInventory::kFile, kSample, settings);
  EXPECT_NE(answer.find(R"("SVVersion":"YUE112A","verdict":"outdated","waived":{"reason":"known",)"
                        R"("expires":"2999-12-31"}})"
                        "\n"),
            answer.npos)
      << answer;
  EXPECT_NE(answer.find(R"("Name":"System UEFI","InstalledVersion":"YUE110B",)"
                        R"("SVVersion":"YUE112A","verdict":"outdated","expiredWaiver":{"reason":)"
                        R"("was known","expires":"2001-01-01"}})"
                        "\n"),
            answer.npos)
      << answer;
  EXPECT_NE(answer.find(R"("summary":{"outdated":9,"unknown":3,"newer":3,"current":5,)"
                        R"("compared":18,"waived":1,"expiredWaivers":1},"errors":[]})"),
            answer.npos)
      << answer;
}

TEST_F(MachineChecks, NeedACatalogueThatCanBeUsed) {
  TCheckSettings settings = Settings();
  settings.catalogue = folder.Path() + "/none";
  try {
    TMachineCheck check(settings);
    FAIL() << "it is taken";
  } catch (const TError& error) {
    EXPECT_EQ(error.Kind(), EErrorKind::kCatalogue) << error.what();
    EXPECT_NE(std::string_view(error.what()).find(settings.catalogue), std::string_view::npos)
        << error.what();
  }
}

// What comes to a worker and what it answers.
class TTold : public ITaskChannel {
 public:
  TTold(std::string given, std::size_t most) : given(std::move(given)), mostAnswers(most) {}
  std::size_t Read(char* block, std::size_t size) override {
    const std::size_t count = given.copy(block, size, at);
    at += count;
    return count;
  }
  bool Write(std::string_view bytes) override {
    if (answers.size() == mostAnswers) return false;
    answers.emplace_back(TakeFrame(bytes).value());
    EXPECT_EQ(bytes, "") << "one frame at a time";
    return true;
  }

  std::vector<std::string> answers;

 private:
  std::string given;
  std::size_t at = 0;
  std::size_t mostAnswers;
};

class FleetWorker : public MachineChecks {
 protected:
  ~FleetWorker() override { xml::AllowWaiting(true); }
  static int StatusOf(TTold& channel) {
    TMachineCheck check(Settings());
    TFrameReader tasks(channel);
    return AnswerTasks(tasks, channel, check);
  }
};

TEST_F(FleetWorker, AnswersEachTaskAloneUntilNoneComes) {
  WatchMemory();
  const std::string sample = AnswerOf("m", EInventory::kFile, kSample);
  TTold channel(FrameOfTask({"m", EInventory::kFile, kSample}) +
                    FrameOfTask({"n", EInventory::kNone, "why"}) +
                    FrameOfTask({"m", EInventory::kFile, kSample}),
                9);
  EXPECT_EQ(StatusOf(channel), kExitDone);
  EXPECT_EQ(channel.answers, (std::vector<std::string>{sample, FailedAnswer("n", "why"), sample}));
}

TEST_F(FleetWorker, EndsWhereNobodyTakesItsAnswers) {
  WatchMemory();
  const std::string task = FrameOfTask({"n", EInventory::kNone, "why"});
  TTold channel(task + task + task, 1);
  EXPECT_EQ(StatusOf(channel), kExitFailure);
  EXPECT_EQ(channel.answers.size(), 1U);
}

// It was a file when it was listed.
TEST_F(FleetWorker, WaitsForNobodyWhoWritesIntoAPipe) {
  const std::string pipe = folder.Path() + "/a.xml";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  WatchMemory();
  std::atomic<bool> isOver = false;
  std::thread writer([&] {
    int file = -1;
    while (file == -1 && !isOver) file = ::open(pipe.c_str(), O_WRONLY | O_NONBLOCK);
    ::close(file);
  });
  TTold channel(FrameOfTask({"m", EInventory::kFile, pipe}), 1);
  EXPECT_EQ(StatusOf(channel), kExitDone);
  isOver = true;
  writer.join();
  ASSERT_EQ(channel.answers.size(), 1U);
  EXPECT_NE(channel.answers[0].find("is no regular file"), std::string::npos) << channel.answers[0];
}

// What elements are chosen by, as an inventory has it.
using TTypes = std::vector<std::string>;

boost::shared_ptr<NQRXHSK20::ICIMNamespace> Inventory(const TTypes& types,
                                                      const std::string& build = "") {
  const auto inventory = MakeInMemoryNamespace();
  DeclareBuiltinClasses(inventory);
  std::string text = "<CIM><DECLARATION><DECLGROUP>";
  const auto instance = [&](const std::string& name, const std::string& properties) {
    text += "<VALUE.OBJECT><INSTANCE CLASSNAME=\"" + name + "\">" + properties +
            "</INSTANCE></VALUE.OBJECT>";
  };
  for (const std::string& type : types) instance("QRXSG_ComputerSystem", type);
  if (!build.empty()) instance("QRXSG_OperatingSystem", Property("BuildID", build));
  ParseDocument(inventory, text + "</DECLGROUP></DECLARATION></CIM>");
  return inventory;
}

TEST(KindsOfMachines, AreToldApartByAllThatElementsAreChosenBy) {
  const auto type = [](const std::string& value) { return Property("MachineType", value); };
  const std::vector<boost::shared_ptr<NQRXHSK20::ICIMNamespace>> different = {
      Inventory({}),
      Inventory({""}),
      Inventory({type("1")}),
      Inventory({type("2")}),
      Inventory({type("1"), type("2")}),
      Inventory({type("12")}),
      Inventory({type("1")}, "SUSE"),
      Inventory({type("1")}, "SUSE 10")};
  for (std::size_t i = 0; i < different.size(); ++i) {
    ASSERT_TRUE(KindOf(different[i])) << i;
    EXPECT_EQ(KindOf(different[i]), KindOf(different[i]));
    for (std::size_t k = 0; k < i; ++k) EXPECT_NE(KindOf(different[i]), KindOf(different[k]));
  }
  EXPECT_EQ(KindOf(Inventory({type("1") + Property("SerialNumber", "a")})),
            KindOf(Inventory({type("1") + Property("SerialNumber", "b")})));
}

TEST(KindsOfMachines, AreNoneWhereAnArrayStandsInAPlaceOfAText) {
  EXPECT_FALSE(
      KindOf(Inventory({"<PROPERTY.ARRAY NAME=\"MachineType\" TYPE=\"string\">"
                        "<VALUE.ARRAY><VALUE>1</VALUE></VALUE.ARRAY></PROPERTY.ARRAY>"})));
}

}  // namespace
}  // namespace svc::fleet
