#include "svcheck/output.h"

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "runtime/hskcore/os_platform.h"
#include "runtime/hskcore/path_of.h"
#include "svcheck/failure.h"
#include "svcheck/interruption.h"
#include "svcheck/paths.h"
#include "svcheck/process.h"

namespace fs = std::filesystem;

namespace svc {

namespace {

[[noreturn]] void FailToWrite(const std::string& place, int error) {
  throw TFailure("cannot write " + place + ": " + std::generic_category().message(error) +
                 "; check that there is space and that you may write there");
}

// A C stream with its errors turned into failures.
class TStream {
 public:
  TStream(std::FILE* file, std::string place) : file(file), place(std::move(place)) {}
  ~TStream() {
    if (file != nullptr && file != stdout) std::fclose(file);
  }
  TStream(const TStream&) = delete;
  TStream& operator=(const TStream&) = delete;

  void Write(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), file) != text.size()) FailToWrite(place, errno);
  }
  void Flush() {
    if (std::fflush(file) != 0 || std::ferror(file) != 0) FailToWrite(place, errno);
  }
  void Close() {
    Flush();
    std::FILE* const closed = std::exchange(file, nullptr);
    if (closed != stdout && std::fclose(closed) != 0) FailToWrite(place, errno);
  }

 private:
  std::FILE* file;
  std::string place;
};

class TStreamOutput : public TOutput {
 public:
  TStreamOutput(std::FILE* file, std::string place) : stream(file, std::move(place)) {}
  void Write(std::string_view text) override { stream.Write(text); }
  void Commit() override { stream.Flush(); }

 private:
  TStream stream;
};

class TFileOutput : public TOutput {
 public:
  explicit TFileOutput(fs::path target)
      : target(std::move(target)),
        written(fs::path(this->target) += ".svcheck-" + std::to_string(ProcessId())),
        removal(written.string()),
        stream(Open(), this->target.string()) {}

  void Write(std::string_view text) override { stream.Write(text); }

  void Commit() override {
    stream.Close();
    std::error_code error;
    if (fs::exists(target, error)) {
      fs::permissions(written, fs::status(target).permissions(), error);
    }
    fs::rename(written, target, error);
    if (error) FailToWrite(target.string(), error.value());
    removal.Disarm();
  }

 private:
  std::FILE* Open() {
    std::error_code ignored;
    fs::remove(written, ignored);  // Left by a process of the same number that was killed.
    std::FILE* const file = OpenNewFile(written);
    if (file == nullptr) FailToWrite(target.string(), errno);
    return file;
  }

  fs::path target;
  fs::path written;
  TTemporaryFile removal;
  TStream stream;
};

bool IsWrittenInPlace(const fs::path& path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  return fs::exists(status) && !fs::is_regular_file(status);
}

// A link stays a link: what it points to is replaced.
fs::path FollowLinks(const fs::path& path) {
  std::error_code error;
  if (!fs::is_symlink(path, error)) return path;
  const fs::path target = fs::weakly_canonical(path, error);
  return error ? path : target;
}

}  // namespace

void FlushStandardOutput() {
  if (std::fflush(stdout) != 0) FailToWrite("standard output", errno);
  // An earlier failure, of the plug-in's writing for one, has left no more than its mark.
  if (std::ferror(stdout) != 0) FailToWrite("standard output", EIO);
}

std::unique_ptr<TOutput> OpenOutput(const std::string& path) {
  if (path == "-") return std::make_unique<TStreamOutput>(stdout, "standard output");
  if (path.empty()) throw TFailure("the name of the output is empty; name a file", kExitUsage);
  std::error_code ignored;
  if (fs::is_directory(PathOf(path), ignored)) FailToWrite(path, EISDIR);
  if (!IsWrittenInPlace(PathOf(path)))
    return std::make_unique<TFileOutput>(FollowLinks(Absolute(path)));
  std::FILE* const file = OpenNativeFile(path, "wb");
  if (file == nullptr) FailToWrite(path, errno);
  return std::make_unique<TStreamOutput>(file, path);
}

}  // namespace svc
