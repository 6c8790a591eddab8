#include "svcheck/cli/command_line.h"

#include <algorithm>
#include <boost/algorithm/string.hpp>
#include <string_view>

#include "base/shown_text.h"
#include "runtime/acquire/address.h"
#include "runtime/hskcore/host_setup.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/paths.h"
#include "svcheck/system/process.h"

namespace fs = std::filesystem;

namespace svc {

constexpr const char* kPrefix = "SVCHECK_";
constexpr std::string_view kCode = "plugin";

static std::string Upper(char c) {
  return {c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c};
}

// "SVCHECK_FAIL_ON" of "fail-on".
static std::string VariableOf(const std::string& name) {
  std::string variable = kPrefix;
  for (const char c : name) variable += c == '-' ? "_" : Upper(c);
  return variable;
}

// Names and values, in the order of the names.
static std::vector<std::pair<std::string, std::string>> OwnVariables() {
  std::vector<std::pair<std::string, std::string>> variables;
  for (char** entry = Environment(); entry != nullptr && *entry != nullptr; ++entry) {
    const std::string text = *entry;
    const std::size_t equals = text.find('=');
    if (!text.starts_with(kPrefix) || equals == std::string::npos) continue;
    variables.emplace_back(text.substr(0, equals), text.substr(equals + 1));
  }
  std::sort(variables.begin(), variables.end());
  return variables;
}

// The systemd unit has these for its command line.
static bool IsOfService(const std::string& variable) {
  return variable == "SVCHECK_ARGUMENTS" || variable == "SVCHECK_FETCH_ARGUMENTS" ||
         variable == "SVCHECK_METRICS";
}

// Names of the settings of a verb (empty: of all), each once.
static std::vector<std::string> NamesOf(const std::vector<TCommandDescription>& verbs,
                                        const std::string& verb) {
  std::vector<std::string> names;
  for (const TCommandDescription* command : Flattened(verbs)) {
    const std::string words = WordsOf(*command);
    if (!verb.empty() && words != verb && !words.starts_with(verb + ' ')) continue;
    for (const TOptionDescription& option : command->options) {
      if (option.configurable) names.push_back(SettingNameOf(option));
    }
  }
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());
  return names;
}

static void AddVariables(const std::vector<TCommandDescription>& verbs,
                         std::vector<TSetting>& settings) {
  const std::vector<std::string> names = NamesOf(verbs, "");
  std::vector<std::string> variables;
  for (const std::string& name : names) variables.push_back(VariableOf(name));
  for (const auto& [variable, value] : OwnVariables()) {
    if (value.empty() || IsOfService(variable)) continue;
    const auto found = std::find(variables.begin(), variables.end(), variable);
    if (found == variables.end()) {
      const std::string meant = DidYouMean(variable, variables);
      ReportError("the environment's " + variable + " names no setting and is passed over; " +
                  meant + "`svcheck config --all` lists the settings");
      continue;
    }
    TSetting setting;
    setting.name = names[static_cast<std::size_t>(found - variables.begin())];
    setting.variable = variable;
    setting.values = {value};
    settings.push_back(std::move(setting));
  }
}

[[noreturn]] static void Refuse(const TSetting& setting, const std::string& text) {
  throw TError(setting.Place() + ": " + text, EErrorKind::kUsage);
}

static void CheckVerb(const TSetting& setting, const std::vector<TCommandDescription>& verbs) {
  std::vector<std::string> names;
  for (const TCommandDescription& verb : verbs) names.push_back(LastWordOf(verb));
  if (setting.verb.empty() || std::count(names.begin(), names.end(), setting.verb) != 0) return;
  Refuse(setting, "[" + setting.verb + "] is no verb that takes settings; " +
                      DidYouMean(setting.verb, names) + "the verbs are " +
                      boost::join(names, ", "));
}

static void CheckName(const TSetting& setting, const std::vector<TCommandDescription>& verbs) {
  CheckVerb(setting, verbs);
  const std::vector<std::string> names = NamesOf(verbs, setting.verb);
  if (!std::binary_search(names.begin(), names.end(), setting.name)) {
    Refuse(setting, "there is no setting \"" + setting.name + "\"" +
                        (setting.verb.empty() ? "" : " of " + setting.verb) + "; " +
                        DidYouMean(setting.name, names) + "`svcheck config --all` lists them");
  }
  if (setting.name == kCode && setting.layer != ELayer::kSystemFile) {
    Refuse(setting,
           "\"plugin\" names code to load, so it is taken from the command line and from " +
               (SystemConfigFolder() / "config.toml").string() + " only; set it there");
  }
}

// Throws when the setting is not written as its option asks for.
static void CheckForm(const TSetting& setting, const TOptionDescription& option) {
  if (setting.isArray && !option.repeatable) Refuse(setting, setting.name + " takes one value");
  if (setting.file.empty()) return;
  if (option.value.empty() != (setting.form == EValueForm::kTruth)) {
    Refuse(setting, setting.name + (option.value.empty() ? ": write true or false, without quotes"
                                                         : ": write a text, in quotes"));
  }
}

static std::vector<std::string> ValuesOf(const TSetting& setting,
                                         const TOptionDescription& option) {
  const EValueKind kind = KindOf(option);
  std::vector<std::string> values = setting.values;
  if (setting.file.empty() || (kind != EValueKind::kFile && kind != EValueKind::kFolder)) {
    return values;
  }
  for (std::string& value : values) {
    if (!value.empty()) value = (PathOf(setting.file).parent_path() / PathOf(value)).string();
  }
  return values;
}

static bool Excludes(const TOptionDescription& option, const std::string& other) {
  return std::count(option.excludes.begin(), option.excludes.end(), other) != 0;
}

// Whether the setting counts: neither the command line nor a stronger setting has the word already.
static bool Holds(const TSetting& setting, const TOptionDescription& option,
                  const std::vector<THolding>& holding, const std::vector<std::string>& given) {
  for (const std::string& name : given) {
    if (name == option.names.back() || Excludes(option, name)) return false;
  }
  for (const THolding& stronger : holding) {
    const std::string& name = stronger.option->names.back();
    if (name == option.names.back()) return false;
    if (!Excludes(option, name) || stronger.values == std::vector<std::string>{"false"}) continue;
    const bool isEqual = stronger.setting->layer == setting.layer &&
                         stronger.setting->verb.empty() == setting.verb.empty();
    if (!isEqual) return false;
    Refuse(setting, setting.name + " does not go together with " + stronger.setting->name + " of " +
                        stronger.setting->Place() + "; leave one of them out");
  }
  return true;
}

std::string TSetting::Place() const {
  return file.empty() ? "environment " + variable : file + ':' + std::to_string(line);
}

std::vector<fs::path> SettingFiles() {
  constexpr const char* kName = "config.toml";
  return {ConfigFolder() / kName, SystemConfigFolder() / kName};
}

bool AreThereSettings() {
  if (!OwnVariables().empty()) return true;
  const std::vector<fs::path> files = SettingFiles();
  return std::any_of(files.begin(), files.end(), [](const fs::path& file) {
    std::error_code error;
    return fs::symlink_status(file, error).type() != fs::file_type::not_found;
  });
}

std::vector<TSetting> ReadSettings(const std::vector<TCommandDescription>& verbs) {
  std::vector<TSetting> settings;
  AddVariables(verbs, settings);
  ELayer layer = ELayer::kUserFile;
  for (const fs::path& file : SettingFiles()) {
    std::vector<TSetting> read = ReadSettingsFile(file, layer);
    std::move(read.begin(), read.end(), std::back_inserter(settings));
    layer = ELayer::kSystemFile;
  }
  for (const TSetting& setting : settings) CheckName(setting, verbs);
  return settings;
}

std::vector<THolding> HoldingFor(const TCommandDescription& command,
                                 const std::vector<TSetting>& settings,
                                 const std::vector<std::string>& given) {
  const std::string words = WordsOf(command);
  const std::string verb = words.substr(0, words.find(' '));
  std::vector<THolding> holding;
  for (const TSetting& setting : settings) {
    if (!setting.verb.empty() && setting.verb != verb) continue;
    for (const TOptionDescription& option : command.options) {
      if (!option.configurable || SettingNameOf(option) != setting.name) continue;
      CheckForm(setting, option);
      if (!Holds(setting, option, holding, given)) continue;
      holding.push_back({&setting, &option, ValuesOf(setting, option)});
    }
  }
  return holding;
}

std::string ShownValue(const std::string& name, const std::string& value) {
  if (name == "proxy" || name == "repository") return acquire::ShownAddress(value);
  if (name != "context" || !value.starts_with("svProxy=")) return value;
  const std::size_t host = std::min(value.find(','), value.size());
  const std::size_t port = std::min(value.find(',', host + 1), value.size());
  return port == value.size() ? value : value.substr(0, port) + ",…";
}

}  // namespace svc
