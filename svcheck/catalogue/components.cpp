#include "svcheck/catalogue/components.h"

#include "svcheck/catalogue/ascii_text.h"

namespace svc::catalogue {

namespace {

template <std::size_t N>
EComponent FirstThatHolds(const std::array<rules::TComponentTest, N>& tests,
                          const TElement& element) {
  return rules::FirstThatHolds(tests, [&](const rules::TComponentTest& test) {
    return Mentions(element.Text(rules::kTestedProperties[test.property]), test.text.Text());
  });
}

}  // namespace

bool IsBiosUpdate(const TElement& element) {
  return FirstThatHolds(rules::kBiosTests, element) != EComponent::kNone;
}

EComponent ComponentOf(const TElement& element) {
  const EComponent component = FirstThatHolds(rules::kChainTests, element);
  if (component != EComponent::kUnnamedProcessor) return component;
  const EComponent processor = FirstThatHolds(rules::kProcessorTests, element);
  return processor == EComponent::kNone ? component : processor;
}

}  // namespace svc::catalogue
