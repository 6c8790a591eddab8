#include <fmt/format.h>
#include <algorithm>
#include <map>
#include <utility>

#include "base/shown_text.h"
#include "host/hskcore/root_object.h"
#include "host/hskcore/schema_helper.h"
#include "report/text.h"
#include "rules/names.h"
#include "rules/version_items.h"
#include "svcheck/cli/command_line.h"
#include "svcheck/cli/verb_description.h"
#include "svcheck/session/catalogue.h"
#include "svcheck/session/outcome.h"
#include "svcheck/session/query_session.h"
#include "svcheck/session/record_origins.h"
#include "svcheck/session/spool.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/paths.h"
#include "svcheck/verbs/explanation.h"

using namespace NQRXHSK20;
namespace svc {

namespace {

std::string Quoted(std::string_view text) { return '"' + report::PlainLine(text) + '"'; }

bool Contains(std::string_view text, std::string_view part) {
  return std::search(text.begin(), text.end(), part.begin(), part.end(), [](char a, char b) {
           return report::ToLower(a) == report::ToLower(b);
         }) != text.end();
}

// Whether a path leads to a file of that name, with or without an ending.
bool LeadsTo(std::string_view path, std::string_view name) {
  const std::string_view file = path.substr(path.find_last_of("/\\") + 1);
  return Contains(file.substr(0, name.size()), name) &&
         (file.size() == name.size() || file[name.size()] == '.');
}

// The elements of an array, without the braces of its text.
std::string ListOf(const TElementTrace& element, std::string_view property) {
  const std::string text = TextOf(*element.instance, property);
  std::string_view list = text;
  if (list.starts_with('{') && list.ends_with('}')) list = list.substr(1, list.size() - 2);
  return report::PlainLine(report::Trim(list));
}

// What an adapter's comparison looks for in the driver files, from what is read of the inventory.
struct TKeyRow {
  std::string_view className;
  std::string_view property;
  std::string (*keyOf)(const std::string& text);
  bool isFileLowered;
};
constexpr std::array kKeys = {
    TKeyRow{"QRXSG_BcmDeviceFirmwareElement", "SoftwareElementID",
            [](const std::string& text) { return rules::toLowerCopy(text); }, false},
    TKeyRow{"QRXSG_LSIFirmwareElement", "ProductID",
            [](const std::string& text) { return rules::toLowerCopy(text); }, true},
    TKeyRow{"QRXSG_LSIBIOSElement", "ProductID",
            [](const std::string& text) {
              const std::string product = rules::toLowerCopy(text);
              const std::size_t mark = product.find(rules::kChipMark);
              return mark == std::string::npos
                         ? std::string()
                         : rules::FirstWordBeforeBlank(
                               std::string_view(product).substr(mark + rules::kChipMark.size()));
            },
            true}};

const TKeyRow* KeyRowOf(std::string_view className, std::string_view property) {
  const auto* const row = std::find_if(kKeys.begin(), kKeys.end(), [&](const TKeyRow& candidate) {
    return candidate.className == className && candidate.property == property;
  });
  return row == kKeys.end() ? nullptr : row;
}

}  // namespace

EFate TFindings::FateOf(const TElementTrace& element) {
  if (element.tests == 0) return element.systemTested ? EFate::kOtherSystem : EFate::kOtherMachine;
  if (!element.records.empty()) return EFate::kRecord;
  return element.held.empty() ? EFate::kNoComponent : EFate::kNoRecord;
}

std::string TFindings::SaidOf(const TElementTrace& element) const {
  switch (FateOf(element)) {
    case EFate::kOtherMachine:
      return fmt::format("Not for machine type {}: {} is not in its machine types \"{}\".",
                         report::PlainLine(explained.machineType),
                         Quoted(rules::Marked(explained.machineType)),
                         ListOf(element, rules::kUpdateMachineTypes));
    case EFate::kOtherSystem:
      return fmt::format("Not for this operating system: it is for \"{}\".",
                         ListOf(element, rules::kUpdateSystems));
    case EFate::kNoComponent:
      return fmt::format("No firmware: none of {} tests found a component that it updates.",
                         element.tests);
    case EFate::kNoRecord:
      return "No firmware record: " + WhyNoRecord(element) + ".";
    case EFate::kRecord:
      break;
  }
  return "In the report.";
}

std::string TFindings::WhyNoRecord(const TElementTrace& element) const {
  if (!element.remarks.empty()) return element.remarks.back();
  if (element.reads.empty()) {
    return fmt::format("its {} was recognised, but none of {} held", element.held.back().property,
                       Counted(element.tests - element.held.back().position, "further test"));
  }
  std::string missing;
  std::map<std::string, bool> isEmpty;  // What was read of a property last counts.
  for (const TInventoryRead& read : element.reads) {
    if (read.properties.empty() && !Contains(missing, read.className)) {
      missing += " " + read.className;
    }
    for (const auto& [instance, property] : read.properties) {
      isEmpty[read.className + "." + property] = TextOf(*instance, property).empty();
    }
  }
  if (!missing.empty()) return "the inventory has no instance of" + missing;
  std::string empty;
  for (const auto& [name, nothingRead] : isEmpty) {
    if (nothingRead) empty += " " + name;
  }
  return "nothing installed fits it" + (empty.empty() ? "" : "; empty in the inventory is" + empty);
}

bool TFindings::IsInstalledText(const TElementTrace& element, const report::TRecord& record) {
  if (record.offered.empty() || record.offered != record.installed) return false;
  bool fromDriverFiles = false;
  for (const std::string& property : element.texts) {
    if (Contains(TextOf(*element.instance, property), record.offered)) return false;
    fromDriverFiles = fromDriverFiles || property == rules::kUpdateDriverFiles;
  }
  return fromDriverFiles;
}

std::string TFindings::SaidOf(const TOfferedTrace& driver) const {
  if (driver.records > 0) return "In the report.";
  for (const TInstalledTrace& candidate : explained.trace.Installed()) {
    if (candidate.running) continue;
    const std::string path = TextOf(*candidate.instance, rules::kDriverPath);
    if (!LeadsTo(path, driver.name)) continue;
    return fmt::format(
        "No record: no driver of that name runs. Installed, with the state {}, is {}.",
        Quoted(TextOf(*candidate.instance, rules::kDriverState)), Quoted(path));
  }
  return "No record: no driver of that name is installed.";
}

std::string TFindings::SaidOf(const TInstalledTrace& driver) {
  if (driver.running) return "No record: no element that applies offers it.";
  return fmt::format("No record: it is not running, its state is {}.",
                     Quoted(TextOf(*driver.instance, rules::kDriverState)));
}

std::string TFindings::WhyNoDrivers(const TElementTrace& element) const {
  return fmt::format("not for this operating system: {} is not in \"{}\"",
                     Quoted(explained.systemCode), ListOf(element, rules::kUpdateSystems));
}

std::vector<TKey> TFindings::KeysOf(const TElementTrace& element) {
  std::vector<TKey> keys;
  const std::string files = TextOf(*element.instance, rules::kUpdateDriverFiles);
  const TKeyRow* last = nullptr;
  for (const TInventoryRead& read : element.reads) {
    for (const auto& [instance, property] : read.properties) {
      const TKeyRow* const row = KeyRowOf(read.className, property);
      if (row == nullptr) continue;
      std::string wanted = row->keyOf(TextOf(*instance, property));
      const std::string searched = row->isFileLowered ? rules::toLowerCopy(files) : files;
      const bool isThere = rules::FindVersionOfKey(searched, wanted).found;
      if (row == last) keys.pop_back();  // The last instance counts.
      keys.push_back({std::move(wanted), files, isThere});
      last = row;
    }
  }
  return keys;
}

TCounts TFindings::Count() const {
  TCounts counts;
  for (const TElementTrace& element : explained.trace.Elements()) {
    ++counts.elements[static_cast<std::size_t>(FateOf(element))];
  }
  const auto& installed = explained.trace.Installed();
  counts.installed = installed.size();
  counts.running = static_cast<std::size_t>(std::count_if(
      installed.begin(), installed.end(), [](const auto& driver) { return driver.running; }));
  explained.trace.ForEachOffered([&](const TOfferedTrace& driver) {
    ++counts.drivers;
    if (driver.records > 0) ++counts.matched;
  });
  return counts;
}

bool TFindings::IsWanted(std::string_view text) const {
  return Contains(text, explained.component);
}

bool TFindings::IsWanted(const TElementTrace& element) const {
  for (const std::string_view property :
       {rules::kUpdateName, rules::kUpdateDescription, rules::kUpdateDriverFiles}) {
    if (IsWanted(TextOf(*element.instance, property))) return true;
  }
  return std::any_of(element.records.begin(), element.records.end(), [&](std::size_t number) {
    const report::TRecord* const record = RecordOf(number);
    return record != nullptr && IsWanted(record->name);
  });
}

bool TFindings::IsWanted(const TOfferedTrace& driver) const {
  return !driver.name.empty() && IsWanted(driver.name);
}

bool TFindings::IsWanted(const TInstalledTrace& driver) const {
  return !explained.component.empty() && !driver.matched &&
         IsWanted(TextOf(*driver.instance, rules::kDriverPath));
}

const report::TRecord* TFindings::RecordOf(std::size_t number) const {
  if (number >= explained.records.Count()) return nullptr;
  explained.records.Read(number, current);
  report::Judge(current);
  return &current;
}

// `svcheck explain`: why something is, or is not, in the report.

namespace {

// Takes down what the plug-in for public firmware says of each device.
class TPublicFirmwareTrace : public ILogger {
 public:
  explicit TPublicFirmwareTrace(boost::shared_ptr<ILogger> next) : next(std::move(next)) {}

  void Log(int level, std::string_view message) override {
    if (next && next->IsLogged(level)) next->Log(level, message);
    if (!message.starts_with(kPublicFirmwareEntry)) return;
    lines.Add(message.substr(kPublicFirmwareEntry.size()));
  }
  bool IsLogged(int /*level*/) const noexcept override { return true; }

  void Write(const std::string& component, report::IOutput& output) const {
    bool isFirst = true;
    lines.ForEach([&](std::string_view line) {
      if (!report::ContainsAnyCase(line, component)) return;
      if (std::exchange(isFirst, false)) output.Write("\nPublic firmware\n");
      output.Write("  " + report::PlainLine(line) + '\n');
    });
  }

 private:
  boost::shared_ptr<ILogger> next;
  TTextSpool lines;
};

class TExplainVerb : public IVerb {
 public:
  explicit TExplainVerb(CLI::App& app);
  int Run() override;

 private:
  TQueryRequest MakeRequest();
  void Explain(TQueryRequest request);
  void ExplainElements(TQuerySession& session, const TLogFile& log,
                       const boost::shared_ptr<ILogger>& companionLog,
                       report::IOutput& output) const;
  void DemandComparison(const TQuerySession& session) const;

  TQueryOptions options;
  std::string catalogue;
  std::string root = "/";
  std::string component;
  std::string format = "text";
};

TExplainVerb::TExplainVerb(CLI::App& app) {
  AddWord(app, "COMPONENT", component,
          "Show only what goes by this: part of the name of an element, record or driver");
  AddText(app, "--catalogue", catalogue, "Folder of the catalogue", "DIR");
  const TOption inventory = AddInventoryOption(app, options);
  AddText(app, "--root", root, "Collect the inventory of another system tree", "DIR")
      .Excludes(inventory);
  AddMachineOption(app, options);
  // The formats of reports are others.
  AddText(app, "--format", format, "How it is told", "FORMAT")
      .OneOf({"text", "json"})
      .CommandLineOnly();
  AddQuiet(app);
  AddFolderQueryOptions(app, options);
}

TQueryRequest TExplainVerb::MakeRequest() {
  if (catalogue.empty()) {
    throw TError("there is nothing to explain: give --catalogue DIR", EErrorKind::kUsage);
  }
  options.context.push_back(std::string(rules::kCatalogueEntry) + "=" +
                            Absolute(catalogue).string());
  return RequestOf(options);
}

int TExplainVerb::Run() {
  TQueryRequest request = MakeRequest();
  const std::filesystem::path data = request.dataFolder;
  try {
    Explain(std::move(request));
  } catch (const TError& error) {
    report::TReport failed;
    failed.errors.emplace_back(error.what());
    if (StatusOf(error) != kExitFailure || !TellOfCatalogueToo(Absolute(catalogue), data, failed)) {
      throw;
    }
    throw TError(FailureLine(failed), EErrorKind::kCatalogue);
  }
  return kExitDone;
}

void TExplainVerb::Explain(TQueryRequest request) {
  const auto output = OpenOutput("-");
  std::vector<std::string> notes;
  CompleteInventory(request, root, notes);
  for (const std::string& note : notes) ReportNote(note);
  TQuerySession session(std::move(request));
  if (!session.IsOfOurPlugin() && !session.IsForPublicFirmware()) {
    throw TError("the steps of the plug-in \"" + session.Plugin().Name() +
                 "\" are not known here; `svcheck query --log FILE` shows what it logs");
  }
  TLogFile log(options);
  const boost::shared_ptr<TPublicFirmwareTrace> devices(new TPublicFirmwareTrace(log.Logger()));
  if (session.IsForPublicFirmware()) {
    if (format != "text") {
      throw TError("public firmware is explained as text alone; leave --format out",
                   EErrorKind::kUsage);
    }
    session.Run({.log = devices});
    DemandComparison(session);
  } else {
    ExplainElements(session, log, devices, *output);
  }
  if (format == "text") devices->Write(component, *output);
  output->Commit();
  log.DemandWhole();
}

void TExplainVerb::ExplainElements(TQuerySession& session, const TLogFile& log,
                                   const boost::shared_ptr<ILogger>& companionLog,
                                   report::IOutput& output) const {
  const boost::shared_ptr<TQueryTrace> trace(new TQueryTrace(log.Logger()));
  session.Run({.log = trace,
               .companionLog = companionLog,
               .inventory = trace->OfInventory(),
               .catalogue = trace->OfCatalogue()});
  DemandComparison(session);
  const auto records = WithSources(session.Records(), session.Inventory(), session.Catalogue());
  const TExplained explained{*trace, *records,
                             TCIMSchemaHelper::GetMachineType(session.Inventory()),
                             SystemCodeIn(session.Inventory()).value_or(""), component};
  format == "json" ? WriteExplanationJson(explained, output) : WriteExplanation(explained, output);
}

// What a query that took place has to say all the same goes to standard error.
void TExplainVerb::DemandComparison(const TQuerySession& session) const {
  report::TReport report;
  report.catalogue.source = "folder";
  report.catalogue.path = Absolute(catalogue).string();
  session.Conclude(report);
  if (const auto kind = FailureOf(report.outcome)) throw TError(FailureLine(report), *kind);
  for (const std::string& error : report.errors) ReportNote(error);
}

}  // namespace

std::unique_ptr<IVerb> MakeExplain(CLI::App& app) { return std::make_unique<TExplainVerb>(app); }

}  // namespace svc
