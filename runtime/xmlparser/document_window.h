// A file as bytes: all of it in memory, or a window that moves over it. A file's bytes may be used
// from any thread, a window by one.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "host/hskcore/export.h"

namespace svc::xml {

struct TFileBytes {
  struct TFree {
    void operator()(char* bytes) const { std::free(bytes); }
  };
  std::unique_ptr<char[], TFree> bytes;
  std::size_t size = 0;
};

struct TCloseFile {
  void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};
using TFile = std::unique_ptr<std::FILE, TCloseFile>;

// Opens a regular file of the system's, to be read in blocks of the caller's. Throws TError.
TFile OpenForBlocks(const std::string& native);

// Reads a regular file to its end, and stops behind the largest document that is taken.
// Throws THSKException: kFileNotFound, kFileUnreadable, kNoBuffer.
TFileBytes ReadWholeFile(const std::string& path);
// The same, also for a pipe that is awaited, for whose end it waits.
TFileBytes ReadFileOrPipe(const std::string& path);
// While one lives, its thread awaits pipes: those that somebody named, and not what lies somewhere.
class XMLPARSER_API TAwaitedPipes {
 public:
  TAwaitedPipes() noexcept;
  ~TAwaitedPipes();
  TAwaitedPipes(const TAwaitedPipes&) = delete;
  TAwaitedPipes& operator=(const TAwaitedPipes&) = delete;
};
// Whether pipes are awaited at all, from the start: not for who loads what others put somewhere,
// one file after the other, and has to come to the last one.
XMLPARSER_API void AllowWaiting(bool isAllowed) noexcept;
// The same for a path of the system's.
TFileBytes ReadNativeFile(const std::string& path);

// A file that a document is read from a piece at a time, through a window that moves over it: its
// bytes are met in the processor's cache, and take no fresh pages of the size of the file, which
// would cost a query a quarter of its time. Used from one thread at a time.

// Throws TDocumentError where the file cannot be read, or is to be seen as a whole.
class TDocumentWindow {
 public:
  // Large enough for what a catalogue's object takes, small enough for the cache.
  static constexpr std::size_t kUsual = std::size_t{256} << 10;

  // Borrows a file that can be read again from any place; its first `size` bytes are the document.
  // REQUIRES: usual != 0
  TDocumentWindow(std::FILE* file, std::size_t size, std::size_t usual);
  // The same for the part of the document that begins at `begin`. Once it is cancelled, the window
  // shows no more and throws.
  TDocumentWindow(std::FILE* file, std::size_t size, std::size_t usual, std::size_t begin,
                  const std::atomic<bool>& isCancelled);

  // What is seen of the document, whose bytes may be changed. Unless it is the end of the document
  // it ends behind a '>', so that no tag, reference or character is cut but in the middle of a
  // token, which then does not end in it.
  char* Begin() const { return block.get(); }
  char* End() const { return end; }
  bool IsAtEnd() const { return isAtEnd; }
  // Whether little is left behind `at`. A window that is full of something that does not end in it
  // is not: only a larger one helps.
  bool IsLow(const char* at) const {
    const auto held = static_cast<std::size_t>(block.get() + filled - at);
    return !isAll && static_cast<std::size_t>(end - at) < usual / 8 &&
           held < capacity - capacity / 8;
  }

  std::size_t Size() const { return size; }
  // From here on it shows what stands before this place. What is read beyond it goes on as if there
  // were no limit: when it is lifted, or when something does not end before it. REQUIRES: a place
  // behind what is shown at the front.
  void LimitTo(std::size_t place);
  void LiftLimit();
  // Whether nothing but white space is between `at` and the limit.
  bool EndsAtLimit(const char* at) const;

  // Of a place in the window, counted from the start of the document.
  std::size_t OffsetOf(const char* at) const {
    return passed + static_cast<std::size_t>(at - block.get());
  }
  // Moves on: `at` becomes the beginning.
  void MoveTo(const char* at);
  // Goes back to what begins there, as the file has it, and sees more of it than before.
  void Widen(std::size_t offset);
  // Reads what is left, which nobody looks at: a file that cannot be read is refused all the same.
  void ReadToEnd();

 private:
  static constexpr std::size_t kUnlimited = static_cast<std::size_t>(-1);

  void Seek(std::size_t place);
  void Reserve(std::size_t capacity, const char* kept, std::size_t keptSize);
  void Fill(std::size_t wanted);
  void Show();
  std::size_t Left() const { return std::min(limit, size) - passed; }

  std::FILE* const file;
  std::size_t size;
  const std::size_t usual;
  std::unique_ptr<char[]> block;
  std::size_t capacity = 0;
  std::size_t filled = 0;  // Of the block.
  char* end = nullptr;
  std::size_t passed = 0;  // Of the document, before the block.
  std::size_t readTwice = 0;
  bool isAtEnd = false;
  // Whether there is nothing more to show up to the limit, or else the end of the document.
  bool isAll = false;
  std::size_t limit = kUnlimited;
  const std::atomic<bool>* isCancelled = nullptr;
};

}  // namespace svc::xml
