#include "svcheck/catalogue/update.h"

#include "rules/names.h"
#include "rules/system_codes.h"
#include "rules/version_items.h"
#include "svcheck/catalogue/ascii_text.h"

namespace svc::catalogue {

namespace {

constexpr std::string_view kVersionMark = "-#";

bool IsOffered(const TDriverEntry& entry) { return !entry.name.empty() && !entry.version.empty(); }

std::set<std::string> MachineTypesOf(const std::vector<std::string>& texts) {
  std::set<std::string> types;
  for (const std::string& text : texts) {
    for (const std::string_view type : rules::MarkedItems(text)) types.insert(Lowered(type));
  }
  return types;
}

std::set<std::size_t> SystemsOf(const std::string& text) {
  std::set<std::size_t> systems;
  for (std::size_t i = 0; i < rules::kSystemCodes.size(); ++i) {
    if (Contains(text, rules::kSystemCodes[i].code)) systems.insert(i);
  }
  return systems;
}

}  // namespace

std::vector<TDriverEntry> CutDriverFiles(std::string_view list) {
  std::vector<TDriverEntry> entries;
  for (auto mark = list.find(kVersionMark); mark != list.npos; mark = list.find(kVersionMark)) {
    TDriverEntry& entry = entries.emplace_back();
    entry.name = list.substr(0, mark);
    list.remove_prefix(mark + kVersionMark.size());
    if (!Contains(list, kVersionMark)) {
      entry.version = list;
      break;
    }
    const auto blank = list.find(' ');
    entry.version = list.substr(0, blank);
    // Without a blank nothing is passed over: the version is part of the next name as well.
    if (blank != list.npos) list.remove_prefix(blank + 1);
  }
  return entries;
}

std::string ComparedName(std::string_view driver) {
  return Raised(driver.substr(0, driver.find('.')));
}

std::string OfferedVersion(const std::string& text) { return rules::extractBracketedVersion(text); }

TUpdate::TUpdate(const TFile& file, const TElement& element)
    : file(&file),
      element(&element),
      name(element.Text(rules::kUpdateName)),
      isBios(IsBiosUpdate(element)),
      component(ComponentOf(element)),
      driverFiles(element.Text(rules::kUpdateDriverFiles)),
      drivers(CutDriverFiles(driverFiles)),
      machineTypes(MachineTypesOf(Values(rules::kUpdateMachineTypes))),
      systems(SystemsOf(element.Text(rules::kUpdateSystems))) {
  std::erase_if(drivers, [](const TDriverEntry& entry) { return !IsOffered(entry); });
}

std::vector<std::string> TUpdate::Values(std::string_view property) const {
  const TProperty* const found = element->Find(property);
  return found == nullptr ? std::vector<std::string>() : found->values;
}

std::vector<TUpdate> UpdatesOf(const TCatalogue& catalogue) {
  std::vector<TUpdate> updates;
  for (const TFile& file : catalogue.files) {
    for (const TElement& element : file.elements) updates.emplace_back(file, element);
  }
  return updates;
}

}  // namespace svc::catalogue
