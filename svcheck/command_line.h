// The command line of one verb.
#ifndef SVCHECK_COMMAND_LINE_H_
#define SVCHECK_COMMAND_LINE_H_

#include <memory>
#include <string>

#include "svcheck/verb.h"

namespace svc {

// A verb with its options, and what was given for them. Used by one thread.
class TCommandLine {
 public:
  enum class EAsked { kRun, kHelp };

  // Makes the verb. `verb` outlives the object.
  explicit TCommandLine(const TVerb& verb);
  ~TCommandLine();
  TCommandLine(const TCommandLine&) = delete;
  TCommandLine& operator=(const TCommandLine&) = delete;

  // arguments[0] is the verb's name. Throws TFailure (64).
  EAsked Parse(int count, char** arguments) const;
  // What the verb does and each of its options.
  std::string Help() const;
  IVerb& Verb() const noexcept { return *made; }

 private:
  const TVerb& verb;
  std::unique_ptr<CLI::App> app;
  std::unique_ptr<IVerb> made;
};

}  // namespace svc

#endif  // SVCHECK_COMMAND_LINE_H_
