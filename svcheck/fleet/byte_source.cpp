#include "svcheck/fleet/byte_source.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "base/error.h"
#include "base/files.h"
#include "host/xmlparser/xml_parser.h"
#include "runtime/acquire/engine.h"
#include "runtime/hskcore/host_setup.h"

namespace fs = std::filesystem;
namespace svc::fleet {

namespace {

constexpr std::size_t kLargest = NQRXHSK20::TCIMXMLParser::kMaxSpecificationDocumentSize;
constexpr std::size_t kBlock = std::size_t{1} << 18;

[[noreturn]] void Fail(const std::string& path, const std::string& cause) {
  throw std::runtime_error(path + ": " + cause);
}

// What else stands there, as "a pipe".
std::string KindOfOther(const std::string& path) {
  std::error_code error;
  switch (fs::status(PathOf(path), error).type()) {
    case fs::file_type::fifo:
      return "a pipe";
    case fs::file_type::socket:
      return "a socket";
    case fs::file_type::block:
    case fs::file_type::character:
      return "a device";
    case fs::file_type::directory:
      return "a folder";
    default:
      return {};
  }
}

TFile Open(const std::string& path) {
  if (path == "-") return TFile(stdin);
  try {
    return TFile(files::OpenToRead(path, files::EPipes::kNone));
  } catch (const TError& error) {
    if (const std::string why = WhyNoFile(path); !why.empty()) throw std::runtime_error(why);
    Fail(path, std::string("cannot be opened: ") + error.what());
  }
}

class TFileBytes : public IByteSource {
 public:
  explicit TFileBytes(const std::string& path)
      : path(path == "-" ? "standard input" : path), file(Open(path)) {}

  std::size_t Read(char* block, std::size_t size) override {
    const auto count = ReadSome(file.get(), block, size);
    if (!count) Fail(path, std::string("cannot be read: ") + std::strerror(errno));
    return *count;
  }
  bool IsReady() const override { return HasSome(file.get()); }

 private:
  std::string path;
  TFile file;
};

}  // namespace

std::string WhyNoFile(const std::string& path) {
  const std::string kind = KindOfOther(path);
  if (kind.empty()) return {};
  return path + ": is " + kind + " and no file; what a program writes can come by standard input";
}

bool IsCompressed(const std::string& path) {
  return path.ends_with(".gz") || path.ends_with(".zst");
}

std::unique_ptr<IByteSource> OpenBytes(const std::string& path) {
  if (IsCompressed(path)) return OpenCompressed(Open(path), path);
  return std::make_unique<TFileBytes>(path);
}

std::string ReadDocument(const std::string& path) {
  const auto source = OpenBytes(path);
  std::string text;
  std::size_t size = 0;
  for (;;) {
    text.resize(size + kBlock);
    const std::size_t count = source->Read(text.data() + size, kBlock);
    size += count;
    if (count == 0) break;
    if (size > kLargest) Fail(path, "is larger than a document may be");
  }
  text.resize(size);
  return text;
}

TLineReader::TLineReader(std::unique_ptr<IByteSource> source)
    : TLineReader(std::move(source), kLargest) {}

TLineReader::TLineReader(std::unique_ptr<IByteSource> source, std::size_t longest)
    : source(std::move(source)), longest(longest) {}

bool TLineReader::IsReady() const {
  return buffer.find('\n', std::max(begin, searched)) != std::string::npos || source->IsReady();
}

// Reads on; false at the end.
bool TLineReader::Fill() {
  buffer.erase(0, begin);
  searched -= begin;
  begin = 0;
  if (buffer.size() > longest) {
    const bool isDocument = longest == kLargest;
    throw std::runtime_error(isDocument ? "a line is longer than a document may be"
                                        : "a line is longer than a fleet writes");
  }
  block.resize(kBlock);
  const std::size_t count = source->Read(block.data(), block.size());
  buffer.append(block.data(), count);
  return count != 0;
}

// A long line is handed over and not copied: memory for one of them is enough.
std::string TLineReader::TakeUpTo(std::size_t end) {
  std::string line;
  if (begin == 0 && end >= kBlock) {
    line = buffer.substr(end + 1);
    buffer.resize(end);
    line.swap(buffer);
    searched = 0;
  } else {
    line = buffer.substr(begin, end - begin);
    begin = end + 1;
  }
  return line;
}

std::optional<std::string> TLineReader::Next() {
  for (;;) {
    const std::size_t end = buffer.find('\n', std::max(begin, searched));
    if (end != std::string::npos) {
      return TakeUpTo(end);
    }
    searched = buffer.size();
    if (ended || !Fill()) break;
  }
  ended = true;
  if (begin == buffer.size()) return {};
  buffer.erase(0, std::exchange(begin, 0));
  return std::exchange(buffer, {});
}

std::unique_ptr<IByteSource> OpenCompressed(TFile file, const std::string& path) {
  using TOpen = IByteSource* (*)(TFile, const std::string&);
  TOpen open = nullptr;
  try {
    open = acquire::FindInModule<TOpen>("svcheck-unpack", "SvcOpenCompressed");
  } catch (const TError& failure) {
    throw std::runtime_error(path + ": cannot be unpacked: " + failure.what());
  }
  return std::unique_ptr<IByteSource>(open(std::move(file), path));
}

}  // namespace svc::fleet
