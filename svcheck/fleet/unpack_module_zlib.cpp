// The module that unpacks, where there is zlib alone: a file of gzip as its contents.
#include <io.h>
#include <zlib.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "svcheck/fleet/byte_source.h"

namespace svc::fleet {

namespace {

// RFC 8878, 3.1.1.
constexpr std::string_view kZstandard = "\x28\xB5\x2F\xFD";

class TUnpacked : public IByteSource {
 public:
  TUnpacked(TFile given, const std::string& path) : path(path) {
    if (path.ends_with(".zst")) FailZstandard();
    // It closes what it is given, and so gets a number of its own for the file.
    file.reset(gzdopen(_dup(_fileno(given.get())), "rb"));
    if (!file) Fail(std::string("cannot be opened: ") + std::strerror(errno));
  }

  std::size_t Read(char* block, std::size_t size) override {
    const int count = gzread(file.get(), block, static_cast<unsigned>(size));
    if (count <= 0) Check();
    const std::string_view text(block, static_cast<std::size_t>(count));
    if (!std::exchange(hasBegun, true) && text.starts_with(kZstandard)) FailZstandard();
    return text.size();
  }

 private:
  struct TClose {
    void operator()(gzFile_s* file) const { gzclose(file); }
  };

  // At the end, or after an error.
  void Check() const {
    int error = Z_OK;
    gzerror(file.get(), &error);
    if (error == Z_OK || error == Z_STREAM_END) return;
    if (error == Z_ERRNO) Fail(std::string("cannot be read: ") + std::strerror(errno));
    Fail(error == Z_BUF_ERROR ? "cannot be unpacked: it ends too early"
                              : "cannot be unpacked: it is broken");
  }

  [[noreturn]] void FailZstandard() const {
    Fail("svcheck for Windows unpacks no .zst; unpack it first (zstd -d), or give a .gz");
  }
  [[noreturn]] void Fail(const std::string& why) const {
    throw std::runtime_error(path + ": " + why);
  }

  std::string path;
  std::unique_ptr<gzFile_s, TClose> file;
  bool hasBegun = false;
};

}  // namespace

}  // namespace svc::fleet

extern "C" __declspec(dllexport) svc::fleet::IByteSource* SvcOpenCompressed(
    svc::fleet::TFile file, const std::string& path) {
  return new svc::fleet::TUnpacked(std::move(file), path);
}
