// What a verb asks the plug-in: from the options that all of them have to a request, with this
// machine's inventory where no file is named. Used by one thread.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/hskcore/cim.h"
#include "svcheck/cli/command_line.h"

namespace svc {

// In place of the name of an inventory.
inline constexpr const char* kStandardInput = "-";

// The file of a catalogue's folder that is for the plug-in for public firmware.
inline constexpr const char* kOfferFile = "firmware.xml";

// All records, not only those of a release that is urgent.
inline constexpr const char* kAnyUrgency = "any";

struct TQueryRequest {
  std::vector<std::string> inventories;  // Files, and kStandardInput.
  std::string inventoryDocument;         // CIM-XML in memory; empty for none.
  std::string machineType;               // Stands for the inventory's; empty to leave that.
  bool builtinClasses = true;
  bool keepsPlaces = false;  // Whether the inventory's instances know theirs.
  NQRXHSK20::CIMContext context;
  std::filesystem::path dataFolder;
  std::filesystem::path plugin;
  // Asked behind it, where the catalogue has something for it; empty for none.
  std::filesystem::path companion;
  std::string onlyUrgency = kAnyUrgency;
  unsigned threads = 1;  // That read a large catalogue; 0 for what the machine gives, up to four.
};

struct TQueryOptions {
  std::vector<std::string> inventories;
  std::string machineType;
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
  std::string onlyUrgency = kAnyUrgency;
  int threads = 1;
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
void AddOfflineOption(CLI::App& app, TQueryOptions& options);
// Throws TError (kUsage) where a repository is named and nobody to trust.
void DemandTrust(const TQueryOptions& options);
// For a verb that judges what it finds; and this with those of the plug-in.
void AddUrgencyOption(CLI::App& app, TQueryOptions& options);
void AddJudgedPluginOptions(CLI::App& app, TQueryOptions& options);
TOption AddInventoryOption(CLI::App& app, TQueryOptions& options);
void AddMachineOption(CLI::App& app, TQueryOptions& options);

// Whether the query of that context downloads its catalogue.
bool IsLive(const NQRXHSK20::CIMContext& context);

// Puts the process's settings for downloads in force.
void ApplyDownloadSettings(const TQueryOptions& options);

// What a query needs, with every path made absolute, and the process's settings for downloads and
// drive letters in force. Texts of the context are handed on as they are, but "svProxy" as an
// array, split at the first three commas. Throws TError (kUsage) for an entry of the context
// without
// "=", and for a live query that trusts nobody.
TQueryRequest RequestOf(const TQueryOptions& options);

// Which plug-ins a request's catalogue is for: those of --plugin, or else the installed ones. That
// for public firmware is asked where the folder holds firmware.xml, and alone where there is no
// index.xml beside it; other folders do not know of it. Part of RequestOf; anew for a request whose
// context names its catalogue later.
void ChoosePlugins(const TQueryOptions& options, TQueryRequest& request);

// The inventory of the machine below `root` as a CIM-XML document. `notes` receives what is missing
// and why. Throws what the collector does.
std::string CollectInventory(const std::string& root, bool redact, std::vector<std::string>& notes);

// The same when the request names no file.
void CompleteInventory(TQueryRequest& request, const std::string& root,
                       std::vector<std::string>& notes);

}  // namespace svc
