// The machines of a fleet, in the order in which they are given. Used by one thread.
#ifndef SVCHECK_FLEET_INPUTS_H_
#define SVCHECK_FLEET_INPUTS_H_

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "svcheck/fleet/byte_source.h"
#include "svcheck/fleet/frame.h"

namespace svc::fleet {

// Each path is a CIM-XML file, a folder of them, a file with one machine a line as JSON, or "-" for
// such lines from standard input. Files may be compressed; a pipe or a device is none. What cannot
// be read is a machine without an inventory, so that the others have their answer.
class TInputs {
 public:
  explicit TInputs(std::vector<std::string> paths);
  // None at the end.
  std::optional<TTask> Next();
  // Whether Next need not wait for somebody to write.
  bool IsReady() const { return !lines || lines->IsReady(); }

 private:
  struct TPlace {
    std::string path;
    std::string machine;  // The name of the machine, if it is one machine's file.
  };

  std::optional<TTask> NextLine();
  std::optional<TTask> OpenFile(const TPlace& place);
  void OpenNextPath();
  void ListFolder(const std::string& folder);
  TTask NextOfLines(std::string line);

  std::vector<std::string> paths;
  std::size_t next = 0;
  std::vector<TPlace> files;  // Of the path that is being read.
  std::size_t nextFile = 0;
  std::unique_ptr<TLineReader> lines;
  std::string linesPath;
  std::size_t lineNumber = 0;
};

}  // namespace svc::fleet

#endif  // SVCHECK_FLEET_INPUTS_H_
