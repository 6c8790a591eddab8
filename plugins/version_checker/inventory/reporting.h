// What a query says beside its records: to the host's log, and to the person who runs the host.
// On the thread of the query.
#ifndef PLUGINS_VERSION_CHECKER_INVENTORY_REPORTING_H_
#define PLUGINS_VERSION_CHECKER_INVENTORY_REPORTING_H_

#include <initializer_list>
#include <string_view>

#include "host/hskcore/root_object.h"

namespace svc::checker {

// Each writes one log entry of the level in its name.
void LogError(std::string_view message);
void LogWarning(std::string_view message);
void LogProgress(std::string_view message);
void LogTrace(std::string_view message);
// One entry made of pieces, which are joined only when the entry is kept.
void LogJoined(int level, std::initializer_list<std::string_view> pieces);

// Writes an end of line, the text and an end of line to standard output.
void PrintMessage(std::string_view text);

}  // namespace svc::checker

#endif  // PLUGINS_VERSION_CHECKER_INVENTORY_REPORTING_H_
