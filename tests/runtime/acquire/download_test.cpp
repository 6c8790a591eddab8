// Whole downloads from a server of this machine: what is asked for, told and left.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "recorded_calls.h"
#include "runtime/acquire/crypto.h"
#include "runtime/acquire/engine.h"
#include "runtime/acquire/manifest.h"
#include "tests/support/listening_server.h"
#include "tests/support/temporary_folder.h"

namespace svc::acquire {
namespace {

namespace fs = std::filesystem;
using KPLAcquistion::ArchTypeEnum;
using KPLAcquistion::OSTypeEnum;
using nlohmann::json;
using TTexts = std::vector<std::string>;

// Gives the contents that it was given, by their paths.
class TServer {
 public:
  std::string Address() const { return server.Address() + "/sv"; }
  void Put(const std::string& path, const std::string& content) {
    const std::scoped_lock lock(mutex);
    contents["/sv/" + path] = content;
  }
  // What was asked for since, in the order of the paths.
  std::multiset<std::string> Asked() {
    const std::scoped_lock lock(mutex);
    return std::exchange(asked, {});
  }

 private:
  // "GET PATH"
  std::string AnswerTo(const std::string& what) {
    const std::scoped_lock lock(mutex);
    const std::string path = what.substr(4);
    asked.insert(path);
    const auto found = contents.find(path);
    const std::string body = found == contents.end() ? "none" : found->second;
    return std::string("HTTP/1.1 ") + (found == contents.end() ? "404 None" : "200 OK") +
           "\r\nConnection: close\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
           body;
  }

  std::mutex mutex;
  std::map<std::string, std::string> contents;
  std::multiset<std::string> asked;
  test::TListeningServer server{
      [this](const test::THttpRequest& request) { return AnswerTo(request.what); }};
};

struct TCallback : KPLAcquistion::AcquireCallbackIfc {
  void onStatus(std::int32_t kind, const std::string& text, std::int32_t code) override {
    told.push_back(std::to_string(kind) + " " + text + " " + std::to_string(code));
  }
  TTexts told;
};

struct TOffered {
  std::string name;
  std::string path;
  std::string content;
  std::string machineType = "4620";
  bool isLatest = true;
  bool isPayload = false;
};

class Download : public testing::Test {
 protected:
  Download() {
    job.folder = folder.Path() + "/drive/SV/";
    job.machineTypes = {"4620"};
    job.systems = {{OSTypeEnum::kRHEL5, ArchTypeEnum::kX64}};
    job.settings.repository = server.Address();
    job.settings.stateFolder = folder.Path() + "/state";
    job.settings.proxy = "none";
    job.settings.allowUnsigned = true;
    job.settings.limits.attempts = 1;
  }

  void Offer(int serial, const std::vector<TOffered>& files,
             const char* expires = "2999-01-01T00:00:00Z") {
    json document = {{"schema", 1}, {"serial", serial}, {"expires", expires}};
    document["files"] = json::array();
    for (const TOffered& file : files) {
      document["files"].push_back({{"name", file.name},
                                   {"path", file.path},
                                   {"size", file.content.size()},
                                   {"sha256", ToHex(Hash(EHash::kSha256, file.content))},
                                   {"machineTypes", {file.machineType}},
                                   {"os", 203},
                                   {"arch", 2},
                                   {"latest", file.isLatest},
                                   {"payload", file.isPayload}});
      server.Put(file.path, file.content);
    }
    server.Put(kManifestName, document.dump());
  }
  TOutcome Run() {
    TOutcome outcome;
    callback.told.clear();
    test::RecordedCalls().clear();
    RunDownload(job, callback, outcome);
    return outcome;
  }
  // "NAME=CONTENT"
  std::set<std::string> Files(const fs::path& where) const {
    std::set<std::string> files;
    for (const auto& entry : fs::directory_iterator(where)) {
      std::string content;
      if (entry.is_regular_file()) {
        std::ifstream file(entry.path(), std::ios::binary);
        content.assign(std::istreambuf_iterator<char>(file), {});
      }
      files.insert(entry.path().filename().string() + "=" + content);
    }
    return files;
  }

  test::TTemporaryFolder folder;
  TServer server;
  TCallback callback;
  TDownloadJob job;
};

TEST_F(Download, BringsWhatIsForTheMachineAndTellsWhatIsOffered) {
  Offer(7, {{"a.xml", "files/one", "first"},
            {"old.xml", "files/old", "old", "4620", false},
            {"b.bin", "files/b", "payload", "4620", true, true},
            {"c.xml", "files/c", "other", "4621"}});
  job.latestOnly = true;
  const TOutcome outcome = Run();
  EXPECT_EQ(outcome.code, EOutcome::kDone);
  EXPECT_EQ(outcome.text, "");
  EXPECT_EQ(outcome.offered, (TTexts{"a.xml", "b.bin", "c.xml"}));
  EXPECT_EQ(server.Asked(),
            (std::multiset<std::string>{"/sv/files/one", "/sv/sv-repository.json"}));
  EXPECT_EQ(Files("drive/SV"), (std::set<std::string>{"a.xml=first"}));
  EXPECT_EQ(Files("drive"), (std::set<std::string>{"SV=", "SV.lock="})) << "nothing is left over";
  const std::string here = "4620:Red Hat Enterprise Linux 5 x64";
  EXPECT_EQ(callback.told, (TTexts{"3 " + here + " 3", "4 " + here + ":1 3", "0 a.xml:5 3",
                                   "1 a.xml:5 3", "13 a.xml:verified 3", "6 " + here + " 3",
                                   "7 " + here + ":1 3", "8 a.xml:5 3", "9 a.xml:verified 3"}));
}

TEST_F(Download, PutsTheNamesOnStableStorageInTheEnd) {
  Offer(7, {{"a.xml", "files/one", "first"}});
  Run();
  const TTexts calls = test::RecordedCalls();
  ASSERT_GE(calls.size(), 3U);
  EXPECT_EQ(
      TTexts(calls.end() - 3, calls.end()),
      (TTexts{"fsync drive/SV.part/1", "rename drive/SV.part/1 drive/SV/a.xml", "fsync drive/SV"}));
}

TEST_F(Download, BringsNothingThatIsThere) {
  Offer(7, {{"a.xml", "files/one", "first"}, {"b.xml", "files/two", "second"}});
  Run();
  server.Asked();
  Offer(7, {{"a.xml", "files/one", "First"}, {"b.xml", "files/two", "second"}});
  EXPECT_EQ(Run().code, EOutcome::kDone);
  EXPECT_EQ(server.Asked(),
            (std::multiset<std::string>{"/sv/files/one", "/sv/sv-repository.json"}));
  EXPECT_EQ(Files("drive/SV"), (std::set<std::string>{"a.xml=First", "b.xml=second"}));
  EXPECT_EQ(Run().code, EOutcome::kDone);
  EXPECT_EQ(server.Asked(), (std::multiset<std::string>{"/sv/sv-repository.json"}));
  EXPECT_EQ(test::RecordedCalls(), TTexts{});
}

TEST_F(Download, TakesNothingOlderThanItTookBefore) {
  Offer(7, {{"a.xml", "files/one", "first"}});
  EXPECT_EQ(Run().code, EOutcome::kDone);
  Offer(6, {{"a.xml", "files/one", "older"}});
  const TOutcome outcome = Run();
  EXPECT_EQ(outcome.code, EOutcome::kRolledBack);
  EXPECT_EQ(outcome.text,
            "the repository's manifest has serial 6, but one with serial 7 was accepted before; "
            "nothing older is taken");
  EXPECT_FALSE(outcome.offered.has_value());
  EXPECT_EQ(Files("drive/SV"), (std::set<std::string>{"a.xml=first"}));
}

TEST_F(Download, TakesNothingThatIsPastItsDate) {
  Offer(7, {{"a.xml", "files/one", "first"}}, "2020-01-02T03:04:05Z");
  const TOutcome outcome = Run();
  EXPECT_EQ(outcome.code, EOutcome::kExpired);
  EXPECT_TRUE(
      outcome.text.starts_with("the repository's manifest was good until "
                               "2020-01-02T03:04:05Z; "))
      << outcome.text;
  EXPECT_FALSE(folder.Holds("state"));
}

TEST_F(Download, TakesNoFileThatIsNotTheOneDescribed) {
  Offer(7, {{"a.xml", "files/one", "first"}});
  server.Put("files/one", "First");
  const TOutcome outcome = Run();
  EXPECT_EQ(outcome.code, EOutcome::kBadContent);
  EXPECT_EQ(outcome.text,
            "files/one is not the file that the manifest describes: its SHA-256 is another; the "
            "repository is being changed or was tampered with");
  EXPECT_EQ(Files("drive/SV"), std::set<std::string>{});
  EXPECT_EQ(Files("drive"), (std::set<std::string>{"SV=", "SV.lock="}));
}

TEST_F(Download, WithAKeyWantsASignature) {
  std::ofstream("sv.pub") << "untrusted comment: none\n"
                          << ToBase64("Ed" + std::string(40, 'k')) << "\n";
  Offer(7, {{"a.xml", "files/one", "first"}});
  job.settings.publicKeyFile = "sv.pub";
  const TOutcome outcome = Run();
  EXPECT_EQ(outcome.code, EOutcome::kUnsigned);
  EXPECT_NE(outcome.text.find("sv-repository.json.minisig"), std::string::npos) << outcome.text;
  EXPECT_EQ(server.Asked(), (std::multiset<std::string>{"/sv/sv-repository.json",
                                                        "/sv/sv-repository.json.minisig"}));
}

TEST_F(Download, OfDescriptionsKeepsThemByWhatTheyHold) {
  Offer(7, {{"a.xml", "files/one", "first"},
            {"b.bin", "files/b", "payload", "4620", true, true},
            {"c.xml", "files/c", "other", "4621"}});
  const std::string state = folder.Path() + "/state/fetched";
  const auto fetch = [&] {
    TFetched fetched;
    TOutcome outcome;
    FetchDescriptions(job, fetched, outcome);
    EXPECT_EQ(outcome.code, EOutcome::kDone) << outcome.text;
    EXPECT_FALSE(outcome.offered.has_value());
    return fetched;
  };
  const std::string first = ToHex(Hash(EHash::kSha256, "first"));
  const TFetched fetched = fetch();
  EXPECT_EQ(fetched.serial, 7U);
  ASSERT_EQ(fetched.files.size(), 1U);
  EXPECT_EQ(fetched.files[0].path, "files/one");
  EXPECT_TRUE(fetched.files[0].here.starts_with(state + "/")) << fetched.files[0].here;
  EXPECT_TRUE(fetched.files[0].here.ends_with("/" + first));
  const fs::path where = fs::path(fetched.files[0].here).parent_path();
  EXPECT_EQ(Files(where), std::set<std::string>{first + "=first"});
  // Of all machines; and what is no longer named goes.
  job.machineTypes.clear();
  Offer(8, {{"a.xml", "files/one", "newer"}, {"c.xml", "files/c", "other", "4621"}});
  EXPECT_EQ(fetch().files.size(), 2U);
  EXPECT_EQ(Files(where), (std::set<std::string>{ToHex(Hash(EHash::kSha256, "newer")) + "=newer",
                                                 ToHex(Hash(EHash::kSha256, "other")) + "=other"}));
}

}  // namespace
}  // namespace svc::acquire
