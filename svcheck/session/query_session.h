// One query, from its inventory to what became of it: what every verb that asks the plug-in goes
// through. A query needs much that is the process's (logger, plug-in, provider of namespaces,
// standard output, current folder, observer of downloads): whatever a session sets of these is as
// it was before once the query has ended, however it ended. Used by one thread; one at a time.
#pragma once

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "host/hskcore/cim.h"
#include "host/hskcore/root_object.h"
#include "host/plugin.nsp/plugin_manager.h"
#include "report/records.h"
#include "runtime/acquire/settings.h"
#include "runtime/hskcore/cim_state.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/hskcore/logging.h"
#include "svcheck/session/outcome.h"
#include "svcheck/session/record_origins.h"
#include "svcheck/session/request.h"

namespace svc {

class TCapturedOutput;
class TRecordSpool;

// Everybody in the process logs to the logger while this lives, and to nobody afterwards.
class TInstalledLogger {
 public:
  explicit TInstalledLogger(const boost::shared_ptr<NQRXHSK20::ILogger>& logger);
  ~TInstalledLogger();
  TInstalledLogger(const TInstalledLogger&) = delete;
  TInstalledLogger& operator=(const TInstalledLogger&) = delete;
};

// The file of --log, from its first entry to its last.
class TLogFile {
 public:
  // Makes the file where the options name one. Throws TError.
  explicit TLogFile(const TQueryOptions& options);

  // Empty without a file. Takes the entries that --log-level wants.
  const boost::shared_ptr<TJsonLogger>& Logger() const noexcept { return logger; }
  // False when any of it was lost, which was told when it happened.
  bool Flush() { return !logger || logger->Flush(); }
  // Throws TError when any of it was lost.
  void DemandWhole();

 private:
  std::string file;
  boost::shared_ptr<TJsonLogger> logger;
};

// A query plug-in, and the one that is asked behind it, if any; loaded as long as this lives. One
// at a time.
class TLoadedPlugin {
 public:
  // Throws TError.
  explicit TLoadedPlugin(const std::filesystem::path& file,
                         const std::filesystem::path& companion = {});
  ~TLoadedPlugin();
  TLoadedPlugin(const TLoadedPlugin&) = delete;
  TLoadedPlugin& operator=(const TLoadedPlugin&) = delete;

  std::string Name() const { return provider->GetPlugin()->GetName(); }
  std::string Version() const { return provider->GetPlugin()->GetVersion(); }
  NQRXHSK20::IPluginAdvancedQueryCallbacks& Query() const { return *provider->GetQueryInterface(); }
  // Null without one.
  NQRXHSK20::IPluginAdvancedQueryCallbacks* Companion() const {
    return companion == nullptr ? nullptr : companion->GetQueryInterface();
  }

 private:
  NQRXHSK20::TPluginManagerProvider* Load(const std::filesystem::path& file);

  boost::shared_ptr<NQRXHSK20::TPluginManagerNamespace> manager;
  // Owned by the manager.
  NQRXHSK20::TPluginManagerProvider* provider = nullptr;
  NQRXHSK20::TPluginManagerProvider* companion = nullptr;
};

// Who follows a query while it runs. All may be left out; the borrowed ones outlive the query.
struct TFollowers {
  boost::shared_ptr<NQRXHSK20::ILogger> log = {};  // Gets every entry.
  // Gets the entries of the companion in its place, where there is one.
  boost::shared_ptr<NQRXHSK20::ILogger> companionLog = {};
  TJournal::TOnLoaded onLoaded = {};
  acquire::IProgressObserver* download = nullptr;
  // See what is read of inventory and catalogue.
  IReadObserver* inventory = nullptr;
  IReadObserver* catalogue = nullptr;
  // Whether the records of the report are to name their update elements.
  bool wantsUpdates = false;
  // What cannot be seen of the catalogue.
  THiddenInstancesHandle hidden = {};
  // Has standard output already; the query takes and gives back none then.
  TCapturedOutput* output = nullptr;
};

class TQuerySession {
 public:
  // Reads the inventory and loads the plug-in, unless it is given. Throws TError.
  explicit TQuerySession(TQueryRequest request, std::shared_ptr<TLoadedPlugin> loaded = {});
  ~TQuerySession();
  TQuerySession(const TQuerySession&) = delete;
  TQuerySession& operator=(const TQuerySession&) = delete;

  // The bare query: what it prints goes to standard output, what it logs to whoever is installed.
  // Throws TError when the data folder cannot be entered, or records were lost; std::bad_alloc
  // when memory ran out, though the plug-in kept it to itself.
  TQueryEnd Ask();
  // The same, followed and taken down. Throws as Ask does, and TError when standard output cannot
  // be taken or given back.
  void Run(const TFollowers& followers = {});
  // Sets records, outcome and errors of a report and, where it does not have it, the number of
  // update elements that Run saw. REQUIRES: Run.
  void Conclude(report::TReport& report) const;

  // The records that the query added, in the order of their commit, those of the companion last;
  // the verdicts are not set.
  std::shared_ptr<const report::IRecordSource> Records() const;
  const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& Inventory() const { return inventory; }
  // The namespace that Run saw the catalogue loaded into; empty when there was none.
  const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& Catalogue() const { return catalogue; }
  const TLoadedPlugin& Plugin() const { return *plugin; }
  // Whether it is the one whose log this program knows.
  bool IsOfOurPlugin() const;
  // Whether the plug-in for public firmware is the first, and alone.
  bool IsForPublicFirmware() const;

 private:
  void ReadInventory();
  std::optional<std::uint64_t> CountElements() const;
  TQueryEnd AskFirst();
  // Its records stay in the inventory. Nothing where there is none.
  TQueryEnd AskCompanion();
  TQueryEnd RunQuery(NQRXHSK20::IPluginAdvancedQueryCallbacks& query);
  void ConcludeCompanion(report::TReport& report) const;
  std::shared_ptr<const report::IRecordSource> StoredRecords() const;
  // Each with its update element, where the plug-in is the one whose order of work is known.
  std::shared_ptr<const report::IRecordSource> NamedRecords() const;

  TQueryRequest request;
  boost::shared_ptr<NQRXHSK20::ICIMNamespace> inventory;
  boost::shared_ptr<NQRXHSK20::ICIMNamespace> catalogue;
  std::shared_ptr<TLoadedPlugin> plugin;
  std::shared_ptr<TRecordSpool> spool;  // Null for a plug-in of somebody else.
  std::size_t recordsBefore = 0;
  std::unique_ptr<TRecordOrigins> origins;  // Null where nobody wants to know them.
  boost::shared_ptr<TJournal> journal;
  TQueryEnd end;
  TQueryEnd companionEnd;
  std::string printed;
};

// Which drivers are built of the same source as those that a catalogue offers is in no record: the
// inventory and the catalogue state it beside what a query compares.
//
// Returns the same records; those of drivers whose source both state, and state alike, are marked
// (hasSameSource) and current, whatever their versions are. Where one side states two sources for
// one driver and version, nothing is known of it. The catalogue may be empty.
std::shared_ptr<const report::IRecordSource> WithSources(
    std::shared_ptr<const report::IRecordSource> records,
    const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& inventory,
    const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& catalogue);

// --- What a comparison covers, beside its records ---

struct TCompared {
  const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& inventory;
  const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& catalogue;  // Empty for none.
  const report::IRecordSource& records;                          // All that the query added.
  std::string machineType;
  std::string systemCode;
  bool isLive = false;
  bool withoutDrivers = false;  // Their records are left out.
};

// Which installed pieces have no record. A piece is an instance of a class that the comparison
// reads, or that is told for the record alone.
report::TCoverage CoverageOf(const TCompared& compared);

}  // namespace svc
