#include "catalogue/download_scan.h"

#include <array>
#include <string_view>

#include "inventory/trace.h"

namespace {

// A file whose path contains `mark` is for others than the family.
struct TSkipRow {
  std::string_view family;
  std::string_view mark;
  std::string_view message;
};

constexpr std::array<TSkipRow, 4> kSkips = {{
    {"Windows 2003", "linux", "Skip linux xml on windows"},
    {"Windows 2000", "linux", "Skip linux xml on windows"},
    {"Windows 2008", "linux", "Skip linux xml on windows"},
    {"Linux", "win", "Skip windows xml on linux"},
}};

bool Skips(const std::string& path, const std::string& family) {
  for (const TSkipRow& row : kSkips) {
    if (row.family != family || path.find(row.mark) == std::string::npos) continue;
    LogProgress(row.message);
    return true;
  }
  return false;
}

}  // namespace

void LoadDownloadedFiles(const std::vector<std::string>& names, const std::string& family,
                         const TNamespaceHandle& catalogue) {
  for (const std::string& name : names) {
    if (name.find("xml") == std::string::npos) continue;
    const std::string path = std::string(kDownloadFolder) + "\\" + name;
    if (Skips(path, family)) continue;
    LogProgress(path);
    TSVPluginCallbacks::LoadCatalogueFile(path, catalogue);
  }
}
