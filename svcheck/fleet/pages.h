// A fleet's report as pages: one a machine, and an index that leads to them. A machine's page is
// written when its answer is there; its row of the index waits in a file without a name, because
// machines that failed come first. Memory does not grow with the machines. Used by one thread.
#ifndef SVCHECK_FLEET_PAGES_H_
#define SVCHECK_FLEET_PAGES_H_

#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "report/model.h"
#include "svcheck/fleet/summary.h"
#include "svcheck/system/output.h"

namespace svc::fleet {

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

#endif  // SVCHECK_FLEET_PAGES_H_
