// This machine's inventory: what is installed on it, told as instances of the host's classes.
//
// A collector holds no state; its operations may be called from any thread, also at once.
#ifndef COLLECT_COLLECTOR_H_
#define COLLECT_COLLECTOR_H_

#include <string>
#include <vector>

namespace svc::collect {

struct Options {
  // The system tree to read. Below "/" devices are asked as well; below any other folder, a
  // captured tree, only files are read.
  std::string root = "/";
  // Leaves serial numbers and UUIDs out.
  bool redact = false;
};

struct Outcome {
  // The inventory: one CIM-XML document (DMTF DSP0201), UTF-8, the same for the same machine.
  std::string document;
  // What is missing and why, one line each without a line end. Good to show on standard error.
  std::vector<std::string> notes;
};

// One thing that Collect reads of the running system.
struct SourceState {
  std::string subject;  // What it tells: "drivers".
  std::string place;
  std::string problem;  // Why it cannot be read; empty when it can.
  std::string advice;   // What to do; empty without a problem.
};

class ICollector {
 public:
  virtual ~ICollector() = default;

  // Reads the machine. What cannot be read is left out and noted. Throws std::runtime_error, whose
  // text says what, where and what to do, when `options.root` is no folder that can be read.
  virtual Outcome Collect(const Options& options) const = 0;

  // Writes exactly the files that Collect reads into the tar archive `file`, whose unpacked tree
  // Collect takes as root. Returns the notes of Collect. Throws std::runtime_error as Collect does
  // and when `file` cannot be written; then nothing is left of it. With `options.redact` the files
  // that tell serial numbers or UUIDs are left out.
  virtual std::vector<std::string> Capture(const Options& options,
                                           const std::string& file) const = 0;

  // Tries each source of the running system.
  virtual std::vector<SourceState> TrySources() const = 0;

  // The file that Capture writes until the archive is whole, for who has to remove it when the
  // process is ended meanwhile.
  virtual std::string UnfinishedCapture(const std::string& file) const { return file + ".part"; }
};

}  // namespace svc::collect

#endif  // COLLECT_COLLECTOR_H_
