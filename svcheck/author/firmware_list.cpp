#include "svcheck/author/new_element.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "base/error.h"
#include "base/shown_text.h"
#include "rules/version_items.h"
#include "svcheck/author/update.h"

namespace svc::catalogue {

namespace {

// How a row's version gets into its element.
enum class EForm { kVersion, kBroadcom, kMegaRaid, kLsiFirmware, kLsiBios, kDriver };

// What makes a query recognise the component.
struct TType {
  std::string_view name;
  EForm form;
  std::string_view category;
  std::string_view description;
  std::string_view installDirectory;
};
constexpr auto kTypes = std::to_array<TType>({
    {"BIOS", EForm::kVersion, "BIOS", "System BIOS", ""},
    {"UEFI", EForm::kVersion, "UEFI", "System uEFI", ""},
    {"Diagnostics", EForm::kVersion, "Diagnostics", "Preboot Diagnostics", "/PKGS/DIAG"},
    {"RWA II", EForm::kVersion, "Remote management", "Remote Watch Adapter II Firmware",
     "/PKGS/RWA2"},
    {"RWA", EForm::kVersion, "Remote management", "Remote Watch Adapter Firmware",
     "/PKGS/REMOTWAT"},
    {"ISCP", EForm::kVersion, "System management", "Integrated System Control Processor Firmware",
     ""},
    {"H8", EForm::kVersion, "BMC/H8", "Integrated System Control H8 Firmware", ""},
    {"BMC", EForm::kVersion, "BMC/H8", "Baseboard Management Controller Firmware", ""},
    {"Broadcom", EForm::kBroadcom, "Network", "Broadcom NetXtreme and NetXtreme II Firmware", ""},
    {"MegaRAID", EForm::kMegaRaid, "RAID", "QRX Arrayon AX{} SAS Controller Firmware", ""},
    {"LSI firmware", EForm::kLsiFirmware, "SAS", "LSI 1064 or LSI 1078 SAS Controller", ""},
    {"LSI BIOS", EForm::kLsiBios, "SAS", "LSI 1064 or LSI 1078 SAS Controller", ""},
    {"Driver", EForm::kDriver, "", "", ""},
});

// The models that a query knows, in its spelling.
constexpr std::array<std::string_view, 3> kModels = {"20i", "20is", "20M"};

enum EColumn { kType, kName, kVersion, kMachineTypes, kSystems, kBuild, kColumnCount };
constexpr std::array<std::string_view, kColumnCount> kColumns = {
    "type", "name", "version", "machine types", "operating systems", "build"};

// What is left of a heading when only its letters count: "Machine Types" and "machine_types" are
// one.
std::string Letters(std::string_view heading) {
  std::string letters = Lowered(heading);
  std::erase_if(letters, [](char c) { return !report::IsLetter(c); });
  return letters;
}

// Refuses another encoding, whose bytes would come into the catalogue as they are.
void DemandUtf8(std::string_view text) {
  std::size_t line = 1;
  while (!text.empty()) {
    const TCodePoint character = FirstCodePoint(text);
    if (!character.valid) {
      throw TextError(line, "the text is no UTF-8; save the list in that encoding");
    }
    if (character.value == '\n') ++line;
    text.remove_prefix(character.size);
  }
}

struct TRow {
  std::size_t line;
  const TType* type;
  std::string name;
  std::string version;
  std::string build;
  TFor whom;
};

class TListReader {
 public:
  explicit TListReader(const TFor& otherwise) : otherwise(otherwise) {}

  std::vector<TRow> Read(std::string_view text) {
    DemandUtf8(text);
    std::vector<TRow> rows;
    const std::vector<TCsvRow> table = ParseCsv(text);
    if (table.empty()) throw TextError(1, "the list is empty; its first row names the columns");
    ReadHeadings(table.front());
    for (std::size_t i = 1; i < table.size(); ++i) rows.push_back(ReadRow(table[i]));
    return rows;
  }

 private:
  void ReadHeadings(const TCsvRow& row) {
    for (std::size_t i = 0; i < row.fields.size(); ++i) {
      // A spreadsheet may write a separator behind the last column.
      if (!row.fields[i].empty()) numbers[ColumnOf(row, i)].push_back(i);
    }
    for (const EColumn column : {kType, kName, kVersion}) {
      if (!numbers[column].empty()) continue;
      throw TextError(row.line, fmt::format("no column \"{}\"; the first row names the columns: "
                                            "type, name, version, machine types, operating systems",
                                            kColumns[column]));
    }
  }

  std::size_t ColumnOf(const TCsvRow& row, std::size_t i) const {
    const std::string& heading = row.fields[i];
    std::size_t column = 0;
    while (column < kColumnCount && Letters(heading) != Letters(kColumns[column])) ++column;
    const std::vector<std::string> names(kColumns.begin(), kColumns.end());
    if (column == kColumnCount) {
      throw TextError(row.line,
                      fmt::format("there is no column \"{}\"; {}the columns are {}", heading,
                                  DidYouMean(Lowered(heading), names), fmt::join(names, ", ")));
    }
    const bool mayRepeat = column == kMachineTypes || column == kSystems;
    if (!mayRepeat && !numbers[column].empty()) {
      throw TextError(row.line, fmt::format("the column \"{}\" is there twice", names[column]));
    }
    return column;
  }

  std::string Field(const TCsvRow& row, EColumn column) const {
    const bool isThere = !numbers[column].empty() && numbers[column].back() < row.fields.size();
    return isThere ? row.fields[numbers[column].back()] : std::string();
  }

  // Of a column that may stand there several times.
  template <typename TCut>
  std::vector<std::string> Texts(const TCsvRow& row, EColumn column, TCut cut) const {
    std::vector<std::string> texts;
    for (const std::size_t number : numbers[column]) {
      if (number >= row.fields.size()) continue;
      for (std::string& text : cut(row.fields[number])) {
        if (std::find(texts.begin(), texts.end(), text) == texts.end()) {
          texts.push_back(std::move(text));
        }
      }
    }
    return texts;
  }

  TRow ReadRow(const TCsvRow& source) const {
    TRow row{source.line,           &TypeOf(source),
             Field(source, kName),  Field(source, kVersion),
             Field(source, kBuild), {Texts(source, kMachineTypes, MachineTypesIn), {}}};
    for (const std::string* text : {&row.name, &row.version}) {
      if (text->empty()) throw TextError(row.line, "name or version is empty");
      if (Contains(*text, "-#") || text->find_first_of("\r\n\t") != text->npos) {
        throw TextError(row.line, fmt::format("\"{}\" cannot stand in a catalogue", *text));
      }
    }
    if (row.whom.machineTypes.empty()) row.whom.machineTypes = otherwise.machineTypes;
    row.whom.systems = SystemsOf(source, *row.type, row.name);
    CheckMachineTypes(row);
    return row;
  }

  const TType& TypeOf(const TCsvRow& source) const {
    const std::string name = Field(source, kType);
    const auto found = std::find_if(kTypes.begin(), kTypes.end(),
                                    [&](const TType& type) { return EqualWords(type.name, name); });
    if (found != kTypes.end()) return *found;
    std::string known;
    for (const TType& type : kTypes) {
      known += known.empty() ? "" : ", ";
      known += type.name;
    }
    throw TextError(source.line, fmt::format("unknown type \"{}\"; there are {}", name, known));
  }

  std::vector<std::string> SystemsOf(const TCsvRow& source, const TType& type,
                                     const std::string& name) const {
    std::vector<std::string> wanted =
        Texts(source, kSystems, [](const std::string& field) { return Parts(field, ";,|"); });
    if (wanted.empty()) wanted = otherwise.systems;
    for (const std::string& system : wanted) {
      if (IsSystem(system)) continue;
      throw TextError(source.line, fmt::format("unknown operating system \"{}\"; there are {}",
                                               system, KnownSystems()));
    }
    if (type.form != EForm::kDriver || !wanted.empty()) return WithFamilies(wanted);
    return SystemsFor(name.ends_with(".sys") ? EPlatform::kWindows : EPlatform::kLinux, wanted);
  }

  static void CheckMachineTypes(const TRow& row) {
    if (row.whom.machineTypes.empty()) {
      throw TextError(row.line, "no machine type; fill the column, or give --machine TYPE");
    }
    for (const std::string& type : row.whom.machineTypes) {
      if (!IsMachineType(type)) {
        throw TextError(row.line, fmt::format("\"{}\" is no machine type", type));
      }
    }
  }

  const TFor& otherwise;
  std::array<std::vector<std::size_t>, kColumnCount> numbers;  // Of the columns with each heading.
};

// A version that has its marks already stays as it is.
std::string Marked(const TRow& row, const std::string& text) {
  if (text.empty()) return {};
  const auto begin = text.find(rules::kOpenMark);
  const auto end = text.find(rules::kCloseMark);
  if (begin == text.npos && end == text.npos) return rules::Marked(text);
  if (begin == text.npos || end == text.npos || end < begin + 3) {
    throw TextError(row.line, fmt::format("the marks of \"{}\" are not a pair", text));
  }
  return text;
}

// What a query looks for: the model as "20i", however it is written.
std::string ModelOf(const TRow& row) {
  const std::string name = Lowered(row.name);
  for (const std::string_view model : kModels) {
    const std::string lowered = Lowered(model);
    if (name == lowered || name == "ax" + lowered) return std::string(model);
  }
  throw TextError(row.line,
                  fmt::format("unknown model \"{}\"; there are AX20i, AX20is, AX20M", row.name));
}

// The chip's number in "SAS1064E", by which its BIOS goes.
std::string ChipOf(const TRow& row) {
  const std::string name = Lowered(row.name);
  const auto mark = name.find(rules::kChipMark);
  if (mark == name.npos || mark + rules::kChipMark.size() == name.size()) {
    throw TextError(row.line, "an LSI BIOS goes by the name of its chip, such as SAS1064E");
  }
  const auto begin = mark + rules::kChipMark.size();
  return name.substr(begin, name.find(' ', mark) - begin);
}

class TElements {
 public:
  void Add(const TRow& row) {
    switch (row.type->form) {
      case EForm::kVersion:
        return AddVersion(row);
      case EForm::kBroadcom:
        return AddEntry(row, Lowered(row.name));
      case EForm::kMegaRaid:
        return AddMegaRaid(row);
      case EForm::kLsiFirmware:
      case EForm::kLsiBios:
        return AddLsi(row);
      case EForm::kDriver:
        elements.push_back(
            ElementOf({row.name, row.version, EPlatform::kLinux, "a list"}, row.whom));
    }
  }

  std::vector<TNewElement> Take() {
    for (const TLsi& lsi : controllers) elements.push_back(ElementOfControllers(lsi));
    return std::move(elements);
  }

 private:
  // Firmware and BIOS of one group of machines.
  struct TLsi {
    const TRow* first;
    std::vector<std::string> firmware;
    std::vector<std::string> bios;
  };

  static TNewElement Begin(const TRow& row) {
    TNewElement element;
    element.name = row.name;
    element.description = row.type->description;
    element.category = row.type->category;
    element.installDirectory = row.type->installDirectory;
    element.whom = row.whom;
    return element;
  }

  void AddVersion(const TRow& row) {
    TNewElement element = Begin(row);
    element.version = Marked(row, row.version);
    element.build = Marked(row, row.build);
    if (rules::IsFirstDiagnostics(OfferedVersion(element.version)) && element.build.empty()) {
      throw TextError(row.line,
                      fmt::format("diagnostics {} go by their build; fill a column \"build\"",
                                  rules::kFirstDiagnostics));
    }
    elements.push_back(std::move(element));
  }

  // One element lists the devices of all rows: each element is compared with every device.
  void AddEntry(const TRow& row, const std::string& key) {
    RefuseBlanks(row, key);
    const auto same = std::find_if(elements.begin(), elements.end(), [&](const auto& element) {
      return element.description == row.type->description && element.whom == row.whom;
    });
    const std::string entry = key + "-#" + row.version;
    if (same != elements.end()) {
      same->driverFiles += " " + entry;
      return;
    }
    elements.push_back(Begin(row));
    elements.back().driverFiles = entry;
  }

  void AddMegaRaid(const TRow& row) {
    const std::string model = ModelOf(row);
    RefuseBlanks(row, model);
    TNewElement element = Begin(row);
    element.description = fmt::format("QRX Arrayon AX{} SAS Controller Firmware", model);
    // A query passes over the character behind the family, so that a blank must stand there.
    element.driverFiles =
        fmt::format("QRX Arrayon AX {} SAS Controller Firmware-#{}", model, row.version);
    elements.push_back(std::move(element));
  }

  void AddLsi(const TRow& row) {
    auto same = std::find_if(controllers.begin(), controllers.end(),
                             [&](const TLsi& other) { return other.first->whom == row.whom; });
    if (same == controllers.end()) same = controllers.insert(same, TLsi{&row, {}, {}});
    const bool isBios = row.type->form == EForm::kLsiBios;
    const std::string key = isBios ? "bios_" + ChipOf(row) : Lowered(row.name);
    RefuseBlanks(row, key);
    (isBios ? same->bios : same->firmware).push_back(key + "-#" + row.version);
  }

  // A BIOS is looked for behind the first entry, by a number that its firmware's name holds as
  // well: firmware first, then every BIOS, then what other firmware there is.
  static TNewElement ElementOfControllers(const TLsi& lsi) {
    if (lsi.firmware.empty()) {
      throw TextError(lsi.first->line, "an LSI BIOS needs a row of its LSI firmware");
    }
    TNewElement element = Begin(*lsi.first);
    element.driverFiles = lsi.firmware.front();
    for (const std::string& entry : lsi.bios) element.driverFiles += " " + entry;
    for (std::size_t i = 1; i < lsi.firmware.size(); ++i) {
      element.driverFiles += " " + lsi.firmware[i];
    }
    return element;
  }

  static void RefuseBlanks(const TRow& row, const std::string& key) {
    for (const std::string& text : {key, row.version}) {
      if (!Contains(text, " ")) continue;
      throw TextError(row.line, fmt::format("\"{}\" must not hold a blank", text));
    }
  }

  std::vector<TNewElement> elements;
  std::vector<TLsi> controllers;
};

}  // namespace

std::vector<TNewElement> ReadFirmwareList(std::string_view text, const TFor& otherwise) {
  const std::vector<TRow> rows = TListReader(otherwise).Read(text);
  TElements elements;
  for (const TRow& row : rows) elements.Add(row);
  return elements.Take();
}

}  // namespace svc::catalogue
