#include "svcheck/author/new_element.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "base/error.h"
#include "report/text.h"
#include "rules/names.h"
#include "rules/system_codes.h"
#include "rules/version_items.h"
#include "runtime/xmlparser/document_text.h"
#include "runtime/xmlparser/encoding.h"

namespace svc::catalogue {
namespace {

using rules::kSystemCodes;

constexpr std::string_view kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

void AppendProperty(std::string& text, std::string_view name, const std::string& value) {
  if (value.empty()) return;
  text +=
      fmt::format("          <PROPERTY NAME=\"{}\" TYPE=\"string\"><VALUE>{}</VALUE></PROPERTY>\n",
                  name, report::XmlText(value));
}

void AppendArray(std::string& text, std::string_view name, const std::vector<std::string>& values,
                 std::string_view before, std::string_view behind) {
  text += fmt::format(
      "          <PROPERTY.ARRAY NAME=\"{}\" TYPE=\"string\">\n"
      "            <VALUE.ARRAY>\n",
      name);
  for (const std::string& value : values) {
    text += fmt::format("              <VALUE>{}{}{}</VALUE>\n", before, report::XmlText(value),
                        behind);
  }
  text += "            </VALUE.ARRAY>\n          </PROPERTY.ARRAY>\n";
}

EPlatform PlatformOf(std::string_view family) {
  return family.starts_with(rules::kWindows) ? EPlatform::kWindows : EPlatform::kLinux;
}

bool Has(const std::vector<std::string>& texts, std::string_view text) {
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

void AddOnce(std::vector<std::string>& texts, std::string_view text) {
  if (!Has(texts, text)) texts.emplace_back(text);
}

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

class TCsvReader {
 public:
  explicit TCsvReader(std::string_view text) : text(text), separator(SeparatorOf(text)) {}

  std::vector<TCsvRow> Read() {
    std::vector<TCsvRow> rows;
    while (at < text.size()) {
      TCsvRow row{line, {}};
      do {
        row.fields.push_back(ReadField());
      } while (Take(separator));
      EndLine();
      if (row.fields.size() > 1 || !row.fields.front().empty()) rows.push_back(std::move(row));
    }
    return rows;
  }

 private:
  static char SeparatorOf(std::string_view text) {
    const std::string_view first = text.substr(0, text.find('\n'));
    return first.find(',') == first.npos && first.find(';') != first.npos ? ';' : ',';
  }

  bool IsAt(char c) const { return at < text.size() && text[at] == c; }
  bool Take(char c) {
    if (!IsAt(c)) return false;
    ++at;
    return true;
  }
  void EndLine() {
    Take('\r');
    Take('\n');
    ++line;
  }

  std::string ReadField() {
    while (IsAt(' ') || IsAt('\t')) ++at;
    return IsAt('"') ? ReadQuoted() : ReadPlain();
  }

  std::string ReadPlain() {
    const std::size_t begin = at;
    while (at < text.size() && !IsAt(separator) && !IsAt('\n') && !IsAt('\r')) ++at;
    const std::string_view field = report::Trim(text.substr(begin, at - begin));
    if (field.find('"') != field.npos) throw TextError(line, "a quote within an unquoted field");
    return std::string(field);
  }

  std::string ReadQuoted() {
    const std::size_t begin = line;
    std::string field;
    for (++at; at < text.size(); ++at) {
      if (text[at] == '\n') ++line;
      if (text[at] == '"') {
        ++at;
        if (!IsAt('"')) return EndQuoted(std::move(field));
      }
      field += text[at];
    }
    throw TextError(begin, "a quote is not closed");
  }

  std::string EndQuoted(std::string field) {
    while (IsAt(' ') || IsAt('\t')) ++at;
    if (at < text.size() && !IsAt(separator) && !IsAt('\n') && !IsAt('\r')) {
      throw TextError(line, "text behind a quoted field");
    }
    return field;
  }

  std::string_view text;
  char separator;
  std::size_t at = 0;
  std::size_t line = 1;
};

}  // namespace

std::string InstanceText(const TNewElement& element) {
  std::string text = fmt::format("<INSTANCE CLASSNAME=\"{}\">\n", rules::kUpdateClass);
  AppendProperty(text, rules::kUpdateName, element.name);
  AppendProperty(text, rules::kUpdateDescription, element.description);
  AppendProperty(text, rules::kUpdateCategory, element.category);
  AppendProperty(text, rules::kUpdateDirectory, element.installDirectory);
  AppendProperty(text, rules::kUpdateVersion, element.version);
  AppendProperty(text, rules::kUpdateBuild, element.build);
  AppendProperty(text, rules::kUpdateDriverFiles, element.driverFiles);
  AppendProperty(text, rules::kUpdateDriverSources, element.driverSources);
  AppendArray(text, rules::kUpdateMachineTypes, element.whom.machineTypes, rules::kOpenMark,
              rules::kCloseMark);
  AppendArray(text, rules::kUpdateSystems, element.whom.systems, "", "");
  return text + "        </INSTANCE>";
}

std::string CatalogueText(const std::vector<TNewElement>& elements) {
  std::string objects;
  for (const TNewElement& element : elements) AppendObject(InstanceText(element), objects);
  return CatalogueAround({}, objects);
}

std::string CatalogueAround(std::string_view remark, std::string_view objects) {
  std::string text = std::string(kDeclaration) + "\n<?sv-catalogue version=\"4.02\"?>\n";
  if (!remark.empty()) text += fmt::format("<!-- {} -->\n", remark);
  text +=
      "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">\n"
      "  <DECLARATION>\n"
      "    <DECLGROUP>\n";
  return text.append(objects) + "    </DECLGROUP>\n  </DECLARATION>\n</CIM>\n";
}

void AppendObject(std::string_view declared, std::string& objects) {
  objects.append("      <VALUE.OBJECT>\n        ").append(declared);
  objects += "\n      </VALUE.OBJECT>\n";
}

std::string Utf8Of(std::string document) {
  try {
    const xml::TUtf8Document utf8 = xml::ToUtf8(document.data(), document.data() + document.size());
    std::string text(utf8.begin, utf8.end);
    const std::size_t end = xml::BeginsWithDeclaration(text) ? text.find("?>") : text.npos;
    if (end != text.npos) text.replace(0, end + 2, kDeclaration);
    return text;
  } catch (const xml::TDocumentError&) {
    return document;  // Those who load it say what is wrong with it.
  }
}

std::vector<std::string> WithFamilies(const std::vector<std::string>& wanted) {
  if (Has(wanted, kAnySystem)) return WithFamilies({});
  std::vector<std::string> systems;
  for (const auto& row : kSystemCodes) {
    if (!wanted.empty() && !Has(wanted, row.code) && !Has(wanted, row.family)) continue;
    if (wanted.empty() || Has(wanted, row.code)) AddOnce(systems, row.code);
    AddOnce(systems, row.family);
  }
  return systems;
}

// Every system of the platform where none is asked for, but for VMware: no driver file that is read
// here is for it.
std::vector<std::string> SystemsFor(EPlatform platform, const std::vector<std::string>& wanted) {
  if (Has(wanted, kAnySystem)) return WithFamilies({});
  std::vector<std::string> systems;
  for (const auto& row : kSystemCodes) {
    const bool isAsked = wanted.empty() ? row.family != rules::kVMware
                                        : Has(wanted, row.code) || Has(wanted, row.family);
    if (!isAsked || PlatformOf(row.family) != platform) continue;
    if (wanted.empty() || Has(wanted, row.code)) AddOnce(systems, row.code);
    AddOnce(systems, row.family);
  }
  return systems;
}

std::string KnownSystems() {
  std::string text;
  for (const std::string& system : WithFamilies({})) text += system + ", ";
  return text + std::string(kAnySystem);
}

bool IsSystem(const std::string& text) {
  return text == kAnySystem ||
         std::any_of(kSystemCodes.begin(), kSystemCodes.end(),
                     [&](const auto& row) { return row.code == text || row.family == text; });
}

bool IsMachineType(const std::string& text) {
  return !text.empty() && !Contains(text, rules::kOpenMark) && !Contains(text, rules::kCloseMark) &&
         report::Trim(text) == text && report::PlainLine(text) == text;
}

std::vector<std::string> Parts(const std::string& text, std::string_view separators) {
  std::vector<std::string> parts;
  std::string_view rest = text;
  while (!rest.empty()) {
    const auto end = rest.find_first_of(separators);
    const std::string_view part = report::Trim(rest.substr(0, end));
    if (!part.empty()) parts.emplace_back(part);
    rest.remove_prefix(end == rest.npos ? rest.size() : end + 1);
  }
  return parts;
}

std::vector<std::string> MachineTypesIn(const std::string& field) {
  if (Contains(field, "|")) return Parts(field, "|");
  const std::vector<std::string> words = Parts(field, ";, \t\r\n");
  const auto isNumbered = [](const std::string& word) { return report::IsDigit(word.front()); };
  if (std::all_of(words.begin(), words.end(), isNumbered)) return words;
  const auto isOneWord = [](const std::string& part) {
    return std::none_of(part.begin(), part.end(), report::IsBlank);
  };
  std::vector<std::string> parts = Parts(field, ";,\r\n");
  if (std::all_of(parts.begin(), parts.end(), isOneWord)) return parts;
  return Parts(field, ";\r\n");
}

TNewElement ElementOf(const TDriver& driver, const TFor& whom) {
  TNewElement element;
  element.name = driver.file.substr(0, driver.file.rfind('.'));
  element.driverFiles = driver.file + "-#" + driver.version;
  if (!driver.source.empty()) element.driverSources = driver.source + ':' + element.driverFiles;
  element.whom = whom;
  const std::string description = fmt::format("Driver of {}", driver.origin);
  TProperty property;
  property.name = rules::kUpdateDescription;
  property.values = {description};
  const TElement described{{}, 0, {std::make_shared<const TProperty>(property)}, {}, 0};
  TRecognition recognition;
  if (!recognition.IsBiosUpdate(described) &&
      recognition.ComponentOf(described) == EComponent::kNone) {
    element.description = description;
  }
  return element;
}

std::vector<TCsvRow> ParseCsv(std::string_view text) {
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  return TCsvReader(text).Read();
}

}  // namespace svc::catalogue
