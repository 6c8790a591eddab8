// This machine's inventory: what is installed on it, told as instances of the host's classes.
//
// A collector holds no state; its operations may be called from any thread, also at once.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "collect/firmware_device.h"

namespace svc::collect {

struct Options {
  // The system tree to read. Below "/" devices are asked as well; below any other folder, a
  // captured tree, only files are read.
  std::string root = "/";
  // Leaves serial numbers, UUIDs and the host name out.
  bool redact = false;
  // What somebody else told of the same machine; it is merged into what is read.
  std::vector<TFirmwareDevice> devices = {};
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

// Takes bytes that follow those of the call before.
using TWrite = std::function<void(std::string_view bytes)>;

class ICollector {
 public:
  virtual ~ICollector() = default;

  // Reads the machine. What cannot be read is left out and noted. Throws TError, whose
  // text says what, where and what to do, when `options.root` is no folder that can be read.
  virtual Outcome Collect(const Options& options) const = 0;

  // Hands over, as a tar archive, exactly the files that Collect reads; Collect takes its unpacked
  // tree as root. Returns the notes of Collect. Throws TError as Collect does, and what
  // `write` throws; then the archive is not whole. With `options.redact` the files that tell serial
  // numbers, UUIDs or the host name are left out.
  virtual std::vector<std::string> Capture(const Options& options, const TWrite& write) const = 0;

  // Tries each source of the running system.
  virtual std::vector<SourceState> TrySources() const = 0;
};

// The collector of the module libsvcheck-collect.so, which lies beside the other libraries and is
// loaded, with the libraries that it needs, at the first call: few programs need it. Valid until
// the process ends; the same at each call. May be called from any thread. Throws TError when the
// module cannot be loaded, with what to do.
const ICollector& LoadCollector();

// Where a management controller tells of its server (DMTF DSP0266, Redfish).
struct ServiceOptions {
  std::string url;   // https://host[:port]
  std::string user;  // Empty: nobody logs in.
  std::string password;
  std::string caFile;  // Certificates to trust instead of the system's; may be empty.
  std::string system;  // The id of one of several systems; empty: the first.
  bool redact = false;
  std::vector<TFirmwareDevice> devices = {};  // As in Options.
  std::function<bool()> stopRequested = {};   // Asked several times a second.
};

// Reads a server through its management controller, by the module libsvcheck-redfish.so, loaded at
// the first call. What a service that answers does not tell is left out and noted. Throws TError
// (kUsage) for an address that is none, and TError, on one line, where the service cannot be
// reached, refuses, or has no such system. Any thread.
Outcome CollectFromService(const ServiceOptions& options);

}  // namespace svc::collect
