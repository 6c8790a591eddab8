#include "svcheck/fleet/byte_source.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "host/xmlparser/xml_parser.h"
#include "runtime/hskcore/os_platform.h"
#include "svcheck/fleet/read_some.h"
#include "svcheck/fleet/unpack.h"

namespace svc::fleet {

namespace {

constexpr std::size_t kLargest = NQRXHSK20::TCIMXMLParser::kMaxSpecificationDocumentSize;
constexpr std::size_t kBlock = std::size_t{1} << 18;

[[noreturn]] void Fail(const std::string& path, const std::string& cause) {
  throw std::runtime_error(path + ": " + cause);
}

class TFileBytes : public IByteSource {
 public:
  explicit TFileBytes(const std::string& path)
      : path(path == "-" ? "standard input" : path),
        file(path == "-" ? stdin : OpenNativeFile(path, "rb")) {
    if (file == nullptr) Fail(path, std::string("cannot be opened: ") + std::strerror(errno));
  }
  ~TFileBytes() override {
    if (file != stdin) std::fclose(file);
  }
  TFileBytes(const TFileBytes&) = delete;
  TFileBytes& operator=(const TFileBytes&) = delete;

  std::size_t Read(char* block, std::size_t size) override {
    const auto count = ReadSome(file, block, size);
    if (!count) Fail(path, std::string("cannot be read: ") + std::strerror(errno));
    return *count;
  }
  bool IsReady() const override { return HasSome(file); }

 private:
  std::string path;
  std::FILE* file;
};

}  // namespace

bool IsCompressed(const std::string& path) {
  return path.ends_with(".gz") || path.ends_with(".zst");
}

std::unique_ptr<IByteSource> OpenBytes(const std::string& path) {
  if (IsCompressed(path)) return OpenCompressed(path);
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

TLineReader::TLineReader(std::unique_ptr<IByteSource> source) : source(std::move(source)) {}

bool TLineReader::IsReady() const {
  return buffer.find('\n', std::max(begin, searched)) != std::string::npos || source->IsReady();
}

// Reads on; false at the end.
bool TLineReader::Fill() {
  buffer.erase(0, begin);
  searched -= begin;
  begin = 0;
  if (buffer.size() > kLargest) {
    throw std::runtime_error("a line is longer than a document may be");
  }
  block.resize(kBlock);
  const std::size_t count = source->Read(block.data(), block.size());
  buffer.append(block.data(), count);
  return count != 0;
}

std::optional<std::string> TLineReader::Next() {
  for (;;) {
    const std::size_t end = buffer.find('\n', std::max(begin, searched));
    if (end != std::string::npos) {
      std::string line = buffer.substr(begin, end - begin);
      begin = end + 1;
      return line;
    }
    searched = buffer.size();
    if (ended || !Fill()) break;
  }
  ended = true;
  if (begin == buffer.size()) return {};
  return buffer.substr(std::exchange(begin, buffer.size()));
}

}  // namespace svc::fleet
