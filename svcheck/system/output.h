// Where a verb's result goes: standard output, or a file that is there whole or not at all. Used by
// one thread.
#ifndef SVCHECK_SYSTEM_OUTPUT_H_
#define SVCHECK_SYSTEM_OUTPUT_H_

#include <memory>
#include <string>
#include <string_view>

#include "report/model.h"

namespace svc {

class TOutput : public report::IOutput {
 public:
  ~TOutput() override = default;
  // Throws TError when it cannot be written.
  void Write(std::string_view text) override = 0;
  // Makes the result visible. Throws TError when any of it was lost. Without a call of it a file
  // is left as it was.
  virtual void Commit() = 0;
};

// "-" is standard output. A file is written beside its place and renamed by Commit, on stable
// storage; a link to it is followed where it belongs to root or the user, another's is replaced.
// What is no regular file (a pipe, a device) is written in place. Throws TError when it cannot be
// made.
std::unique_ptr<TOutput> OpenOutput(const std::string& path);

// Hands to the system what the process wrote to standard output. Throws TError when any of it was
// lost.
void FlushStandardOutput();

}  // namespace svc

#endif  // SVCHECK_SYSTEM_OUTPUT_H_
