#include "svcheck/session/query_session.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <new>
#include <string_view>
#include <utility>

#include "host/hskcore/exception.h"
#include "host/hskcore/os_specific.h"
#include "host/xmlparser/namespace_populator.h"
#include "host/xmlparser/xml_parser.h"
#include "rules/names.h"
#include "rules/system_codes.h"
#include "runtime/hskcore/host_setup.h"
#include "runtime/plugin.nsp/plugin_loader.h"
#include "runtime/xmlparser/document_window.h"
#include "runtime/xmlparser/prepared_documents.h"
#include "runtime/xmlparser/xml_parser.h"
#include "svcheck/session/catalogue.h"
#include "svcheck/session/spool.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/paths.h"
#include "svcheck/system/process.h"

using namespace NQRXHSK20;
namespace fs = std::filesystem;
namespace svc {

namespace {

// Enters a folder and goes back. Whoever is there already stays.
class TCurrentFolder {
 public:
  explicit TCurrentFolder(const fs::path& folder) : before(fs::current_path()) {
    if (before.native() == folder.native()) return;
    std::error_code error;
    fs::current_path(folder, error);
    hasGone = !error;
    if (hasGone) return;
    throw TError("cannot enter the data folder " + folder.string() + ": " + error.message() +
                 "; give the folder that holds sv/ with --data-dir");
  }
  ~TCurrentFolder() {
    std::error_code ignored;
    if (hasGone) fs::current_path(before, ignored);
  }
  TCurrentFolder(const TCurrentFolder&) = delete;
  TCurrentFolder& operator=(const TCurrentFolder&) = delete;

 private:
  fs::path before;
  bool hasGone = false;
};

// A namespace is observed while this lives.
class TReading {
 public:
  TReading(const boost::shared_ptr<ICIMNamespace>& read, IReadObserver* observer) : read(read) {
    SetReadObserver(read, observer);
  }
  ~TReading() { SetReadObserver(read, nullptr); }
  TReading(const TReading&) = delete;
  TReading& operator=(const TReading&) = delete;

 private:
  boost::shared_ptr<ICIMNamespace> read;
};

// Makes namespaces as the host's provider does, and keeps the last: a query makes one for its
// catalogue, and drops it at its end.
class TWatchingProvider : public INamespaceProvider {
 public:
  TWatchingProvider(boost::shared_ptr<INamespaceProvider> watched, const TFollowers& followers)
      : watched(std::move(watched)),
        observer(followers.catalogue),
        hidden(followers.hidden),
        keepsPlaces(followers.wantsUpdates) {}

  std::string GetName() const override { return watched->GetName(); }
  boost::shared_ptr<ICIMNamespace> CreateNamespace(const CIMContext& context, int flags,
                                                   const std::string& name) override {
    last = watched->CreateNamespace(context, flags, name);
    if (keepsPlaces) KeepPlaces(last);
    if (observer != nullptr) reading.emplace(last, observer);
    if (hidden) HideInstances(last, hidden);
    return last;
  }

  // A plug-in may keep the provider: from here on it does no more than the host's.
  boost::shared_ptr<ICIMNamespace> End() {
    reading.reset();
    observer = nullptr;
    hidden.reset();
    return std::move(last);
  }

 private:
  boost::shared_ptr<INamespaceProvider> watched;
  IReadObserver* observer;
  THiddenInstancesHandle hidden;
  const bool keepsPlaces;
  boost::shared_ptr<ICIMNamespace> last;
  std::optional<TReading> reading;
};

class TCatalogueWatch {
 public:
  // `found` gets the last namespace at the end of the watch.
  TCatalogueWatch(const TFollowers& followers, boost::shared_ptr<ICIMNamespace>& found)
      : providers(TRootObject::GetNamespaceProviderManager()),
        watched(providers->GetProvider("inmem")),
        watching(new TWatchingProvider(watched, followers)),
        found(found) {
    providers->RegisterProvider(watching);
  }
  ~TCatalogueWatch() {
    providers->RegisterProvider(watched);
    found = watching->End();
  }
  TCatalogueWatch(const TCatalogueWatch&) = delete;
  TCatalogueWatch& operator=(const TCatalogueWatch&) = delete;

 private:
  boost::shared_ptr<INamespaceProviderManager> providers;
  boost::shared_ptr<INamespaceProvider> watched;
  boost::shared_ptr<TWatchingProvider> watching;
  boost::shared_ptr<ICIMNamespace>& found;
};

// Downloads are observed while this lives.
class TObservedDownloads {
 public:
  explicit TObservedDownloads(acquire::IProgressObserver* observer)
      : before(acquire::GetSettings()) {
    acquire::TSettings settings = before;
    settings.observer = observer;
    acquire::SetSettings(std::move(settings));
  }
  ~TObservedDownloads() { acquire::SetSettings(std::move(before)); }
  TObservedDownloads(const TObservedDownloads&) = delete;
  TObservedDownloads& operator=(const TObservedDownloads&) = delete;

 private:
  acquire::TSettings before;
};

// The catalogue's one file, or all that a download may have brought.
TPreparedDocuments::TIsWanted DocumentsOf(const CIMContext& context) {
  const auto entry = context.find(rules::kCatalogueEntry);
  const std::string path = entry == context.end() ? std::string() : entry->second.ToString(10);
  if (path == rules::kLive) {
    return [folder = rules::kDownloadFolder + std::string("\\")](const std::string& file) {
      return file.starts_with(folder);
    };
  }
  return [index = path + TOSSpecific::kFileSeparator + rules::kIndexFile](const std::string& file) {
    return file == index;
  };
}

TQueryEnd EndBy(const std::exception& exception) {
  TQueryEnd end{false, ReasonOf(exception), {}};
  if (const auto* const known = dynamic_cast<const THSKException*>(&exception)) {
    end.status = static_cast<int>(known->GetStatusCode());
  }
  return end;
}

// The parser's texts name the line alone.
void ReadStandardInput(const boost::shared_ptr<ICIMNamespace>& target) {
  constexpr std::string_view kLine = "line ", kPlace = "standard input:";
  std::string text;
  std::array<char, 1 << 16> block;
  while (const std::size_t count = std::fread(block.data(), 1, block.size(), stdin)) {
    text.append(block.data(), count);
    // One byte more than is taken: the parser refuses it.
    if (text.size() > TCIMXMLParser::kMaxSpecificationDocumentSize) break;
  }
  if (std::ferror(stdin) != 0) {
    throw THSKException(std::string(kPlace) + ' ' + FileError(errno).what(),
                        THSKStatusCode::kFileUnreadable);
  }
  try {
    ParseDocument(target, text);
  } catch (const THSKException& exception) {
    std::string cause = exception.GetMessageText();
    const bool namesLine = cause.starts_with(kLine);
    throw THSKException(
        std::string(kPlace) + (namesLine ? "" : " ") + cause.substr(namesLine ? kLine.size() : 0),
        exception.GetStatusCode());
  }
}

}  // namespace

TInstalledLogger::TInstalledLogger(const boost::shared_ptr<ILogger>& logger) {
  InstallLogger(logger);
}
TInstalledLogger::~TInstalledLogger() { InstallLogger({}); }

TLogFile::TLogFile(const TQueryOptions& options) : file(options.logFile) {
  if (file.empty()) return;
  try {
    logger = TJsonLogger::Open(file, options.logLevel, ReportError);
  } catch (const THSKException& exception) {
    throw TError(exception.GetMessageText() +
                 "; name a file in a folder that you may write to with --log");
  }
}

void TLogFile::DemandWhole() {
  if (Flush()) return;
  throw TError("the log " + file + " is not whole; make room, or name another file with --log");
}

TLoadedPlugin::TLoadedPlugin(const fs::path& file, const fs::path& companionFile)
    : manager(new TPluginManagerNamespace) {
  InstallPluginManager(manager);
  provider = Load(file);
  if (!companionFile.empty()) companion = Load(companionFile);
}

TPluginManagerProvider* TLoadedPlugin::Load(const fs::path& file) {
  TPluginManagerProvider* loaded = nullptr;
  try {
    loaded = LoadPlugin(file.string(), *manager);
  } catch (const TError& error) {
    throw TError(std::string(error.what()) + "; without --plugin, the installed one is taken");
  }
  if (loaded->GetQueryInterface() != nullptr) return loaded;
  throw TError("the plug-in " + file.string() +
               " answers no queries; give a query plug-in with --plugin");
}

TLoadedPlugin::~TLoadedPlugin() { InstallPluginManager({}); }

// Another plug-in may read its records again or change them: they stay where it put them. So do
// those that are instances of a further class, such as that of the drivers: a query that enumerates
// it after the first records meets them.
TQuerySession::TQuerySession(TQueryRequest wanted, std::shared_ptr<TLoadedPlugin> loaded)
    : request(std::move(wanted)), inventory(MakeInMemoryNamespace()), plugin(std::move(loaded)) {
  ReadInventory();
  if (!plugin) plugin = std::make_shared<TLoadedPlugin>(request.plugin, request.companion);
  if (!IsOfOurPlugin() || HasSuperclass(inventory, rules::kResultClass)) return;
  spool = std::make_shared<TRecordSpool>();
  SetInstanceSink(inventory, rules::kResultClass, spool.get());
}

TQuerySession::~TQuerySession() { SetInstanceSink(inventory, rules::kResultClass, nullptr); }

void TQuerySession::ReadInventory() {
  constexpr const char* kAdvice = "; give a CIM-XML inventory, such as `svcheck collect` writes";
  try {
    if (request.keepsPlaces) KeepPlaces(inventory);
    if (request.builtinClasses) DeclareBuiltinClasses(inventory);
    if (!request.inventoryDocument.empty()) {
      xml::ParseInPlace(inventory, std::exchange(request.inventoryDocument, {}));
    }
    for (const std::string& file : request.inventories) {
      if (file == kStandardInput) {
        ReadStandardInput(inventory);
      } else {
        const xml::TAwaitedPipes pipes;
        TNamespacePopulator::PopulateFromXMLFile(inventory, file);
      }
    }
    if (!request.machineType.empty()) SetMachineType(inventory, request.machineType);
  } catch (const THSKException& exception) {
    throw TError("cannot read the inventory: " + exception.GetMessageText() + kAdvice);
  }
  recordsBefore = InstancesOf(inventory, rules::kResultClass).size();
}

bool TQuerySession::IsOfOurPlugin() const { return plugin->Name() == rules::kPluginName; }

TQueryEnd TQuerySession::Ask() {
  const TQueryEnd reached = AskFirst();
  return reached.returned ? AskCompanion() : reached;
}

TQueryEnd TQuerySession::AskFirst() {
  const TQueryEnd reached = RunQuery(plugin->Query());
  if (spool) spool->DemandWhole();
  return reached;
}

TQueryEnd TQuerySession::AskCompanion() {
  if (plugin->Companion() == nullptr) return {};
  SetInstanceSink(inventory, rules::kResultClass, nullptr);
  return RunQuery(*plugin->Companion());
}

// Whatever leaves the plug-in is an end of the query, and for whoever asked to judge.
TQueryEnd TQuerySession::RunQuery(IPluginAdvancedQueryCallbacks& query) {
  const TCurrentFolder folder(request.dataFolder);
  CIMContext context = request.context;
  // Another plug-in may open files that it does not parse.
  std::optional<TPreparedDocuments> prepared;
  const bool isOurs = plugin->Name() == rules::kPluginName;
  if (isOurs) prepared.emplace(DocumentsOf(context), request.threads);
  try {
    query.RunQuery(inventory, nullptr, context);
  } catch (const std::exception& exception) {
    return EndBy(exception);
  } catch (...) {
    return {false, "an exception of no known kind", {}};
  }
  // A plug-in may pass over what it had no memory for; its records are then not whole.
  if (HasMemoryRunOut()) throw std::bad_alloc();
  return {};
}

// What follows the query follows the first plug-in alone: it knows how that one works.
void TQuerySession::Run(const TFollowers& followers) {
  journal.reset(new TJournal(followers.log, followers.onLoaded));
  const TInstalledLogger logging(journal);
  {
    std::optional<TObservedDownloads> downloads;
    if (followers.download != nullptr) downloads.emplace(followers.download);
    TFollowers seeing = followers;
    std::optional<TRecordOrigins::TInventoryReads> inventoryReads;
    std::optional<TRecordOrigins::TCatalogueReads> catalogueReads;
    if (followers.wantsUpdates && IsOfOurPlugin()) {
      origins = std::make_unique<TRecordOrigins>();
      seeing.inventory = &inventoryReads.emplace(*origins, followers.inventory);
      seeing.catalogue = &catalogueReads.emplace(*origins, followers.catalogue);
    }
    const TReading reading(inventory, seeing.inventory);
    const TCatalogueWatch watch(seeing, catalogue);
    std::optional<TCapturedOutput> captured;
    if (followers.output == nullptr) captured.emplace();
    end = AskFirst();
    printed = captured ? captured->Take() : followers.output->TakeSoFar();
  }
  if (!end.returned) return;
  InstallLogger(followers.companionLog ? followers.companionLog : followers.log);
  companionEnd = AskCompanion();
}

}  // namespace svc
