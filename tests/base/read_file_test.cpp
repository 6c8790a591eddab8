#include "base/files.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstring>
#include <thread>

#include "made_folder.h"

namespace {

int refusedCommand = -1;  // Which control of a file the system does not grant.

}  // namespace

extern "C" {

int __real_fcntl(int file, int command, ...);

int __wrap_fcntl(int file, int command, ...) {
  va_list list;
  va_start(list, command);
  const long argument = va_arg(list, long);
  va_end(list);
  if (command != refusedCommand) return __real_fcntl(file, command, argument);
  errno = EPERM;
  return -1;
}

}  // extern "C"

namespace svc::files {
namespace {

class ReadFile : public TMadeFolder {
 protected:
  // What stands in the file, or why it is not read.
  std::string Read(const std::string& path, EPipes pipes = EPipes::kGiven) {
    std::FILE* file = nullptr;
    if (ErrorOf([&] { file = OpenToRead(path, pipes); }) != 0) return reason;
    char text[64];
    const std::size_t size = std::fread(text, 1, sizeof text, file);
    std::fclose(file);
    return {text, size};
  }
};

TEST_F(ReadFile, TakesARegularFileAndALinkToOne) {
  Put("file", "text");
  std::filesystem::create_symlink("file", In("link"));
  EXPECT_EQ(Read(In("file"), EPipes::kNone), "text");
  EXPECT_EQ(Read(In("link"), EPipes::kNone), "text");
  EXPECT_EQ(ErrorOf([&] { OpenToRead(In("none"), EPipes::kNone); }), ENOENT);
}

// It would be taken for empty where nothing has come yet.
TEST_F(ReadFile, IsRefusedWhereItCannotBeWaitedFor) {
  Put("file", "text");
  for (const int command : {F_GETFL, F_SETFL}) {
    refusedCommand = command;
    EXPECT_EQ(ErrorOf([&] { OpenToRead(In("file"), EPipes::kNone); }), EPERM) << command;
    refusedCommand = -1;
  }
  EXPECT_EQ(Read(In("file"), EPipes::kNone), "text");
}

TEST_F(ReadFile, WaitsForNobody) {
  ASSERT_EQ(::mkfifo(In("pipe").c_str(), 0600), 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, In("socket").c_str(), sizeof address.sun_path - 1);
  const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  for (const EPipes pipes : {EPipes::kNone, EPipes::kGiven}) {
    EXPECT_EQ(Read(In("pipe"), pipes), "it is a pipe and no file");
    EXPECT_EQ(Read(In("socket"), pipes), "it is a socket and no file");
    EXPECT_EQ(Read("/dev/zero", pipes), "it is a device and no file");
    EXPECT_EQ(Read(root.string(), pipes), "it is a folder");
  }
  ::close(socket);
}

TEST_F(ReadFile, WaitsForWhatComesThroughAPipeThatItTakes) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  std::thread writer([&ends] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(::write(ends[1], "text", 4), 4);
    ::close(ends[1]);
  });
  EXPECT_EQ(Read("/dev/fd/" + std::to_string(ends[0])), "text");
  writer.join();
  ::close(ends[0]);
}

TEST_F(ReadFile, TakesAPipeThatTheProcessWasGivenWhereItMay) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  ASSERT_EQ(::write(ends[1], "text", 4), 4);
  ::close(ends[1]);
  const std::string path = "/dev/fd/" + std::to_string(ends[0]);
  EXPECT_EQ(Read(path, EPipes::kNone), "it is a pipe and no file");
  EXPECT_EQ(Read(path, EPipes::kGiven), "text");
  ::close(ends[0]);
  EXPECT_EQ(Read("/dev/null", EPipes::kNone), "it is a device and no file");
  EXPECT_EQ(Read("/dev/null", EPipes::kGiven), "");
}

}  // namespace
}  // namespace svc::files
