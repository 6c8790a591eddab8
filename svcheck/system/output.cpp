#include "svcheck/system/output.h"

#include <cerrno>
#include <optional>
#include <utility>

#include "base/new_file.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/interruption.h"
#include "svcheck/system/paths.h"

namespace svc {

namespace {

[[noreturn]] void FailToWrite(const std::string& place, const files::TFileError& error) {
  throw TFailure("cannot write " + place + ": " + error.what() +
                 "; check that there is space and that you may write there");
}
[[noreturn]] void FailToWrite(const std::string& place, int error) {
  FailToWrite(place, FileError(error));
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
  explicit TFileOutput(const std::string& target) : target(target) {
    Do([&] { file.emplace(target, [&](const std::string& path) { removal.emplace(path); }); });
  }

  void Write(std::string_view text) override {
    Do([&] { file->Write(text); });
  }

  void Commit() override {
    Do([&] { file->Publish(); });
    removal->Disarm();
  }

 private:
  template <typename TAction>
  void Do(const TAction& action) {
    try {
      action();
    } catch (const files::TFileError& error) {
      FailToWrite(target, error);
    }
  }

  std::string target;
  std::optional<TTemporaryFile> removal;
  std::optional<files::TNewFile> file;
};

}  // namespace

void FlushStandardOutput() {
  if (std::fflush(stdout) != 0) FailToWrite("standard output", errno);
  // An earlier failure, of the plug-in's writing for one, has left no more than its mark.
  if (std::ferror(stdout) != 0) FailToWrite("standard output", EIO);
}

std::unique_ptr<TOutput> OpenOutput(const std::string& path) {
  if (path == "-") return std::make_unique<TStreamOutput>(stdout, "standard output");
  if (path.empty()) throw TFailure("the name of the output is empty; name a file", kExitUsage);
  try {
    if (files::WhatIsNamed(path) != files::ENamed::kOther)
      return std::make_unique<TFileOutput>(Absolute(path).string());
    return std::make_unique<TStreamOutput>(files::OpenInPlace(path, files::EStart::kEmpty), path);
  } catch (const files::TFileError& error) {
    FailToWrite(path, error);
  }
}

}  // namespace svc
