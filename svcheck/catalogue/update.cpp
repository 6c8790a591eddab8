#include "svcheck/catalogue/update.h"

#include "svcheck/catalogue/ascii_text.h"
#include "svcheck/repository/system_codes.h"

namespace svc::catalogue {

namespace {

constexpr std::string_view kVersionMark = "-#";

bool IsOffered(const TDriverEntry& entry) { return !entry.name.empty() && !entry.version.empty(); }

std::set<std::string> MachineTypesOf(const std::vector<std::string>& texts) {
  std::set<std::string> types;
  for (const std::string& text : texts) {
    for (auto begin = text.find("-["); begin != std::string::npos; begin = text.find("-[", begin)) {
      begin += 2;
      const auto end = text.find("]-", begin);
      if (end == std::string::npos) break;
      types.insert(Lowered(text.substr(begin, end - begin)));
    }
  }
  return types;
}

std::set<std::size_t> SystemsOf(const std::string& text) {
  std::set<std::size_t> systems;
  for (std::size_t i = 0; i < repository::kSystemCodes.size(); ++i) {
    if (Contains(text, repository::kSystemCodes[i].code)) systems.insert(i);
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

std::string OfferedVersion(const std::string& text) {
  const auto begin = text.find("-[");
  const auto end = text.find("]-");
  if (begin == std::string::npos || end == std::string::npos) return text;
  return text.substr(begin + 2, end - begin - 2);  // Wraps where the marks stand in wrong order.
}

TUpdate::TUpdate(const TFile& file, const TElement& element)
    : file(&file),
      element(&element),
      name(element.Text("name")),
      isBios(IsBiosUpdate(element)),
      component(ComponentOf(element)),
      driverFiles(element.Text("driverFiles")),
      drivers(CutDriverFiles(driverFiles)),
      machineTypes(MachineTypesOf(Values("applicableMachineTypes"))),
      systems(SystemsOf(element.Text("applicableOperatingSystems"))) {
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
