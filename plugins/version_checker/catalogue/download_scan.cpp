#include "plugins/version_checker/catalogue/download_scan.h"

#include "plugins/version_checker/inventory/trace.h"
#include "rules/download_files.h"

namespace rules = svc::rules;

namespace {

bool Skips(const std::string& path, const std::string& family) {
  const rules::TPassedOver* const row = rules::WhyPassedOver(path, family);
  if (row != nullptr) LogProgress(row->message);
  return row != nullptr;
}

}  // namespace

void LoadDownloadedFiles(const std::vector<std::string>& names, const std::string& family,
                         const TNamespaceHandle& catalogue) {
  for (const std::string& name : names) {
    if (!rules::IsDescription(name)) continue;
    const std::string path = std::string(rules::kDownloadFolder) + "\\" + name;
    if (Skips(path, family)) continue;
    LogProgress(path);
    TSVPluginCallbacks::LoadCatalogueFile(path, catalogue);
  }
}
