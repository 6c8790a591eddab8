// What a query did, in words: for each update element the test that decided, for each offered
// driver whether it is installed. Used by one thread.
#ifndef SVCHECK_VERBS_EXPLANATION_H_
#define SVCHECK_VERBS_EXPLANATION_H_

#include <string>
#include <vector>

#include "report/model.h"
#include "report/records.h"
#include "svcheck/session/query_trace.h"

namespace svc {

struct TExplained {
  const TQueryTrace& trace;
  const report::IRecordSource& records;  // In the order of their commit.
  std::string machineType;
  std::string component;  // Show only what goes by this, without regard to case; empty for all.
};

// REQUIRES: the namespaces that the trace saw are still there.
void WriteExplanation(const TExplained& explained, report::IOutput& output);

}  // namespace svc

#endif  // SVCHECK_VERBS_EXPLANATION_H_
