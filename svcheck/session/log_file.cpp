#include "svcheck/session/log_file.h"

#include "host/hskcore/exception.h"
#include "svcheck/system/failure.h"

namespace svc {

TLogFile::TLogFile(const TQueryOptions& options) : file(options.logFile) {
  if (file.empty()) return;
  try {
    logger = TJsonLogger::Open(file, options.logLevel, ReportError);
  } catch (const NQRXHSK20::THSKException& exception) {
    throw TFailure(exception.GetMessageText() +
                   "; name a file in a folder that you may write to with --log");
  }
}

void TLogFile::DemandWhole() {
  if (Flush()) return;
  throw TFailure("the log " + file + " is not whole; make room, or name another file with --log");
}

}  // namespace svc
