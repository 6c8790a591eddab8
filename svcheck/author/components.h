// Which component an update element is compared with, by the tests that a query makes of it.
#ifndef SVCHECK_AUTHOR_COMPONENTS_H_
#define SVCHECK_AUTHOR_COMPONENTS_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <unordered_map>

#include "rules/components.h"
#include "svcheck/author/elements.h"

namespace svc::catalogue {

using rules::EComponent;
using rules::EVersionPlace;
using rules::RowOf;

// Recognises elements by their texts. What a text that many share was found to hold is remembered
// as long as this lives; the properties must live as long. Used by one thread.
class TRecognition {
 public:
  // An element may update the system BIOS and one more component.
  bool IsBiosUpdate(const TElement& element);
  EComponent ComponentOf(const TElement& element);

 private:
  // Which tests were made of a property, and which held: one bit each.
  struct TAnswers {
    std::uint32_t made = 0;
    std::uint32_t held = 0;
  };
  // `first` numbers the first of the tests among all.
  template <std::size_t N>
  EComponent FirstThatHolds(const std::array<rules::TComponentTest, N>& tests, std::size_t first,
                            const TElement& element);

  std::unordered_map<const TProperty*, TAnswers> known;
};

}  // namespace svc::catalogue

#endif  // SVCHECK_AUTHOR_COMPONENTS_H_
