// What the results of a fleet come to. Takes memory for different components, machine types and
// failures, not for machines. Used by one thread.
#ifndef SVCHECK_FLEET_SUMMARY_H_
#define SVCHECK_FLEET_SUMMARY_H_

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "report/model.h"
#include "report/verdict.h"

namespace svc::fleet {

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

}  // namespace svc::fleet

#endif  // SVCHECK_FLEET_SUMMARY_H_
