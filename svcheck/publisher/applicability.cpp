#include "svcheck/publisher/applicability.h"

#include <algorithm>
#include <boost/algorithm/string/case_conv.hpp>

#include "rules/download_files.h"
#include "rules/system_codes.h"
#include "rules/version_items.h"

namespace svc::repository {
namespace {

using rules::kSystemCodes;

bool IsOfWord(char c) {
  return c == '_' || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Whether the word, in lower case, stands in the text as one.
bool HasWord(const std::string& text, const std::string& word) {
  for (auto at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
    const auto end = at + word.size();
    const bool beginsThere = at == 0 || !IsOfWord(text[at - 1]);
    if (beginsThere && (end == text.size() || !IsOfWord(text[end]))) return true;
  }
  return false;
}

// One of the two places that look for the family tells capital letters apart.
bool Names(const std::vector<std::string>& texts, std::string_view family) {
  return std::ranges::any_of(
      texts, [family](const std::string& text) { return text.find(family) != std::string::npos; });
}

void WarnOfElement(const TElement& element, const std::set<std::size_t>& systems,
                   std::vector<std::string>& warnings) {
  const std::string place = "element \"" + element.name + "\" ";
  if (MachineTypesOf(element.machineTypes).empty())
    warnings.push_back(place + "names no machine type in the form -[TYPE]-: no machine takes it");
  if (systems.empty())
    warnings.push_back(place + "names no operating system that is known: no machine takes it");
  std::set<std::string_view> missing;
  for (const std::size_t system : systems)
    if (!Names(element.operatingSystems, kSystemCodes[system].family))
      missing.insert(kSystemCodes[system].family);
  for (const std::string_view family : missing)
    warnings.push_back(place + "is for " + std::string(family) + " systems but does not name \"" +
                       std::string(family) + "\" itself: live queries look for it");
}

// A downloaded file is loaded or passed over by its name.
void WarnOfName(std::string_view name, const std::set<std::string_view>& families,
                std::vector<std::string>& warnings) {
  const auto has = [name](std::string_view part) {
    return name.find(part) != std::string_view::npos;
  };
  const bool isForWindows = std::ranges::any_of(
      families, [](std::string_view family) { return family.starts_with(rules::kWindows); });
  if (!rules::IsDescription(name))
    warnings.push_back("the name does not hold \"xml\": no query loads it");
  if (has(rules::kForWindowsMark) && families.contains(rules::kLinux))
    warnings.push_back("the name holds \"win\": queries on Linux pass it over");
  if (has(rules::kForLinuxMark) && isForWindows)
    warnings.push_back("the name holds \"linux\": queries on Windows pass it over");
}

}  // namespace

std::set<std::string> MachineTypesOf(const std::vector<std::string>& texts) {
  std::set<std::string> types;
  for (const std::string& text : texts)
    for (const std::string_view type : rules::MarkedItems(text)) types.emplace(type);
  types.erase(std::string());
  return types;
}

std::set<std::size_t> SystemsOf(const std::vector<std::string>& texts) {
  std::set<std::size_t> systems;
  for (const std::string& text : texts) {
    const std::string lower = boost::to_lower_copy(text);
    for (std::size_t i = 0; i < kSystemCodes.size(); ++i)
      if (HasWord(lower, boost::to_lower_copy(std::string(kSystemCodes[i].code))))
        systems.insert(i);
  }
  return systems;
}

TApplicability ApplicabilityOf(std::string_view name, const std::vector<TElement>& elements) {
  TApplicability result;
  std::set<std::string_view> families;
  for (const TElement& element : elements) {
    const auto types = MachineTypesOf(element.machineTypes);
    const auto systems = SystemsOf(element.operatingSystems);
    WarnOfElement(element, systems, result.warnings);
    for (const std::size_t system : systems) {
      const rules::TSystemCode& code = kSystemCodes[system];
      families.insert(code.family);
      if (!types.empty())
        result.machineTypes[{code.os, code.arch}].insert(types.begin(), types.end());
    }
  }
  if (elements.empty()) result.warnings.push_back("holds no update element");
  WarnOfName(name, families, result.warnings);
  return result;
}

}  // namespace svc::repository
