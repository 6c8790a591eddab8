#include "svcheck/author/rules.h"

#include <algorithm>
#include <array>
#include <map>
#include <tuple>

#include "report/text.h"

namespace svc::catalogue {

namespace {

constexpr ESeverity kError = ESeverity::kError;
constexpr ESeverity kWarning = ESeverity::kWarning;

constexpr auto kRules = std::to_array<TRule>({
    // Files
    {"unreadable", kError, "the file cannot be read", "Make it readable for those who check.",
     CheckUnreadable},
    {"malformed", kError, "the file is no well-formed XML, and nothing of the catalogue is used",
     "Mend the markup on that line.", CheckMalformed},
    {"refused", kError, "the file cannot be loaded, and nothing of the catalogue is used",
     "Mend what is named there.", CheckRefused},
    {"dialect-missing", kError, "the file does not name its dialect, and is refused as too old",
     "Write <?sv-catalogue version=\"4.02\"?> before the root element.", CheckDialectMissing},
    {"dialect-old", kError, "the file's dialect is not 4.02 or later, and the file is refused",
     "Write <?sv-catalogue version=\"4.02\"?>; the minor number counts as a whole number.",
     CheckDialectOld},
    {"not-loaded", kWarning, "no check loads this file",
     "A check of a folder loads index.xml, a live check each file with \"xml\" in small letters in "
     "its name: rename it, or remove it.",
     CheckNotLoaded},
    {"passed-over-linux", kWarning,
     "live checks on Linux pass over a file with \"win\" in its name",
     "Rename it, or keep its elements for Linux in another file.", CheckPassedOverOnLinux},
    {"passed-over-windows", kWarning,
     "live checks on Windows pass over a file with \"linux\" in its name",
     "Rename it, or keep its elements for Windows in another file.", CheckPassedOverOnWindows},
    {"other-class", kWarning, "the instance is no update element, and no check looks at it",
     "Make it a QRXPSG_SystemUpdateElement, or remove it.", CheckOtherClass},
    // Properties
    {"name-missing", kWarning, "the element has no name",
     "Give it one: `svcheck explain` calls it by that.", CheckNameMissing},
    {"property-mistyped", kWarning, "the property is none that a check reads, but looks like one",
     "Correct its name.", CheckPropertyMistyped},
    {"property-form", kWarning, "an array stands where one text is read, or the other way round",
     "Write applicableMachineTypes and applicableOperatingSystems as PROPERTY.ARRAY, all else as "
     "PROPERTY.",
     CheckPropertyForm},
    {"property-type", kWarning, "the property is no string, and may read otherwise than written",
     "Write TYPE=\"string\".", CheckPropertyType},
    // Applicability
    {"machine-types-missing", kError, "the element is for no machine type",
     "List them in applicableMachineTypes, each as -[TYPE]-.", CheckMachineTypesMissing},
    {"machine-type-marks", kError, "a machine type without its marks matches no machine",
     "Write it as -[TYPE]-.", CheckMachineTypeMarks},
    {"machine-type-unreachable", kError, "no machine has such a machine type",
     "Write the type alone between -[ and ]-, without blanks at its ends.",
     CheckMachineTypeUnreachable},
    {"drivers-without-system", kWarning,
     "drivers are offered, but for no operating system: none that has a code takes them",
     "List the codes in applicableOperatingSystems.", CheckDriversWithoutSystem},
    {"systems-missing", kWarning, "the element is for no operating system: no live check finds it",
     "List the codes in applicableOperatingSystems.", CheckSystemsMissing},
    {"system-unknown", kWarning,
     "no system goes by such a code; on systems without a code every driver counts, whatever it is "
     "named for",
     "Where a system with a code is meant, write that, such as RHEL5_64, or a family: Linux, "
     "VMware.",
     CheckSystemUnknown},
    {"system-case", kError, "drivers are not offered to a system whose code is spelled otherwise",
     "Write the code in exactly its own letters, such as RHEL5_64.", CheckSystemCase},
    {"family-missing", kError, "live checks look for the family, which the element does not name",
     "Write Linux beside the Linux codes, VMware beside the VMware codes.", CheckFamilyMissing},
    // Firmware
    {"updates-nothing", kError, "the element is recognised as no component and offers no driver",
     "Word description, category or installDirectory as one of the components has them, or list "
     "driverFiles.",
     CheckUpdatesNothing},
    {"processor-unnamed", kError, "the category BMC/H8 alone is compared with nothing",
     "Put Integrated System Control (H8) or Baseboard Management Controller (BMC) into the "
     "description.",
     CheckProcessorUnnamed},
    {"also-bios", kWarning, "the element is a system BIOS update as well",
     "Keep the word BIOS out of its category, and BIOS Update out of its description.",
     CheckAlsoBios},
    {"folder-form", kWarning, "an installDirectory with backslashes is not recognised",
     "Write slashes: /PKGS/DIAG.", CheckFolderForm},
    {"version-missing", kError, "an empty version is offered", "Give the element a Version.",
     CheckVersionMissing},
    {"version-unmarked", kWarning, "the Version has no marks and is offered as the whole text",
     "Put what is to be compared between -[ and ]-.", CheckVersionUnmarked},
    {"version-half-marked", kError, "the marks of the version are not a pair",
     "Write -[ before and ]- behind what is to be compared.", CheckVersionHalfMarked},
    {"version-blanks", kWarning, "the offered version begins or ends with white space",
     "Take it out.", CheckVersionBlanks},
    {"build-missing", kWarning, "diagnostics fdcp-1.10 are offered without their build",
     "Give the element a BuildNumber, such as -[DSYT92A]-.", CheckBuildMissing},
    {"diagnostics-skipped", kError,
     "diagnostics fdcp-1.10 are never compared on the machine types of the element",
     "Remove it: 4620, 4631 and 2705 pass over that generation.", CheckDiagnosticsSkipped},
    // Adapters
    {"adapter-files-missing", kError, "the adapter's version is looked for in an empty driverFiles",
     "List its firmware there as IDENTIFIER-#VERSION.", CheckAdapterFilesMissing},
    {"broadcom-case", kError, "an identifier with capital letters is never found in driverFiles",
     "Write it in small letters.", CheckBroadcomCase},
    {"megaraid-key", kError,
     "the word Controller with a version behind it is missing, and the installed version is "
     "offered",
     "Write QRX Arrayon AX 20i SAS Controller Firmware-#VERSION.", CheckMegaRaidKey},
    {"megaraid-model", kError, "the model cannot be read, and the element meets no controller",
     "Write QRX Arrayon AX 20i SAS Controller Firmware-#VERSION, with a blank on both sides of the "
     "model.",
     CheckMegaRaidModel},
    {"lsi-bios-missing", kWarning,
     "the BIOS is looked for behind the first entry of driverFiles, and there is none",
     "List firmware and BIOS: lsi_fw_sas1064e-#VERSION lsi_bios_1064e-#VERSION.",
     CheckLsiBiosMissing},
    // Drivers
    {"drivers-unversioned", kError, "a list without -# offers no driver",
     "Write each file as NAME-#VERSION, with one blank between two.", CheckDriversUnversioned},
    {"drivers-glued", kError, "two entries are not parted by a blank",
     "Put exactly one blank between them.", CheckDriversGlued},
    {"driver-entry-empty", kWarning, "an entry without name or version is left out",
     "Write it as NAME-#VERSION.", CheckDriverEntryEmpty},
    {"driver-unreachable", kError, "no installed driver goes by that name",
     "Write the plain name of the file, and exactly one blank between two entries.",
     CheckDriverUnreachable},
    {"driver-name-blanks", kWarning, "the name of a driver holds a blank",
     "See whether a version or a -# is missing in front of it.", CheckDriverNameBlanks},
    {"driver-version-blanks", kWarning,
     "a version begins or ends with white space, which is offered too", "Take it out.",
     CheckDriverVersionBlanks},
    // The catalogue as a whole
    {"no-elements", kError, "the catalogue has no update element, and a check has no record",
     "Add some.", CheckNoElements},
    {"duplicate-element", kError, "the element stands in the catalogue twice", "Remove one.",
     CheckDuplicateElement},
    {"duplicate-name", kWarning, "another element for the same machine type has the same name",
     "Give each its own, so that they can be told apart.", CheckDuplicateName},
    {"duplicate-driver", kWarning,
     "the driver is offered more than once, and each offer makes a record",
     "Offer it once for a machine type and operating system.", BeginDuplicateDriver},
    {"conflicting-firmware", kWarning,
     "another version is offered for the same component of the same machine type",
     "Offer one: a check of a folder compares all, whatever their operating systems.",
     CheckConflictingFirmware},
});

// Runs the one check that a rule has.
struct TRun {
  const TCatalogue& catalogue;
  const std::vector<TUpdate>& updates;
  TTell& tell;

  void operator()(TFileCheck check) const {
    for (const TFile& file : catalogue.files) check(file, tell);
  }
  void operator()(TUpdateCheck check) const {
    for (const TUpdate& update : updates) check(update, tell);
  }
  void operator()(TCatalogueCheck check) const { check(updates, tell); }
  void operator()(TSeriesCheck begin) const {
    const auto check = begin();
    for (const TUpdate& update : updates) check->Look(update, tell);
  }
};

// Whether the check of a rule can be run again for one element, so that its findings are counted
// and their details need no memory.
bool FindsAgain(const TRule& rule) {
  return std::holds_alternative<TUpdateCheck>(rule.check) ||
         std::holds_alternative<TSeriesCheck>(rule.check);
}

std::unique_ptr<const std::string> Kept(std::string detail) {
  return detail.empty() ? nullptr : std::make_unique<const std::string>(std::move(detail));
}

std::size_t LineOf(const TUpdate& update, std::string_view property) {
  const TElement& element = *update.element;
  const auto found =
      std::find_if(element.properties.begin(), element.properties.end(),
                   [&](const auto& candidate) { return EqualWords(candidate->name, property); });
  return found == element.properties.end() ? element.line : (*found)->line;
}

// Looks again at the elements of findings that come in the order of the elements.
class TSecondLook {
 public:
  TSecondLook(const TCatalogue& catalogue, const std::vector<TUpdate>& updates)
      : catalogue(catalogue), updates(updates) {}

  void At(const TRule& rule, const TUpdate& update, const TTell::TTake& take) {
    TTell tell(catalogue, take);
    if (const auto* const check = std::get_if<TUpdateCheck>(&rule.check)) {
      (*check)(update, tell);
      return;
    }
    TSeries& series = begun[&rule];
    const auto number = static_cast<std::size_t>(&update - updates.data());
    if (!series.check || series.next > number) {
      series = {std::get<TSeriesCheck>(rule.check)(), 0};
    }
    TTell unheard(catalogue, [](std::size_t, const std::string&) {});
    while (series.next < number) series.check->Look(updates[series.next++], unheard);
    series.check->Look(updates[series.next++], tell);
  }

 private:
  struct TSeries {
    std::unique_ptr<ISeriesCheck> check;
    std::size_t next = 0;  // Of the elements.
  };

  const TCatalogue& catalogue;
  const std::vector<TUpdate>& updates;
  std::map<const TRule*, TSeries> begun;
};

}  // namespace

std::span<const TRule> Rules() { return kRules; }

void TTell::Of(const TFile& file, std::size_t line, std::string detail) {
  findings->push_back({rule, &file, line, nullptr, 1, Kept(std::move(detail))});
}

void TTell::Of(const TUpdate& update, std::string_view property, std::string detail) {
  const std::size_t line = LineOf(update, property);
  if (take) return take(line, detail);
  if (FindsAgain(*rule)) return Count(update, line);
  findings->push_back({rule, update.file, line, &update, 1, Kept(std::move(detail))});
}

void TTell::OfText(const TUpdate& update, std::string_view property, std::string_view quoted) {
  const std::size_t line = LineOf(update, property);
  if (take) return take(line, Quoted(quoted));
  Count(update, line);
}

void TTell::Count(const TUpdate& update, std::size_t line) {
  for (auto known = findings->rbegin(); known != findings->rend(); ++known) {
    if (known->rule != rule || known->update != &update) break;
    if (known->line != line) continue;
    ++known->count;
    return;
  }
  findings->push_back({rule, update.file, line, &update, 1, nullptr});
}

std::string Quoted(std::string_view text) {
  constexpr std::size_t kShown = 80;
  std::string line;
  for (const char c : text.substr(0, 4 * kShown)) {
    if (c == '\n') {
      line += "\\n";
    } else if (c == '\t') {
      line += "\\t";
    } else {
      line += c;
    }
  }
  return '"' + report::CutToWidth(report::PlainLine(line), kShown) + '"';
}

std::vector<TFinding> Lint(const TCatalogue& catalogue, const std::vector<TUpdate>& updates) {
  std::vector<TFinding> findings;
  TTell tell(catalogue, findings);
  for (const TRule& rule : kRules) {
    tell.SetRule(rule);
    std::visit(TRun{catalogue, updates, tell}, rule.check);
  }
  const auto isBefore = [](const TFinding& a, const TFinding& b) {
    return std::tie(a.file->name, a.line) < std::tie(b.file->name, b.line);
  };
  if (!std::is_sorted(findings.begin(), findings.end(), isBefore)) {
    std::stable_sort(findings.begin(), findings.end(), isBefore);
  }
  return findings;
}

std::size_t CountOf(ESeverity severity, const std::vector<TFinding>& findings) {
  std::size_t count = 0;
  for (const TFinding& finding : findings) {
    if (finding.rule->severity == severity) count += finding.count;
  }
  return count;
}

void TellEach(const TCatalogue& catalogue, const std::vector<TUpdate>& updates,
              const std::vector<TFinding>& findings,
              const std::function<void(const TToldFinding&)>& take) {
  TSecondLook again(catalogue, updates);
  for (const TFinding& finding : findings) {
    const std::string_view element = finding.update ? finding.update->name : std::string_view();
    if (!finding.update || !FindsAgain(*finding.rule)) {
      const std::string detail = finding.detail ? *finding.detail : std::string();
      take({*finding.rule, *finding.file, finding.line, element, detail});
      continue;
    }
    again.At(*finding.rule, *finding.update, [&](std::size_t line, const std::string& detail) {
      if (line == finding.line) take({*finding.rule, *finding.file, line, element, detail});
    });
  }
}

}  // namespace svc::catalogue
