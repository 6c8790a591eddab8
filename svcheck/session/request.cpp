#include "svcheck/session/request.h"

#include <algorithm>
#include <utility>

#include "collect/collector.h"
#include "host/hskcore/os_specific.h"
#include "host/hskcore/root_object.h"
#include "rules/names.h"
#include "runtime/acquire/settings.h"
#include "runtime/hskcore/host_setup.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/paths.h"
#include "svcheck/system/process.h"

using namespace NQRXHSK20;

namespace svc {

static TCIMValue ProxyValue(std::string_view text) {
  constexpr int kCommas = 3;
  std::vector<TCIMValue> parts;
  for (int i = 0; i < kCommas; ++i) {
    const std::size_t comma = text.find(',');
    if (comma == std::string_view::npos) break;
    parts.emplace_back(text.substr(0, comma));
    text.remove_prefix(comma + 1);
  }
  parts.emplace_back(text);
  return TCIMValue::Array(ECIMType::kString, std::move(parts));
}

static CIMContext ContextOf(const std::vector<std::string>& entries) {
  CIMContext context;
  for (const std::string& entry : entries) {
    const std::size_t equals = entry.find('=');
    if (equals == std::string::npos || equals == 0) {
      throw TError("--context " + entry + " is no entry; write NAME=VALUE", EErrorKind::kUsage);
    }
    const std::string name = entry.substr(0, equals);
    const std::string value = entry.substr(equals + 1);
    context.insert_or_assign(name,
                             name == rules::kProxyEntry ? ProxyValue(value) : TCIMValue(value));
  }
  return context;
}

// Words that --plugin takes in place of a file.
constexpr const char* kVersionChecker = "version-checker";
constexpr const char* kPublicFirmware = "public-firmware";

// As a query sees it, which works in the data folder.
static bool HoldsFile(const TQueryRequest& request, const std::string& folder, const char* name) {
  std::error_code none;
  const std::string path = folder + TOSSpecific::kFileSeparator + name;
  return std::filesystem::exists(request.dataFolder / PathOf(TOSSpecific::NativePath(path)), none);
}

// The trace is written without a lock as long as the process has one thread, which gains more than
// another one that reads.
static unsigned ThreadsOf(const TQueryOptions& options) {
  const bool isTraced = !options.logFile.empty() && options.logLevel >= kLogTrace;
  return options.threads == 0 && isTraced ? 1 : static_cast<unsigned>(options.threads);
}

static std::filesystem::path AbsoluteOr(const std::string& path,
                                        std::filesystem::path (*otherwise)()) {
  return path.empty() ? otherwise() : Absolute(path);
}

bool IsLive(const CIMContext& context) {
  const auto entry = context.find(rules::kCatalogueEntry);
  return entry != context.end() && static_cast<std::string>(entry->second) == rules::kLive;
}

// Without a repository there is nothing to trust: the download fails and says so itself.
void DemandTrust(const TQueryOptions& options) {
  if (options.repository.empty() || !options.repositoryKey.empty() || options.allowUnsigned) return;
  throw TError(
      "a live catalogue needs somebody to trust: give --repository-key FILE, or --allow-unsigned",
      EErrorKind::kUsage);
}

void ApplyDownloadSettings(const TQueryOptions& options) {
  acquire::TSettings settings = acquire::GetSettings();
  settings.repository = options.repository;
  if (!options.repositoryKey.empty()) {
    settings.publicKeyFile = Absolute(options.repositoryKey).string();
  }
  settings.allowUnsigned = options.allowUnsigned;
  if (!options.caFile.empty()) settings.caFile = Absolute(options.caFile).string();
  settings.offline = options.offline;
  settings.proxy = options.proxy;
  settings.stopRequested = [] { return StopRequested(); };
  acquire::SetSettings(std::move(settings));
}

TOption AddInventoryOption(CLI::App& app, TQueryOptions& options) {
  return AddList(app, "--inventory", options.inventories,
                 "Inventory of a machine, a CIM-XML file; \"-\" is standard input; may be given "
                 "several times",
                 "FILE");
}

void AddMachineOption(CLI::App& app, TQueryOptions& options) {
  AddText(app, "--machine", options.machineType,
          "The machine type, in place of what the inventory says of it", "TYPE")
      .NotEmpty();
}

void AddUrgencyOption(CLI::App& app, TQueryOptions& options) {
  AddText(app, "--only-urgency", options.onlyUrgency,
          "Only public firmware whose release is at least so urgent", "URGENCY")
      .OneOf({kAnyUrgency, "low", "medium", "high", "critical"});
}

void AddJudgedPluginOptions(CLI::App& app, TQueryOptions& options) {
  AddUrgencyOption(app, options);
  AddPluginOptions(app, options);
}

void AddPluginOptions(CLI::App& app, TQueryOptions& options) {
  AddFlag(app, "--no-builtin-classes", options.noBuiltinClasses,
          "Do not declare the host's inventory classes");
  AddList(app, "--context", options.context,
          "An entry of the query's context, handed to the plug-in as it is", "NAME=VALUE");
  AddPlaceOptions(app, options);
  AddNumber(app, "--log-level", options.logLevel, "Keep the levels 0 to N of the log", "N")
      .Within(0, 4)
      .ShowDefault();
}

void AddFolderQueryOptions(CLI::App& app, TQueryOptions& options) {
  AddPluginOptions(app, options);
  AddText(app, "--log", options.logFile, "Write the plug-in's log, one JSON object a line", "FILE");
  constexpr int kMostThreads = 64;
  options.threads = 0;
  AddNumber(
      app, "--threads", options.threads,
      "Read a catalogue of more than 8 MiB by so many threads; 0 for one a processor, at most "
      "4, but for one in all where --log keeps every level",
      "N")
      .Within(0, kMostThreads)
      .ShowDefault();
}

void AddQueryOptions(CLI::App& app, TQueryOptions& options) {
  AddFolderQueryOptions(app, options);
  AddRepositoryOptions(app, options);
  AddOfflineOption(app, options);
}

void AddPlaceOptions(CLI::App& app, TQueryOptions& options) {
  AddText(app, "--data-dir", options.dataFolder,
          "Folder that holds sv/; the installed one if not given", "DIR");
  AddText(app, "--plugin", options.plugin,
          "The plug-in, a file, or \"version-checker\" or \"public-firmware\" alone; the installed "
          "ones that the catalogue is for if not given",
          "FILE");
  AddText(app, "--drive-root", options.driveRoot, "Folder below which drive letters lie", "DIR");
}

void AddRepositoryOptions(CLI::App& app, TQueryOptions& options) {
  AddText(app, "--repository", options.repository, "Address of the repository of live catalogues",
          "URL");
  const TOption key = AddText(app, "--repository-key", options.repositoryKey,
                              "Public key that the repository's manifest is signed with", "FILE");
  AddFlag(app, "--allow-unsigned", options.allowUnsigned, "Trust a repository without a signature")
      .Excludes(key);
  AddText(app, "--ca-file", options.caFile, "Certificates to trust instead of the system's",
          "FILE");
  AddText(app, "--proxy", options.proxy, "Proxy of downloads; \"none\" goes direct", "URL");
}

void AddOfflineOption(CLI::App& app, TQueryOptions& options) {
  AddFlag(app, "--offline", options.offline, "Use what was downloaded before, open no connection");
}

void ChoosePlugins(const TQueryOptions& options, TQueryRequest& request) {
  request.companion.clear();
  request.plugin = DefaultPlugin();
  if (options.plugin == kPublicFirmware) request.plugin = PublicFirmwarePlugin();
  const bool isWord = options.plugin == kPublicFirmware || options.plugin == kVersionChecker;
  if (!options.plugin.empty() && !isWord) request.plugin = Absolute(options.plugin);
  const auto catalogue = request.context.find(rules::kCatalogueEntry);
  if (!options.plugin.empty() || catalogue == request.context.end()) return;
  const auto folder = static_cast<std::string>(catalogue->second);
  if (IsLive(request.context) || !HoldsFile(request, folder, kOfferFile)) return;
  const bool isForBoth = HoldsFile(request, folder, rules::kIndexFile);
  (isForBoth ? request.companion : request.plugin) = PublicFirmwarePlugin();
}

TQueryRequest RequestOf(const TQueryOptions& options) {
  TQueryRequest request;
  if (std::ranges::count(options.inventories, kStandardInput) > 1) {
    throw TError("standard input can be read once: give --inventory - once", EErrorKind::kUsage);
  }
  for (const std::string& file : options.inventories) {
    request.inventories.push_back(file == kStandardInput ? file : Absolute(file).string());
  }
  request.machineType = options.machineType;
  request.onlyUrgency = options.onlyUrgency;
  request.threads = ThreadsOf(options);
  request.builtinClasses = !options.noBuiltinClasses;
  request.context = ContextOf(options.context);
  if (IsLive(request.context)) {
    DemandTrust(options);
    ApplyDownloadSettings(options);
  }
  request.dataFolder = AbsoluteOr(options.dataFolder, DefaultDataFolder);
  SetDriveRoot(options.driveRoot.empty() ? std::string() : Absolute(options.driveRoot).string());
  ChoosePlugins(options, request);
  return request;
}

std::string CollectInventory(const std::string& root, bool redact,
                             std::vector<std::string>& notes) {
  collect::Outcome outcome = collect::LoadCollector().Collect({Absolute(root).string(), redact});
  notes = std::move(outcome.notes);
  return std::move(outcome.document);
}

void CompleteInventory(TQueryRequest& request, const std::string& root,
                       std::vector<std::string>& notes) {
  if (request.inventories.empty()) request.inventoryDocument = CollectInventory(root, false, notes);
}

}  // namespace svc
