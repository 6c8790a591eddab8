// What a person has to know of the download folder beside what was compared. Any thread.
#ifndef SVCHECK_SESSION_DOWNLOAD_REMARKS_H_
#define SVCHECK_SESSION_DOWNLOAD_REMARKS_H_

#include <string>
#include <vector>

#include "runtime/acquire/settings.h"

namespace svc {

// The files of the download folder that count in a live check though the repository does not offer
// them (any more): what is there stays. Empty where the outcome does not tell what it offers.
std::vector<std::string> FilesNotOffered(const acquire::TOutcome& outcome);

// One line on these files, which are some.
std::string RemarkOnFilesNotOffered(const std::vector<std::string>& names);
std::string AdviceOnFilesNotOffered();

// One line on a live check that opened no connection.
std::string RemarkOnOffline();

}  // namespace svc

#endif  // SVCHECK_SESSION_DOWNLOAD_REMARKS_H_
