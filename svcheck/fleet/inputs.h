// The machines of a fleet, in the order in which they are given. Used by one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "svcheck/fleet/byte_source.h"
#include "svcheck/fleet/machine_check.h"

namespace svc::fleet {

// Throws TError (kCatalogue, for it ends the run as a missing catalogue does) for a path that does
// not exist, and for a folder without a file that may hold an inventory.
void DemandInventories(const std::vector<std::string>& paths);

// Each path is a CIM-XML file, a folder of them, a file with one machine a line as JSON, or "-" for
// such lines from standard input. Files may be compressed; a pipe or a device is none. What cannot
// be read is a machine without an inventory, so that the others have their answer.
class TInputs {
 public:
  explicit TInputs(std::vector<std::string> paths);
  // None at the end.
  std::optional<TTask> Next();
  // Of those read to their end, the paths without a machine; standard input is none, since a filter
  // may have nothing to do.
  const std::vector<std::string>& Barren() const noexcept { return barren; }
  // Whether Next need not wait for somebody to write.
  bool IsReady() const { return !lines || lines->IsReady(); }

 private:
  struct TPlace {
    std::string path;
    std::string machine;  // The name of the machine, if it is one machine's file.
  };

  std::optional<TTask> NextLine();
  std::optional<TTask> OpenFile(const TPlace& place);
  std::optional<TTask> Find();
  void EndPath();
  void OpenNextPath();
  void ListFolder(const std::string& folder);
  TTask NextOfLines(std::string line);

  std::vector<std::string> paths;
  std::size_t next = 0;
  bool isBarren = false;  // Whether the path that is being read had no machine so far.
  std::vector<std::string> barren;
  std::vector<TPlace> files;  // Of the path that is being read.
  std::size_t nextFile = 0;
  std::unique_ptr<TLineReader> lines;
  std::string linesPath;
  std::size_t lineNumber = 0;
};

// Which machines of all are this run's: number I of every N.
struct TShard {
  std::uint64_t number = 1;
  std::uint64_t count = 1;

  bool Has(std::uint64_t machine) const noexcept { return machine % count == number - 1; }
};

// Of "I/N"; the only one for an empty text. Throws TError (kUsage) for any other.
TShard ShardOf(const std::string& text);

}  // namespace svc::fleet
