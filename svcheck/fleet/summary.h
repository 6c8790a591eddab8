// A fleet's results on their way out, the readers of results that exist, what they come to, and the
// pages that show it. A summary takes memory for different components, machine types and failures,
// not for machines. Used by one thread.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/files.h"
#include "report/model.h"
#include "report/version.h"
#include "svcheck/fleet/byte_source.h"
#include "svcheck/system/paths.h"

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

// What the results of a fleet come to, and the pages that show it. Takes memory for different
// components, machine types and failures, not for machines. Used by one thread.

// Records by verdict.
using TVerdictCounts = std::array<std::uint64_t, report::kVerdicts.size()>;

struct TTypeCounts {
  std::uint64_t machines = 0;
  std::uint64_t outdatedMachines = 0;
  TVerdictCounts verdicts{};
};

struct TFailedMachine {
  std::string machine;
  std::string outcome;
  std::string cause;
};

class TSummary {
 public:
  // What the lines of a machine come to, wherever it was counted. Valid as long as the summary.
  class TCounted {
    friend class TSummary;
    struct TOne {
      TVerdictCounts* component;
      std::size_t verdict;
    };
    std::vector<TOne> records;
    TVerdictCounts found{};
    std::uint64_t waived = 0;
    bool isNothingCompared = false;
    TTypeCounts* type = nullptr;  // Null for a machine that failed.
    bool isKnown = false;
  };

  // All lines of one machine. Throws std::runtime_error when they are none of a fleet's results.
  void Add(std::string_view lines);
  // The same of a machine whose lines differ from another's by its name and serial number only.
  // `counted` is what the other's came to; filled by the first of them. REQUIRES: it has not
  // failed.
  void Add(std::string_view lines, TCounted& counted);

  // What a reader has to know of all of them, a sentence each.
  void AddNotices(const std::vector<std::string>& sentences) {
    notices.insert(notices.end(), sentences.begin(), sentences.end());
  }
  const std::vector<std::string>& Notices() const noexcept { return notices; }

  std::uint64_t Machines() const noexcept { return machines; }
  // Machines that have an update to install.
  std::uint64_t OutdatedMachines() const noexcept { return outdatedMachines; }
  // Machines of which no record could be ordered.
  std::uint64_t NothingCompared() const noexcept { return nothingCompared; }
  const std::vector<TFailedMachine>& Failed() const noexcept { return failed; }
  const TVerdictCounts& Verdicts() const noexcept { return verdicts; }
  // Records that are accepted as they are; they count nowhere else.
  std::uint64_t Waived() const noexcept { return waived; }

  // A component is a type and a name. Those with the most outdated records first.
  struct TComponent {
    std::string type;
    std::string name;
    TVerdictCounts verdicts;
  };
  std::vector<TComponent> Components() const;
  const std::map<std::string, TTypeCounts, std::less<>>& MachineTypes() const noexcept {
    return machineTypes;
  }

 private:
  void Count(std::string_view lines, TCounted& counted);
  void CountRecord(std::string_view line, TCounted& counted);
  void CountLast(std::string_view line, TCounted& counted);
  void AddCounted(const TCounted& counted);

  std::uint64_t machines = 0;
  std::uint64_t outdatedMachines = 0;
  std::uint64_t nothingCompared = 0;
  TVerdictCounts verdicts{};
  std::uint64_t waived = 0;
  std::unordered_map<std::string, TVerdictCounts> components;  // By both members as written.
  std::map<std::string, TTypeCounts, std::less<>> machineTypes;
  std::vector<TFailedMachine> failed;
  std::vector<std::string> notices;
  std::string key;  // Reused.
  TCounted one;     // Reused.
};

// What makes an exit status of 2.
struct TCondition {
  report::EFailOn records = report::EFailOn::kNone;
  bool failed = false;  // A machine that could not be compared.
};
// REQUIRES: names parted by commas, those of report::FailOnOfText and "failed".
TCondition ConditionOf(const std::string& text);
// Whether a machine is such a one, or has such a record that is not waived.
bool Holds(const TCondition& condition, const TSummary& summary);

// One object.
void WriteJson(const TSummary& summary, report::IOutput& output);
// For a person: of long lists the start.
void WriteTable(const TSummary& summary, report::IOutput& output);

// A fleet's report as pages: one a machine, and an index that leads to them. A machine's page is
// written when its answer is there; its row of the index waits in a file without a name, because
// machines that failed come first. Memory does not grow with the machines. Used by one thread.

class TPages {
 public:
  // Makes the folder. The catalogue is what the machines are compared with, as far as it is known.
  // Throws TError.
  TPages(const std::string& folder, report::TCatalogue catalogue);
  // All lines of a machine. Throws TError, and std::runtime_error when they are none.
  void Add(const std::string& machine, std::string_view lines);
  // Writes the index, and makes it visible. Throws TError.
  void Finish(const TSummary& summary);

  static constexpr std::size_t kGroups = 4;

 private:
  struct TClose {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
  };
  // Rows of the index that wait, one a line.
  struct TRows {
    std::unique_ptr<std::FILE, TClose> file;  // None before the first row.
    std::uint64_t count = 0;
  };

  static void Keep(std::string_view row, TRows& rows);
  template <typename TTake>
  static void TakeBack(const TRows& rows, const TTake& take);
  void WriteRows(const TSummary& summary);

  std::filesystem::path folder;
  std::unique_ptr<TOutput> index;
  report::TReport frame;  // What all pages say of the check.
  std::array<TRows, kGroups> groups;
};

}  // namespace svc::fleet
