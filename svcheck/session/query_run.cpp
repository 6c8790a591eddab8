#include "svcheck/session/query_run.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <utility>

#include "collect/load.h"
#include "host/hskcore/schema_helper.h"
#include "host/xmlparser/namespace_populator.h"
#include "host/xmlparser/xml_parser.h"
#include "rules/names.h"
#include "runtime/hskcore/host_setup.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/hskcore/namespace_watch.h"
#include "runtime/plugin.nsp/plugin_loader.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/paths.h"

using namespace NQRXHSK20;
namespace fs = std::filesystem;
namespace svc {

namespace {

// Enters a folder and goes back.
class TCurrentFolder {
 public:
  explicit TCurrentFolder(const fs::path& folder) : before(fs::current_path()) {
    std::error_code error;
    fs::current_path(folder, error);
    if (!error) return;
    throw TFailure("cannot enter the data folder " + folder.string() + ": " + error.message() +
                   "; give the folder that holds sv/ with --data-dir");
  }
  ~TCurrentFolder() {
    std::error_code ignored;
    fs::current_path(before, ignored);
  }
  TCurrentFolder(const TCurrentFolder&) = delete;
  TCurrentFolder& operator=(const TCurrentFolder&) = delete;

 private:
  fs::path before;
};

// Records that stay in a namespace.
class TStoredRecords : public report::IRecordSource {
 public:
  explicit TStoredRecords(std::vector<boost::shared_ptr<ICIMInstance>> instances)
      : instances(std::move(instances)) {}
  std::size_t Count() const noexcept override { return instances.size(); }
  void Read(std::size_t number, report::TRecord& record) const override {
    const ICIMInstance& instance = *instances[number];
    record = report::TRecord();
    record.type = TextOf(instance, rules::kResultType);
    record.name = TextOf(instance, rules::kResultName);
    record.installed = TextOf(instance, rules::kResultInstalled);
    record.offered = TextOf(instance, rules::kResultOffered);
  }

 private:
  std::vector<boost::shared_ptr<ICIMInstance>> instances;
};

}  // namespace

// The parser reads a block of the C runtime's allocator, zeroed behind the text.
void ParseDocument(const boost::shared_ptr<ICIMNamespace>& target, const std::string& document) {
  const std::unique_ptr<char, decltype(&std::free)> block(
      static_cast<char*>(std::calloc(document.size() + 1, 1)), &std::free);
  if (!block) throw std::bad_alloc();
  std::memcpy(block.get(), document.data(), document.size());
  TCIMXMLParser(target).Parse(block.get());
}

std::vector<boost::shared_ptr<ICIMInstance>> InstancesOf(
    const boost::shared_ptr<ICIMNamespace>& source, std::string_view className) {
  std::vector<boost::shared_ptr<ICIMInstance>> instances;
  const CIMContext context = {{TCIMSchemaHelper::kContextName, TCIMSchemaHelper::kPluginNSPName}};
  boost::shared_ptr<ICIMClass> cimClass;
  try {
    source->GetClass(cimClass, className, context);
  } catch (const THSKException& exception) {
    if (exception.GetStatusCode() != THSKStatusCode::kClassNotFound) throw;
    return instances;
  }
  cimClass->EnumerateInstances(TAddToVectorCallback<ICIMInstance>(instances), true, CIMContext());
  return instances;
}

std::string TextOf(const ICIMInstance& instance, std::string_view property) {
  return StoredText(instance, property).value_or("");
}

TLoadedPlugin::TLoadedPlugin(const fs::path& file) : manager(new TPluginManagerNamespace) {
  InstallPluginManager(manager);
  try {
    provider = LoadPlugin(file.string(), *manager);
  } catch (const TPluginLoadError& error) {
    throw TFailure(std::string(error.what()) + "; without --plugin, the installed one is taken");
  }
  if (provider->GetQueryInterface() != nullptr) return;
  throw TFailure("the plug-in " + file.string() +
                 " answers no queries; give a query plug-in with --plugin");
}

TLoadedPlugin::~TLoadedPlugin() { InstallPluginManager({}); }

// Another plug-in may read its records again or change them: they stay where it put them. So do
// those that are instances of a further class, such as that of the drivers: a query that enumerates
// it after the first records meets them.
TQueryRun::TQueryRun(TQueryRequest wanted, std::shared_ptr<TLoadedPlugin> loaded)
    : request(std::move(wanted)), inventory(MakeInMemoryNamespace()), plugin(std::move(loaded)) {
  ReadInventory();
  if (!plugin) plugin = std::make_shared<TLoadedPlugin>(request.plugin);
  if (PluginName() != rules::kPluginName || HasSuperclass(inventory, rules::kResultClass)) return;
  spool = std::make_shared<TRecordSpool>();
  SetInstanceSink(inventory, rules::kResultClass, spool.get());
}

TQueryRun::~TQueryRun() { SetInstanceSink(inventory, rules::kResultClass, nullptr); }

void TQueryRun::ReadInventory() {
  constexpr const char* kAdvice = "; give a CIM-XML inventory, such as `svcheck collect` writes";
  try {
    if (request.builtinClasses) DeclareBuiltinClasses(inventory);
    if (!request.inventoryDocument.empty()) ParseDocument(inventory, request.inventoryDocument);
    for (const std::string& file : request.inventories) {
      TNamespacePopulator::PopulateFromXMLFile(inventory, file);
    }
  } catch (const THSKException& exception) {
    throw TFailure("cannot read the inventory: " + exception.GetMessageText() + kAdvice);
  }
  recordsBefore = InstancesOf(inventory, rules::kResultClass).size();
}

TQueryEnd TQueryRun::Run() {
  const TQueryEnd end = Ask();
  if (spool) spool->DemandWhole();
  return end;
}

TQueryEnd TQueryRun::Ask() {
  const TCurrentFolder folder(request.dataFolder);
  CIMContext context = request.context;
  try {
    plugin->Provider().GetQueryInterface()->RunQuery(inventory, nullptr, context);
  } catch (const THSKException& exception) {
    return {false, exception.GetMessageText(), static_cast<int>(exception.GetStatusCode())};
  } catch (const std::exception& exception) {
    return {false, ReasonOf(exception), {}};
  } catch (...) {
    return {false, "an exception of no known kind", {}};
  }
  // A plug-in may pass over what it had no memory for; its records are then not whole.
  if (HasMemoryRunOut()) throw std::bad_alloc();
  return {};
}

std::shared_ptr<const report::IRecordSource> TQueryRun::Records() const {
  if (spool) return spool;
  auto instances = InstancesOf(inventory, rules::kResultClass);
  instances.erase(instances.begin(),
                  instances.begin() + static_cast<std::ptrdiff_t>(recordsBefore));
  return std::make_shared<TStoredRecords>(std::move(instances));
}

std::string TQueryRun::PluginName() const { return plugin->Provider().GetPlugin()->GetName(); }
std::string TQueryRun::PluginVersion() const {
  return plugin->Provider().GetPlugin()->GetVersion();
}

std::string CollectInventory(const std::string& root, bool redact,
                             std::vector<std::string>& notes) {
  try {
    collect::Outcome outcome = collect::LoadCollector().Collect({Absolute(root).string(), redact});
    notes = std::move(outcome.notes);
    return std::move(outcome.document);
  } catch (const TFailure&) {
    throw;
  } catch (const std::runtime_error& error) {
    throw TFailure(error.what());
  }
}

void CompleteInventory(TQueryRequest& request, const std::string& root,
                       std::vector<std::string>& notes) {
  if (request.inventories.empty()) request.inventoryDocument = CollectInventory(root, false, notes);
}

}  // namespace svc
