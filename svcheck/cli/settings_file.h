// Reads a configuration file.
#ifndef SVCHECK_CLI_SETTINGS_FILE_H_
#define SVCHECK_CLI_SETTINGS_FILE_H_

#include <filesystem>
#include <vector>

#include "svcheck/cli/settings.h"

namespace svc {

// The keys of a TOML file (toml.io), those of a verb's table before the general ones; none when
// there is no such file. Throws TError (kUsage) with file, line and advice.
std::vector<TSetting> ReadSettingsFile(const std::filesystem::path& file, ELayer layer);

}  // namespace svc

#endif  // SVCHECK_CLI_SETTINGS_FILE_H_
