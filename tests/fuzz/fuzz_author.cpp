// Catalogues through the verbs of their author: what lint says of a list, what list cuts it into
// and what a query reads are one thing. An input that begins with "<" is an index.xml; of any other
// each line is the next text of an element, in the order of TextsOf.
#include <algorithm>
#include <array>
#include <map>
#include <nlohmann/json.hpp>
#include <utility>

#include "report/text.h"
#include "rules/names.h"
#include "svcheck/author/command.h"
#include "svcheck/author/new_element.h"
#include "svcheck/author/rules.h"
#include "svcheck/system/failure.h"
#include "tests/fuzz/fuzz_support.h"

using namespace svc::catalogue;
using namespace svc::fuzz;
using nlohmann::json;

namespace {

// ---- The document ----

std::string TakeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  const std::string line(text.substr(0, end));
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return line;
}

std::vector<std::string*> TextsOf(TNewElement& element) {
  return {&element.driverFiles, &element.whom.machineTypes.emplace_back(),
          &element.category,    &element.whom.systems.emplace_back(),
          &element.description, &element.version,
          &element.name,        &element.installDirectory,
          &element.build};
}

std::string DocumentOf(std::string_view input) {
  if (input.starts_with('<')) return std::string(input);
  std::vector<TNewElement> elements;
  while (!input.empty() && elements.size() < 8) {
    for (std::string* const text : TextsOf(elements.emplace_back())) *text = TakeLine(input);
  }
  return CatalogueText(elements);
}

// ---- The verbs ----

class TText : public svc::TOutput {
 public:
  explicit TText(std::string& text) : text(text) {}
  void Write(std::string_view part) override { text += part; }
  void Commit() override {}

 private:
  std::string& text;
};

class TProgram : public IProgram {
 public:
  explicit TProgram(std::string& text) : text(text) {}
  std::unique_ptr<svc::TOutput> Open(const std::string&) const override {
    return std::make_unique<TText>(text);
  }
  void Report(const std::string&) const override {}
  void Note(const std::string&) const override {}

 private:
  std::string& text;
};

const TScratchFolder& Folder() {
  static const TScratchFolder folder;
  return folder;
}

struct TAnswer {
  std::string text;
  int status;
  bool isRefused;
};

TAnswer Run(int (*verb)(const TCommand&, const IProgram&), const char* format,
            bool csvRaw = false) {
  TCommand command;
  command.folder = Folder().Root().string();
  command.dataFolder = DATA_FOLDER;
  command.format = format;
  command.csvRaw = csvRaw;
  std::string text;
  try {
    const int status = verb(command, TProgram(text));
    Require(svc::report::ValidUtf8(text) == text, "what is printed is UTF-8");
    return {text, status, false};
  } catch (const svc::TError& failure) {
    Require(text.empty() && *failure.what() != '\0', "a refusal says why, and nothing else");
    return {failure.what(), svc::StatusOf(failure), true};
  }
}

// ---- What they say of drivers ----

using TCut = std::vector<std::pair<std::string, std::string>>;

// The rule of the lists in its plainest words.
TCut CutPlainly(std::string_view rest) {
  TCut entries;
  for (std::size_t mark = rest.find("-#"); mark != rest.npos; mark = rest.find("-#")) {
    const std::string name(rest.substr(0, mark));
    rest.remove_prefix(mark + 2);
    const bool isLast = rest.find("-#") == rest.npos;
    const std::size_t blank = isLast ? rest.npos : rest.find(' ');
    entries.emplace_back(name, rest.substr(0, blank));
    if (isLast) break;
    if (blank != rest.npos) rest.remove_prefix(blank + 1);
  }
  return entries;
}

bool HasOuterBlanks(std::string_view text) { return svc::report::Trim(text) != text; }

// How often each rule found something of an element.
using TCounts = std::map<std::string_view, std::size_t>;

void CheckDrivers(std::string_view list, TCounts& found, const json& listed) {
  const TCut all = CutPlainly(list);
  TCut offered = all;
  std::erase_if(offered, [](const auto& row) { return row.first.empty() || row.second.empty(); });
  TCut shown;
  for (const json& driver : listed) shown.emplace_back(driver.at("name"), driver.at("version"));
  Require(shown == offered, "the drivers that are listed are those that are offered");
  const auto count = [](const TCut& rows, auto holds) {
    return static_cast<std::size_t>(std::count_if(rows.begin(), rows.end(), holds));
  };
  const auto isGlued = [](const auto& row) { return row.second.find("-#") != row.second.npos; };
  const auto hasBlanks = [](const auto& row) { return HasOuterBlanks(row.second); };
  Require(found["driver-entry-empty"] == all.size() - offered.size(), "lint names the others");
  Require(found["drivers-glued"] == count(all, isGlued), "lint names each that holds another");
  Require(found["driver-version-blanks"] == count(offered, hasBlanks), "lint names each blank");
  const bool isUnmarked = all.empty() && !svc::report::Trim(list).empty();
  Require(found["drivers-unversioned"] == (isUnmarked ? 1U : 0U), "lint names a list of none");
  Require(found["driver-unreachable"] + found["driver-name-blanks"] <= offered.size(),
          "a name has one thing wrong with it");
}

void CheckElement(const TUpdate& update, TCounts& found, const json& listed) {
  Require(listed.at("name") == update.name, "elements are listed in their order");
  CheckDrivers(update.element->Text(svc::rules::kUpdateDriverFiles), found, listed.at("drivers"));
  const bool isEmpty = listed.at("components").empty() && listed.at("drivers").empty();
  Require(found["updates-nothing"] == 0 || isEmpty, "what updates nothing is shown so");
  Require(found["machine-types-missing"] == 0 || listed.at("machineTypes").empty(),
          "what is for no machine is shown so");
  const std::string version = listed.at("version");
  Require(found["version-missing"] == 0 || version.empty(), "no version is shown");
  Require(!HasOuterBlanks(version) || found["version-blanks"] != 0,
          "lint names a version's blanks");
}

// ---- The same read by a query ----

// An array's elements have a blank behind them each.
std::string TextRead(const NQRXHSK20::ICIMInstance& instance, std::string_view name) {
  boost::shared_ptr<NQRXHSK20::ICIMProperty> property;
  instance.GetProperty(property, name, {});
  const NQRXHSK20::TCIMValue& value = property->Value({});
  if (value.IsNull() || !value.IsArray()) return value.ToString(10);
  std::string text;
  for (const auto& each : static_cast<const std::vector<NQRXHSK20::TCIMValue>&>(value)) {
    text += each.ToString(10) + " ";
  }
  return text;
}

void CheckAgainstQuery(const std::string& document, const std::vector<TUpdate>& updates) {
  const auto space = NewNamespace();
  std::vector<std::string> names;
  for (const auto& row : svc::rules::kUpdateProperties) names.emplace_back(row.name);
  DeclareClass(space, std::string(svc::rules::kUpdateClass), names);
  Require(ParseDocument(space, document, true), "a query takes what list takes");
  std::vector<boost::shared_ptr<NQRXHSK20::ICIMInstance>> instances;
  boost::shared_ptr<NQRXHSK20::ICIMClass> cimClass;
  space->GetClass(cimClass, svc::rules::kUpdateClass, {});
  cimClass->EnumerateInstances(NQRXHSK20::TAddToVectorCallback<NQRXHSK20::ICIMInstance>(instances),
                               true, {});
  Require(instances.size() == updates.size(), "a query finds the elements that are listed");
  for (std::size_t i = 0; i < updates.size(); ++i) {
    for (const std::string& name : names) {
      const TProperty* const property = updates[i].element->Find(name);
      // Lint warns of other types.
      if (property != nullptr && property->type != "string") continue;
      Require(updates[i].element->Text(name) == TextRead(*instances[i], name),
              "a query reads the texts that are listed");
    }
  }
}

// ---- All together ----

bool SaysUnusable(const json& lint) {
  constexpr std::array<std::string_view, 5> kRules = {"unreadable", "malformed", "refused",
                                                      "dialect-missing", "dialect-old"};
  return std::any_of(lint.at("findings").begin(), lint.at("findings").end(), [&](const json& each) {
    return std::find(kRules.begin(), kRules.end(), each.at("rule")) != kRules.end();
  });
}

void CheckSummary(const json& lint, int status) {
  std::map<std::string, std::size_t> counts{{"error", 0}, {"warning", 0}};
  for (const json& finding : lint.at("findings")) ++counts[finding.at("severity")];
  Require(lint.at("summary") == json(counts), "the summary counts what is told");
  Require((status == svc::kExitDone) == (counts["error"] == 0), "errors make the exit status");
}

void CheckListings(const json& list) {
  const std::size_t count = list.at("elements").size();
  Require(list.at("all") == count && list.at("shown") == count, "every element is listed");
  const std::string table = Run(ListCatalogue, "table").text;
  const auto lines = static_cast<std::size_t>(std::count(table.begin(), table.end(), '\n'));
  Require(lines == count + (count > 0 ? 2 : 1), "each element is one line of the table");
  for (const bool isRaw : {false, true}) {
    const std::vector<TCsvRow> rows = ParseCsv(Run(ListCatalogue, "csv", isRaw).text);
    Require(rows.size() == count + 1, "each element is one row");
    for (const TCsvRow& row : rows) Require(row.fields.size() == 8, "a row has every field");
  }
}

void CheckElements(const std::string& document, const json& list) {
  const TCatalogue catalogue = ReadCatalogueText(document, DATA_FOLDER);
  const std::vector<TUpdate> updates = UpdatesOf(catalogue);
  std::map<const TUpdate*, TCounts> found;
  for (const TFinding& finding : Lint(catalogue, updates)) {
    found[finding.update][finding.rule->id] += finding.count;
  }
  const json& elements = list.at("elements");
  Require(elements.size() == updates.size(), "a text in memory and a file read alike");
  for (std::size_t i = 0; i < updates.size(); ++i) {
    CheckElement(updates[i], found[&updates[i]], elements[i]);
  }
  CheckAgainstQuery(document, updates);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string document = DocumentOf(AsText(data, size));
  Folder().Write("index.xml", document);
  const TAnswer linted = Run(LintCatalogue, "json");
  const json lint = json::parse(linted.text);
  CheckSummary(lint, linted.status);
  Require(Run(LintCatalogue, "table").status == linted.status, "the format changes no answer");
  const TAnswer listed = Run(ListCatalogue, "json");
  Require(listed.isRefused == SaysUnusable(lint), "list refuses what lint says is not used");
  if (listed.isRefused) return 0;
  const json list = json::parse(listed.text);
  CheckListings(list);
  CheckElements(document, list);
  return 0;
}
