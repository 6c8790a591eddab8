// Files that a person names for the program to read whole.
#ifndef SVCHECK_SESSION_INPUT_H_
#define SVCHECK_SESSION_INPUT_H_

#include <string>
#include <vector>

#include "report/model.h"
#include "report/waivers.h"

namespace svc {

// Reads a report as `svcheck check --format json` wrote it; "-" is standard input. Throws TFailure.
report::TReport LoadReport(const std::string& file);

// No waivers for an empty name. Throws TFailure.
std::vector<report::TWaiver> LoadWaivers(const std::string& file);

// Marks the records that waivers are for, and tells on standard error of each that has expired at
// the time of the report. Does nothing for an empty name, so that a report keeps its marks.
void UseWaivers(const std::string& file, const std::vector<report::TWaiver>& waivers,
                report::TReport& report);

}  // namespace svc

#endif  // SVCHECK_SESSION_INPUT_H_
