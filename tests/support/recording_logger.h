// A host logger that keeps its entries for a test.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "host/hskcore/root_object.h"

namespace svc::test {

struct TLogEntry {
  int level;
  std::string text;
  bool operator==(const TLogEntry& other) const = default;
};
using TLog = std::vector<TLogEntry>;

inline void PrintTo(const TLogEntry& entry, std::ostream* stream) {
  *stream << "\n  " << entry.level << " " << entry.text;
}

class TRecordingLogger : public NQRXHSK20::ILogger {
 public:
  void Log(int level, std::string_view message) override {
    if (!IsLogged(level)) return;
    if (onEntry) onEntry(message);
    entries.push_back({level, std::string(message)});
  }
  bool IsLogged(int level) const noexcept override { return level <= highestLevel; }

  // Keeps the entries of levels up to this one.
  void Keep(int level) { highestLevel = level; }
  // Called before each entry is kept; what it throws leaves Log.
  void OnEntry(std::function<void(std::string_view)> action) { onEntry = std::move(action); }

  const TLog& Entries() const { return entries; }
  // The entries of levels up to `level`.
  TLog UpTo(int level) const {
    TLog kept;
    for (const TLogEntry& entry : entries) {
      if (entry.level <= level) kept.push_back(entry);
    }
    return kept;
  }
  void Forget() { entries.clear(); }

 private:
  int highestLevel = NQRXHSK20::kLogTrace;
  std::function<void(std::string_view)> onEntry;
  TLog entries;
};

}  // namespace svc::test
