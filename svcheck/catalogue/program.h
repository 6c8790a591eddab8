// What the module of `svcheck catalogue` needs of the program that loads it.
#ifndef SVCHECK_CATALOGUE_PROGRAM_H_
#define SVCHECK_CATALOGUE_PROGRAM_H_

#include <memory>
#include <string>

#include "svcheck/output.h"

namespace svc::catalogue {

class IProgram {
 public:
  virtual ~IProgram() = default;
  // Where the installation's own files lie.
  virtual std::string DataFolder() const = 0;
  // "-" is standard output; a file is removed when the process is interrupted before it is whole.
  // Throws TFailure.
  virtual std::unique_ptr<TOutput> Open(const std::string& path) const = 0;
  virtual void Report(const std::string& text) const = 0;
};

// The module's entry point, under the name kEntry; arguments[0] is the verb. Returns the exit
// status.
using TEntry = int(int count, char** arguments, const IProgram& program) noexcept;
inline constexpr const char* kModule = "svcheck-catalogue";
inline constexpr const char* kEntry = "SvcCatalogue";

}  // namespace svc::catalogue

#endif  // SVCHECK_CATALOGUE_PROGRAM_H_
