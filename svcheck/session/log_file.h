// The file of --log. Used by one thread.
#ifndef SVCHECK_SESSION_LOG_FILE_H_
#define SVCHECK_SESSION_LOG_FILE_H_

#include <boost/shared_ptr.hpp>
#include <string>

#include "host/hskcore/logger.h"
#include "runtime/hskcore/json_logger.h"
#include "svcheck/session/query_options.h"

namespace svc {

// The log of a run, from its first entry to its last.
class TLogFile {
 public:
  // Makes the file where the options name one. Throws TFailure.
  explicit TLogFile(const TQueryOptions& options);

  // Empty without a file. Takes the entries that --log-level wants.
  const boost::shared_ptr<TJsonLogger>& Logger() const noexcept { return logger; }
  // False when any of it was lost, which was told when it happened.
  bool Flush() { return !logger || logger->Flush(); }
  // Throws TFailure when any of it was lost.
  void DemandWhole();

 private:
  std::string file;
  boost::shared_ptr<TJsonLogger> logger;
};

}  // namespace svc

#endif  // SVCHECK_SESSION_LOG_FILE_H_
