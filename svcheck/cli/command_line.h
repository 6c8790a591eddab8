// The command line of one verb, completed by the settings of environment and configuration files.
#ifndef SVCHECK_CLI_COMMAND_LINE_H_
#define SVCHECK_CLI_COMMAND_LINE_H_

#include <memory>
#include <vector>

#include "svcheck/cli/settings.h"
#include "svcheck/cli/verb_description.h"

namespace CLI {
class Option;
}

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

  // arguments[0] is the verb's name. Throws TError (kUsage).
  EAsked Parse(int count, char** arguments);
  // What was asked for help: the verb, or one of its commands.
  TCommandDescription Asked() const;
  // Fills in what the command line does not give. Throws TError (kUsage).
  void Apply(const std::vector<TSetting>& settings);

  IVerb& Verb() const noexcept { return *made; }

 private:
  void DemandRequired() const;

  const TVerb& verb;
  std::unique_ptr<CLI::App> app;
  std::unique_ptr<IVerb> made;
  std::vector<const CLI::Option*> demanded;  // Once the settings are in force.
};

}  // namespace svc

#endif  // SVCHECK_CLI_COMMAND_LINE_H_
