// From a saved JSON report back to the model.
#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>

#include "base/bounded_json.h"
#include "base/error.h"
#include "report/records.h"
#include "report/text.h"

namespace svc::report {

namespace {

// Keeps the order of members, as the report writes them.
using TJson = nlohmann::ordered_json;

[[noreturn]] void Fail(const std::string& text) { throw TError(text, EErrorKind::kText); }

// One value and its place in the report, such as "records[3].verdict".
class TPlace {
 public:
  TPlace(const TJson& value, std::string path) : value(&value), path(std::move(path)) {}

  // An absent member is null.
  TPlace operator[](const char* name) const {
    static const TJson kNull;
    if (!value->is_object()) FailAs("an object");
    const auto found = value->find(name);
    return {found == value->end() ? kNull : *found, path.empty() ? name : path + '.' + name};
  }
  bool IsNull() const { return value->is_null(); }

  std::string Text() const {
    if (!value->is_string()) FailAs("a text");
    return value->get<std::string>();
  }
  std::string TextOrNothing() const { return IsNull() ? std::string() : Text(); }
  bool Truth() const {
    if (!value->is_boolean()) FailAs("true or false");
    return value->get<bool>();
  }
  std::uint64_t Count() const {
    if (!value->is_number_unsigned()) FailAs("a count");
    return value->get<std::uint64_t>();
  }
  double Number() const {
    if (!value->is_number()) FailAs("a number");
    return value->get<double>();
  }
  // What `find` makes of the text; `what` says what it has to be.
  template <typename TFind>
  auto OneOf(const TFind& find, const char* what) const {
    const auto found = find(Text());
    if (!found) FailAs(what);
    return *found;
  }
  std::int64_t Time() const {
    return OneOf(SecondsOfUtcTime, "a time such as 2027-06-30T00:00:00Z");
  }

  void DemandList() const {
    if (!value->is_array()) FailAs("a list");
  }
  // Calls `use` with the place of each item.
  template <typename TUse>
  void ForEach(const TUse& use) const {
    DemandList();
    std::size_t index = 0;
    for (const TJson& item : *value) use(TPlace(item, fmt::format("{}[{}]", path, index++)));
  }
  template <typename TUse>
  void ForEachMember(const TUse& use) const {
    if (!value->is_object()) FailAs("an object");
    for (const auto& [name, item] : value->items()) use(name, TPlace(item, path + '.' + name));
  }

 private:
  [[noreturn]] void FailAs(const char* what) const {
    Fail(fmt::format("\"{}\" is {}, not {}", path, IsNull() ? "missing" : "something else", what));
  }

  const TJson* value;
  std::string path;
};

// Where its members keep their order, reading an object takes the square of their number.
constexpr TJsonBounds BoundsOf(std::string_view text) {
  return {.levels = 64, .values = ValuesInProportion(text.size()), .members = 256};
}

TJson ParseJson(std::string_view text, TBoundedJson<TJson>& parser) {
  try {
    return parser.Read(text);
  } catch (const TJson::exception& error) {
    // "[json.exception.parse_error.101] parse error at line 3, column 7: …"
    const std::string_view message = error.what();
    const std::size_t behind = message.find("] ");
    Fail("no JSON: " +
         PlainLine(behind == std::string_view::npos ? message : message.substr(behind + 2)));
  } catch (const TError& error) {
    Fail(std::string("no report: ") + error.what());
  }
}

void DemandSchema(const TJson& root) {
  const auto schema = root.is_object() ? root.find("schema") : root.end();
  if (!root.is_object() || schema == root.end()) {
    Fail("JSON, but no report: it has no member \"schema\"");
  }
  if (*schema == kSchema) return;
  Fail(fmt::format("a report of schema {}, and this version reads schema {}",
                   PlainLine(schema->dump(-1, ' ', false, TJson::error_handler_t::replace)),
                   kSchema));
}

std::optional<TAcceptance> AcceptanceOf(const TPlace& place) {
  if (place.IsNull()) return {};
  return TAcceptance{place["reason"].Text(), place["expires"].TextOrNothing()};
}

// Reports of earlier versions name none.
std::shared_ptr<const TUpdate> UpdateOf(const TPlace& place) {
  if (place.IsNull()) return nullptr;
  return std::make_shared<const TUpdate>(
      TUpdate{place["name"].Text(), place["package"].TextOrNothing(), place["file"].Text(),
              static_cast<std::size_t>(place["line"].Count())});
}

TRecord RecordOf(const TPlace& place) {
  TRecord record;
  record.type = place["Type"].Text();
  record.name = place["Name"].Text();
  record.installed = place["InstalledVersion"].Text();
  record.offered = place["SVVersion"].Text();
  record.verdict = place["verdict"].OneOf(VerdictOfName, "a verdict");
  TRelease release = {place["urgency"].TextOrNothing(), place["releaseDate"].TextOrNothing(),
                      place["releaseNotes"].TextOrNothing()};
  const bool hasRelease =
      !release.urgency.empty() || !release.date.empty() || !release.notes.empty();
  if (hasRelease) record.release = std::move(release);
  record.waived = AcceptanceOf(place["waived"]);
  record.expiredWaiver = AcceptanceOf(place["expiredWaiver"]);
  if (const TPlace reason = place["reason"]; !reason.IsNull()) {
    record.why = UnorderedOfText(reason.Text());
  }
  if (const TPlace same = place["sameSource"]; !same.IsNull()) record.hasSameSource = same.Truth();
  record.update = UpdateOf(place["update"]);
  return record;
}

void ReadTool(const TPlace& tool, TReport& report) {
  report.tool = tool["name"].Text();
  report.toolVersion = tool["version"].Text();
  if (tool["plugin"].IsNull()) return;
  report.plugin = tool["plugin"]["name"].Text();
  report.pluginVersion = tool["plugin"]["version"].Text();
}

TMachine MachineOf(const TPlace& machine) {
  return {machine["type"].Text(), machine["manufacturer"].TextOrNothing(),
          machine["model"].TextOrNothing(), machine["serialNumber"].TextOrNothing(),
          machine["host"].TextOrNothing()};
}

TOperatingSystem SystemOf(const TPlace& system) {
  return {system["caption"].Text(), system["version"].TextOrNothing(),
          system["platform"].TextOrNothing()};
}

TCatalogue CatalogueOf(const TPlace& place) {
  TCatalogue catalogue;
  catalogue.source = place["source"].Text();
  catalogue.path = place["path"].Text();
  if (const TPlace elements = place["elements"]; !elements.IsNull()) {
    catalogue.elements = elements.Count();
  }
  if (const TPlace modified = place["modified"]; !modified.IsNull()) {
    catalogue.modified = modified.Time();
  }
  if (const TPlace date = place["date"]; !date.IsNull()) catalogue.date = date.Time();
  return catalogue;
}

// None in a report of an earlier version.
std::optional<TCoverage> CoverageOf(const TPlace& root) {
  const TPlace installed = root["installed"];
  if (installed.IsNull()) return {};
  TCoverage coverage;
  coverage.installed = installed.Count();
  root["notCompared"].ForEach([&](const TPlace& item) {
    coverage.notCompared.push_back(
        {item["type"].Text(), item["name"].Text(), item["version"].TextOrNothing(),
         item["reason"].OneOf(PassedOverOfName, "why something is not compared")});
  });
  if (coverage.notCompared.size() > coverage.installed) {
    Fail("\"installed\" is less than the pieces of \"notCompared\"");
  }
  return coverage;
}

// Refuses a report with hidden records: what it comes to follows from its records, and some of them
// would make another report.
void DemandAllRecords(const TPlace& root) {
  const TPlace hidden = root["hidden"];
  const std::uint64_t count = hidden.IsNull() ? 0 : hidden.Count();
  if (count == 0) return;
  Fail(
      fmt::format("a report without {} of its records, which --only left out: save it with "
                  "`--only all`, and choose when it is shown",
                  count));
}

// Reads what belongs to the state. The state itself follows from the records.
void ReadState(const TPlace& root, TReport& report) {
  if (WasCompared(report.outcome)) {
    report.nothingComparedBecause = root["stateReason"].TextOrNothing();
  }
  if (const TPlace known = root["osKnown"]; !known.IsNull()) report.osKnown = known.Truth();
  if (const TPlace left = root["driversLeftOut"]; !left.IsNull()) {
    report.driversLeftOut = left.Count();
  }
  report.coverage = CoverageOf(root);
}

}  // namespace

// At least as many as there are, for each has a verdict, and no more than so many bytes can hold.
static std::size_t MostRecords(std::string_view json) {
  constexpr std::string_view kName = "\"verdict\"";
  constexpr std::size_t kShortest = 64;
  std::size_t count = 0;
  for (auto at = json.find(kName); at != json.npos; at = json.find(kName, at + kName.size()))
    ++count;
  return std::min(count, json.size() / kShortest);
}

// Its records are read one by one: they are nearly all of a long report. Room for all of them is
// made before, for a list that grows is there twice at times.
TReport ReadSavedReport(std::string_view json) {
  std::size_t values = 0;
  TBoundedJson<TJson> parser(BoundsOf(json), values);
  std::vector<TRecord> records;
  records.reserve(MostRecords(json));
  parser.TakeItems(
      "records", [&records] { records.clear(); },
      [&records](const TJson& item) {
        records.push_back(RecordOf({item, fmt::format("records[{}]", records.size())}));
      });
  const TJson parsed = ParseJson(json, parser);
  DemandSchema(parsed);
  const TPlace root(parsed, {});
  TReport report;
  ReadTool(root["tool"], report);
  report.generated = root["generated"].Time();
  report.machine = MachineOf(root["machine"]);
  report.system = SystemOf(root["operatingSystem"]);
  report.catalogue = CatalogueOf(root["catalogue"]);
  report.outcome = root["outcome"].OneOf(OutcomeOfName, "how a check ends");
  DemandAllRecords(root);
  root["records"].DemandList();
  parser.CheckItems();
  report.records = std::move(records);
  root["errors"].ForEach([&](const TPlace& item) { report.errors.push_back(item.Text()); });
  ReadState(root, report);
  report.hasWaivers = !root["summary"]["waived"].IsNull();
  if (const TPlace timings = root["timings"]; !timings.IsNull()) {
    timings.ForEachMember([&](const std::string& name, const TPlace& item) {
      report.timings.push_back({name, item.Number()});
    });
  }
  return report;
}

}  // namespace svc::report
