// Opening and removing files that are named in Windows form, as the plug-in names its own.
#ifndef PLUGINS_VERSION_CHECKER_CATALOGUE_FILES_H_
#define PLUGINS_VERSION_CHECKER_CATALOGUE_FILES_H_

#include <cstdio>
#include <string>

// Opens a file in text mode for reading; null, with errno set, when that fails.
std::FILE* OpenForReading(const std::string& path);

// Removes a file if it is there.
void RemoveFile(const std::string& path);

#endif  // PLUGINS_VERSION_CHECKER_CATALOGUE_FILES_H_
