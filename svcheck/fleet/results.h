// A fleet's results on their way out, and the readers of results that exist. Used by one thread.
#ifndef SVCHECK_FLEET_RESULTS_H_
#define SVCHECK_FLEET_RESULTS_H_

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/new_file.h"
#include "svcheck/fleet/byte_source.h"

namespace svc::fleet {

// Reads results machine by machine.
class TResultReader {
 public:
  struct TMachine {
    std::string name;
    std::string lines;  // All of them, with their ends.
  };

  // Throws TFailure.
  explicit TResultReader(const std::string& path);
  // None at the end, or where the rest is no whole machine. Throws TFailure for lines that no
  // fleet wrote.
  std::optional<TMachine> Next();
  // Behind the last machine that was read, in bytes from the start.
  std::uint64_t Position() const noexcept { return position; }
  // Whether something is left that is no whole machine.
  bool IsTorn() const noexcept { return torn; }

 private:
  std::string path;
  TLineReader lines;
  std::uint64_t position = 0;
  bool torn = false;
};

// Where results go, each machine's lines as soon as they are there: a file is written in place, so
// that what is done stays when the run is interrupted, and is on stable storage when it is closed.
class TResultFile {
 public:
  // "-" is standard output. Throws TFailure.
  explicit TResultFile(std::string path);
  // Keeps the machines that the file holds and drops what is behind them; hands each to `seen`.
  // Throws TFailure.
  TResultFile(std::string path, const std::function<void(const TResultReader::TMachine&)>& seen);
  ~TResultFile();
  TResultFile(const TResultFile&) = delete;
  TResultFile& operator=(const TResultFile&) = delete;

  // Throws TFailure when it cannot be written.
  void Write(std::string_view lines);
  void Close();

 private:
  void Open(files::EStart start);
  [[noreturn]] void Fail(const std::string& reason) const;

  std::string path;
  std::FILE* file = nullptr;
};

// Puts the results of shards, given in their order, together as one run would have written them.
// Throws TFailure when a shard is not whole.
void MergeResults(const std::vector<std::string>& shards,
                  const std::function<void(const TResultReader::TMachine&)>& take);

}  // namespace svc::fleet

#endif  // SVCHECK_FLEET_RESULTS_H_
