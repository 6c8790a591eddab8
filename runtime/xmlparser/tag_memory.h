// Start tags met before, so that one that reads the same, byte for byte, is not read again. Used
// from one thread at a time.
//
// A catalogue repeats a few dozen tags some hundred thousand times, mostly in the same order. Each
// tag remembers which one came first below it and which one behind its element, and there it is
// looked for: one comparison of a few bytes then stands for the reading of a tag.
#ifndef RUNTIME_XMLPARSER_TAG_MEMORY_H_
#define RUNTIME_XMLPARSER_TAG_MEMORY_H_

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <span>

#include "runtime/xmlparser/tag.h"

namespace svc::xml {

// What the caller of a reader has found out about a tag. All 0 for a new one.
struct TTagNote {
  std::uint32_t kind = 0;
  std::uint32_t number = 0;
  std::uint32_t detail = 0;
};

struct TKnownTag {
  static constexpr std::size_t kMaxLength = 128;
  static constexpr std::size_t kMaxAttributes = 5;

  char bytes[kMaxLength];
  TTagForm form;
  std::uint32_t attributeCount;
  TAttribute attributes[kMaxAttributes];
  TKnownTag* firstChild;
  TKnownTag* nextSibling;
  TTagNote note;
};

// Holds a limited number of tags: one that comes to the place of another replaces it.
class TTagMemory {
 public:
  TTagMemory();

  // The tag that the bytes at `at` begin with; null when it is not known.
  TKnownTag* Find(const char* at, const char* end) const;
  // Remembers the tag at `at`. Null when it is one that cannot be remembered.
  TKnownTag* Add(const char* at, const TTagForm& form, std::span<const TAttribute> attributes);

 private:
  static constexpr std::size_t kSlots = 1024;
  TKnownTag& SlotOf(const char* at, std::size_t length) const;

  struct TFree {
    void operator()(TKnownTag* tags) const { std::free(tags); }
  };
  std::unique_ptr<TKnownTag[], TFree> slots;  // Zeroed: an empty one has length 0.
};

}  // namespace svc::xml

#endif  // RUNTIME_XMLPARSER_TAG_MEMORY_H_
