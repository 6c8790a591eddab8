// What of the installed has no record, and why.

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <map>
#include <random>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/shown_text.h"
#include "rules/components.h"
#include "rules/driver_list.h"
#include "rules/folded_text.h"
#include "rules/names.h"
#include "rules/system_codes.h"
#include "rules/version_items.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/hskcore/name_table.h"
#include "svcheck/session/query_session.h"
#include "svcheck/session/record_origins.h"

using namespace NQRXHSK20;
using svc::report::EPassedOver;

namespace svc {

namespace {

// How a class tells what is installed, and by which texts the records of its instances are known.
enum class EVersionForm { kVersion, kBuild, kBuildAndVersion };
enum class ERecordName { kComponents, kOwn, kNumbered, kAny };

struct TPieceClass {
  std::string_view name;
  EVersionForm form;
  ERecordName recordName;
  std::array<rules::EComponent, 4> components;  // That the elements for it update.
};

constexpr auto kNoComponent = rules::EComponent::kNone;

// A class whose instances no element can be for has no component: nothing is offered for them.
constexpr std::array kPieceClasses = {
    TPieceClass{"QRXSG_SystemBIOSElement",
                EVersionForm::kVersion,
                ERecordName::kComponents,
                {rules::EComponent::kBios, rules::EComponent::kUefi}},
    TPieceClass{"QRXSG_DiagnosticVPD",
                EVersionForm::kBuildAndVersion,
                ERecordName::kComponents,
                {rules::EComponent::kDiagnostics}},
    TPieceClass{"QRXSG_SPROMFirmwareVPDMain",
                EVersionForm::kBuild,
                ERecordName::kOwn,
                {rules::EComponent::kRwa2, rules::EComponent::kRwa, rules::EComponent::kIscp,
                 rules::EComponent::kH8}},
    TPieceClass{"QRXSG_IPMIFirmwareElement",
                EVersionForm::kVersion,
                ERecordName::kOwn,
                {rules::EComponent::kBmc}},
    TPieceClass{"QRXSG_BcmDeviceFirmwareElement",
                EVersionForm::kVersion,
                ERecordName::kNumbered,
                {rules::EComponent::kBroadcom}},
    TPieceClass{"QRXSG_MegaLSIFWPackageBuildFirmwareElement",
                EVersionForm::kVersion,
                ERecordName::kAny,
                {rules::EComponent::kMegaRaid}},
    TPieceClass{"QRXSG_LSIFirmwareElement",
                EVersionForm::kVersion,
                ERecordName::kOwn,
                {rules::EComponent::kLsi}},
    TPieceClass{"QRXSG_LSIBIOSElement",
                EVersionForm::kVersion,
                ERecordName::kOwn,
                {rules::EComponent::kLsi}},
    TPieceClass{"SVC_FirmwareDevice", EVersionForm::kVersion, ERecordName::kOwn, {}}};

// Records of these devices are numbered behind it, and not named as the inventory does.
constexpr std::string_view kNumberedName = "Broadcom NetXtreme Network Device  ";

constexpr std::string_view kFirmwareType = "Firmware";
constexpr std::string_view kRunning = "4";

struct TInstalledPiece {
  report::TPiece piece;
  const TPieceClass* firmware = nullptr;  // Null for a driver.
  bool isRunning = true;
  bool hasRecord = false;
};

// A name and an installed version as a number: either may be long, and there may be many.
std::uint64_t HashOf(std::string_view text) {
  static const std::uint64_t seed = std::random_device()();
  return HashText(text, seed);
}
constexpr std::uint64_t KeyOf(std::uint64_t name, std::uint64_t installed) noexcept {
  return std::rotl(name, 1) ^ installed;
}

// How near the catalogue comes to offering something for a piece.
enum class EOffer { kNone, kOtherMachine, kOtherSystem, kHere };

class TCoverageWalk {
  static constexpr std::size_t kLong = 1024;  // Of texts that many instances may inherit.

 public:
  explicit TCoverageWalk(const TCompared& compared) : compared(compared) {}

  report::TCoverage Walk() {
    for (const TPieceClass& row : kPieceClasses) AddFirmware(row);
    AddDrivers();
    MarkThoseWithRecords();
    LookForOffers();
    report::TCoverage coverage;
    coverage.installed = pieces.size();
    for (TInstalledPiece& installed : pieces) {
      if (installed.hasRecord) continue;
      installed.piece.why = WhyNot(installed);
      Cut(installed.piece.name);
      Cut(installed.piece.version);
      coverage.notCompared.push_back(std::move(installed.piece));
    }
    return coverage;
  }

 private:
  using TInstance = boost::shared_ptr<ICIMInstance>;

  // A report repeats the text for each piece: a long one that all inherit would fill the disk.
  static void Cut(report::TOneText& text) {
    const std::string_view whole = text;
    if (whole.size() > kLongestName) text = CutName(whole);
  }
  void AddFirmware(const TPieceClass& row);
  void AddDrivers();
  enum class EMade { kAsItIs, kDriverName };
  // What is made of a property's text. Of a long one that many instances inherit it is made once.
  report::TOneText Made(const ICIMInstance& instance, std::string_view property, EMade what);
  // As records name the driver of a file.
  std::string DriverName(std::string_view path) {
    return std::string(driverNames.Of(path.substr(path.rfind('\\') + 1)));
  }
  void Index(std::string_view type, std::string_view name, std::string_view installed) {
    const bool isDriver = type != kFirmwareType;  // Whose texts are those of its piece, and stay.
    const std::uint64_t key = isDriver ? KeyOf(HashOfOne(name), HashOfOne(installed))
                                       : KeyOf(HashOf(name), HashOf(installed));
    (isDriver ? drivers : firmware).emplace(key, pieces.size() - 1);
  }
  void MarkThoseWithRecords();
  using TIndex = std::unordered_multimap<std::uint64_t, std::size_t>;
  bool Mark(const TIndex& index, std::string_view name, std::string_view installed);
  report::TOneText One(const std::string& text) {
    const auto known = texts.find(text);
    if (known != texts.end()) return known->second;
    const report::TOneText one(text);
    texts.emplace(one, one);
    return one;
  }
  // Of a long text that stays, once.
  std::uint64_t HashOfOne(std::string_view text) {
    if (text.size() < kLong) return HashOf(text);
    const auto [known, isNew] = hashes.try_emplace(text.data());
    if (isNew) known->second = HashOf(text);
    return known->second;
  }
  void LookForOffers();
  void LookAt(const ICIMInstance& element);
  void LookAtDrivers(const ICIMInstance& element, EOffer place);
  EPassedOver WhyNot(const TInstalledPiece& installed) const;
  EOffer OfferFor(const TInstalledPiece& installed) const;
  bool IsSought(const TInstalledPiece& installed) const {
    return !installed.hasRecord && installed.isRunning && !installed.piece.version.empty();
  }

  const TCompared& compared;
  std::vector<TInstalledPiece> pieces;
  // Numbers of pieces by what their records say.
  TIndex firmware;
  TIndex drivers;
  std::unordered_map<std::string_view, report::TOneText> texts;  // Each once.
  // By the places of long texts: what was made of them, and their hashes.
  std::map<std::pair<const char*, EMade>, report::TOneText> made;
  std::unordered_map<const char*, std::uint64_t> hashes;
  std::array<EOffer, rules::kComponentCount> components{};
  std::unordered_map<std::string, EOffer> soughtDrivers;
  bool seeksFirmware = false;
  rules::TDriverNameForm driverNames;
  mutable std::string_view lastName;  // What was looked for last: neighbours often share a name.
  mutable EOffer lastOffer = EOffer::kNone;
};

std::string InstalledText(const ICIMInstance& instance, EVersionForm form) {
  const std::string version = TextOf(instance, "Version");
  if (form == EVersionForm::kVersion) return version;
  const std::string build = TextOf(instance, "BuildNumber");
  return form == EVersionForm::kBuild ? build : build + " - " + version;
}

void TCoverageWalk::AddFirmware(const TPieceClass& row) {
  const std::vector<TInstance> instances = InstancesOf(compared.inventory, row.name);
  for (const TInstance& instance : instances) {
    const std::string text = InstalledText(*instance, row.form);
    const bool saysNothing = text.find_first_not_of(" -") == text.npos;
    std::string name = TextOf(*instance, "Name");
    const bool isComponent = row.recordName == ERecordName::kComponents;
    if (isComponent || name.empty()) {
      name = row.components.front() == kNoComponent ? row.name
                                                    : rules::RowOf(row.components.front()).name;
    }
    pieces.push_back({{std::string(kFirmwareType), One(name), One(saysNothing ? "" : text), {}},
                      &row,
                      true,
                      false});
    for (const rules::EComponent component : row.components) {
      if (isComponent) Index(kFirmwareType, rules::RowOf(component).name, text);
    }
    if (row.recordName == ERecordName::kOwn) Index(kFirmwareType, name, text);
    if (row.recordName == ERecordName::kNumbered) Index(kFirmwareType, kNumberedName, text);
    if (row.recordName == ERecordName::kAny) Index(kFirmwareType, "", text);
    // Records of adapters show the build behind the version of the class, that of the last one.
    if (row.form == EVersionForm::kBuild) {
      Index(kFirmwareType, name, TextOf(*instances.back(), "Version") + " (" + text + ") ");
    }
  }
}

report::TOneText TCoverageWalk::Made(const ICIMInstance& instance, std::string_view property,
                                     EMade what) {
  const auto make = [&](std::string_view text) {
    return One(what == EMade::kDriverName ? DriverName(text) : std::string(text));
  };
  const auto view = StoredView(instance, property);
  if (!view || view->size() < kLong) return make(TextOf(instance, property));
  const auto known = made.find({view->data(), what});
  if (known != made.end()) return known->second;
  return made[{view->data(), what}] = make(*view);
}

void TCoverageWalk::AddDrivers() {
  for (const TInstance& instance : InstancesOf(compared.inventory, rules::kDriverClass)) {
    const report::TOneText version = Made(*instance, rules::kDriverVersion, EMade::kAsItIs);
    const report::TOneText name = Made(*instance, rules::kDriverPath, EMade::kDriverName);
    const bool isRunning = TextOf(*instance, rules::kDriverState) == kRunning;
    pieces.push_back({{std::string(rules::kDriverType),
                       name.empty() ? One(TextOf(*instance, "Name")) : name,
                       version,
                       {}},
                      nullptr,
                      isRunning,
                      false});
    if (isRunning && !name.empty()) Index(rules::kDriverType, name, version);
  }
}

bool TCoverageWalk::Mark(const TIndex& index, std::string_view name, std::string_view installed) {
  const auto [first, last] = index.equal_range(KeyOf(HashOf(name), HashOf(installed)));
  for (auto entry = first; entry != last; ++entry) pieces[entry->second].hasRecord = true;
  return first != last;
}

void TCoverageWalk::MarkThoseWithRecords() {
  report::TRecord record;
  for (std::size_t number = 0; number < compared.records.Count(); ++number) {
    compared.records.Read(number, record);
    if (record.type == rules::kDriverType) {
      if (!compared.withoutDrivers) Mark(drivers, record.name, record.installed);
      continue;
    }
    const bool isNumbered = record.name.starts_with(kNumberedName);
    if (Mark(firmware, isNumbered ? kNumberedName : record.name, record.installed)) continue;
    Mark(firmware, "", record.installed);
  }
}

// The catalogue is walked only for what it may explain.
void TCoverageWalk::LookForOffers() {
  std::unordered_map<std::string, EOffer> sought;
  std::string_view last;
  for (const TInstalledPiece& installed : pieces) {
    if (!IsSought(installed)) continue;
    if (installed.firmware != nullptr) {
      seeksFirmware = true;
    } else {
      const std::string_view name = installed.piece.name;
      if (name.data() != last.data()) sought.emplace(name, EOffer::kNone);
      last = name;
    }
  }
  soughtDrivers = std::move(sought);
  if (!compared.catalogue || (!seeksFirmware && soughtDrivers.empty())) return;
  for (const TInstance& element : InstancesOf(compared.catalogue, rules::kUpdateClass)) {
    LookAt(*element);
  }
}

void Raise(EOffer& offer, EOffer found) { offer = std::max(offer, found); }

// The components by the tests that the comparison makes.
std::array<rules::EComponent, 2> ComponentsOf(const ICIMInstance& element) {
  std::array<std::string, rules::kTestedProperties.size()> texts;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    texts[i] = TextOf(element, rules::kTestedProperties[i]);
    rules::FoldCase(texts[i]);
  }
  const auto holds = [&](const rules::TComponentTest& test) {
    return texts[test.property].find(test.text.Text()) != std::string::npos;
  };
  const auto chained = rules::FirstThatHolds(rules::kChainTests, holds);
  return {rules::FirstThatHolds(rules::kBiosTests, holds),
          chained == rules::EComponent::kUnnamedProcessor
              ? rules::FirstThatHolds(rules::kProcessorTests, holds)
              : chained};
}

void TCoverageWalk::LookAt(const ICIMInstance& element) {
  const bool isForMachine = rules::Mentions(TextOf(element, rules::kUpdateMachineTypes),
                                            rules::Marked(compared.machineType));
  const std::string systems = TextOf(element, rules::kUpdateSystems);
  const auto* const system = rules::FindSystem(compared.systemCode);
  // A live query looks for the family, for firmware too.
  const std::string_view sought =
      compared.isLive && system != nullptr ? system->family : std::string_view(compared.systemCode);
  const bool isForSystem = systems.find(sought) != std::string::npos;
  const auto place = [&](bool applies) {
    if (!isForMachine) return EOffer::kOtherMachine;
    return applies ? EOffer::kHere : EOffer::kOtherSystem;
  };
  if (seeksFirmware) {
    for (const rules::EComponent component : ComponentsOf(element)) {
      Raise(components[static_cast<std::size_t>(component)],
            place(isForSystem || !compared.isLive));
    }
  }
  if (!soughtDrivers.empty()) LookAtDrivers(element, place(isForSystem));
}

void TCoverageWalk::LookAtDrivers(const ICIMInstance& element, EOffer place) {
  const std::string files = TextOf(element, rules::kUpdateDriverFiles);
  rules::CutDriverList(files, [&](const rules::TDriverListEntry& offered) {
    if (!offered.IsOffered()) return;
    const auto driver = soughtDrivers.find(DriverName(offered.name));
    if (driver != soughtDrivers.end()) Raise(driver->second, place);
  });
}

EOffer TCoverageWalk::OfferFor(const TInstalledPiece& installed) const {
  if (installed.firmware == nullptr) {
    const std::string_view name = installed.piece.name;
    if (name.data() == lastName.data()) return lastOffer;
    const auto driver = soughtDrivers.find(std::string(name));
    lastName = name;
    return lastOffer = driver == soughtDrivers.end() ? EOffer::kNone : driver->second;
  }
  EOffer offer = EOffer::kNone;
  for (const rules::EComponent component : installed.firmware->components) {
    if (component != kNoComponent) Raise(offer, components[static_cast<std::size_t>(component)]);
  }
  return offer;
}

EPassedOver TCoverageWalk::WhyNot(const TInstalledPiece& installed) const {
  if (!installed.isRunning) return EPassedOver::kNotRunning;
  if (installed.piece.version.empty()) return EPassedOver::kNoVersion;
  switch (OfferFor(installed)) {
    case EOffer::kOtherMachine:
      return EPassedOver::kOtherMachine;
    case EOffer::kOtherSystem:
      return EPassedOver::kOtherSystem;
    case EOffer::kHere:  // For another piece of its kind, unless its record is left out.
      return compared.withoutDrivers && installed.firmware == nullptr ? EPassedOver::kOtherSystem
                                                                      : EPassedOver::kNotOffered;
    case EOffer::kNone:
      break;
  }
  return EPassedOver::kNotOffered;
}

}  // namespace

report::TCoverage CoverageOf(const TCompared& compared) { return TCoverageWalk(compared).Walk(); }

}  // namespace svc
