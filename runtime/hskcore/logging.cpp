#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#if __has_include(<ext/atomicity.h>)
#include <ext/atomicity.h>
#endif
#include <mutex>
#include <system_error>
#include <utility>

#include "base/files.h"
#include "base/json_writer.h"
#include "host/hskcore/exception.h"
#include "host/hskcore/os_specific.h"
#include "runtime/hskcore/logging.h"

namespace svc {

using NQRXHSK20::THSKException;
using NQRXHSK20::THSKStatusCode;
using NQRXHSK20::TOSSpecific;

namespace {

constexpr std::string_view kBeforeLevel = "{\"level\":";
constexpr std::string_view kBeforeMessage = ",\"message\":\"";
constexpr std::string_view kEnd = "\"}\n";
constexpr std::size_t kLongestLevel = 11;
constexpr std::size_t kFrame =
    kBeforeLevel.size() + kLongestLevel + kBeforeMessage.size() + kEnd.size();
constexpr std::size_t kBufferSize = 1 << 18;

std::size_t LongestLine(std::string_view message) {
  return kFrame + message.size() * kLongestJsonByte;
}

// All that stands before a message of one of the levels that there are, 0 to 9.
constexpr std::string_view kUsualStart = "{\"level\":0,\"message\":\"";

char* Write(char* target, std::string_view text) {
  text.copy(target, text.size());
  return target + text.size();
}

char* WriteLine(char* target, int level, std::string_view message) {
  if (level >= 0 && level <= 9) {
    char* const start = target;
    target = Write(target, kUsualStart);
    start[kBeforeLevel.size()] = static_cast<char>('0' + level);
  } else {
    target = Write(target, kBeforeLevel);
    target = std::to_chars(target, target + kLongestLevel, level).ptr;
    target = Write(target, kBeforeMessage);
  }
  target = WriteJsonText(target, message);
  return Write(target, kEnd);
}

std::FILE* OpenLog(const std::string& path) {
  try {
    return files::OpenInPlace(TOSSpecific::NativePath(path), files::EStart::kEmpty);
  } catch (const TError& error) {
    throw THSKException("The log \"" + path + "\" cannot be written: " + error.what(),
                        THSKStatusCode::kFailed);
  }
}

}  // namespace

// The file and what is not yet in it.
struct TJsonLogger::TSink {
  TSink(std::FILE* file, std::string path, TErrorCallback onError)
      : file(file), path(std::move(path)), onError(std::move(onError)) {
    std::setvbuf(file, nullptr, _IONBF, 0);
  }

  void Append(int level, std::string_view message);
  void WriteOut();
  void Put(const char* bytes, std::size_t size);

  std::FILE* file;
  std::string path;
  TErrorCallback onError;
  std::mutex mutex;
  std::unique_ptr<char[]> buffer = std::make_unique_for_overwrite<char[]>(kBufferSize);
  std::size_t used = 0;
  bool hasFailed = false;
};

void TJsonLogger::TSink::Append(int level, std::string_view message) {
  const std::size_t longest = LongestLine(message);
  if (longest > kBufferSize - used) {
    WriteOut();
  }
  if (longest <= kBufferSize) {
    used = static_cast<std::size_t>(WriteLine(buffer.get() + used, level, message) - buffer.get());
    return;
  }
  const auto large = std::make_unique_for_overwrite<char[]>(longest);
  Put(large.get(), static_cast<std::size_t>(WriteLine(large.get(), level, message) - large.get()));
}

void TJsonLogger::TSink::WriteOut() {
  Put(buffer.get(), used);
  used = 0;
}

void TJsonLogger::TSink::Put(const char* bytes, std::size_t size) {
  if (hasFailed || std::fwrite(bytes, 1, size, file) == size) {
    return;
  }
  hasFailed = true;
  if (onError) {
    onError("The log \"" + path + "\" cannot be written: " +
            std::generic_category().message(errno) + ". The rest of it is lost.");
  }
}

boost::shared_ptr<TJsonLogger> TJsonLogger::Open(const std::string& path, int highestLevel,
                                                 const TErrorCallback& onError) {
  std::FILE* file = OpenLog(path);
  auto sink = std::make_unique<TSink>(file, path, onError);
  return boost::shared_ptr<TJsonLogger>(new TJsonLogger(std::move(sink), highestLevel));
}

// Whether no other thread was ever started; false where the C++ library does not say.
static bool IsAlone() noexcept {
#if __has_include(<ext/atomicity.h>)
  return __gnu_cxx::__is_single_threaded();
#else
  return false;
#endif
}

TJsonLogger::TJsonLogger(std::unique_ptr<TSink> sink, int highestLevel)
    : sink(std::move(sink)), highestLevel(highestLevel) {}

TJsonLogger::~TJsonLogger() {
  sink->WriteOut();
  std::fclose(sink->file);
}

void TJsonLogger::Log(int level, std::string_view message) {
  if (level > highestLevel) {
    return;
  }
  // A lock costs as much as a line: none is taken where no other thread was ever started.
  if (IsAlone()) return sink->Append(level, message);
  const std::lock_guard lock(sink->mutex);
  sink->Append(level, message);
}

bool TJsonLogger::Flush() {
  const std::lock_guard lock(sink->mutex);
  sink->WriteOut();
  return !sink->hasFailed;
}

NQRXHSK20::ILogger& NullLogger() noexcept {
  static TNullLogger& logger = *new TNullLogger;
  return logger;
}

}  // namespace svc
