// The drivers that the catalogue offers.
#include <algorithm>
#include <utility>

#include "drivers/driver_record.h"
#include "plugin/contents/sv_plugin.h"

namespace {

constexpr std::string_view kMark = "-#";
// Lists are long: room for a few at a time would have them moved many times.
constexpr std::size_t kFewest = 1024;

// Cuts the version off the front of the text. The last version of a list is the whole rest, with
// its blanks. Any other ends at a blank; where that is missing, the position wraps to 0 and
// nothing is cut: the version runs on, and stands in front of the next name as well.
std::string_view TakeVersion(std::string_view& text) {
  if (text.find(kMark) == std::string_view::npos) return text;
  const std::size_t blank = text.find(' ');
  const std::string_view version = text.substr(0, blank);
  text.remove_prefix(blank + 1);
  return version;
}

}  // namespace

void AppendOfferedDrivers(std::vector<DriverRecord>& list, std::string_view driverFiles) {
  std::size_t mark = driverFiles.find(kMark);
  while (mark != std::string_view::npos) {
    const std::string_view name = driverFiles.substr(0, mark);
    driverFiles.remove_prefix(mark + kMark.size());
    const std::string_view version = TakeVersion(driverFiles);
    if (!name.empty() && !version.empty()) {
      if (list.size() == list.capacity()) list.reserve(std::max(kFewest, list.size() * 4));
      DriverRecord& record = list.emplace_back();
      record.fileName = name;
      record.marker = "NaN";
      record.version = version;
    }
    mark = driverFiles.find(kMark);
  }
}

bool TSVPluginCallbacks::AppliesToOS(const TInstanceHandle& instance, const std::string& osType) {
  std::string systems;
  GetPropertyValue(instance, "applicableOperatingSystems", systems);
  return systems.find(osType) != std::string::npos;
}

void TSVPluginCallbacks::CollectCatalogueDrivers(TDriverList& list,
                                                 const TInstanceList& updateElements,
                                                 const std::string& osType) {
  std::string driverFiles;
  for (const TInstanceHandle& element : updateElements) {
    if (!AppliesToOS(element, osType)) continue;
    AppendOfferedDrivers(list, GetPropertyValue(element, "driverFiles", driverFiles));
  }
}
