// From a saved JSON report back to the model. Pure functions; may be called from any thread.
#ifndef REPORT_SAVED_REPORT_H_
#define REPORT_SAVED_REPORT_H_

#include <string_view>

#include "report/model.h"

namespace svc::report {

// Members that it does not know are passed over: a later version of the same schema may add some.
// Throws TError (kText) for a text that is no report, or not a whole one: what is wrong and where
// in it.
TReport ReadSavedReport(std::string_view json);

}  // namespace svc::report

#endif  // REPORT_SAVED_REPORT_H_
