#include "svcheck/system/paths.h"

#include <atomic>
#include <cerrno>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include "base/files.h"
#include "base/shown_text.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/process.h"

namespace svc {
namespace {

std::atomic<bool> hasMemoryRunOut{false};
std::atomic<bool> isQuiet{false};

void NoteMemoryRunOut() {
  hasMemoryRunOut = true;
  throw std::bad_alloc();
}

TError NotWritten(const std::string& place, const std::string& why) {
  return TError("cannot write " + place + ": " + why +
                "; check that there is space and that you may write there");
}
[[noreturn]] void FailToWrite(const std::string& place, int error) {
  throw NotWritten(place, std::generic_category().message(error));
}

// Does something with a file, and says of a failure that the place cannot be written.
template <typename TAction>
auto Do(const std::string& place, const TAction& action) {
  return Retold(action, [&place](const TError& error) {
    return error.Kind() == EErrorKind::kFile ? NotWritten(place, error.what()) : error;
  });
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
    Do(target,
       [&] { file.emplace(target, [&](const std::string& path) { removal.emplace(path); }); });
  }

  void Write(std::string_view text) override {
    Do(target, [&] { file->Write(text); });
  }

  void Commit() override {
    Do(target, [&] { file->Publish(); });
    removal->Disarm();
  }

 private:
  std::string target;
  std::optional<TTemporaryFile> removal;
  std::optional<files::TNewFile> file;
};

}  // namespace

void WatchMemory() noexcept {
  hasMemoryRunOut = false;
  std::set_new_handler(NoteMemoryRunOut);
}

bool HasMemoryRunOut() noexcept { return hasMemoryRunOut; }

void ReportError(const std::string& text) noexcept {
  try {
    ShowLine("svcheck: " + text);
  } catch (...) {
    ShowLine("svcheck: out of memory");
  }
}

void ReportNote(const std::string& text) noexcept {
  if (!IsQuiet()) ReportError(text);
}

void BeQuiet() noexcept { isQuiet = true; }

bool IsQuiet() noexcept { return isQuiet; }

void FlushStandardOutput() {
  if (std::fflush(stdout) != 0) FailToWrite("standard output", errno);
  // Of an earlier failure, such as one of the plug-in's own writing, nothing but this mark is left.
  if (std::ferror(stdout) != 0) FailToWrite("standard output", EIO);
}

std::unique_ptr<TOutput> OpenOutput(const std::string& path) {
  if (path == "-") return std::make_unique<TStreamOutput>(stdout, "standard output");
  if (path.empty())
    throw TError("the name of the output is empty; name a file", EErrorKind::kUsage);
  return Do(path, [&]() -> std::unique_ptr<TOutput> {
    if (files::WhatIsNamed(path) != files::ENamed::kOther)
      return std::make_unique<TFileOutput>(Absolute(path).string());
    return std::make_unique<TStreamOutput>(files::OpenInPlace(path, files::EStart::kEmpty), path);
  });
}

}  // namespace svc
