#include "runtime/hskcore/logging.h"

#include <algorithm>
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
#include "runtime/hskcore/host_setup.h"

namespace svc {

using NQRXHSK20::THSKException;
using NQRXHSK20::THSKStatusCode;
using NQRXHSK20::TOSSpecific;

constexpr std::string_view kBeforeLevel = "{\"level\":";
constexpr std::string_view kBeforeMessage = ",\"message\":\"";
constexpr std::string_view kEnd = "\"}\n";
constexpr std::size_t kLongestLevel = 11;
constexpr std::size_t kFrame =
    kBeforeLevel.size() + kLongestLevel + kBeforeMessage.size() + kEnd.size();
constexpr std::size_t kBufferSize = 1 << 19;

static std::size_t LongestLine(std::string_view message) {
  return kFrame + message.size() * kLongestJsonByte;
}

// All that stands before a message of one of the levels that there are, 0 to 9.
constexpr std::string_view kUsualStart = "{\"level\":0,\"message\":\"";

static char* Write(char* target, std::string_view text) {
  text.copy(target, text.size());
  return target + text.size();
}

static char* WriteLine(char* target, int level, std::string_view message) {
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

static std::FILE* OpenLog(const std::string& path) {
  try {
    return files::OpenInPlace(TOSSpecific::NativePath(path), files::EStart::kEmpty);
  } catch (const TError& error) {
    throw THSKException("The log \"" + path + "\" cannot be written: " + error.what(),
                        THSKStatusCode::kFailed);
  }
}

// The file and what is not yet in it.
struct TJsonLogger::TSink {
  TSink(std::FILE* file, std::string path, TErrorCallback onError)
      : file(file), path(std::move(path)), onError(std::move(onError)) {
    std::setvbuf(file, nullptr, _IONBF, 0);
  }

  void Append(int level, std::string_view message) {
    if (!AppendUsual(level, message)) AppendAny(level, message);
  }
  bool AppendUsual(int level, std::string_view message) noexcept;
  void AppendAny(int level, std::string_view message);
  [[gnu::noinline]] void AppendLocked(int level, std::string_view message);
  void WriteOut();
  void Flush();
  void Put(const char* bytes, std::size_t size);
  void Reserve();

  std::FILE* file;
  std::string path;
  TErrorCallback onError;
  std::mutex mutex;
  std::unique_ptr<char[]> buffer = std::make_unique_for_overwrite<char[]>(kBufferSize);
  std::size_t used = 0;
  std::uint64_t written = 0;
  std::uint64_t reserved = 0;  // Up to this place of the file.
  bool canReserve = true;
  bool hasFailed = false;
};

// Nearly every line of a trace, without a call: a message of some length that is written as it is.
inline bool TJsonLogger::TSink::AppendUsual(int level, std::string_view message) noexcept {
  constexpr std::size_t kShortest = sizeof(TSixteenBytes);
  constexpr std::size_t kLongest = 128;
  const bool isUsual = message.size() - kShortest <= kLongest - kShortest && level >= 0 &&
                       level <= 9 && kBufferSize - used >= kFrame + kLongest;
  if (!isUsual) return false;
  char* const start = buffer.get() + used;
  char* const text = Write(start, kUsualStart);
  start[kBeforeLevel.size()] = static_cast<char>('0' + level);
  if (!CopyPlain<TSixteenBytes>(text, message)) return false;
  Write(text + message.size(), kEnd);
  used += kUsualStart.size() + message.size() + kEnd.size();
  return true;
}

void TJsonLogger::TSink::AppendAny(int level, std::string_view message) {
  const std::size_t longest = LongestLine(message);
  if (longest > kBufferSize - used) {
    WriteOut();
    Reserve();
  }
  if (longest <= kBufferSize) {
    used = static_cast<std::size_t>(WriteLine(buffer.get() + used, level, message) - buffer.get());
    return;
  }
  const auto large = std::make_unique_for_overwrite<char[]>(longest);
  Put(large.get(), static_cast<std::size_t>(WriteLine(large.get(), level, message) - large.get()));
}

void TJsonLogger::TSink::AppendLocked(int level, std::string_view message) {
  const std::lock_guard lock(mutex);
  Append(level, message);
}

void TJsonLogger::TSink::WriteOut() {
  Put(buffer.get(), used);
  used = 0;
}

// Finding room for each block by itself is a third of what the system does for it. As much is asked
// for as there is already, up to a limit: a crash leaves it to the file.
void TJsonLogger::TSink::Reserve() {
  constexpr std::uint64_t kMost = 1 << 24;
  if (!canReserve || written + kBufferSize <= reserved) return;
  const std::uint64_t size = std::min(written, kMost);
  canReserve = ReserveRoom(file, std::max(written, reserved), size);
  if (canReserve) reserved = std::max(written, reserved) + size;
}

// What was reserved and not used goes back.
void TJsonLogger::TSink::Flush() {
  WriteOut();
  if (std::exchange(reserved, 0) > written) ReleaseRoom(file);
}

void TJsonLogger::TSink::Put(const char* bytes, std::size_t size) {
  written += size;
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
  sink->Flush();
  std::fclose(sink->file);
}

void TJsonLogger::Log(int level, std::string_view message) {
  if (level > highestLevel) {
    return;
  }
  // A lock costs as much as a line: none is taken where no other thread was ever started.
  if (IsAlone()) return sink->Append(level, message);
  sink->AppendLocked(level, message);
}

bool TJsonLogger::Flush() {
  const std::lock_guard lock(sink->mutex);
  sink->Flush();
  return !sink->hasFailed;
}

NQRXHSK20::ILogger& NullLogger() noexcept {
  static TNullLogger& logger = *new TNullLogger;
  return logger;
}

}  // namespace svc
