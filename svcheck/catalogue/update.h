// One update element as a query takes it: its texts cut up the way the comparisons cut them.
#ifndef SVCHECK_CATALOGUE_UPDATE_H_
#define SVCHECK_CATALOGUE_UPDATE_H_

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "svcheck/catalogue/catalogue_files.h"
#include "svcheck/catalogue/components.h"

namespace svc::catalogue {

// One entry of a list of driver files. An entry without name or version offers nothing.
struct TDriverEntry {
  std::string name;
  std::string version;

  bool operator==(const TDriverEntry&) const = default;
};

// Cuts a list NAME-#VERSION NAME-#VERSION as a query does: a version ends at the first blank behind
// its mark, that of the last entry at the end of the text.
std::vector<TDriverEntry> CutDriverFiles(std::string_view list);

// The name by which drivers are compared: in capitals, up to the first dot.
std::string ComparedName(std::string_view driver);

// What a query offers of the text of a version.
std::string OfferedVersion(const std::string& text);

// Refers to the catalogue, which must outlive it.
struct TUpdate {
  TUpdate(const TFile& file, const TElement& element);

  bool HasFirmware() const { return isBios || component != EComponent::kNone; }
  bool IsAdapter() const { return RowOf(component).place == EVersionPlace::kDriverFiles; }
  // Whether the offered version of its firmware stands in "Version".
  bool ReadsVersion() const { return isBios || RowOf(component).place == EVersionPlace::kVersion; }
  std::vector<std::string> Values(std::string_view property) const;

  const TFile* file;
  const TElement* element;
  std::string name;
  bool isBios;
  EComponent component;
  std::string driverFiles;
  std::vector<TDriverEntry> drivers;   // Those that are offered.
  std::set<std::string> machineTypes;  // In lower case.
  std::set<std::size_t> systems;       // Of rules::kSystemCodes, in exactly their spelling.
};

std::vector<TUpdate> UpdatesOf(const TCatalogue& catalogue);

}  // namespace svc::catalogue

#endif  // SVCHECK_CATALOGUE_UPDATE_H_
