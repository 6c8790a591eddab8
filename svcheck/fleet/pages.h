// A fleet's report as pages: one a machine, and an index that leads to them. Each is written when
// its machine is there; memory does not grow with the machines. Used by one thread.
#ifndef SVCHECK_FLEET_PAGES_H_
#define SVCHECK_FLEET_PAGES_H_

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "svcheck/fleet/summary.h"
#include "svcheck/system/output.h"

namespace svc::fleet {

class TPages {
 public:
  // Makes the folder. Throws TError.
  explicit TPages(const std::string& folder);
  // All lines of a machine. Throws TError, and std::runtime_error when they are none.
  void Add(const std::string& machine, std::string_view lines);
  // Writes the end of the index, and makes it visible.
  void Finish(const TSummary& summary);

 private:
  std::filesystem::path folder;
  std::unique_ptr<TOutput> index;
  std::int64_t generated;
};

}  // namespace svc::fleet

#endif  // SVCHECK_FLEET_PAGES_H_
