// One update element as a query takes it: its texts cut up the way the comparisons cut them.
#ifndef SVCHECK_AUTHOR_UPDATE_H_
#define SVCHECK_AUTHOR_UPDATE_H_

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "rules/driver_list.h"
#include "svcheck/author/catalogue_files.h"
#include "svcheck/author/components.h"

namespace svc::catalogue {

// Views of the catalogue.
using TDriverEntry = rules::TDriverListEntry;

// The name by which drivers are compared: in capitals, up to the first dot.
std::string ComparedName(std::string_view driver);

// What a query offers of the text of a version: a part of it.
std::string_view OfferedVersion(std::string_view text);

// Texts of properties as they are cut up, once for all the elements that share a property.
class TCutTexts {
 public:
  // Each for a property of one kind, which may be null. Drivers: those that are offered.
  std::shared_ptr<const std::vector<TDriverEntry>> Drivers(const TProperty* property);
  std::shared_ptr<const std::set<std::string>> MachineTypes(const TProperty* property);
  std::shared_ptr<const std::set<std::size_t>> Systems(const TProperty* property);
  TRecognition& Recognition() { return recognition; }

 private:
  template <typename T>
  using TKnown = std::unordered_map<const TProperty*, std::shared_ptr<const T>>;
  template <typename T, typename TCut>
  static std::shared_ptr<const T> Get(TKnown<T>& known, const TProperty* property, TCut cut);

  TKnown<std::vector<TDriverEntry>> drivers;
  TKnown<std::set<std::string>> machineTypes;
  TKnown<std::set<std::size_t>> systems;
  TRecognition recognition;
};

// Refers to the catalogue, which must outlive it.
struct TUpdate {
  TUpdate(const TFile& file, const TElement& element, TCutTexts& cut);

  bool HasFirmware() const { return isBios || component != EComponent::kNone; }
  bool IsAdapter() const { return RowOf(component).place == EVersionPlace::kDriverFiles; }
  // Whether the offered version of its firmware stands in "Version".
  bool ReadsVersion() const { return isBios || RowOf(component).place == EVersionPlace::kVersion; }
  const std::vector<std::string>& Values(std::string_view property) const;

  const TFile* file;
  const TElement* element;
  std::string_view name;
  bool isBios;
  EComponent component;
  std::string_view driverFiles;
  std::shared_ptr<const std::vector<TDriverEntry>> drivers;
  std::shared_ptr<const std::set<std::string>> machineTypes;  // In lower case.
  std::shared_ptr<const std::set<std::size_t>>
      systems;           // Of rules::kSystemCodes, exactly so spelled.
  std::uint64_t digest;  // Of all its texts: elements that share it are alike.
};

std::vector<TUpdate> UpdatesOf(const TCatalogue& catalogue);

}  // namespace svc::catalogue

#endif  // SVCHECK_AUTHOR_UPDATE_H_
