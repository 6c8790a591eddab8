// The options that every verb that asks the plug-in has.
#ifndef SVCHECK_SESSION_QUERY_OPTIONS_H_
#define SVCHECK_SESSION_QUERY_OPTIONS_H_

#include <memory>
#include <string>
#include <vector>

#include "runtime/acquire/settings.h"
#include "svcheck/cli/options.h"
#include "svcheck/session/query_run.h"

namespace svc {

struct TQueryOptions {
  std::vector<std::string> inventories;
  bool noBuiltinClasses = false;
  std::vector<std::string> context;  // NAME=VALUE
  std::string dataFolder;
  std::string plugin;
  std::string driveRoot;
  std::string logFile;
  int logLevel = 4;
  std::string repository;
  std::string repositoryKey;
  bool allowUnsigned = false;
  std::string caFile;
  std::string proxy;
  bool offline = false;
};

// Adds them; the options object outlives the parsing.
void AddQueryOptions(CLI::App& app, TQueryOptions& options);
// Those of them that a query of a catalogue in a folder has a use for.
void AddFolderQueryOptions(CLI::App& app, TQueryOptions& options);
// Those of them that say which plug-in runs and what surrounds it.
void AddPluginOptions(CLI::App& app, TQueryOptions& options);
// Parts of them: where the program's own files are, and the repository with whom to trust.
void AddPlaceOptions(CLI::App& app, TQueryOptions& options);
void AddRepositoryOptions(CLI::App& app, TQueryOptions& options);
TOption AddInventoryOption(CLI::App& app, TQueryOptions& options);

// The context entries as the plug-in gets them: texts, but "svProxy" an array, split at the first
// three commas. Throws TFailure (64) for an entry without "=".
NQRXHSK20::CIMContext ContextOf(const std::vector<std::string>& entries);

// Puts the process's settings for downloads in force.
void ApplyDownloadSettings(const TQueryOptions& options);

// What a run needs, with every path made absolute, and the process's settings for downloads and
// drive letters in force. Throws TFailure (64) for a live query that trusts nobody.
TQueryRequest RequestOf(const TQueryOptions& options);

}  // namespace svc

#endif  // SVCHECK_SESSION_QUERY_OPTIONS_H_
