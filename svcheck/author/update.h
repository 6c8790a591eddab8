// What an update element offers, and which component it is compared with, by the tests that a query
// makes of it; and the lists of drivers that elements are made of.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "report/text.h"
#include "rules/components.h"
#include "rules/driver_list.h"
#include "rules/folded_text.h"
#include "svcheck/author/catalogue_files.h"

namespace svc::catalogue {

using rules::EComponent;
using rules::EVersionPlace;
using rules::RowOf;

// Recognises elements by their texts. What a text that many share was found to hold is remembered
// as long as this lives; the properties must live as long. Used by one thread.
class TRecognition {
 public:
  // An element may update the system BIOS and one more component.
  bool IsBiosUpdate(const TElement& element);
  EComponent ComponentOf(const TElement& element);

 private:
  // Which tests were made of a property, and which held: one bit each.
  struct TAnswers {
    std::uint32_t made = 0;
    std::uint32_t held = 0;
  };
  // `first` numbers the first of the tests among all.
  template <std::size_t N>
  EComponent FirstThatHolds(const std::array<rules::TComponentTest, N>& tests, std::size_t first,
                            const TElement& element);

  std::unordered_map<const TProperty*, TAnswers> known;
};

// One update element as a query takes it: its texts cut up the way the comparisons cut them.

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

// Comparing texts as a query does: only the letters A to Z are alike in both cases. Pure functions;
// may be called from any thread.

inline std::string Lowered(std::string_view text) {
  std::string lowered(text);
  std::transform(lowered.begin(), lowered.end(), lowered.begin(), report::ToLower);
  return lowered;
}

inline std::string Raised(std::string_view text) {
  std::string raised(text);
  for (char& c : raised) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - ('a' - 'A'));
  }
  return raised;
}

inline bool EqualWords(std::string_view left, std::string_view right) {
  return left.size() == right.size() &&
         std::equal(left.begin(), left.end(), right.begin(),
                    [](char a, char b) { return report::ToLower(a) == report::ToLower(b); });
}

inline bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// Without regard to case.
using rules::Mentions;

// Driver files, wherever an administrator has them. One thread.

enum class EPlatform { kLinux, kWindows };

struct TDriver {
  std::string file;  // Its name as it is installed, without the ending of a compression.
  std::string version;
  EPlatform platform;
  std::string origin;       // The folder or package, for people.
  std::string source = {};  // The checksum of what a module was built of, where it states one.
};

struct TDriverList {
  std::vector<TDriver> drivers;  // Of each name the latest.
  std::size_t read = 0;          // Files.
  std::size_t unversioned = 0;   // Those that state no version.
  std::vector<std::string> remarks;
};

// Reads a folder with all below it, or one file: drivers and the drivers within packages. Throws
// TError when the path cannot be read; what is broken within it becomes a remark.
void CollectDrivers(const std::filesystem::path& path, TDriverList& list);

// What a text beside drivers says of them.
struct TStatedDriver {
  std::string file;
  std::string version;
};
// Of a dkms.conf: the modules that are built of it, in the version of the package. Throws TError,
// which says why, where only a shell could tell.
std::vector<TStatedDriver> DriversOfDkms(std::string_view text);
// Of an .inf file: the .sys files that it installs, in the version of its DriverVer; none without
// one.
std::vector<TStatedDriver> DriversOfInf(std::string_view bytes);

// The version that a Windows driver states of itself. Of the bytes of a PE file (Microsoft's "PE
// Format"): the four numbers of the file version in its version resource, as "4.17.0.64". Empty
// where it has none; nothing where it is no PE file. Reads nothing outside the bytes, whatever they
// hold. Pure; any thread.
std::optional<std::string> FileVersionOf(std::string_view bytes);

// ---- What differs by platform ----

// What a driver says of itself; empty where it says nothing.
struct TStatement {
  std::string version;  // Of a kernel module that states none: the release of its kernel.
  std::string source = {};
};
// Of a kernel module. Throws TError, which says why, when the bytes are none that can be read here.
TStatement StatementOfModule(std::string_view bytes);

// How many bytes all members of a package of so many bytes may become. What packages of kernels and
// drivers become is 3 to 10 times their size.
inline constexpr std::uint64_t kMostUnpacked = std::uint64_t{16} << 30U;
constexpr std::uint64_t UnpackedLimit(std::uint64_t packed) {
  constexpr std::uint64_t kAlways = 64U << 20U;
  constexpr std::uint64_t kRatio = 64;
  return std::min(kMostUnpacked, kAlways + kRatio * std::min(packed, kMostUnpacked));
}

// Receives a file of a package.
using TTakeMember = std::function<void(const std::string& name, std::string_view bytes)>;
// Hands on every file of a .deb or .rpm package, or of a .zip, .cab or .iso archive, whose name
// `isWanted` holds for. Throws
// TError where the package cannot be read.
void ReadPackage(const std::filesystem::path& path,
                 const std::function<bool(const std::string& name)>& isWanted,
                 const TTakeMember& take);

}  // namespace svc::catalogue
