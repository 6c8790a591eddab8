// `svcheck config`: which settings hold, and where they come from.
#include <algorithm>
#include <boost/algorithm/string.hpp>
#include <filesystem>

#include "report/text.h"
#include "svcheck/cli/command_line.h"
#include "svcheck/cli/completion.h"
#include "svcheck/cli/help.h"
#include "svcheck/cli/options.h"
#include "svcheck/cli/settings.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/output.h"

namespace svc {

namespace {

using report::JsonString;

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
    std::size_t nameWidth = 7, valueWidth = 5, placeWidth = 4;
    for (const TRow& row : rows) {
      nameWidth = std::max(nameWidth, row.name.size());
      valueWidth = std::max(valueWidth, report::DisplayWidth(report::PlainLine(row.value)));
      placeWidth = std::max(placeWidth, report::DisplayWidth(report::PlainLine(row.Place())));
    }
    const auto line = [&](const std::string& name, const std::string& value,
                          const std::string& place, const std::string& verbs) {
      const auto cell = [](const std::string& text, std::size_t width) {
        const std::string plain = text.empty() ? "-" : report::PlainLine(text);
        return plain + std::string(width + 2 - report::DisplayWidth(plain), ' ');
      };
      return cell(name, nameWidth) + cell(value, valueWidth) + cell(place, placeWidth) + verbs +
             '\n';
    };
    std::string table = line("SETTING", "VALUE", "FROM", "VERBS");
    for (const TRow& row : rows) {
      table += line(row.name, row.value, row.Place(), boost::join(row.verbs, ", "));
    }
    return table;
  }

  static std::string JsonOf(const TRow& row) {
    std::string json =
        "{\"name\":" + JsonString(row.name) + ",\"value\":" +
        (row.value.empty() && row.setting == nullptr ? "null" : JsonString(row.value));
    if (row.setting == nullptr) {
      json += ",\"from\":\"default\"";
    } else if (row.setting->file.empty()) {
      json += ",\"from\":\"environment\",\"variable\":" + JsonString(row.setting->variable);
    } else {
      json += ",\"from\":\"file\",\"file\":" + JsonString(row.setting->file) +
              ",\"line\":" + std::to_string(row.setting->line);
    }
    json += ",\"verbs\":[";
    for (std::size_t i = 0; i < row.verbs.size(); ++i) {
      json += (i == 0 ? "" : ",") + JsonString(row.verbs[i]);
    }
    return json + "]}";
  }

  static std::string Json(const std::vector<TRow>& rows) {
    std::string json = "{\"schema\":1,\"files\":[";
    const char* separator = "";
    for (const std::filesystem::path& file : SettingFiles()) {
      std::error_code error;
      json += separator + ("{\"path\":" + JsonString(file.string())) +
              ",\"exists\":" + (std::filesystem::exists(file, error) ? "true}" : "false}");
      separator = ",";
    }
    json += "],\"settings\":[";
    separator = "\n";
    for (const TRow& row : rows) {
      json += separator + JsonOf(row);
      separator = ",\n";
    }
    return json + "\n]}\n";
  }

  std::string wanted;
  std::string format = "table";
  bool all = false;
};

}  // namespace

std::unique_ptr<IVerb> MakeConfig(CLI::App& app) { return std::make_unique<TConfigVerb>(app); }

}  // namespace svc
