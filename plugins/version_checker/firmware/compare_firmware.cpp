// The walk, its choice of branches and the report at its end.
#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <utility>

#include "host/hskcore/root_object.h"
#include "plugins/version_checker/firmware/firmware_operations.h"
#include "plugins/version_checker/inventory/inventory_operations.h"
#include "plugins/version_checker/inventory/properties.h"
#include "rules/folded_text.h"
#include "rules/log_texts.h"
#include "rules/version_items.h"

using namespace NQRXHSK20;

namespace svc::checker {

namespace {

// The components that the report at the end of a run knows, in its order. UEFI counts as a BIOS.
struct TMissing {
  rules::EComponent component;
  std::string_view message;
};
constexpr std::array kMissing = {
    TMissing{rules::EComponent::kBios, "No firmware update found for System BIOS."},
    TMissing{rules::EComponent::kDiagnostics, "No firmware update found for Diagnostics."},
    TMissing{rules::EComponent::kRwa2, "No firmware update found for RWA II."},
    TMissing{rules::EComponent::kRwa, "No firmware update found for RWA."},
    TMissing{rules::EComponent::kIscp, "No firmware update found for ISCP."},
    TMissing{rules::EComponent::kH8, "No firmware update found for H8."},
    TMissing{rules::EComponent::kBmc, "No firmware update found for BMC."},
    TMissing{rules::EComponent::kBroadcom,
             "No firmware update found for Broadcom NetXtreme or NetXtreme II."}};
static_assert(kMissing.size() == 8);

constexpr std::size_t kTests = rules::kBiosTests.size() + rules::kChainTests.size();
constexpr std::size_t kProperties = rules::kTestedProperties.size();

// Which tests were made of a text, and which of them held: one bit each.
struct TAnswers {
  std::uint32_t made = 0;
  std::uint32_t held = 0;
};
static_assert(kTests <= 32);

// What the tests of one walk remember from element to element.
struct TTestedTexts {
  std::array<TPropertyReader, kProperties> readers;
  std::array<TKnownTexts<TAnswers>, kProperties> known;
};

// A text that many others are looked for in.
class TSearched {
 public:
  explicit TSearched(std::string_view text) : folded(text) {
    rules::FoldCase(folded);
    pairs = rules::PairsOf(folded);
  }
  bool Mentions(const rules::TFoldedText& part) const {
    return (part.Pairs() & ~pairs) == 0 && folded.find(part.Text()) != std::string::npos;
  }

 private:
  std::string folded;
  std::uint64_t pairs;
};

// One element under test. Each test owes the trace the lines of reading its property: where the
// trace is kept it reads, where it is not, only the first test of a property does.
class TTested {
 public:
  TTested(const TInstanceHandle& element, TTestedTexts& shared)
      : element(element),
        shared(shared),
        isTraced(TRootObject::GetCoreLogger().IsLogged(kLogTrace)) {}

  // `first` numbers the first of the tests among all.
  template <std::size_t N>
  rules::EComponent FirstOf(const std::array<rules::TComponentTest, N>& tests, std::size_t first) {
    return rules::FirstThatHolds(tests, [&](const rules::TComponentTest& test) {
      return Holds(test, first + static_cast<std::size_t>(&test - tests.data()));
    });
  }

 private:
  bool Holds(const rules::TComponentTest& test, std::size_t number) {
    const std::string_view property = rules::kTestedProperties[test.property];
    if (isTraced) {
      return TInventoryOperations::PropertyContains(element, property,
                                                    std::string(test.text.Text()));
    }
    std::optional<TSharedText>& text = texts[test.property];
    if (!text) text = shared.readers[test.property].Read(element, property);
    if (text->size() < kLongText) return Folded(test.property).Mentions(test.text);
    std::optional<TAnswers>& answers = shared.known[test.property].Of(*text);
    if (!answers) answers.emplace();
    const std::uint32_t bit = std::uint32_t{1} << number;
    if ((answers->made & bit) == 0) {
      answers->made |= bit;
      if (Folded(test.property).Mentions(test.text)) answers->held |= bit;
    }
    return (answers->held & bit) != 0;
  }

  const TSearched& Folded(std::size_t property) {
    std::optional<TSearched>& text = folded[property];
    if (!text) text.emplace(texts[property]->View());
    return *text;
  }

  const TInstanceHandle& element;
  TTestedTexts& shared;
  const bool isTraced;
  std::array<std::optional<TSharedText>, kProperties> texts;
  std::array<std::optional<TSearched>, kProperties> folded;
};

}  // namespace

TFirmwareRun::TFirmwareRun(TNamespaceHandle inventory, std::string machineType)
    : inventory(std::move(inventory)), machineType(std::move(machineType)) {}

void TFirmwareOperations::CompareFirmware(TNamespaceHandle inventory, TInstanceList updateElements,
                                          std::string machineType) {
  TFirmwareRun run(std::move(inventory), std::move(machineType));
  TTestedTexts shared;
  for (const TInstanceHandle& element : updateElements) {
    TTested tested(element, shared);
    // Deliberate: see "A BIOS package may be something else as well" in docs/one-query.md.
    run.CompareComponent(element, tested.FirstOf(rules::kBiosTests, 0));
    run.CompareComponent(element, tested.FirstOf(rules::kChainTests, rules::kBiosTests.size()));
  }
  run.ReportMissing();
}

void TFirmwareRun::CompareComponent(const TInstanceHandle& element, rules::EComponent component) {
  switch (component) {
    case rules::EComponent::kBios:
      return CompareBIOS(element);
    case rules::EComponent::kUefi:
      return CompareUEFI(element);
    case rules::EComponent::kDiagnostics:
      return CompareDiagnostics(element);
    case rules::EComponent::kRwa2:
    case rules::EComponent::kRwa:
      return CompareRemoteWatchAdapter(element, component);
    case rules::EComponent::kIscp:
      return CompareISCP(element);
    case rules::EComponent::kH8:  // The chain leaves it to the branch which of the two it is.
    case rules::EComponent::kBmc:
    case rules::EComponent::kUnnamedProcessor:
      return CompareBMCOrH8(element);
    case rules::EComponent::kBroadcom:
      return CompareBroadcom(element);
    case rules::EComponent::kMegaRaid:
      return CompareMegaRAID(element);
    case rules::EComponent::kLsi:
      return CompareIntegratedRAID(element);
    case rules::EComponent::kNone:
    case rules::EComponent::kCount:
      return;
  }
}

void TFirmwareRun::ReportMissing() const {
  for (const TMissing& row : kMissing) {
    if (!found[static_cast<std::size_t>(row.component)]) LogProgress(row.message);
  }
  // Deliberate: see "LSI firmware is always missing" in docs/one-query.md.
  LogProgress(rules::kFirmwareCompared);
}

std::string TFirmwareRun::Installed(std::string_view className, std::string_view property) const {
  return TFirmwareOperations::getStringPropertyFromContainer(inventory, className, property);
}

const TInstanceList& TFirmwareRun::InstalledInstances(std::string_view className) {
  TFirmwareOperations::getVersionItemFromContainer(inventory, className, instances);
  return instances;
}

void TFirmwareRun::Deliver(std::string name, std::string installed, std::string offered) const {
  TInventoryOperations::DeliverInstance(inventory, "Firmware", std::move(name),
                                        std::move(installed), std::move(offered));
}

std::string TextOf(const TInstanceHandle& instance, std::string_view property) {
  std::string text;
  TInventoryOperations::GetPropertyValue(instance, property, text);
  return text;
}

std::string OfferedVersion(const TInstanceHandle& element, std::string_view property) {
  return rules::extractBracketedVersion(TextOf(element, property));
}

}  // namespace svc::checker
