// The program: finds the verb, runs it and turns failures into one line and an exit status.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "svcheck/cli/command_line.h"
#include "svcheck/cli/verb_description.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/process.h"

namespace svc {

const std::terminate_handler usualTermination = std::get_terminate();

// Functions of libraries promise no exception and allocate all the same: std::filesystem does so
// where it walks through a folder. Without memory they end the process; it says why.
[[noreturn]] static void Terminate() noexcept {
  RemoveTemporaryFiles();
  try {
    if (HasMemoryRunOut()) throw std::bad_alloc();
    if (std::current_exception()) throw;
  } catch (const std::exception& error) {
    ReportError(ReasonOf(error));
    std::_Exit(kExitFailure);
  } catch (...) {
  }
  usualTermination();
  std::abort();
}

static int RunVerb(const TVerb& verb, int argc, char** argv) {
  TCommandLine commandLine(verb);
  if (commandLine.Parse(argc, argv) == TCommandLine::EAsked::kHelp) {
    return PrintHelp(commandLine.Asked());
  }
  return commandLine.Verb().Run();
}

// `svcheck help VERB` is `svcheck VERB --help`, of a command below a verb as well.
static int ShowHelpOf(int count, char** words) {
  if (count == 0) return PrintProgramHelp(stdout);
  const TVerb* const verb = FindVerb(words[0]);
  if (verb == nullptr) throw TError(UnknownVerb(words[0]), EErrorKind::kUsage);
  std::string help = "--help";
  std::vector<char*> line(words, words + count);
  line.push_back(help.data());
  return RunVerb(*verb, static_cast<int>(line.size()), line.data());
}

static int RunProgram(int argc, char** argv) {
  if (argc < 2) {
    PrintProgramHelp(stderr);
    return kExitUsage;
  }
  const std::string_view word = argv[1];
  if (word == "--help" || word == "-h") return PrintProgramHelp(stdout);
  if (word == "help") return ShowHelpOf(argc - 2, argv + 2);
  if (word == "--version") return PrintVersion();
  if (const TVerb* const verb = FindVerb(word)) return RunVerb(*verb, argc - 1, argv + 1);
  throw TError(UnknownVerb(word), EErrorKind::kUsage);
}

}  // namespace svc

int main(int argc, char** argv) {
  const auto run = [&] {
    svc::GuardStandardStreams();
    svc::GuardEnvironment();
    svc::GuardFileSizes();
    svc::WatchMemory();
    std::set_terminate(svc::Terminate);
    svc::HandleInterruption();
    return svc::RunProgram(argc, argv);
  };
  return svc::StatusOfRun(run, svc::ReportError);
}
