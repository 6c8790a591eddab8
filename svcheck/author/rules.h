// What lint knows: one row a rule, and the checks that the rows name. Pure functions; may be called
// from any thread.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "svcheck/author/update.h"

namespace svc::catalogue {

enum class ESeverity {
  kError,   // Something is never compared, or the catalogue not used at all.
  kWarning  // A record looks odd, or something was probably meant otherwise.
};

constexpr std::string_view NameOf(ESeverity severity) {
  return severity == ESeverity::kError ? "error" : "warning";
}

class TTell;
using TFileCheck = void (*)(const TFile&, TTell&);
using TUpdateCheck = void (*)(const TUpdate&, TTell&);
using TCatalogueCheck = void (*)(const std::vector<TUpdate>&, TTell&);
// Goes over the elements in their order and remembers what it saw; finds the same whenever another
// one is begun.
class ISeriesCheck {
 public:
  virtual ~ISeriesCheck() = default;
  virtual void Look(const TUpdate& update, TTell& tell) = 0;
};
using TSeriesCheck = std::unique_ptr<ISeriesCheck> (*)();

struct TRule {
  std::string_view id;
  ESeverity severity;
  std::string_view what;    // Ends where a detail may follow.
  std::string_view advice;  // A sentence.
  std::variant<TFileCheck, TUpdateCheck, TCatalogueCheck, TSeriesCheck> check;
};

std::span<const TRule> Rules();

// What a rule found on one line: once, or several times where it can find that again. A catalogue
// may give far more findings than it has bytes; each is put into words when it is told.
struct TFinding {
  const TRule* rule;
  const TFile* file;
  std::size_t line;  // 0 for a file as a whole.
  const TUpdate* update = nullptr;
  std::size_t count = 1;
  std::unique_ptr<const std::string> detail;  // Of what is not found again.
};

// A finding in words.
struct TToldFinding {
  const TRule& rule;
  const TFile& file;
  std::size_t line;           // As above.
  std::string_view element;   // Its name; empty where the finding is about none.
  const std::string& detail;  // May be empty.
};

// Where a check says what it found.
class TTell {
 public:
  using TTake = std::function<void(std::size_t line, const std::string& detail)>;

  // Counts what is found.
  TTell(const TCatalogue& catalogue, std::vector<TFinding>& findings)
      : catalogue(catalogue), findings(&findings) {}
  // Hands on what is found of an element.
  TTell(const TCatalogue& catalogue, TTake take) : catalogue(catalogue), take(std::move(take)) {}

  void Of(const TFile& file, std::size_t line, std::string detail = {});
  // On the line of a property, or of the element where it does not write it.
  void Of(const TUpdate& update, std::string_view property, std::string detail = {});
  // The same of a text of the catalogue, in quotes.
  void OfText(const TUpdate& update, std::string_view property, std::string_view quoted);
  void SetRule(const TRule& current) { rule = &current; }
  const TCatalogue& Catalogue() const { return catalogue; }

 private:
  void Count(const TUpdate& update, std::size_t line);

  const TCatalogue& catalogue;
  std::vector<TFinding>* findings = nullptr;
  TTake take;
  const TRule* rule = nullptr;
};

// In quotes, as far as a person wants to read it.
std::string Quoted(std::string_view text);

// Every finding, by file and line. The findings refer to both.
std::vector<TFinding> Lint(const TCatalogue& catalogue, const std::vector<TUpdate>& updates);
std::size_t CountOf(ESeverity severity, const std::vector<TFinding>& findings);
// Tells the findings one by one, in their order.
void TellEach(const TCatalogue& catalogue, const std::vector<TUpdate>& updates,
              const std::vector<TFinding>& findings,
              const std::function<void(const TToldFinding&)>& take);

// --- The checks, by what they look at. Each tells one thing and tells it at most once for the same
// text. ---

// Files: checks_catalogue.cpp
void CheckUnreadable(const TFile& file, TTell& tell);
void CheckMalformed(const TFile& file, TTell& tell);
void CheckRefused(const TFile& file, TTell& tell);
void CheckDialectMissing(const TFile& file, TTell& tell);
void CheckDialectOld(const TFile& file, TTell& tell);
void CheckNotLoaded(const TFile& file, TTell& tell);
void CheckPassedOverOnLinux(const TFile& file, TTell& tell);
void CheckPassedOverOnWindows(const TFile& file, TTell& tell);
void CheckOtherClass(const TFile& file, TTell& tell);
// Properties
void CheckNameMissing(const TUpdate& update, TTell& tell);
void CheckPropertyMistyped(const TUpdate& update, TTell& tell);
void CheckPropertyForm(const TUpdate& update, TTell& tell);
void CheckPropertyType(const TUpdate& update, TTell& tell);
// Machine types and operating systems
void CheckMachineTypesMissing(const TUpdate& update, TTell& tell);
void CheckMachineTypeMarks(const TUpdate& update, TTell& tell);
void CheckMachineTypeUnreachable(const TUpdate& update, TTell& tell);
void CheckDriversWithoutSystem(const TUpdate& update, TTell& tell);
void CheckSystemsMissing(const TUpdate& update, TTell& tell);
void CheckSystemUnknown(const std::vector<TUpdate>& updates, TTell& tell);
void CheckSystemCase(const TUpdate& update, TTell& tell);
void CheckFamilyMissing(const TUpdate& update, TTell& tell);
// Firmware: checks_components.cpp
void CheckUpdatesNothing(const TUpdate& update, TTell& tell);
void CheckProcessorUnnamed(const TUpdate& update, TTell& tell);
void CheckAlsoBios(const TUpdate& update, TTell& tell);
void CheckFolderForm(const TUpdate& update, TTell& tell);
void CheckVersionMissing(const TUpdate& update, TTell& tell);
void CheckVersionUnmarked(const TUpdate& update, TTell& tell);
void CheckVersionHalfMarked(const TUpdate& update, TTell& tell);
void CheckVersionBlanks(const TUpdate& update, TTell& tell);
void CheckBuildMissing(const TUpdate& update, TTell& tell);
void CheckDiagnosticsSkipped(const TUpdate& update, TTell& tell);
// Adapters
void CheckAdapterFilesMissing(const TUpdate& update, TTell& tell);
void CheckBroadcomCase(const TUpdate& update, TTell& tell);
void CheckMegaRaidKey(const TUpdate& update, TTell& tell);
void CheckMegaRaidModel(const TUpdate& update, TTell& tell);
void CheckLsiBiosMissing(const TUpdate& update, TTell& tell);
// Drivers
void CheckDriversUnversioned(const TUpdate& update, TTell& tell);
void CheckDriversGlued(const TUpdate& update, TTell& tell);
void CheckDriverEntryEmpty(const TUpdate& update, TTell& tell);
void CheckDriverUnreachable(const TUpdate& update, TTell& tell);
void CheckDriverNameBlanks(const TUpdate& update, TTell& tell);
void CheckDriverVersionBlanks(const TUpdate& update, TTell& tell);
// Elements beside each other: checks_catalogue.cpp
void CheckNoElements(const std::vector<TUpdate>& updates, TTell& tell);
void CheckDuplicateElement(const std::vector<TUpdate>& updates, TTell& tell);
void CheckDuplicateName(const std::vector<TUpdate>& updates, TTell& tell);
std::unique_ptr<ISeriesCheck> BeginDuplicateDriver();
void CheckConflictingFirmware(const std::vector<TUpdate>& updates, TTell& tell);

}  // namespace svc::catalogue
