#include "svcheck/publisher/build.h"

#include <algorithm>
#include <boost/algorithm/string/case_conv.hpp>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "base/error.h"
#include "base/files.h"
#include "base/shown_text.h"
#include "host/hskcore/cim.h"
#include "host/hskcore/exception.h"
#include "host/hskcore/root_object.h"
#include "host/xmlparser/namespace_populator.h"
#include "host/xmlparser/xml_parser.h"
#include "rules/names.h"
#include "rules/system_codes.h"
#include "rules/version_items.h"
#include "runtime/hskcore/host_setup.h"

namespace svc::repository {

namespace {

using boost::shared_ptr;
using NQRXHSK20::ICIMClass;
using NQRXHSK20::ICIMInstance;
using NQRXHSK20::ICIMNamespace;
using NQRXHSK20::ICIMProperty;
using NQRXHSK20::TCIMValue;
using NQRXHSK20::THSKException;

struct TFree {
  void operator()(char* block) const { std::free(block); }
};
using TBlock = std::unique_ptr<char, TFree>;

shared_ptr<ICIMNamespace> NewNamespace(const std::string& dataFolder) {
  const auto provider = NQRXHSK20::TRootObject::GetNamespaceProviderManager()->GetProvider("inmem");
  auto result = provider->CreateNamespace({}, 0, "root/cimv2");
  NQRXHSK20::TNamespacePopulator::PopulateFromXMLFile(result,
                                                      dataFolder + "/sv/sv.definitions.xml");
  return result;
}

struct TCloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using TFile = std::unique_ptr<std::FILE, TCloseFile>;

TFile Open(const std::string& path) {
  return Retold(
      [&] { return TFile(files::OpenToRead(path, files::EPipes::kNone)); },
      [&](const TError& error) { return TError(path + " cannot be read: " + error.what()); });
}

// The text in a block of the C library's allocator, which the parser asks where the text ends.
TBlock ReadFile(const std::string& path) {
  const TFile file = Open(path);
  std::error_code unknown;
  const std::uintmax_t size = std::filesystem::file_size(PathOf(path), unknown);
  if (unknown) throw TError(path + " cannot be read: " + unknown.message());
  if (size > NQRXHSK20::TCIMXMLParser::kMaxSpecificationDocumentSize)
    throw TError(path + " is too large to be loaded by a query");
  TBlock block(static_cast<char*>(std::calloc(static_cast<std::size_t>(size) + 1, 1)));
  if (!block || std::fread(block.get(), 1, size, file.get()) != size)
    throw TError(path + " cannot be read");
  return block;
}

void Load(const shared_ptr<ICIMNamespace>& target, const std::string& path) {
  const TBlock block = ReadFile(path);
  NQRXHSK20::TCIMXMLParser parser(target);
  parser.SetSV402Mode();
  Retold<THSKException>([&] { parser.Parse(block.get()); },
                        [&path](const THSKException& failure) {
                          return THSKException(path + ": " + failure.GetMessageText(),
                                               failure.GetStatusCode());
                        });
}

std::vector<std::string> Texts(const ICIMInstance& instance, std::string_view property) {
  shared_ptr<ICIMProperty> found;
  try {
    instance.GetProperty(found, property, {});
  } catch (const THSKException&) {
    return {};
  }
  const TCIMValue& value = found->Value({});
  if (value.IsNull()) return {};
  if (!value.IsArray()) return {value.ToString(10)};
  std::vector<std::string> texts;
  for (const TCIMValue& element : static_cast<const std::vector<TCIMValue>&>(value))
    texts.push_back(element.ToString(10));
  return texts;
}

TElement ElementOf(const ICIMInstance& instance) {
  const auto name = Texts(instance, rules::kUpdateName);
  return {name.empty() ? "" : name.front(), Texts(instance, rules::kUpdateMachineTypes),
          Texts(instance, rules::kUpdateSystems)};
}

constexpr std::size_t kShownPlaces = 5;

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

// A query looks for the family in two places, one of which tells capital letters apart: so does
// this.
bool Names(const std::vector<std::string>& texts, std::string_view family) {
  return std::ranges::any_of(
      texts, [family](const std::string& text) { return text.find(family) != std::string::npos; });
}

void WarnOfElement(const TElement& element, bool isForNobody, const std::set<std::size_t>& systems,
                   TWarnings& warnings) {
  const std::string place = "element \"" + CutName(element.name) + "\" ";
  if (isForNobody)
    warnings.Add(place, "names no machine type in the form -[TYPE]-: no machine takes it");
  if (systems.empty())
    warnings.Add(place,
                 "names no operating system that has a code: no live check takes it, only "
                 "`svcheck catalogue fetch` does");
  std::set<std::string_view> missing;
  for (const std::size_t system : systems)
    if (!Names(element.operatingSystems, kSystemCodes[system].family))
      missing.insert(kSystemCodes[system].family);
  for (const std::string_view family : missing)
    warnings.Add(place, "is for " + std::string(family) + " systems but does not name \"" +
                            std::string(family) + "\" itself: live queries look for it");
}

// A downloaded file is loaded or passed over by its name.
void WarnOfName(std::string_view name, const std::set<std::string_view>& families,
                TWarnings& warnings) {
  const auto has = [name](std::string_view part) {
    return name.find(part) != std::string_view::npos;
  };
  const bool isForWindows = std::ranges::any_of(
      families, [](std::string_view family) { return family.starts_with(rules::kWindows); });
  if (!rules::IsDescription(name))
    warnings.Add("", "the name does not hold \"xml\": no query loads it");
  if (has(rules::kForWindowsMark) && families.contains(rules::kLinux))
    warnings.Add("", "the name holds \"win\": queries on Linux pass it over");
  if (has(rules::kForLinuxMark) && isForWindows)
    warnings.Add("", "the name holds \"linux\": queries on Windows pass it over");
}

}  // namespace

void ReadDescription(const std::string& path, const std::string& dataFolder,
                     const TTakeElement& take) {
  const auto target = NewNamespace(dataFolder);
  Load(target, path);
  shared_ptr<ICIMClass> updates;
  target->GetClass(updates, rules::kUpdateClass, {});
  updates->EnumerateInstances(
      [&take](const shared_ptr<ICIMInstance>& instance) { take(ElementOf(*instance)); }, true, {});
}

TWarnings::TThing& TWarnings::Find(const std::string& what) {
  const auto found = std::ranges::find(things, what, &TThing::what);
  if (found != things.end()) return *found;
  things.push_back({what, {}, 0});
  return things.back();
}

void TWarnings::Add(const std::string& place, const std::string& what) {
  TThing& thing = Find(what);
  if (++thing.count <= kShownPlaces) thing.places.push_back(place);
}

void TWarnings::Add(const std::string& file, const TWarnings& warnings) {
  for (const TThing& added : warnings.things) {
    TThing& thing = Find(added.what);
    thing.count += added.count;
    for (const std::string& place : added.places) {
      if (thing.places.size() < kShownPlaces) thing.places.push_back(file + ": " + place);
    }
  }
}

std::vector<std::string> TWarnings::Lines() const {
  std::vector<std::string> lines;
  for (const TThing& thing : things) {
    for (const std::string& place : thing.places) lines.push_back(place + thing.what);
    if (thing.count == thing.places.size()) continue;
    lines.push_back("and " + std::to_string(thing.count - thing.places.size()) +
                    " more of: " + thing.what);
  }
  return lines;
}

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

TApplicability ApplicabilityOf(std::string_view name, const TForEachElement& elements) {
  TApplicability result;
  std::set<std::string_view> families;
  bool isEmpty = true;
  std::vector<std::string> typeTexts, systemTexts;  // Of the element before.
  std::set<std::string> types;
  std::set<std::size_t> systems;
  elements([&](const TElement& element) {
    isEmpty = false;
    // What a class declares is the same for one element after the other.
    if (element.machineTypes != typeTexts) {
      typeTexts = element.machineTypes;
      types = MachineTypesOf(typeTexts);
    }
    if (element.operatingSystems != systemTexts) {
      systemTexts = element.operatingSystems;
      systems = SystemsOf(systemTexts);
    }
    WarnOfElement(element, types.empty(), systems, result.warnings);
    if (systems.empty() && !types.empty())
      result.machineTypes[kNoPlatform].insert(types.begin(), types.end());
    for (const std::size_t system : systems) {
      const rules::TSystemCode& code = kSystemCodes[system];
      families.insert(code.family);
      if (!types.empty())
        result.machineTypes[{code.os, code.arch}].insert(types.begin(), types.end());
    }
  });
  if (isEmpty) result.warnings.Add("", "holds no update element");
  WarnOfName(name, families, result.warnings);
  return result;
}

}  // namespace svc::repository
