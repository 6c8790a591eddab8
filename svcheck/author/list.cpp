// `svcheck catalogue lint`.
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <algorithm>
#include <map>

#include "base/error.h"
#include "base/json_writer.h"
#include "base/shown_text.h"
#include "report/table.h"
#include "report/text.h"
#include "rules/names.h"
#include "rules/system_codes.h"
#include "rules/version_items.h"
#include "runtime/hskcore/host_setup.h"
#include "svcheck/author/command.h"
#include "svcheck/author/new_element.h"
#include "svcheck/author/rules.h"
#include "svcheck/author/update.h"
#include "svcheck/system/failure.h"

namespace svc::catalogue {

static std::string PlaceOf(const TToldFinding& finding) {
  const std::string name = report::PlainLine(finding.file.name);
  return finding.line == 0 ? name : fmt::format("{}:{}", name, finding.line);
}

// As compilers have it, so that editors find the place, with the advice below.
static std::string Line(const TToldFinding& finding) {
  std::string text = fmt::format("{}: {}: ", PlaceOf(finding), NameOf(finding.rule.severity));
  if (!finding.element.empty()) text += report::PlainLine(finding.element) + ": ";
  text += finding.rule.what;
  if (!finding.detail.empty()) text += ": " + report::PlainLine(finding.detail);
  return fmt::format("{} [{}]\n    {}\n", text, finding.rule.id, finding.rule.advice);
}

static void WriteTable(const TCatalogue& catalogue, const std::vector<TUpdate>& updates,
                       const std::vector<TFinding>& findings, TOutput& output) {
  TellEach(catalogue, updates, findings,
           [&](const TToldFinding& finding) { output.Write(Line(finding)); });
  output.Write(fmt::format("{}: {}, {}.\n", Counted(catalogue.CountElements(), "update element"),
                           Counted(CountOf(ESeverity::kError, findings), "error"),
                           Counted(CountOf(ESeverity::kWarning, findings), "warning")));
}

static void WriteFinding(const TToldFinding& finding, TJsonWriter& json) {
  json.Object(kJsonSpaced).Text("rule", finding.rule.id);
  json.Text("severity", NameOf(finding.rule.severity)).Text("file", finding.file.name).Name("line");
  finding.line == 0 ? json.Null() : json.Number(finding.line);
  json.Text("element", finding.element).Text("what", finding.rule.what);
  json.Text("detail", finding.detail).Text("advice", finding.rule.advice).End();
}

static void WriteJson(const TCommand& command, const TCatalogue& catalogue,
                      const std::vector<TUpdate>& updates, const std::vector<TFinding>& findings,
                      TOutput& output) {
  std::string text;
  TJsonWriter json(text);
  json.Object(kJsonDocument).Number("schema", 1).Text("catalogue", command.folder);
  json.Number("elements", catalogue.CountElements()).List("findings", kJsonRows);
  TellEach(catalogue, updates, findings, [&](const TToldFinding& finding) {
    WriteFinding(finding, json);
    output.Write(text);
    text.clear();
  });
  json.End().Object("summary", kJsonSpaced);
  json.Number("error", CountOf(ESeverity::kError, findings));
  json.Number("warning", CountOf(ESeverity::kWarning, findings)).End().End();
  output.Write(text + '\n');
}

// A file that cannot be read at all leaves nothing to judge.
static bool IsUnread(const TFile& file) { return file.unreadable || file.malformed; }

static int StatusOf(const TCatalogue& catalogue, const std::vector<TFinding>& findings) {
  for (const TFile& file : catalogue.files) {
    if (IsUnread(file)) return kExitCatalogue;
  }
  return CountOf(ESeverity::kError, findings) > 0 ? kExitCondition : kExitDone;
}

int LintCatalogue(const TCommand& command, const IProgram& program) {
  const TCatalogue catalogue =
      ReadCatalogue(PathOf(command.folder), command.isLive, PathOf(command.dataFolder));
  const std::vector<TUpdate> updates = UpdatesOf(catalogue);
  const std::vector<TFinding> findings = Lint(catalogue, updates);
  const auto output = program.Open(command.output);
  if (command.format == "json") {
    WriteJson(command, catalogue, updates, findings, *output);
  } else {
    WriteTable(catalogue, updates, findings, *output);
  }
  output->Commit();
  return StatusOf(catalogue, findings);
}

// `svcheck catalogue list`.

namespace {

std::vector<std::string> ComponentsOf(const TUpdate& update) {
  std::vector<std::string> names;
  if (update.isBios) names.emplace_back(RowOf(EComponent::kBios).name);
  const bool isKnown = RowOf(update.component).place != EVersionPlace::kNowhere;
  if (isKnown) names.emplace_back(RowOf(update.component).name);
  if (!update.drivers->empty() && !update.IsAdapter()) names.emplace_back(rules::kDriverType);
  return names;
}

std::string_view VersionOf(const TUpdate& update) {
  return update.ReadsVersion() ? OfferedVersion(update.element->Text(rules::kUpdateVersion))
                               : std::string_view();
}

std::string NameAndVersion(const TDriverEntry& driver) {
  return std::string(driver.name).append(" ").append(driver.version);
}

// The machine types of an element, each once: numbers in capitals, as machines have them, names of
// products as the element spells them.
std::vector<std::string> TypesOf(const TUpdate& update) {
  std::map<std::string, std::string> types;
  for (const std::string& text : update.Values(rules::kUpdateMachineTypes)) {
    for (const std::string_view type : rules::MarkedItems(text)) {
      const bool isNumber = !type.empty() && report::IsDigit(type.front());
      types.emplace(Lowered(type), isNumber ? Raised(type) : std::string(type));
    }
  }
  std::vector<std::string> texts;
  for (auto& [lowered, text] : types) texts.push_back(std::move(text));
  return texts;
}

// The types in one cell of a table: parted by blanks, or by "|" where a type holds a blank.
std::string TypesText(const TUpdate& update) {
  const std::vector<std::string> types = TypesOf(update);
  const bool areWords = std::none_of(types.begin(), types.end(), [](const std::string& type) {
    return type.find_first_of(" ,|") != type.npos;
  });
  return fmt::format("{}", fmt::join(types, areWords ? " " : " | "));
}

// The same tests that a live check makes.
bool IsShown(const TUpdate& update, const TCommand& command) {
  const auto has = [&](std::string_view property, const std::string& wanted) {
    return Mentions(update.element->Text(property), wanted);
  };
  const auto isFor = [&](const std::string& code) {
    if (code != kAnySystem) return has(rules::kUpdateSystems, code);
    return std::all_of(
        rules::kSystemCodes.begin(), rules::kSystemCodes.end(),
        [&](const auto& row) { return has(rules::kUpdateSystems, std::string(row.code)); });
  };
  const bool forMachine = std::all_of(command.machineTypes.begin(), command.machineTypes.end(),
                                      [&](const std::string& type) {
                                        return has(rules::kUpdateMachineTypes, rules::Marked(type));
                                      });
  return forMachine && std::all_of(command.systems.begin(), command.systems.end(), isFor);
}

std::string Joined(const std::vector<std::string>& texts, std::string_view separator) {
  return fmt::format("{}", fmt::join(texts, separator));
}

class TWriter {
 public:
  explicit TWriter(TOutput& output) : output(output) {}
  virtual ~TWriter() = default;
  virtual void Begin(const std::vector<TUpdate>& /*shown*/) {}
  virtual void Write(const TUpdate& update) = 0;
  virtual void End(std::size_t /*shown*/, std::size_t /*all*/) {}

 protected:
  TOutput& output;
};

class TTableWriter : public TWriter {
 public:
  using TWriter::TWriter;
  void Begin(const std::vector<TUpdate>& shown) override {
    for (const TUpdate& update : shown) table.Measure(CellsOf(update));
    if (!shown.empty()) output.Write(table.Heads());
  }
  void Write(const TUpdate& update) override { output.Write(table.Line(CellsOf(update))); }
  void End(std::size_t shown, std::size_t all) override {
    output.Write((shown == all ? "" : fmt::format("{} of ", shown)) +
                 Counted(all, "update element") + ".\n");
  }

 private:
  using TTable = report::TTable<4>;

  static TTable::TRow CellsOf(const TUpdate& update) {
    std::vector<std::string> offered;
    if (update.ReadsVersion()) offered.emplace_back(VersionOf(update));
    constexpr std::size_t kShown = 3;
    const std::size_t all = offered.size() + update.drivers->size();
    for (const TDriverEntry& driver : *update.drivers) {
      if (offered.size() == kShown) break;
      offered.push_back(NameAndVersion(driver));
    }
    std::string text = Joined(offered, ", ");
    if (all > kShown) text += fmt::format(" and {} more", all - kShown);
    return {report::PlainLine(update.name), Joined(ComponentsOf(update), ", "),
            report::PlainLine(text), report::PlainLine(TypesText(update))};
  }

  TTable table{{"NAME", "COMPONENT", "OFFERED", "MACHINE TYPES"}};
};

class TCsvWriter : public TWriter {
 public:
  TCsvWriter(TOutput& output, report::ECsvTexts texts) : TWriter(output), texts(texts) {}
  void Begin(const std::vector<TUpdate>& /*shown*/) override {
    output.Write("name,components,version,drivers,machineTypes,operatingSystems,file,line\r\n");
  }
  void Write(const TUpdate& update) override {
    const std::string systems = Joined(update.Values(rules::kUpdateSystems), ";");
    const auto field = [&](std::string_view text) { return report::CsvField(text, texts); };
    output.Write(fmt::format("{},{},{},", field(update.name),
                             field(Joined(ComponentsOf(update), ";")), field(VersionOf(update))));
    WriteDrivers(*update.drivers);
    output.Write(fmt::format(",{},{},{},{}\r\n", field(Joined(TypesOf(update), ";")),
                             field(systems), field(update.file->name), update.element->line));
  }

 private:
  // One field. A long one is written driver by driver: each version of a list may hold the rest of
  // it. It stands in quotes, which a long text needs nearly always.
  void WriteDrivers(const std::vector<TDriverEntry>& drivers) {
    constexpr std::size_t kLong = 1 << 20;
    std::size_t size = 0;
    for (const TDriverEntry& driver : drivers) size += driver.name.size() + driver.version.size();
    if (size < kLong) {
      std::vector<std::string> all;
      for (const TDriverEntry& driver : drivers) all.push_back(NameAndVersion(driver));
      output.Write(report::CsvField(Joined(all, ";"), texts));
      return;
    }
    // The quote behind each makes sure that it is quoted. Of the first, the start is that of a
    // field; the others have a semicolon before theirs.
    std::string_view before;
    for (const TDriverEntry& driver : drivers) {
      const std::string field =
          report::CsvField(std::string(before) + NameAndVersion(driver) + "\"", texts);
      output.Write(before.empty() ? "\"" : ";");
      const std::size_t begin = 1 + before.size();
      output.Write(std::string_view(field).substr(begin, field.size() - begin - 3));
      before = ";";
    }
    output.Write("\"");
  }

  report::ECsvTexts texts;
};

class TElementsWriter : public TWriter {
 public:
  using TWriter::TWriter;
  void Begin(const std::vector<TUpdate>& /*shown*/) override {
    json.Object(kJsonDocument).Number("schema", 1).List("elements", kElements);
  }
  void Write(const TUpdate& update) override {
    json.Object(kJsonSpaced).Text("name", update.name);
    json.Texts("components", ComponentsOf(update), kJsonSpaced).Text("version", VersionOf(update));
    WriteDrivers(update);
    json.Texts("machineTypes", TypesOf(update), kJsonSpaced);
    json.Texts("operatingSystems", update.Values(rules::kUpdateSystems), kJsonSpaced);
    json.Text("file", update.file->name).Number("line", update.element->line).End();
    HandOver();
  }
  void End(std::size_t shown, std::size_t all) override {
    json.End().Number("shown", shown).Number("all", all).End();
    text += '\n';
    HandOver();
  }

 private:
  static constexpr TJsonLayout kElements = {":", "\n    ", ",\n    ", "\n  ", "\n  "};

  // Driver by driver: each version of a list may hold the rest of it.
  void WriteDrivers(const TUpdate& update) {
    json.List("drivers", kJsonSpaced);
    for (const TDriverEntry& driver : *update.drivers) {
      json.Object(kJsonSpaced).Text("name", driver.name).Text("version", driver.version).End();
      HandOver();
    }
    json.End();
  }
  void HandOver() {
    output.Write(text);
    text.clear();
  }

  std::string text;
  TJsonWriter json{text};
};

std::unique_ptr<TWriter> WriterOf(const TCommand& command, TOutput& output) {
  if (command.format == "json") return std::make_unique<TElementsWriter>(output);
  if (command.format == "csv") {
    using report::ECsvTexts;
    return std::make_unique<TCsvWriter>(output,
                                        command.csvRaw ? ECsvTexts::kRaw : ECsvTexts::kSafe);
  }
  return std::make_unique<TTableWriter>(output);
}

// A machine type that was mistyped would show an empty list, which looks like an answer.
void DemandMachineTypes(const TCommand& command) {
  for (const std::string& type : command.machineTypes) {
    if (IsMachineType(type)) continue;
    throw TError(fmt::format("--machine \"{}\" is no machine type; give it alone, as 4638", type),
                 EErrorKind::kUsage);
  }
}

// The same for systems: each has to be a code that there is, or one that the catalogue names.
void DemandSystems(const TCommand& command, const std::vector<TUpdate>& updates) {
  for (const std::string& system : command.systems) {
    const bool isNamed = std::any_of(updates.begin(), updates.end(), [&](const TUpdate& update) {
      const auto& names = update.Values(rules::kUpdateSystems);
      return std::any_of(names.begin(), names.end(),
                         [&](const std::string& name) { return EqualWords(name, system); });
    });
    if (isNamed || IsSystem(system)) continue;
    throw TError(fmt::format("--os \"{}\" is unknown; there are {}", system, KnownSystems()),
                 EErrorKind::kUsage);
  }
}

}  // namespace

int ListCatalogue(const TCommand& command, const IProgram& program) {
  DemandMachineTypes(command);
  const TCatalogue catalogue =
      ReadCatalogue(PathOf(command.folder), command.isLive, PathOf(command.dataFolder));
  if (const TFile* const file = FirstUnusable(catalogue)) {
    throw TError(WhyUnusable(*file) + "; `svcheck catalogue lint` tells more",
                 EErrorKind::kCatalogue);
  }
  std::vector<TUpdate> shown = UpdatesOf(catalogue);
  DemandSystems(command, shown);
  const std::size_t all = shown.size();
  std::erase_if(shown, [&](const TUpdate& update) { return !IsShown(update, command); });
  const auto output = program.Open(command.output);
  const auto writer = WriterOf(command, *output);
  writer->Begin(shown);
  for (const TUpdate& update : shown) writer->Write(update);
  writer->End(shown.size(), all);
  output->Commit();
  return kExitDone;
}

}  // namespace svc::catalogue
