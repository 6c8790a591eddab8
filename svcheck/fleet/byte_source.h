// Bytes from a file, a compressed file or standard input, read from begin to end. Used by one
// thread.
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace svc::fleet {

struct TCloseFile {
  void operator()(std::FILE* file) const {
    if (file != stdin) std::fclose(file);
  }
};
using TFile = std::unique_ptr<std::FILE, TCloseFile>;

class IByteSource {
 public:
  virtual ~IByteSource() = default;
  // Returns how many bytes it wrote to the block, 0 at the end. Throws std::runtime_error, whose
  // text says what is wrong with which file.
  virtual std::size_t Read(char* block, std::size_t size) = 0;
  // Whether Read would return at once.
  virtual bool IsReady() const { return true; }
};

// What is wrong with a path where something else than a file stands, for a person; empty for a
// file, and where nothing stands.
std::string WhyNoFile(const std::string& path);
// Whether the file's name says that it is compressed: ".gz" or ".zst".
bool IsCompressed(const std::string& path);
// "-" is standard input; all else has to be a regular file. Throws std::runtime_error.
std::unique_ptr<IByteSource> OpenBytes(const std::string& path);
// The whole of a file. Throws std::runtime_error, also for more than the largest document.
std::string ReadDocument(const std::string& path);

// The lines of a source.
class TLineReader {
 public:
  explicit TLineReader(std::unique_ptr<IByteSource> source);
  // For lines up to so many bytes instead of the largest document.
  TLineReader(std::unique_ptr<IByteSource> source, std::size_t longest);
  // Without its end; a last line without an end counts. Throws std::runtime_error, also for a line
  // that is longer.
  std::optional<std::string> Next();
  // Whether Next need not wait for somebody to write.
  bool IsReady() const;
  // Whether the line that Next returned had an end.
  bool LastHadEnd() const noexcept { return !ended; }

 private:
  bool Fill();
  std::string TakeUpTo(std::size_t end);

  std::unique_ptr<IByteSource> source;
  const std::size_t longest;
  std::string buffer;
  std::vector<char> block;  // Read last.
  std::size_t begin = 0;
  std::size_t searched = 0;
  bool ended = false;
};

// Compressed files. What unpacks them is in a module that is loaded at the first one.

// The contents of an open file, which is closed with them; `path` is for messages. Throws
// std::runtime_error.
std::unique_ptr<IByteSource> OpenCompressed(TFile file, const std::string& path);

// Reading from a pipe as soon as something is there.

// Reads what there is, at most `size` bytes, past the stream's own buffer; 0 at the end. None, with
// errno set, when it cannot be read.
std::optional<std::size_t> ReadSome(std::FILE* file, char* block, std::size_t size);

// Whether ReadSome would return at once; true also where the system cannot tell.
bool HasSome(std::FILE* file);

}  // namespace svc::fleet
