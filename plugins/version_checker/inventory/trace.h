// Writing to the host's log and to standard output.
#ifndef PLUGINS_VERSION_CHECKER_INVENTORY_TRACE_H_
#define PLUGINS_VERSION_CHECKER_INVENTORY_TRACE_H_

#include <initializer_list>
#include <string_view>

#include "host/hskcore/logger.h"

// Each writes one log entry of the level in its name.
void LogError(std::string_view message);
void LogWarning(std::string_view message);
void LogProgress(std::string_view message);
void LogTrace(std::string_view message);
// One entry made of pieces, which are joined only when the entry is kept.
void LogJoined(int level, std::initializer_list<std::string_view> pieces);

// Tells the person who runs the host: an end of line, the text and an end of line.
void PrintMessage(std::string_view text);

#endif  // PLUGINS_VERSION_CHECKER_INVENTORY_TRACE_H_
