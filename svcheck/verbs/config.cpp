// `svcheck config`: which settings hold, and where they come from.
#include <algorithm>
#include <boost/algorithm/string.hpp>
#include <filesystem>

#include "base/json_writer.h"
#include "base/shown_text.h"
#include "report/table.h"
#include "report/text.h"
#include "svcheck/cli/command_line.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/paths.h"

namespace svc {

namespace {

// A setting as it holds for some verbs.
struct TRow {
  std::string name;
  std::string value;
  const TSetting* setting;  // Null for the default.
  std::vector<std::string> verbs;

  std::string Place() const { return setting == nullptr ? "default" : setting->Place(); }
  bool IsLike(const TRow& other) const {
    return name == other.name && value == other.value && setting == other.setting;
  }
};

// Verbs for which the same holds share a row.
void Add(std::vector<TRow>& rows, TRow row) {
  for (TRow& known : rows) {
    if (!known.IsLike(row)) continue;
    known.verbs.push_back(row.verbs.front());
    return;
  }
  rows.push_back(std::move(row));
}

TRow RowOf(const TCommandDescription& command, const TOptionDescription& option,
           const std::vector<THolding>& holdings) {
  TRow row{SettingNameOf(option), option.defaultValue, nullptr, {WordsOf(command)}};
  for (const THolding& holding : holdings) {
    if (holding.option != &option) continue;
    row.setting = holding.setting;
    std::vector<std::string> shown;
    for (const std::string& value : holding.values) shown.push_back(ShownValue(row.name, value));
    row.value = boost::join(shown, ", ");
  }
  return row;
}

class TConfigVerb : public IVerb {
 public:
  explicit TConfigVerb(CLI::App& app) {
    AddWord(app, "VERB", wanted, "Show what holds for this verb only");
    AddFlag(app, "--all", all, "Show settings without a value as well");
    AddText(app, "--format", format, "Format", "FORMAT").OneOf({"table", "json"});
  }

  int Run() override {
    const std::vector<TCommandDescription> verbs = DescribeConfiguredVerbs();
    DemandVerb(verbs);
    const std::vector<TSetting> settings = ReadSettings(verbs);
    const std::vector<TRow> rows = RowsOf(verbs, settings);
    const auto output = OpenOutput("-");
    output->Write(format == "json" ? Json(rows) : Table(rows));
    output->Commit();
    return kExitDone;
  }

 private:
  void DemandVerb(const std::vector<TCommandDescription>& verbs) const {
    if (wanted.empty()) return;
    std::vector<std::string> names;
    for (const TCommandDescription& verb : verbs) names.push_back(LastWordOf(verb));
    if (std::find(names.begin(), names.end(), wanted) != names.end()) return;
    throw TError("\"" + wanted + "\" is no verb that takes settings; " + DidYouMean(wanted, names) +
                     "the verbs are " + boost::join(names, ", "),
                 EErrorKind::kUsage);
  }

  std::vector<TRow> RowsOf(const std::vector<TCommandDescription>& verbs,
                           const std::vector<TSetting>& settings) const {
    std::vector<TRow> rows;
    for (const TCommandDescription& verb : verbs) {
      if (!wanted.empty() && LastWordOf(verb) != wanted) continue;
      // Values are tried on the verb itself, so that one that does not fit is an error here too.
      TCommandLine(*FindVerb(LastWordOf(verb))).Apply(settings);
      const std::vector<TCommandDescription> tree = {verb};
      for (const TCommandDescription* command : Flattened(tree)) {
        const std::vector<THolding> holdings = HoldingFor(*command, settings, {});
        for (const TOptionDescription& option : command->options) {
          TRow row = RowOf(*command, option, holdings);
          if (!option.configurable || (!all && row.setting == nullptr && row.value.empty()))
            continue;
          Add(rows, std::move(row));
        }
      }
    }
    return rows;
  }

  static std::string Table(const std::vector<TRow>& rows) {
    const auto cell = [](const std::string& text) {
      return text.empty() ? "-" : report::PlainLine(text);
    };
    report::TTable<4> table({"SETTING", "VALUE", "FROM", "VERBS"});
    const auto cells = [&](const TRow& row) {
      return report::TTable<4>::TRow{row.name, cell(row.value), cell(row.Place()),
                                     boost::join(row.verbs, ", ")};
    };
    for (const TRow& row : rows) table.Measure(cells(row));
    std::string text = table.Heads();
    for (const TRow& row : rows) text += table.Line(cells(row));
    return text;
  }

  static void WriteRow(const TRow& row, TJsonWriter& json) {
    json.Object().Text("name", row.name);
    const TSetting* const setting = row.setting;
    if (setting == nullptr) {
      json.TextOrNull("value", row.value).Text("from", "default");
    } else if (setting->file.empty()) {
      json.Text("value", row.value).Text("from", "environment");
      json.Text("variable", setting->variable);
    } else {
      json.Text("value", row.value).Text("from", "file");
      json.Text("file", setting->file).Number("line", setting->line);
    }
    json.Texts("verbs", row.verbs).End();
  }

  static std::string Json(const std::vector<TRow>& rows) {
    std::string text;
    TJsonWriter json(text);
    json.Object().Number("schema", 1).List("files");
    for (const std::filesystem::path& file : SettingFiles()) {
      std::error_code error;
      json.Object().Text("path", file.string()).Name("exists");
      json.Written(std::filesystem::exists(file, error) ? "true" : "false").End();
    }
    json.End().List("settings", kJsonLines);
    for (const TRow& row : rows) WriteRow(row, json);
    json.End().End();
    return text + '\n';
  }

  std::string wanted;
  std::string format = "table";
  bool all = false;
};

}  // namespace

std::unique_ptr<IVerb> MakeConfig(CLI::App& app) { return std::make_unique<TConfigVerb>(app); }

}  // namespace svc
