// `svcheck query`: one raw query, for programs and for tests.
#include <iostream>

#include "base/json_writer.h"
#include "report/json.h"
#include "svcheck/cli/command_line.h"
#include "svcheck/cli/verb_description.h"
#include "svcheck/session/query_session.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/output.h"

namespace svc {

namespace {

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
    // From the loading of the plug-in on.
    const TInstalledLogger logging(log.Logger());
    TQuerySession session(std::move(request));
    const TQueryEnd end = session.Ask();
    std::cout.flush();
    std::fflush(stdout);
    const auto found = session.Records();
    report::TRecord record;
    std::string line;
    TJsonWriter json(line);
    for (std::size_t i = 0; i < found->Count(); ++i) {
      found->Read(i, record);
      json.Object();
      report::AddTexts(record, json);
      json.End();
      records->Write(line += '\n');
      line.clear();
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
