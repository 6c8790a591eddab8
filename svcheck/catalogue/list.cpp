// `svcheck catalogue list`.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>

#include "report/text.h"
#include "rules/names.h"
#include "rules/version_items.h"
#include "runtime/hskcore/path_of.h"
#include "svcheck/catalogue/ascii_text.h"
#include "svcheck/catalogue/update.h"
#include "svcheck/catalogue/verbs.h"
#include "svcheck/failure.h"

namespace svc::catalogue {

namespace {

using report::JsonString;

std::vector<std::string> ComponentsOf(const TUpdate& update) {
  std::vector<std::string> names;
  if (update.isBios) names.emplace_back(RowOf(EComponent::kBios).name);
  const bool isKnown = RowOf(update.component).place != EVersionPlace::kNowhere;
  if (isKnown) names.emplace_back(RowOf(update.component).name);
  if (!update.drivers.empty() && !update.IsAdapter()) names.emplace_back(rules::kDriverType);
  return names;
}

std::string VersionOf(const TUpdate& update) {
  return update.ReadsVersion() ? OfferedVersion(update.element->Text(rules::kUpdateVersion))
                               : std::string();
}

std::vector<std::string> DriversOf(const TUpdate& update) {
  std::vector<std::string> drivers;
  for (const TDriverEntry& driver : update.drivers) {
    drivers.push_back(driver.name + " " + driver.version);
  }
  return drivers;
}

std::vector<std::string> TypesOf(const TUpdate& update) {
  std::vector<std::string> types;
  for (const std::string& type : update.machineTypes) types.push_back(Raised(type));
  return types;
}

// The same tests that a live check makes.
bool IsShown(const TUpdate& update, const TCommand& command) {
  const auto has = [&](std::string_view property, const std::string& wanted) {
    return Mentions(update.element->Text(property), wanted);
  };
  const bool forMachine = std::all_of(command.machineTypes.begin(), command.machineTypes.end(),
                                      [&](const std::string& type) {
                                        return has(rules::kUpdateMachineTypes, rules::Marked(type));
                                      });
  return forMachine &&
         std::all_of(command.systems.begin(), command.systems.end(),
                     [&](const std::string& code) { return has(rules::kUpdateSystems, code); });
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
    Fit({"NAME", "COMPONENT", "OFFERED"});
    for (const TUpdate& update : shown) Fit(CellsOf(update));
    if (!shown.empty()) Row({"NAME", "COMPONENT", "OFFERED"}, "MACHINE TYPES");
  }
  void Write(const TUpdate& update) override {
    Row(CellsOf(update), report::PlainLine(Joined(TypesOf(update), " ")));
  }
  void End(std::size_t shown, std::size_t all) override {
    output.Write(shown == all ? fmt::format("{} update elements.\n", all)
                              : fmt::format("{} of {} update elements.\n", shown, all));
  }

 private:
  using TCells = std::array<std::string, 3>;

  static TCells CellsOf(const TUpdate& update) {
    std::vector<std::string> offered = DriversOf(update);
    if (update.ReadsVersion()) offered.insert(offered.begin(), VersionOf(update));
    constexpr std::size_t kShown = 3;
    const std::size_t more = offered.size() > kShown ? offered.size() - kShown : 0;
    offered.resize(offered.size() - more);
    std::string text = Joined(offered, ", ");
    if (more > 0) text += fmt::format(" and {} more", more);
    return {report::PlainLine(update.name), Joined(ComponentsOf(update), ", "),
            report::PlainLine(text)};
  }
  void Fit(const TCells& cells) {
    for (std::size_t i = 0; i < cells.size(); ++i) {
      widths[i] = std::max(widths[i], report::DisplayWidth(cells[i]));
    }
  }
  void Row(const TCells& cells, const std::string& last) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
      line += cells[i];
      line.append(widths[i] + 2 - report::DisplayWidth(cells[i]), ' ');
    }
    line += last;
    line.erase(line.find_last_not_of(' ') + 1);
    output.Write(line + '\n');
  }

  std::array<std::size_t, 3> widths{};
};

class TCsvWriter : public TWriter {
 public:
  TCsvWriter(TOutput& output, report::ECsvTexts texts) : TWriter(output), texts(texts) {}
  void Begin(const std::vector<TUpdate>& /*shown*/) override {
    output.Write("name,components,version,drivers,machineTypes,operatingSystems,file,line\r\n");
  }
  void Write(const TUpdate& update) override {
    const auto field = [&](const std::string& text) { return report::CsvField(text, texts); };
    const std::string systems = Joined(update.Values(rules::kUpdateSystems), ";");
    output.Write(fmt::format("{},{},{},{},{},{},{},{}\r\n", field(update.name),
                             field(Joined(ComponentsOf(update), ";")), field(VersionOf(update)),
                             field(Joined(DriversOf(update), ";")),
                             field(Joined(TypesOf(update), ";")), field(systems),
                             field(update.file->name), update.element->line));
  }

 private:
  report::ECsvTexts texts;
};

std::string JsonList(const std::vector<std::string>& texts) {
  std::string list;
  for (const std::string& text : texts) list += (list.empty() ? "" : ", ") + JsonString(text);
  return '[' + list + ']';
}

class TJsonWriter : public TWriter {
 public:
  using TWriter::TWriter;
  void Begin(const std::vector<TUpdate>& /*shown*/) override {
    output.Write("{\n  \"schema\": 1,\n  \"elements\": [");
  }
  void Write(const TUpdate& update) override {
    output.Write(fmt::format(
        "{}\n    {{\"name\": {}, \"components\": {}, \"version\": {}, \"drivers\": [{}], "
        "\"machineTypes\": {}, \"operatingSystems\": {}, \"file\": {}, \"line\": {}}}",
        separator, JsonString(update.name), JsonList(ComponentsOf(update)),
        JsonString(VersionOf(update)), Drivers(update), JsonList(TypesOf(update)),
        JsonList(update.Values(rules::kUpdateSystems)), JsonString(update.file->name),
        update.element->line));
    separator = ",";
  }
  void End(std::size_t shown, std::size_t all) override {
    output.Write(fmt::format("\n  ],\n  \"shown\": {},\n  \"all\": {}\n}}\n", shown, all));
  }

 private:
  static std::string Drivers(const TUpdate& update) {
    std::string list;
    for (const TDriverEntry& driver : update.drivers) {
      list += fmt::format("{}{{\"name\": {}, \"version\": {}}}", list.empty() ? "" : ", ",
                          JsonString(driver.name), JsonString(driver.version));
    }
    return list;
  }
  const char* separator = "";
};

std::unique_ptr<TWriter> WriterOf(const TCommand& command, TOutput& output) {
  if (command.format == "json") return std::make_unique<TJsonWriter>(output);
  if (command.format == "csv") {
    using report::ECsvTexts;
    return std::make_unique<TCsvWriter>(output,
                                        command.csvRaw ? ECsvTexts::kRaw : ECsvTexts::kSafe);
  }
  return std::make_unique<TTableWriter>(output);
}

}  // namespace

int ListCatalogue(const TCommand& command, const IProgram& program) {
  const TCatalogue catalogue =
      ReadCatalogue(PathOf(command.folder), command.isLive, PathOf(command.dataFolder));
  if (const TFile* const file = FirstUnusable(catalogue)) {
    throw TFailure(WhyUnusable(*file) + "; `svcheck catalogue lint` tells more", kExitCatalogue);
  }
  std::vector<TUpdate> shown = UpdatesOf(catalogue);
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
