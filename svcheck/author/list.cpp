// `svcheck catalogue list`.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>

#include "report/text.h"
#include "rules/names.h"
#include "rules/version_items.h"
#include "runtime/hskcore/host_setup.h"
#include "svcheck/author/module.h"
#include "svcheck/author/update.h"
#include "svcheck/system/failure.h"

namespace svc::catalogue {

namespace {

using report::JsonString;

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

std::string TextOf(const TDriverEntry& driver) {
  return std::string(driver.name).append(" ").append(driver.version);
}

std::vector<std::string> TypesOf(const TUpdate& update) {
  std::vector<std::string> types;
  for (const std::string& type : *update.machineTypes) types.push_back(Raised(type));
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
    std::vector<std::string> offered;
    if (update.ReadsVersion()) offered.emplace_back(VersionOf(update));
    constexpr std::size_t kShown = 3;
    const std::size_t all = offered.size() + update.drivers->size();
    for (const TDriverEntry& driver : *update.drivers) {
      if (offered.size() == kShown) break;
      offered.push_back(TextOf(driver));
    }
    std::string text = Joined(offered, ", ");
    if (all > kShown) text += fmt::format(" and {} more", all - kShown);
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
      for (const TDriverEntry& driver : drivers) all.push_back(TextOf(driver));
      output.Write(report::CsvField(Joined(all, ";"), texts));
      return;
    }
    // The quote behind each makes sure that it is quoted. Of the first, the start is that of a
    // field; the others have a letter before theirs.
    std::string_view before;
    for (const TDriverEntry& driver : drivers) {
      const std::string field =
          report::CsvField(std::string(before) + TextOf(driver) + "\"", texts);
      output.Write(before.empty() ? "\"" : ";");
      const std::size_t begin = 1 + before.size();
      output.Write(std::string_view(field).substr(begin, field.size() - begin - 3));
      before = "x";
    }
    output.Write("\"");
  }

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
        "{}\n    {{\"name\": {}, \"components\": {}, \"version\": {}, \"drivers\": [", separator,
        JsonString(update.name), JsonList(ComponentsOf(update)), JsonString(VersionOf(update))));
    WriteDrivers(update);
    output.Write(fmt::format(
        "], \"machineTypes\": {}, \"operatingSystems\": {}, \"file\": {}, \"line\": {}}}",
        JsonList(TypesOf(update)), JsonList(update.Values(rules::kUpdateSystems)),
        JsonString(update.file->name), update.element->line));
    separator = ",";
  }
  void End(std::size_t shown, std::size_t all) override {
    output.Write(fmt::format("\n  ],\n  \"shown\": {},\n  \"all\": {}\n}}\n", shown, all));
  }

 private:
  void WriteDrivers(const TUpdate& update) {
    const char* comma = "";
    for (const TDriverEntry& driver : *update.drivers) {
      output.Write(fmt::format("{}{{\"name\": {}, \"version\": {}}}", comma,
                               JsonString(driver.name), JsonString(driver.version)));
      comma = ", ";
    }
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
