#include "svcheck/author/update.h"

#include <unordered_set>

#include "rules/names.h"
#include "rules/system_codes.h"
#include "rules/version_items.h"

namespace svc::catalogue {

namespace {

std::set<std::string> MachineTypesOf(const std::vector<std::string>& texts) {
  std::set<std::string> types;
  for (const std::string& text : texts) {
    for (const std::string_view type : rules::MarkedItems(text)) types.insert(Lowered(type));
  }
  return types;
}

std::set<std::size_t> SystemsOf(std::string_view text) {
  std::set<std::size_t> systems;
  for (std::size_t i = 0; i < rules::kSystemCodes.size(); ++i) {
    if (Contains(text, rules::kSystemCodes[i].code)) systems.insert(i);
  }
  return systems;
}

// A number that elements share which say the same: the sum over their properties, in whatever order
// they stand; of two of one name the first counts. What an element does not write counts by the
// default of its class.
std::uint64_t DigestOf(const TElement& element) {
  std::unordered_set<std::string> names;
  std::uint64_t digest = element.inheritedDigest;
  for (const auto& property : element.properties) {
    if (names.insert(Lowered(property->name)).second) digest += property->Digest();
  }
  return digest;
}

constexpr std::size_t kFirstOfChain = rules::kBiosTests.size();
constexpr std::size_t kFirstOfProcessors = kFirstOfChain + rules::kChainTests.size();
static_assert(kFirstOfProcessors + rules::kProcessorTests.size() <= 32);

}  // namespace

std::string ComparedName(std::string_view driver) {
  return Raised(driver.substr(0, driver.find('.')));
}

std::string_view OfferedVersion(std::string_view text) { return rules::BracketedVersion(text); }

TUpdate::TUpdate(const TFile& file, const TElement& element, TCutTexts& cut)
    : file(&file),
      element(&element),
      name(element.Text(rules::kUpdateName)),
      isBios(cut.Recognition().IsBiosUpdate(element)),
      component(cut.Recognition().ComponentOf(element)),
      driverFiles(element.Text(rules::kUpdateDriverFiles)),
      drivers(cut.Drivers(element.Find(rules::kUpdateDriverFiles))),
      machineTypes(cut.MachineTypes(element.Find(rules::kUpdateMachineTypes))),
      systems(cut.Systems(element.Find(rules::kUpdateSystems))),
      digest(DigestOf(element)) {}

const std::vector<std::string>& TUpdate::Values(std::string_view property) const {
  static const std::vector<std::string> none;
  const TProperty* const found = element->Find(property);
  return found == nullptr ? none : found->values;
}

template <typename T, typename TCut>
std::shared_ptr<const T> TCutTexts::Get(TKnown<T>& known, const TProperty* property, TCut cut) {
  std::shared_ptr<const T>& found = known[property];
  if (!found) found = std::make_shared<const T>(property == nullptr ? T() : cut(*property));
  return found;
}

std::shared_ptr<const std::vector<TDriverEntry>> TCutTexts::Drivers(const TProperty* property) {
  return Get(drivers, property, [](const TProperty& list) {
    std::size_t count = 0;
    rules::CutDriverList(list.Text(),
                         [&](const TDriverEntry& entry) { count += entry.IsOffered() ? 1 : 0; });
    std::vector<TDriverEntry> entries;
    entries.reserve(count);
    rules::CutDriverList(list.Text(), [&](const TDriverEntry& entry) {
      if (entry.IsOffered()) entries.push_back(entry);
    });
    return entries;
  });
}

std::shared_ptr<const std::set<std::string>> TCutTexts::MachineTypes(const TProperty* property) {
  return Get(machineTypes, property,
             [](const TProperty& list) { return MachineTypesOf(list.values); });
}

std::shared_ptr<const std::set<std::size_t>> TCutTexts::Systems(const TProperty* property) {
  return Get(systems, property, [](const TProperty& list) { return SystemsOf(list.Text()); });
}

std::vector<TUpdate> UpdatesOf(const TCatalogue& catalogue) {
  std::vector<TUpdate> updates;
  updates.reserve(catalogue.CountElements());
  TCutTexts cut;
  for (const TFile& file : catalogue.files) {
    for (const TElement& element : file.elements) updates.emplace_back(file, element, cut);
  }
  return updates;
}

template <std::size_t N>
EComponent TRecognition::FirstThatHolds(const std::array<rules::TComponentTest, N>& tests,
                                        std::size_t first, const TElement& element) {
  return rules::FirstThatHolds(tests, [&](const rules::TComponentTest& test) {
    const TProperty* const property = element.Find(rules::kTestedProperties[test.property]);
    if (property == nullptr) return false;
    const auto number = first + static_cast<std::size_t>(&test - tests.data());
    const std::uint32_t bit = std::uint32_t{1} << number;
    TAnswers& answers = known[property];
    if ((answers.made & bit) == 0) {
      answers.made |= bit;
      if (Mentions(property->Text(), test.text.Text())) answers.held |= bit;
    }
    return (answers.held & bit) != 0;
  });
}

bool TRecognition::IsBiosUpdate(const TElement& element) {
  return FirstThatHolds(rules::kBiosTests, 0, element) != EComponent::kNone;
}

EComponent TRecognition::ComponentOf(const TElement& element) {
  const EComponent component = FirstThatHolds(rules::kChainTests, kFirstOfChain, element);
  if (component != EComponent::kUnnamedProcessor) return component;
  const EComponent processor = FirstThatHolds(rules::kProcessorTests, kFirstOfProcessors, element);
  return processor == EComponent::kNone ? component : processor;
}

}  // namespace svc::catalogue
