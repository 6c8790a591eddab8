// How the members of instances stood when they were read: the markup before, between and behind
// their texts, and which member followed which. A member that stands as it did is read by one
// comparison before and one behind each text, and an instance that follows the one before as ever
// by one more. Used from one thread at a time.
#ifndef RUNTIME_XMLPARSER_MEMBER_PLAN_H_
#define RUNTIME_XMLPARSER_MEMBER_PLAN_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "host/hskcore/value.h"
#include "runtime/hskcore/namespace_writer.h"
#include "runtime/xmlparser/byte_scan.h"
#include "runtime/xmlparser/tag.h"

namespace svc::xml {

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

#endif  // RUNTIME_XMLPARSER_MEMBER_PLAN_H_
