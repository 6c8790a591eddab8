// Files that the program writes for others to find: whole or not at all, also after a power cut,
// and never through a link that somebody else laid (one thread); and files that somebody named for
// it to read (any thread). Paths are UTF-8.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "base/error.h"

namespace svc::files {

// --- Writing ---

// What the name of a file leads to. A link is followed where it belongs to root or to the user of
// the process; another's is a file like others, which a new one takes the place of. On the way to
// it, another's link is followed only into a folder of the same owner, who could have written there
// anyway. (On Windows all links are followed.)
enum class ENamed { kNothing, kFile, kFolder, kOther };  // kOther: a pipe, a device, a socket.
// Throws TError (kFile) where the folders before it cannot be gone through.
ENamed WhatIsNamed(const std::string& path);

// A file that is written beside its place, under a name that nobody can foresee, and moved there
// when it is whole. Not published, it is removed with the object. Every operation throws
// TError (kFile).
class TNewFile {
 public:
  static constexpr unsigned kForAll = 0666;  // As far as the process' umask lets them.
  static constexpr unsigned kForOwner = 0600;
  // Is told the path of the unfinished file before that is made, so that it can be removed when the
  // process is ended meanwhile.
  using TAnnounce = std::function<void(const std::string& path)>;

  // Fails where the place is that of a folder, a pipe or a device.
  explicit TNewFile(const std::string& target, const TAnnounce& announce = {},
                    unsigned mode = kForAll);
  ~TNewFile();
  TNewFile(const TNewFile&) = delete;
  TNewFile& operator=(const TNewFile&) = delete;

  void Write(std::string_view bytes) {
    if (buffer.size() + bytes.size() > kBuffer) PutBuffer();
    if (bytes.size() > kBuffer) return Put(bytes);
    buffer += bytes;
  }
  // Forgets what was written.
  void StartOver();
  // On stable storage, in its place, and with the mode of the file that was there.
  void Publish();
  // The same where there must be none (EEXIST).
  void PublishFirst();
  // The same in another place of the file system. To sync that folder is left to the caller.
  void PublishAs(const std::string& path);

 private:
  static constexpr std::size_t kBuffer = std::size_t{1} << 16;

  void Put(std::string_view bytes);
  void PutBuffer() {
    Put(buffer);
    buffer.clear();
  }

  struct TState;
  std::unique_ptr<TState> state;
  std::string buffer;
};

// How a file begins that is written in place.
enum class EStart { kEmpty, kBehind };

// Opens what grows while it is read, such as a log. A link of somebody else's and a file with
// further names are not written to: a new file takes their place, or with kBehind the call fails.
// The caller closes it. Throws TError (kFile).
std::FILE* OpenInPlace(const std::string& path, EStart start);

// Cuts the file and puts it on stable storage. 0, or the value of errno.
int Truncate(std::FILE* file, std::uint64_t size) noexcept;
int Sync(std::FILE* file) noexcept;

// --- Reading ---

// What is taken beside regular files: with kGiven a pipe that the process was started with, as a
// shell's <(...) or /dev/stdin, and /dev/null.
enum class EPipes { kNone, kGiven };

// Never waits for somebody to write: a pipe with a name, a device and a socket are refused. The
// caller closes the file. Throws TError (kFile).
std::FILE* OpenToRead(const std::string& path, EPipes pipes);

}  // namespace svc::files
