// One start tag, what is remembered of the tags that were met, and the plan of a property that
// stands as one did before. A tag is stateless; the rest is used by one thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "host/hskcore/value.h"
#include "runtime/hskcore/namespace_writer.h"
#include "runtime/xmlparser/byte_scan.h"
#include "runtime/xmlparser/document_text.h"

namespace svc::xml {

// Places are counted in bytes from the tag's '<'.
struct TAttribute {
  std::uint32_t name;
  std::uint32_t nameLength;
  std::uint32_t value;
  std::uint32_t valueLength;

  std::string_view Name(const char* tag) const { return {tag + name, nameLength}; }
  std::string_view Value(const char* tag) const { return {tag + value, valueLength}; }
};

// The form of a tag, without its bytes.
struct TTagForm {
  std::uint32_t length;  // From '<' to '>', both included.
  std::uint32_t nameLength;
  bool isEmpty;    // "<X/>"
  bool isWritten;  // The values stand as they were written: nothing in the tag was rewritten.
};

// Reads the start tag at `at` and fills `attributes` with its attributes, their values decoded in
// place. Throws TDocumentError for a malformed tag, also when it has an attribute twice.
// REQUIRES: the text goes on with '<'.
TTagForm ReadTag(TDocumentText& text, char* at, std::vector<TAttribute>& attributes);

// An attribute whose name one before it has as well, or null. Takes time in proportion to their
// number.
const TAttribute* FindDuplicate(std::span<const TAttribute> attributes, const char* tag);

// Start tags that were met before, so that one that reads the same, byte for byte, is not read
// again. Used from one thread at a time.
//
// A catalogue repeats a few dozen tags some hundred thousand times, mostly in the same order. Each
// tag remembers which one came first below it and which one behind its element, and there it is
// looked for: one comparison of a few bytes then stands for the reading of a tag. Without this
// memory a catalogue takes 2.8 times as long to load.

// The markup around the text of an element, as it stood when the element was read last: from the
// end of what came before the element, blanks included, to the text, and from the text to the end
// of the element.
struct TWrapping {
  static constexpr std::size_t kMaxLead = 192;
  static constexpr std::size_t kMaxTrail = 64;

  std::uint32_t leadLength;  // 0 when nothing is known.
  std::uint32_t trailLength;
  char lead[kMaxLead];
  char trail[kMaxTrail];

  void Learn(std::string_view newLead, std::string_view newTrail);
  // False where too few bytes follow to tell at a stroke; so for what follows.
  bool BeginsAt(const char* at, const char* end) const {
    return static_cast<std::size_t>(end - at) >= kMaxLead && EqualBlocks(lead, at, leadLength);
  }
  bool EndsAt(const char* at, const char* end) const {
    return static_cast<std::size_t>(end - at) >= kMaxTrail && EqualBlocks(trail, at, trailLength);
  }
};

struct TKnownTag {
  static constexpr std::size_t kMaxLength = 128;
  static constexpr std::size_t kMaxAttributes = 5;
  // Of its end tag "</NAME>": a name is two bytes shorter than the tag at least. It is compared in
  // whole blocks, from behind the "</" on.
  static constexpr std::size_t kMaxEndTag = 2 + kMaxLength;

  char bytes[kMaxLength];
  TTagForm form;
  std::uint32_t number;  // As TXmlReader::Tag gives it.
  std::uint32_t attributeCount;
  TAttribute attributes[kMaxAttributes];
  TKnownTag* child;    // That came first below it the last time; null for none.
  TKnownTag* sibling;  // That came next behind its element.
  TWrapping wrapping;

  bool Is(std::string_view tag) const { return std::string_view(bytes, form.length) == tag; }
  // Whether the bytes at `at` begin with the tag. False where too few bytes follow to tell at a
  // stroke; so for what follows.
  bool Begins(const char* at, const char* end) const {
    return static_cast<std::size_t>(end - at) >= kMaxLength && EqualBlocks(bytes, at, form.length);
  }
  // Whether its element's end tag, without blanks, stands at `at`.
  bool IsClosedAt(const char* at, const char* end) const {
    return static_cast<std::size_t>(end - at) >= kMaxEndTag && at[0] == '<' && at[1] == '/' &&
           at[form.nameLength + 2] == '>' && EqualBlocks(bytes + 1, at + 2, form.nameLength);
  }
};

// Holds a limited number of tags: where too many come to one place, the last replaces another.
class TTagMemory {
 public:
  // The tag that the bytes at `at` begin with; null when it is not known.
  TKnownTag* Find(const char* at, const char* end) const;
  // Remembers the tag at `at`. Null when it is one that cannot be remembered.
  TKnownTag* Add(const char* at, const TTagForm& form, std::span<const TAttribute> attributes);

 private:
  static constexpr std::size_t kSlots = 1024;
  static constexpr std::size_t kProbes = 4;

  static constexpr std::size_t kBlock = 16;

  // The slot that holds the tag, or else where it belongs.
  std::size_t SlotOf(const char* at, std::size_t length) const;
  TKnownTag& NewTag();

  std::array<TKnownTag*, kSlots> slots{};  // Null where free.
  // Few documents have many different tags: their memory is taken as they come.
  std::vector<std::unique_ptr<TKnownTag[]>> blocks;
  std::size_t count = 0;
};

// What somebody finds out about tags, by the numbers that a reader gives them: a value of `TNote`
// for each. Takes no more memory for a document of ever new tags: of too many some are forgotten.
template <typename TNote>
class TTagNotes {
 public:
  // The note on a tag; a new one when there is none. Valid until the note on another tag is.
  TNote& operator[](std::uint32_t tag) {
    TEntry& entry = entries[tag % kPlaces];
    if (entry.tag != tag) entry = {tag, {}};
    return entry.note;
  }
  // Null when there is none.
  const TNote* Find(std::uint32_t tag) const {
    const TEntry& entry = entries[tag % kPlaces];
    return entry.tag == tag ? &entry.note : nullptr;
  }

 private:
  static constexpr std::size_t kPlaces = 1024;
  struct TEntry {
    std::uint32_t tag = 0;  // No tag has this number.
    TNote note{};
  };
  std::array<TEntry, kPlaces> entries{};
};

// How the members of instances stood when they were read: the markup before, between and behind
// their texts, and which member followed which. A member that stands as it did is read by one
// comparison before and one behind each text, and an instance that follows the one before as ever
// by one more. Used from one thread at a time.

// Markup that is compared in whole blocks.
class TMarkup {
 public:
  static constexpr std::size_t kMost = 256;

  // False where it is too long.
  bool Set(std::string_view markup);
  bool IsEmpty() const { return length == 0; }
  std::size_t Length() const { return length; }
  std::string_view View() const { return {bytes, length}; }
  // REQUIRES: kMost bytes are readable there.
  bool StandsAt(const char* at) const {
    if (length < kPair) return IsShortAt(at);
    // The last pair first, so that none is cut short.
    const std::size_t last = length - kPair;
    if (!ArePairsEqual(bytes + last, at + last)) return false;
    for (std::size_t place = 0; place < last; place += kPair) {
      if (!ArePairsEqual(bytes + place, at + place)) return false;
    }
    return true;
  }

 private:
  static constexpr std::size_t kPair = 2 * kBlockSize;

  // The two blocks overlap.
  bool IsShortAt(const char* at) const {
    if (length < kBlockSize) return EqualBlocks(bytes, at, length);
    const std::size_t last = length - kBlockSize;
    return AreEqual(bytes, at, bytes + last, at + last);
  }
  static bool ArePairsEqual(const char* left, const char* right) {
    return AreEqual(left, right, left + kBlockSize, right + kBlockSize);
  }
  static bool AreEqual(const char* left, const char* right, const char* left2, const char* right2) {
    return (TByteBlock(right).Equal(TByteBlock(left)) &
            TByteBlock(right2).Equal(TByteBlock(left2))) == 0xFFFF;
  }

  alignas(kBlockSize) char bytes[kMost];
  std::uint32_t length = 0;
};

// One property of instances, in one spelling.
struct TMember {
  TMarkup lead;     // From the end of what came before to the text, blanks included.
  TMarkup between;  // From one element of an array to the next; empty until one with two was met.
  TMarkup trail;    // From the last text to the end of the property.
  TPropertyStep step;
  TKnownTag* tag;
  // That came behind it, the last one first; null for none. Optional ones come and go.
  std::array<TMember*, 3> next{};

  void Follow(TMember* member);
};

// What is remembered speaks for itself: markup that, wherever it stands, is that of one property of
// this name with one plain value or with an array of them.
class TMemberPlan {
 public:
  // What a property was read as.
  struct TRead {
    std::string_view bytes;  // From the end of what came before to its end, as they are now.
    TKnownTag* tag;          // Null for one that is not remembered.
    bool isArray;
    std::uint32_t number;  // Of its name, in the namespace that is written to.
    NQRXHSK20::ECIMType type;
  };

  // An instance begins.
  void Begin() { last = &root; }
  // The member that stands at `at`, with which the plan then goes on; null for none.
  // REQUIRES: TMarkup::kMost bytes are readable there.
  TMember* Take(const char* at) {
    TMember* const likely = last->next[0];
    if (likely == nullptr || !likely->lead.StandsAt(at)) return TakeUnlikely(at);
    ++taken;
    return last = likely;
  }
  // A member was read that the plan does not know; where it has the usual form, it does from here
  // on.
  void Learn(const TRead& read);
  // The markup from the last member of an instance to the first of the next one, of the same class
  // and in a holder of the same name.
  const TMarkup& Gap() const { return gap; }
  // `bytes` stand between two instances, the second of which begins with `tag`. Remembers them
  // where they have the usual form.
  void LearnGap(std::string_view bytes, std::string_view holder, const TKnownTag& tag);
  void ForgetGap() { gap.Set({}); }

 private:
  // A document of ever new members leaves the plan what it was.
  static constexpr std::size_t kMostMembers = 256;

  TMember* TakeUnlikely(const char* at);
  TMember* FindOrAdd(const TRead& read, std::string_view lead, std::string_view trail);

  // Of an array of a megabyte no more is to be learned.
  static constexpr std::size_t kLargest = std::size_t{16} << 10;
  // So often it learns without being of use.
  static constexpr std::size_t kFirstTries = 1024;

  TMember root{};
  TMember* last = &root;
  std::size_t tries = 0;
  std::size_t taken = 0;
  TMarkup gap;
  std::vector<std::unique_ptr<TMember>> members;
};

}  // namespace svc::xml
