// `svcheck query`: one raw query, for programs and for tests.
#include <iostream>

#include "report/json.h"
#include "runtime/hskcore/host_setup.h"
#include "svcheck/cli/options.h"
#include "svcheck/cli/verb_description.h"
#include "svcheck/session/query_options.h"
#include "svcheck/session/query_run.h"
#include "svcheck/session/report_files.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/output.h"

namespace svc {

namespace {

// Everybody logs to it while it lives.
class TInstalledLogger {
 public:
  explicit TInstalledLogger(const TLogFile& log) { InstallLogger(log.Logger()); }
  ~TInstalledLogger() { InstallLogger({}); }
  TInstalledLogger(const TInstalledLogger&) = delete;
  TInstalledLogger& operator=(const TInstalledLogger&) = delete;
};

class TQueryVerb : public IVerb {
 public:
  explicit TQueryVerb(CLI::App& app) {
    AddInventoryOption(app, options).Required();
    AddQueryOptions(app, options);
    AddText(app, "--records", recordsFile, "Where the records go; \"-\" is standard output",
            "FILE");
  }

  int Run() override {
    TQueryRequest request = RequestOf(options);
    const auto records = OpenOutput(recordsFile);
    TLogFile log(options);
    const TInstalledLogger installed(log);
    TQueryRun run(std::move(request));
    const TQueryEnd end = run.Run();
    std::cout.flush();
    std::fflush(stdout);
    const auto found = run.Records();
    report::TRecord record;
    for (std::size_t i = 0; i < found->Count(); ++i) {
      found->Read(i, record);
      records->Write(report::JsonOfRawRecord(record) + '\n');
    }
    records->Commit();
    FlushStandardOutput();
    return Status(end, log.Flush());
  }

 private:
  static int Status(const TQueryEnd& end, bool logIsWhole) {
    if (!end.returned) {
      ReportError("an exception left the plug-in's query: " + end.exceptionText +
                  (end.status ? " (status " + std::to_string(*end.status) + ")" : "") +
                  "; --log FILE shows what the query did");
      return kExitException;
    }
    return logIsWhole ? kExitDone : kExitFailure;
  }

  TQueryOptions options;
  std::string recordsFile = "-";
};

}  // namespace

std::unique_ptr<IVerb> MakeQuery(CLI::App& app) { return std::make_unique<TQueryVerb>(app); }

}  // namespace svc
