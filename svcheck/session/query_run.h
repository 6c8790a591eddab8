// One query, from its inventory to its records: sets up the process's host, loads the plug-in, runs
// it and reads its records back. What every verb that asks the plug-in goes through. Used by one
// thread; one at a time, since the host's set-up and the current folder are the process's.
#ifndef SVCHECK_SESSION_QUERY_RUN_H_
#define SVCHECK_SESSION_QUERY_RUN_H_

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/hskcore/cim.h"
#include "host/hskcore/logger.h"
#include "host/plugin.nsp/plugin_manager.h"
#include "report/records.h"
#include "svcheck/session/record_spool.h"

namespace svc {

struct TQueryRequest {
  std::vector<std::string> inventories;  // Files.
  std::string inventoryDocument;         // CIM-XML in memory; empty for none.
  bool builtinClasses = true;
  NQRXHSK20::CIMContext context;
  std::filesystem::path dataFolder;
  std::filesystem::path plugin;
};

// How a query ended. An exception is no failure of the run: it is what the host sees.
struct TQueryEnd {
  bool returned = true;
  std::string exceptionText;
  std::optional<int> status;  // Of a THSKException.
};

// A query plug-in, loaded as long as this lives. One at a time.
class TLoadedPlugin {
 public:
  // Throws TFailure.
  explicit TLoadedPlugin(const std::filesystem::path& file);
  ~TLoadedPlugin();
  TLoadedPlugin(const TLoadedPlugin&) = delete;
  TLoadedPlugin& operator=(const TLoadedPlugin&) = delete;

  NQRXHSK20::TPluginManagerProvider& Provider() const noexcept { return *provider; }

 private:
  boost::shared_ptr<NQRXHSK20::TPluginManagerNamespace> manager;
  NQRXHSK20::TPluginManagerProvider* provider = nullptr;  // Owned by the manager.
};

class TQueryRun {
 public:
  // Reads the inventory and loads the plug-in, unless it is given. Throws TFailure.
  explicit TQueryRun(TQueryRequest request, std::shared_ptr<TLoadedPlugin> loaded = {});
  TQueryRun(const TQueryRun&) = delete;
  TQueryRun& operator=(const TQueryRun&) = delete;
  ~TQueryRun();

  // Throws TFailure when the data folder cannot be entered or left.
  TQueryEnd Run();
  // The records that Run added, in the order of their commit; the verdicts are not set.
  std::shared_ptr<const report::IRecordSource> Records() const;

  const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& Inventory() const { return inventory; }
  std::string PluginName() const;
  std::string PluginVersion() const;

 private:
  void ReadInventory();
  TQueryEnd Ask();

  TQueryRequest request;
  boost::shared_ptr<NQRXHSK20::ICIMNamespace> inventory;
  std::shared_ptr<TLoadedPlugin> plugin;
  std::shared_ptr<TRecordSpool> spool;  // Null for a plug-in of somebody else.
  std::size_t recordsBefore = 0;
};

// Reads a CIM-XML document in memory. Throws THSKException.
void ParseDocument(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target,
                   const std::string& document);

// Every instance of a class, subclasses included, in order of creation; none when there is no such
// class.
std::vector<boost::shared_ptr<NQRXHSK20::ICIMInstance>> InstancesOf(
    const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& source, std::string_view className);
// A property as text; empty when it is missing or null.
std::string TextOf(const NQRXHSK20::ICIMInstance& instance, std::string_view property);

// Where a verb's inventory comes from: files, or this machine.

// The inventory of the machine below `root` as a CIM-XML document. `notes` receives what is missing
// and why. Throws TFailure.
std::string CollectInventory(const std::string& root, bool redact, std::vector<std::string>& notes);

// Collects the inventory when the request names no file.
void CompleteInventory(TQueryRequest& request, const std::string& root,
                       std::vector<std::string>& notes);

}  // namespace svc

#endif  // SVCHECK_SESSION_QUERY_RUN_H_
