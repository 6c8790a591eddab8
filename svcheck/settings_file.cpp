#include "svcheck/settings_file.h"

#define TOML_ENABLE_FORMATTERS 0
// Its assertions fail on dates without a time, which its own checks then refuse.
#define TOML_ASSERT(expr) static_cast<void>(0)
#include <toml++/toml.h>

#include <fstream>
#include <system_error>

#include "svcheck/failure.h"
#include "svcheck/paths.h"

namespace fs = std::filesystem;

namespace svc {

namespace {

[[noreturn]] void Refuse(const fs::path& file, unsigned line, const std::string& text) {
  throw TFailure(file.string() + ':' + std::to_string(line) + ": " + text, kExitUsage);
}

class TFileReader {
 public:
  TFileReader(const fs::path& file, ELayer layer) : file(file), layer(layer) {}

  std::vector<TSetting> Read(const toml::table& root) {
    for (const auto& [key, node] : root) {
      if (const toml::table* const inner = node.as_table())
        ReadTable(std::string(key.str()), *inner);
    }
    for (const auto& [key, node] : root) {
      if (!node.is_table()) Add("", std::string(key.str()), node);
    }
    return std::move(settings);
  }

 private:
  static unsigned LineOf(const toml::node& node) { return node.source().begin.line; }

  void ReadTable(const std::string& verb, const toml::table& table) {
    for (const auto& [key, node] : table) Add(verb, std::string(key.str()), node);
  }

  void Add(const std::string& verb, const std::string& name, const toml::node& node) {
    TSetting setting;
    setting.layer = layer;
    setting.verb = verb;
    setting.name = name;
    setting.file = file.string();
    setting.line = LineOf(node);
    if (const toml::array* const array = node.as_array()) {
      setting.isArray = true;
      for (const toml::node& element : *array) AddValue(setting, element);
    } else {
      AddValue(setting, node);
    }
    settings.push_back(std::move(setting));
  }

  void AddValue(TSetting& setting, const toml::node& node) const {
    if (const auto* const text = node.as_string()) {
      setting.values.push_back(text->get());
    } else if (const auto* const number = node.as_integer()) {
      setting.form = EValueForm::kNumber;
      setting.values.push_back(std::to_string(number->get()));
    } else if (const auto* const truth = node.as_boolean()) {
      setting.form = EValueForm::kTruth;
      setting.values.emplace_back(truth->get() ? "true" : "false");
    } else {
      Refuse(file, LineOf(node),
             "\"" + setting.name +
                 "\" is neither a text, a whole number, true or false, nor a "
                 "list of texts; write " +
                 setting.name + " = \"…\"");
    }
  }

  const fs::path& file;
  ELayer layer;
  std::vector<TSetting> settings;
};

}  // namespace

std::vector<TSetting> ReadSettingsFile(const fs::path& file, ELayer layer) {
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  if (status.type() == fs::file_type::not_found) return {};
  std::ifstream stream(file, std::ios::binary);
  if (!stream || !fs::is_regular_file(status)) {
    throw TFailure(
        "cannot read " + file.string() + "; make it a file that you may read, or remove it",
        kExitUsage);
  }
  if (OthersMayWrite(file)) {
    throw TFailure(file.string() +
                       " is not read, since others than root and you may write to it; "
                       "correct its owner and rights (chmod go-w)",
                   kExitUsage);
  }
  try {
    return TFileReader(file, layer).Read(toml::parse(stream, file.string()));
  } catch (const toml::parse_error& mistake) {
    Refuse(file, mistake.source().begin.line,
           std::string(mistake.description()) + "; a setting is a line such as: format = \"json\"");
  }
}

}  // namespace svc
