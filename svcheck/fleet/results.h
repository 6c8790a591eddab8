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

#include "base/files.h"
#include "report/model.h"
#include "svcheck/fleet/byte_source.h"

namespace svc::fleet {

// Reads results machine by machine.
class TResultReader {
 public:
  struct TMachine {
    std::string name;
    std::string lines;  // All of them, with their ends.
  };

  // Throws TError.
  explicit TResultReader(const std::string& path);
  // None at the end, or where the rest is no whole machine. Throws TError for lines that no
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
  // "-" is standard output. Throws TError.
  explicit TResultFile(std::string path);
  // Keeps the machines that the file holds and drops what is behind them; hands each to `seen`.
  // Throws TError.
  TResultFile(std::string path, const std::function<void(const TResultReader::TMachine&)>& seen);
  ~TResultFile();
  TResultFile(const TResultFile&) = delete;
  TResultFile& operator=(const TResultFile&) = delete;

  // Throws TError when it cannot be written.
  void Write(std::string_view lines);
  void Close();

 private:
  void Open(files::EStart start);
  [[noreturn]] void Fail(const std::string& reason) const;

  std::string path;
  std::FILE* file = nullptr;
};

// Puts the results of shards, given in their order, together as one run would have written them.
// Throws TError when a shard is not whole.
void MergeResults(const std::vector<std::string>& shards,
                  const std::function<void(const TResultReader::TMachine&)>& take);

// The lines that a fleet's results consist of, as FailedAnswer and Answer write them: for each
// machine one a record, then one that says how its comparison ended. Pure functions.

// Takes the first line, without its end, off the text; none when it is not whole.
std::optional<std::string_view> TakeLine(std::string_view& text);
// A text member of a line as it is written there, with its escapes; none when there is none.
std::optional<std::string_view> MemberOf(std::string_view line, std::string_view name);

// The text members that a line begins with, in their order.
class TTextMembers {
 public:
  explicit TTextMembers(std::string_view line) : rest(line) {}
  struct TMember {
    std::string_view name;
    std::string_view written;  // With its escapes.
  };
  // None at the end, or at a member of another kind.
  std::optional<TMember> Next();

 private:
  std::string_view rest;  // From the brace or comma before the next one.
};
// Whether the line of a record says that it is accepted as it is.
bool IsWaived(std::string_view record);
// Whether it is the last line of a machine.
bool IsLast(std::string_view line);
// The text that is written so in JSON.
std::string Unescaped(std::string_view written);
// The texts of the member "errors" of a last line, as they are written.
std::vector<std::string_view> ErrorsOf(std::string_view line);

// All of a machine's lines as a report. Throws std::runtime_error when they are none.
report::TReport ReportOf(std::string_view lines);

// Of a last line. Throws std::runtime_error for a line that no fleet wrote.
std::string MachineOf(std::string_view line);

}  // namespace svc::fleet

#endif  // SVCHECK_FLEET_RESULTS_H_
