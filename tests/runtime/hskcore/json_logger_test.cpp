#include "runtime/hskcore/logging.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "host/hskcore/exception.h"

namespace svc {
namespace {

class JsonLogger : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    folder =
        std::filesystem::path(::testing::TempDir()) / ("json logger " + std::string(test->name()));
    std::filesystem::create_directories(folder);
    path = (folder / "log.json").string();
  }
  void TearDown() override { std::filesystem::remove_all(folder); }

  boost::shared_ptr<TJsonLogger> Open(int level) {
    return TJsonLogger::Open(path, level, [this](const std::string& e) { errors.push_back(e); });
  }

  std::string Written() const {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  std::filesystem::path folder;
  std::string path;
  std::vector<std::string> errors;
};

TEST_F(JsonLogger, WritesOneObjectALine) {
  auto logger = Open(4);
  logger->Log(4, "In RunQuery");
  logger->Log(0, "");
  EXPECT_TRUE(logger->Flush());
  EXPECT_EQ(Written(),
            "{\"level\":4,\"message\":\"In RunQuery\"}\n{\"level\":0,\"message\":\"\"}\n");
}

TEST_F(JsonLogger, WritesWhatIsLeftWhenItGoes) {
  Open(4)->Log(3, "last");
  EXPECT_EQ(Written(), "{\"level\":3,\"message\":\"last\"}\n");
}

TEST_F(JsonLogger, DropsTheLevelsAboveItsOwn) {
  auto logger = Open(1);
  EXPECT_TRUE(logger->IsLogged(1));
  EXPECT_FALSE(logger->IsLogged(3));
  logger->Log(3, "dropped");
  logger->Log(1, "kept");
  logger.reset();
  EXPECT_EQ(Written(), "{\"level\":1,\"message\":\"kept\"}\n");
}

struct TMessageCase {
  std::string message;
  std::string json;
};

const TMessageCase kMessages[] = {
    {"a \"quoted\" C:\\path", "a \\\"quoted\\\" C:\\\\path"},
    {"\b\f\n\r\t", "\\b\\f\\n\\r\\t"},
    {std::string("\0\x01\x1f\x7f", 4), "\\u0000\\u0001\\u001f\\u007f"},
    {"/", "/"},
    {"twelve plain bytes, then \x80", "twelve plain bytes, then \xef\xbf\xbd"},
    {"\xc3\xa9\xe2\x82\xac\xf0\x9f\x92\xa9", "\xc3\xa9\xe2\x82\xac\xf0\x9f\x92\xa9"},
    {"\xff\xfe", "\xef\xbf\xbd\xef\xbf\xbd"},
    {"\xe2\x82z", "\xef\xbf\xbdz"},
    {"\xe2\x82", "\xef\xbf\xbd"},
    {"\xf0\x9f\x92", "\xef\xbf\xbd"},
    {"\xc0\x80", "\xef\xbf\xbd\xef\xbf\xbd"},
    {"\xed\xa0\x80", "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd"},
    {"\xf4\x90\x80\x80", "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd"},
    {"\x7e\x7f\x7e", "\x7e\\u007f\x7e"},
    {"plain and then DEL, at the end \x7f", "plain and then DEL, at the end \\u007f"},
    {"\xc1\xbf\xc2\x80\xc2\x9b", "\xef\xbf\xbd\xef\xbf\xbd\\u0080\\u009b"},
    {"\xc2\x9f\xc2\xa0\xc3\x9b", "\\u009f\xc2\xa0\xc3\x9b"},
    {"\xe2\x80\xa9\xe2\x80\xaa\xe2\x80\xae\xe2\x80\xaf", "\xe2\x80\xa9\\u202a\\u202e\xe2\x80\xaf"},
    {"\xe2\x81\xa5\xe2\x81\xa6\xe2\x81\xa9\xe2\x81\xaa\xe2\x82\xaa",
     "\xe2\x81\xa5\\u2066\\u2069\xe2\x81\xaa\xe2\x82\xaa"},
    {"1234567\"", "1234567\\\""},
    {"12345678\xc3", "12345678\xef\xbf\xbd"},
};

TEST_F(JsonLogger, EscapesWhatJsonDoesNotTake) {
  for (const TMessageCase& row : kMessages) {
    Open(4)->Log(4, row.message);
    EXPECT_EQ(Written(), "{\"level\":4,\"message\":\"" + row.json + "\"}\n") << row.message;
  }
}

TEST_F(JsonLogger, TakesEveryByteAtEveryPlace) {
  auto logger = Open(4);
  std::size_t lines = 0;
  for (int byte = 0; byte < 128; ++byte) {
    for (int place = 0; place < 17; ++place, ++lines) {
      std::string message(17, 'x');
      message[place] = static_cast<char>(byte);
      logger->Log(4, message);
    }
  }
  logger.reset();
  const std::string written = Written();
  for (const char c : written) {
    ASSERT_TRUE((static_cast<unsigned char>(c) >= 0x20 && c != 0x7f) || c == '\n');
  }
  EXPECT_EQ(static_cast<std::size_t>(std::count(written.begin(), written.end(), '\n')), lines);
}

TEST_F(JsonLogger, WritesEveryLengthAtEveryLevel) {
  auto logger = Open(10);
  std::string expected;
  for (const int level : {-10, -1, 0, 4, 9, 10}) {
    for (std::size_t length = 0; length <= 300; ++length) {
      const std::string message(length, static_cast<char>('a' + length % 26));
      logger->Log(level, message);
      expected += "{\"level\":" + std::to_string(level) + ",\"message\":\"" + message + "\"}\n";
    }
  }
  logger.reset();
  EXPECT_EQ(Written(), expected);
}

// Some fill the buffer to its end, all but a few bytes of it, or a little less.
TEST_F(JsonLogger, KeepsEveryLineOfALongLogInOrder) {
  auto logger = Open(4);
  std::string expected;
  for (std::size_t i = 0; i < 60000; ++i) {
    const std::string number = std::to_string(i);
    const std::string message = number + std::string(i * 7 % 150, i % 11 == 0 ? '\n' : '.');
    logger->Log(4, message);
    expected += "{\"level\":4,\"message\":\"" + number;
    for (const char c : message.substr(number.size())) expected += c == '\n' ? "\\n" : ".";
    expected += "\"}\n";
    if (i % 20011 == 0) {
      ASSERT_TRUE(logger->Flush());
      ASSERT_TRUE(Written() == expected) << i;
    }
  }
  logger.reset();
  ASSERT_GT(expected.size(), 4U << 20);
  EXPECT_TRUE(Written() == expected);
}

// Whoever looks for a full disk sees it before the log is.
TEST_F(JsonLogger, TakesRoomAheadWhereItIsGivenAndGivesItBack) {
  const auto ahead = [](const std::string& name) {
    struct stat status {};
    EXPECT_EQ(::stat(name.c_str(), &status), 0);
    return status.st_blocks * 512 - status.st_size;
  };
  const std::string other = (folder / "other").string();
  std::FILE* const file = std::fopen(other.c_str(), "wb");
  const bool isGiven = ::fallocate(::fileno(file), FALLOC_FL_KEEP_SIZE, 0, 1 << 20) == 0;
  std::fclose(file);
  auto logger = Open(4);
  for (int i = 0; i < 12000; ++i) logger->Log(4, std::string(50, 'x'));
  EXPECT_EQ(ahead(path) >= 256 << 10, isGiven);
  EXPECT_TRUE(logger->Flush());
  EXPECT_LE(ahead(path), 64 << 10);
}

TEST_F(JsonLogger, LeavesAFileThatSomebodyMadeLongerAsLongAsItIs) {
  constexpr std::size_t kLength = 3 << 20;
  auto logger = Open(4);
  for (int i = 0; i < 12000; ++i) logger->Log(4, std::string(50, 'x'));
  ASSERT_GT(std::filesystem::file_size(path), 0U);
  std::filesystem::resize_file(path, kLength);
  EXPECT_TRUE(logger->Flush());
  EXPECT_EQ(std::filesystem::file_size(path), kLength);
}

TEST_F(JsonLogger, KeepsLinesLongerThanItsBuffer) {
  const std::string message = std::string(1 << 20, 'x') + "\x01";
  auto logger = Open(4);
  logger->Log(4, "before");
  logger->Log(4, message);
  logger->Log(4, "after");
  logger.reset();
  EXPECT_EQ(Written(), "{\"level\":4,\"message\":\"before\"}\n{\"level\":4,\"message\":\"" +
                           std::string(1 << 20, 'x') +
                           "\\u0001\"}\n{\"level\":4,\"message\":\"after\"}\n");
}

TEST_F(JsonLogger, NeverMixesTheLinesOfThreads) {
  auto logger = Open(4);
  std::atomic<int> ready = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      ++ready;
      while (ready < 4) std::this_thread::yield();
      for (int i = 0; i < 25000; ++i) {
        logger->Log(4, std::string(20, static_cast<char>('a' + t)));
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  logger.reset();
  std::ifstream file(path);
  std::string line;
  std::size_t lines = 0;
  for (; std::getline(file, line); ++lines) {
    const std::string letters(20, line[22]);
    ASSERT_EQ(line, "{\"level\":4,\"message\":\"" + letters + "\"}");
  }
  EXPECT_EQ(lines, 100000u);
}

TEST_F(JsonLogger, SaysOnceThatItCannotWrite) {
  path = "/dev/full";
  if (!std::filesystem::exists(path)) {
    GTEST_SKIP() << "no " << path;
  }
  auto logger = Open(4);
  logger->Log(4, "lost");
  EXPECT_FALSE(logger->Flush());
  logger->Log(4, "lost too");
  EXPECT_FALSE(logger->Flush());
  EXPECT_EQ(errors,
            (std::vector<std::string>{
                "The log \"/dev/full\" cannot be written: No space left on device. The rest "
                "of it is lost."}));
}

TEST_F(JsonLogger, RefusesAFileThatCannotBeMade) {
  path = (folder / "missing" / "log.json").string();
  try {
    Open(4);
    FAIL() << "opened";
  } catch (const NQRXHSK20::THSKException& error) {
    EXPECT_EQ(error.GetStatusCode(), NQRXHSK20::THSKStatusCode::kFailed);
    EXPECT_EQ(error.GetMessageText(),
              "The log \"" + path + "\" cannot be written: No such file or directory");
  }
}

}  // namespace
}  // namespace svc
