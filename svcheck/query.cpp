// `svcheck query`: one raw query, for programs and for tests.
#include <iostream>

#include "report/json_parts.h"
#include "runtime/hskcore/host_setup.h"
#include "runtime/hskcore/json_logger.h"
#include "svcheck/failure.h"
#include "svcheck/options.h"
#include "svcheck/output.h"
#include "svcheck/query_options.h"
#include "svcheck/query_run.h"
#include "svcheck/verb.h"

namespace svc {

namespace {

// The log of a run, from its first entry to its last.
class TLogFile {
 public:
  TLogFile(const std::string& path, int highestLevel) {
    if (path.empty()) return;
    try {
      logger = TJsonLogger::Open(path, highestLevel, ReportError);
    } catch (const NQRXHSK20::THSKException& exception) {
      throw TFailure(exception.GetMessageText());
    }
    InstallLogger(logger);
  }
  ~TLogFile() { InstallLogger({}); }
  TLogFile(const TLogFile&) = delete;
  TLogFile& operator=(const TLogFile&) = delete;

  // False when any of it was lost.
  bool Flush() { return !logger || logger->Flush(); }

 private:
  boost::shared_ptr<TJsonLogger> logger;
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
    TLogFile log(options.logFile, options.logLevel);
    TQueryRun run(std::move(request));
    const TQueryEnd end = run.Run();
    std::cout.flush();
    std::fflush(stdout);
    for (const report::TRecord& record : run.Records()) {
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
