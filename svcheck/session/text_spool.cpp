#include "svcheck/session/text_spool.h"

#include <cerrno>
#include <cstring>
#include <system_error>

#include "base/error.h"
#include "svcheck/system/process.h"

namespace svc {

namespace {

constexpr std::size_t kInMemory = std::size_t{1} << 20;

std::string WhyNotPutAside() {
  return "what is to be told cannot be put aside: " + std::generic_category().message(errno) +
         "; make space in the folder for temporary files, or name another with TMPDIR";
}

}  // namespace

void TTextSpool::Add(std::string_view text) {
  if (!failure.empty()) return;
  const std::size_t size = text.size();
  last.append(reinterpret_cast<const char*>(&size), sizeof size).append(text);
  if (last.size() > kInMemory) PutAside();
}

void TTextSpool::PutAside() {
  if (!file) file.reset(OpenUnnamedFile());
  if (!file || std::fwrite(last.data(), 1, last.size(), file.get()) != last.size()) {
    failure = WhyNotPutAside();
    return;
  }
  std::string_view rest = last;
  for (std::size_t size = 0; !rest.empty(); rest.remove_prefix(sizeof size + size)) {
    std::memcpy(&size, rest.data(), sizeof size);
    ++inFile;
  }
  last.clear();
}

void TTextSpool::ForEachInFile(const std::function<void(std::string_view text)>& use) const {
  std::string text;
  if (!SeekIn(file.get(), 0)) throw TError(WhyNotPutAside());
  for (std::size_t i = 0; i < inFile; ++i) {
    std::size_t size = 0;
    if (std::fread(&size, sizeof size, 1, file.get()) != 1) throw TError(WhyNotPutAside());
    text.resize(size);
    if (std::fread(text.data(), 1, size, file.get()) != size) throw TError(WhyNotPutAside());
    use(text);
  }
}

void TTextSpool::ForEach(const std::function<void(std::string_view text)>& use) const {
  if (!failure.empty()) throw TError(failure);
  if (file) ForEachInFile(use);
  std::string_view rest = last;
  for (std::size_t size = 0; !rest.empty(); rest.remove_prefix(sizeof size + size)) {
    std::memcpy(&size, rest.data(), sizeof size);
    use(rest.substr(sizeof size, size));
  }
}

}  // namespace svc
