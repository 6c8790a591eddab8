#include "plugins/version_checker/catalogue/catalogue_loader.h"

#include <boost/pointer_cast.hpp>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "host/hskcore/os_specific.h"
#include "host/hskcore/root_object.h"
#include "host/plugin.nsp/plugin_manager.h"
#include "host/xmlparser/namespace_populator.h"
#include "host/xmlparser/xml_parser.h"
#include "rules/log_texts.h"
#include "rules/system_codes.h"

using namespace NQRXHSK20;

namespace svc::checker {

namespace {

struct TFree {
  void operator()(char* block) const { std::free(block); }
};
// A file's text in a block of the C runtime's allocator, exactly of the file's size: the parser
// asks the allocator where it ends.
using TBuffer = std::unique_ptr<char, TFree>;

TBuffer AllocateBuffer(const std::string& path, std::uint32_t size) {
  TBuffer buffer(static_cast<char*>(std::calloc(size, 1)));
  if (!buffer) {
    throw THSKException("No memory for the " + std::to_string(size) + " bytes of '" + path + "'",
                        THSKStatusCode::kNoBuffer);
  }
  return buffer;
}

THSKException UnreadableFile(const char* action, const std::string& path) {
  return {"Cannot " + std::string(action) + " '" + path + "': " + std::strerror(errno),
          THSKStatusCode::kFileUnreadable};
}

TBuffer ReadFile(const std::string& path) {
  // Deliberate: see "The high half of a size is dropped" in docs/one-query.md.
  const auto size = static_cast<std::uint32_t>(TOSSpecific::GetFileSize(path));
  TBuffer buffer = AllocateBuffer(path, size);
  std::FILE* file = OpenForReading(path);
  if (file == nullptr) throw UnreadableFile("open", path);
  const std::size_t length = std::fread(buffer.get(), 1, size, file);
  // Deliberate: see "A stream in error stays open" in docs/one-query.md.
  if (length < size && std::ferror(file) != 0) throw UnreadableFile("read", path);
  std::fclose(file);
  return buffer;
}

TClassList ParseCatalogue(char* text, const TNamespaceHandle& catalogue) {
  TCIMXMLParser parser(catalogue);
  parser.SetSV402Mode();
  parser.Parse(text);
  return parser.GetClassesCollected();
}

}  // namespace

std::string TCatalogueOperations::GetPluginDirectory(IPluginCallbacks& plugin) {
  const std::string name = plugin.GetName();
  const auto manager =
      boost::static_pointer_cast<TPluginManagerNamespace>(TRootObject::GetPluginManager());
  // Deliberate: see "A search goes nowhere" in docs/one-query.md.
  manager->SearchForPluginByName(name);
  return TOSSpecific::GetCurrentDir();
}

TClassList TCatalogueOperations::LoadCatalogueFile(const std::string& path,
                                                   TNamespaceHandle catalogue) {
  const TBuffer text = ReadFile(path);
  try {
    return ParseCatalogue(text.get(), catalogue);
  } catch (const THSKException& exception) {
    LogJoined(kLogError, {"Previous error was while parsing file '", path, "'"});
    throw THSKException(exception.GetMessageText(), exception.GetStatusCode());
  }
}

TNamespaceHandle CreateCatalogueNamespace(IPluginCallbacks& plugin) {
  const auto manager = TRootObject::GetNamespaceProviderManager();
  const auto provider = manager->GetProvider("inmem");
  TNamespaceHandle catalogue = provider->CreateNamespace(CIMContext(), 0, "root/cimv2");
  TNamespacePopulator::PopulateFromXMLFile(
      catalogue, TCatalogueOperations::GetPluginDirectory(plugin) + TOSSpecific::kFileSeparator +
                     "sv\\sv.definitions.xml");
  return catalogue;
}

void ReportIndexFailure(const THSKException& exception) {
  LogError(rules::kNoIndex);
  LogError(exception.GetMessageText());
  switch (exception.GetStatusCode()) {
    case THSKStatusCode::kUnsupportedDialect:
      PrintMessage(rules::kIndexTooOld);
      break;
    case THSKStatusCode::kFileNotFound:
    case THSKStatusCode::kFileUnreadable:
      PrintMessage(rules::kIndexNotFound);
      break;
    default:
      break;
  }
}

static bool Skips(const std::string& path, const std::string& family) {
  const rules::TPassedOver* const row = rules::WhyPassedOver(path, family);
  if (row != nullptr) LogProgress(row->message);
  return row != nullptr;
}

void LoadDownloadedFiles(const std::vector<std::string>& names, const std::string& family,
                         const TNamespaceHandle& catalogue) {
  for (const std::string& name : names) {
    if (!rules::IsDescription(name)) continue;
    const std::string path = std::string(rules::kDownloadFolder) + "\\" + name;
    if (Skips(path, family)) continue;
    LogProgress(path);
    TCatalogueOperations::LoadCatalogueFile(path, catalogue);
  }
}

}  // namespace svc::checker
