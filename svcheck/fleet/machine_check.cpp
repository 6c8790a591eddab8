#include "svcheck/fleet/machine_check.h"

#include <algorithm>
#include <array>
#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <chrono>
#include <exception>
#include <functional>
#include <utility>

#include "host/hskcore/exception.h"
#include "report/records.h"
#include "rules/names.h"
#include "runtime/hskcore/host_setup.h"
#include "runtime/hskcore/logging.h"
#include "svcheck/fleet/byte_source.h"
#include "svcheck/fleet/unread_texts.h"
#include "svcheck/session/catalogue.h"
#include "svcheck/session/record_origins.h"
#include "svcheck/session/report_files.h"
#include "svcheck/system/failure.h"

using namespace NQRXHSK20;
namespace svc::fleet {

namespace {

// There are fewer; whoever makes them up shall not fill the memory.
constexpr std::size_t kMostKinds = 1024;

constexpr std::array kChosenBy = {rules::kUpdateSystems, rules::kUpdateDescription,
                                  rules::kUpdateCategory, rules::kUpdateDirectory};

struct TChooser {
  std::string_view className;
  std::string_view property;
};
constexpr std::array kChoosers = {TChooser{"QRXSG_ComputerSystem", "MachineType"},
                                  TChooser{rules::kSystemClass, rules::kSystemVersion},
                                  TChooser{rules::kSystemClass, rules::kSystemType},
                                  TChooser{rules::kSystemClass, rules::kSystemBuild},
                                  TChooser{rules::kSystemClass, rules::kSystemPlatform}};

// False for an array, whose text may be another one's too.
bool AppendText(std::string& kind, const ICIMInstance& instance, std::string_view property) {
  boost::shared_ptr<ICIMProperty> handle;
  try {
    instance.GetProperty(handle, property, {});
  } catch (const THSKException&) {
    return true;  // A property that is missing reads like an empty one.
  }
  const TCIMValue& value = handle->Value({});
  kind += value.ToString(10);
  return !value.IsArray();
}

}  // namespace

std::optional<std::string> KindOf(const boost::shared_ptr<ICIMNamespace>& inventory) {
  std::string kind;
  for (const TChooser& chooser : kChoosers) {
    for (const auto& instance : InstancesOf(inventory, chooser.className)) {
      if (!AppendText(kind, *instance, chooser.property)) return {};
      kind += '\0';  // No document has one.
    }
    kind += '\0';
  }
  return kind;
}

TElementReads::ERead TElementReads::ReadOf(std::string_view property) {
  if (property == rules::kUpdateMachineTypes) return ERead::kMachineTypes;
  const bool isChoice = std::find(kChosenBy.begin(), kChosenBy.end(), property) != kChosenBy.end();
  return isChoice ? ERead::kChoice : ERead::kOffer;
}

void TElementReads::OnGetProperty(const ICIMInstance& instance, std::string_view name) {
  const TRowId number = NumberOf(instance);
  if (number >= reads.size()) reads.resize(number + 1, ERead::kNothing);
  reads[number] = std::max(reads[number], ReadOf(name));
}

std::vector<bool> TElementReads::PassedOver() const {
  std::vector<bool> passedOver(reads.size());
  const auto isPassedOver = [](ERead read) {
    return read == ERead::kMachineTypes || read == ERead::kChoice;
  };
  std::transform(reads.begin(), reads.end(), passedOver.begin(), isPassedOver);
  for (const ERead read : {ERead::kMachineTypes, ERead::kChoice}) {
    const auto first = std::find(reads.begin(), reads.end(), read);
    if (first != reads.end()) passedOver[static_cast<std::size_t>(first - reads.begin())] = false;
  }
  return passedOver;
}

THiddenInstancesHandle TPassedOver::Of(const std::string& kind) const {
  const auto found = kinds.find(kind);
  return found == kinds.end() ? nullptr : found->second;
}

void TPassedOver::Learn(const std::string& kind, const TElementReads& reads,
                        const boost::shared_ptr<ICIMNamespace>& catalogue) {
  const TSharedStateHandle state = catalogue ? SharedStateOf(catalogue) : nullptr;
  if (!state) return;
  if (kinds.size() >= kMostKinds) kinds.clear();
  kinds[kind] = MakeHiddenInstances(state, reads.PassedOver());
}

}  // namespace svc::fleet

using svc::report::EOutcome;

namespace svc::fleet {

// Of a type that no update element names.
constexpr const char* kNoMachine =
    "<CIM><DECLARATION><DECLGROUP><VALUE.OBJECT><INSTANCE CLASSNAME=\"QRXSG_ComputerSystem\">"
    "<PROPERTY NAME=\"MachineType\"><VALUE>]-[</VALUE></PROPERTY></INSTANCE></VALUE.OBJECT>"
    "</DECLGROUP></DECLARATION></CIM>";

// What the inventory tells of the machine beside its type.
static void AddDescription(const report::TReport& report, TJsonWriter& json) {
  json.TextIfAny("manufacturer", report.machine.manufacturer);
  json.TextIfAny("model", report.machine.model);
  json.TextIfAny("serialNumber", report.machine.serialNumber);
  const report::TOperatingSystem& system = report.system;
  if (system.caption.empty() && system.version.empty() && system.platform.empty()) return;
  report::WriteSystem(system, json.Name("operatingSystem"));
}

// An answer goes to the results whole or not at all; one of so many records tells a person nothing.
constexpr std::size_t kLongestAnswer = std::size_t{16} << 20;
constexpr std::size_t kMostReserved = std::size_t{1} << 20;

// An object without its end.
static std::string HeadOf(const std::string& machine) {
  std::string head;
  TJsonWriter(head).Object().Text("machine", machine);
  return head;
}

// The last line, behind its head.
static std::string EndOf(const report::TReport& report, const report::TSummary& summary) {
  std::string end;
  TJsonWriter json(end);
  json.Object();
  report::WriteEnd(report, summary, json);
  json.Text("machineType", report.machine.type);
  AddDescription(report, json);
  report::WriteSummary(summary, report.hasWaivers, json.Name("summary"));
  json.Texts("errors", report.errors).End();
  end.front() = ',';
  return end;
}

static boost::shared_ptr<TJsonLogger> OpenLog(const TCheckSettings& settings,
                                              const std::string& machine) {
  if (settings.logFolder.empty()) return {};
  const auto file = PathOf(settings.logFolder) / PathOf(FileNameOf(machine) + ".ndjson");
  return TJsonLogger::Open(file.string(), settings.query.logLevel, ReportError);
}

bool TRecordLines::TLine::IsOf(const report::TRecord& record) const {
  return !rest.empty() && verdict == record.verdict && name == record.name &&
         installed == record.installed && offered == record.offered && type == record.type;
}

const std::string& TRecordLines::Of(const report::TRecord& record) {
  constexpr std::size_t kLines = 4096, kLongest = 256;
  const auto write = [&](std::string& rest) {
    rest.clear();
    TJsonWriter json(rest);
    json.Object();
    report::AddTexts(record, json);
    report::AddVerdict(record, json);
    json.End();
    rest.front() = ',';
    rest += '\n';
  };
  const bool isPlain =
      !record.waived && !record.expiredWaiver && !record.release &&
      record.type.size() + record.name.size() + record.installed.size() + record.offered.size() <=
          kLongest;
  if (!isPlain) {
    write(other);
    return other;
  }
  if (lines.empty()) lines.resize(kLines);
  const std::hash<std::string_view> hash;
  TLine& line = lines[(hash(record.name) * 3 ^ hash(record.offered)) % kLines];
  if (line.IsOf(record)) return line.rest;
  line.rest.clear();  // Until all of it is this record's.
  line.type = record.type;
  line.name = record.name;
  line.installed = record.installed;
  line.offered = record.offered;
  line.verdict = record.verdict;
  write(line.rest);
  return line.rest;
}

TMachineCheck::TMachineCheck(TCheckSettings given)
    : settings(std::move(given)), request(RequestOf(settings.query)) {
  request.context[rules::kCatalogueEntry] = NQRXHSK20::TCIMValue(settings.catalogue);
  ChoosePlugins(settings.query, request);
  plugin = std::make_shared<TLoadedPlugin>(request.plugin, request.companion);
  LoadCatalogue();
  waivers = LoadWaivers(settings.waivers);
  began = std::chrono::duration_cast<std::chrono::seconds>(
              std::chrono::system_clock::now().time_since_epoch())
              .count();
}

// What a plug-in of somebody else prints when no query runs is not one machine's.
void TMachineCheck::SettleIn() {
  std::error_code ignored;
  std::filesystem::current_path(request.dataFolder, ignored);
  if (!isOwnPlugin || plugin->Companion() != nullptr) return;
  try {
    output.emplace();
  } catch (const TError&) {
    // Each machine says so, as long as it is so.
  }
}

void TMachineCheck::LoadCatalogue() {
  TQueryRequest first = request;
  first.builtinClasses = true;
  first.inventoryDocument = kNoMachine;
  TQuerySession session(std::move(first), plugin);
  session.Run();
  report::TReport report = EmptyReport();
  session.Conclude(report);
  elements = report.catalogue.elements;
  if (session.Catalogue()) machineTypes = MachineTypesIn(session.Catalogue());
  isOwnPlugin = session.IsOfOurPlugin();
  if (const auto kind = FailureOf(report.outcome)) throw TError(FailureLine(report), *kind);
}

report::TReport TMachineCheck::EmptyReport() const {
  report::TReport report;
  report.catalogue.source = "folder";
  report.catalogue.path = settings.catalogue;
  report.catalogue.elements = elements;
  return report;
}

TQueryRequest TMachineCheck::RequestFor(TTask& task) const {
  TQueryRequest whole = request;
  whole.keepsPlaces = task.wantsReads;
  if (task.inventory == TTask::EInventory::kNone) throw TError(task.text);
  if (task.inventory == TTask::EInventory::kDocument) {
    whole.inventoryDocument = std::move(task.text);
  } else if (IsCompressed(task.text)) {
    whole.inventoryDocument = ReadDocument(task.text);
  } else {
    whole.inventories = {task.text};
  }
  return whole;
}

report::TReport TMachineCheck::Compare(TTask& task, std::string& told) {
  TQuerySession session(RequestFor(task), plugin);
  report::TReport report = EmptyReport();
  report.machine = MachineIn(session.Inventory());
  report.system = SystemIn(session.Inventory());
  const auto log = OpenLog(settings, task.machine);
  const bool isTraced = log && log->IsLogged(NQRXHSK20::kLogTrace);
  const auto kind = isOwnPlugin && !isTraced ? KindOf(session.Inventory()) : std::nullopt;
  const auto known = kind ? passedOver.Of(*kind) : nullptr;
  TElementReads reads;
  TInventoryReads inventoryReads;
  const bool isFirst = kind && !known;
  session.Run({.log = log,
               .inventory = task.wantsReads ? &inventoryReads : nullptr,
               .catalogue = isFirst ? &reads : nullptr,
               .hidden = known,
               .output = output ? &*output : nullptr});
  session.Conclude(report);
  report.generated = began;
  if (!settings.waivers.empty()) report::ApplyWaivers(waivers, report);
  if (report.outcome == EOutcome::kUnknownMachine) {
    report.errors.push_back(WhyNoMachineType(session.Inventory()));
  }
  if (isFirst && report::WasCompared(report.outcome)) {
    passedOver.Learn(*kind, reads, session.Catalogue());
  }
  if (report.outcome == EOutcome::kNothingApplicable) {
    report.nothingComparedBecause = WhyNothingApplies(report, machineTypes);
  }
  if (log && !log->Flush()) report.errors.emplace_back("the log of this machine is not whole");
  if (task.wantsReads && IsShared(report)) {
    inventoryReads.AddTold(session.Inventory());
    told = kBeforeReads + inventoryReads.Bytes();
  }
  return report;
}

// Whether it holds for all machines of which the same is read. What another plug-in makes of an
// inventory, nobody sees; a log and an error are one machine's.
bool TMachineCheck::IsShared(const report::TReport& report) const {
  return isOwnPlugin && plugin->Companion() == nullptr && settings.logFolder.empty() &&
         report::WasCompared(report.outcome) && report.errors.empty();
}

std::string TMachineCheck::Text(const report::TReport& report, const std::string& machine) {
  const std::string head = HeadOf(machine);
  std::string text;
  text.reserve(usualSize);
  report::TSummary summary;
  for (const report::TRecord& record : report::RecordsOf(report)) {
    text.append(head).append(lines.Of(record));
    if (text.size() > kLongestAnswer) {
      throw TError(
          "its records are more than 16 MiB, which a fleet does not keep; check it by itself with "
          "`svcheck check`");
    }
    summary.Add(record);
  }
  text.append(head).append(EndOf(report, summary)) += '\n';
  usualSize = std::min(text.size() + text.size() / 4, kMostReserved);
  return text;
}

std::string TMachineCheck::Answer(TTask task) {
  try {
    std::string told;
    const report::TReport report = Compare(task, told);
    return Text(report, task.machine) + told;
  } catch (const std::exception& error) {
    return FailedAnswer(task.machine, error.what());
  }
}

std::string FailedAnswer(const std::string& machine, const std::string& cause) {
  report::TReport report;
  report.errors.push_back(cause);
  return HeadOf(machine) + EndOf(report, {}) + '\n';
}

// A name of more than 255 bytes cannot be, and endings come behind this one. What is cut off it is
// told by a hash; no whole name has a "~".
constexpr std::size_t kLongestName = 120;
constexpr std::size_t kKept = 80;

static std::string Shortened(std::string name, std::string_view machine) {
  if (name.size() <= kLongestName) return name;
  boost::uuids::name_generator_sha1 hash(boost::uuids::ns::oid());
  name.resize(kKept);
  return name + '~' + boost::uuids::to_string(hash(machine.data(), machine.size()));
}

std::string FileNameOf(std::string_view machine) {
  constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.";
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string name;
  for (const char c : machine) {
    const bool isPlain = kPlain.find(c) != std::string_view::npos && !(c == '.' && name.empty());
    if (isPlain) {
      name += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      name += {'%', kDigits[byte >> 4], kDigits[byte & 0xF]};
    }
  }
  return name.empty() ? "%" : Shortened(std::move(name), machine);
}

}  // namespace svc::fleet
