#include "svcheck/author/components.h"

#include "svcheck/author/ascii_text.h"

namespace svc::catalogue {

namespace {

constexpr std::size_t kFirstOfChain = rules::kBiosTests.size();
constexpr std::size_t kFirstOfProcessors = kFirstOfChain + rules::kChainTests.size();
static_assert(kFirstOfProcessors + rules::kProcessorTests.size() <= 32);

}  // namespace

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
