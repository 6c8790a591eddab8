// The drivers that the catalogue offers.
#include <algorithm>
#include <utility>

#include "drivers/driver_record.h"
#include "plugin/contents/sv_plugin.h"
#include "rules/names.h"

namespace {

constexpr std::string_view kMark = "-#";
// Lists are long: room for a few at a time would have them moved many times.
constexpr std::size_t kFewest = 4096;

void Append(TDriverList& list, std::string_view name, std::string_view version) {
  if (name.empty() || version.empty()) return;
  if (list.size() == list.capacity()) list.reserve(std::max(kFewest, list.size() * 4));
  DriverRecord& record = list.emplace_back();
  record.fileName = name;
  record.marker = "NaN";
  record.version = version;
}

}  // namespace

// The last version of a list is the whole rest, with its blanks. Any other ends at a blank; where
// that is missing, the position wraps to 0 and nothing is cut: the version runs on, and stands in
// front of the next name as well.
void AppendOfferedDrivers(std::vector<DriverRecord>& list, std::string_view driverFiles) {
  std::size_t mark = driverFiles.find(kMark);
  while (mark != std::string_view::npos) {
    const std::string_view name = driverFiles.substr(0, mark);
    driverFiles.remove_prefix(mark + kMark.size());
    const std::size_t nextMark = driverFiles.find(kMark);
    if (nextMark == std::string_view::npos) {
      Append(list, name, driverFiles);
      return;
    }
    const std::size_t blank = driverFiles.find(' ');
    Append(list, name, driverFiles.substr(0, blank));
    const std::size_t next = blank + 1;
    driverFiles.remove_prefix(next);
    mark = nextMark >= next ? nextMark - next : driverFiles.find(kMark);
  }
}

bool TSVPluginCallbacks::AppliesToOS(const TInstanceHandle& instance, const std::string& osType) {
  std::string systems;
  GetPropertyValue(instance, svc::rules::kUpdateSystems, systems);
  return systems.find(osType) != std::string::npos;
}

void TSVPluginCallbacks::CollectCatalogueDrivers(TDriverList& list,
                                                 const TInstanceList& updateElements,
                                                 const std::string& osType) {
  std::string driverFiles;
  for (const TInstanceHandle& element : updateElements) {
    if (!AppliesToOS(element, osType)) continue;
    AppendOfferedDrivers(list,
                         GetPropertyValue(element, svc::rules::kUpdateDriverFiles, driverFiles));
  }
}
