// How a namespace keeps values: cells, their texts and scalars (DMTF DSP0004, section 5.2; DSP0201,
// VALUE), and shapes: which properties an instance writes, in which order and form. Instances of
// one shape share it and keep only their cells. Values are made of texts by pure functions; the
// rest is used by one thread, const operations by several.
#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/hskcore/cim.h"
#include "host/hskcore/export.h"
#include "host/hskcore/value.h"
#include "runtime/hskcore/name_table.h"

namespace svc {

// The type that a TYPE attribute names ("uint16"), none for an unknown name. An absent attribute
// means string.
HSKCORE_API std::optional<NQRXHSK20::ECIMType> CimTypeOfName(std::string_view name) noexcept;
// The name that a TYPE attribute has for a type.
HSKCORE_API std::string_view NameOfCimType(NQRXHSK20::ECIMType type) noexcept;

// Whether values of the type are kept as texts: string, char16, datetime, reference.
constexpr bool IsTextType(NQRXHSK20::ECIMType type) noexcept {
  using NQRXHSK20::ECIMType;
  return type == ECIMType::kString || type == ECIMType::kChar16 || type == ECIMType::kDateTime ||
         type == ECIMType::kReference;
}

// Whether every text is a value of the type.
constexpr bool TakesAnyText(NQRXHSK20::ECIMType type) noexcept {
  return type == NQRXHSK20::ECIMType::kString || type == NQRXHSK20::ECIMType::kReference;
}

// Whether a UTF-8 text is a value of a text type: any string or reference, one UCS-2 character,
// a datetime of 25 characters.
// REQUIRES: IsTextType(type).
HSKCORE_API bool IsTextOfType(NQRXHSK20::ECIMType type, std::string_view text) noexcept;

// The value of a boolean (0 or 1), an unsigned or signed integer (two's complement) or a real (the
// bits of a double) in 64 bits; none when the text is no value of the type. Strict: no blanks.
// REQUIRES: !IsTextType(type). Throws std::bad_alloc alone, where the C library reads reals.
HSKCORE_API std::optional<std::uint64_t> NumberFromText(NQRXHSK20::ECIMType type,
                                                        std::string_view text);

// Shapes: which properties an instance writes, in which order and form. Instances of one shape
// share it and keep only their cells. Used by one thread; const operations by several.

// How a property was written; with it a cell of 64 bits can be read.
struct TForm {
  NQRXHSK20::ECIMType type;
  bool isArray;
  // A null number or boolean: its cell has no bits to spare for that. A text or an array that is
  // null has the cell 0.
  bool isNullNumber;

  bool operator==(const TForm&) const = default;
};

// Numbers a shape; it stands for its last property and for those of its parents before that.
using TShapeId = std::uint32_t;

// A tree: each node adds one property to its parent. Takes memory for the shapes that exist, never
// for all combinations of names.
class TShapeTable {
 public:
  struct TNode {
    TShapeId parent;
    TNameId name;
    // The child that was taken last: documents repeat themselves.
    TShapeId likelyChild;
    // The number of properties, so that a node's own cell is the one before.
    std::uint32_t depth;
    TForm form;
  };

  // The shape without properties.
  static constexpr TShapeId kEmpty = 0;

  TShapeTable();
  // The shape that extends `parent` by a property.
  // REQUIRES: the parent has no property of that name.
  TShapeId Extend(TShapeId parent, TNameId name, TForm form) {
    const TShapeId likely = LikelyChild(parent, name, form);
    return likely != kNone ? likely : FindOrAdd(parent, name, form);
  }
  // The same, where it is the one that the parent was extended to last; else kNone.
  TShapeId LikelyChild(TShapeId parent, TNameId name, TForm form) const noexcept {
    const TShapeId likely = nodes[parent].likelyChild;
    const bool isLikely =
        likely != kNone && nodes[likely].name == name && nodes[likely].form == form;
    return isLikely ? likely : kNone;
  }
  std::uint32_t size() const noexcept { return nodes.size(); }
  TNode& operator[](TShapeId id) noexcept { return nodes[id]; }
  const TNode& operator[](TShapeId id) const noexcept { return nodes[id]; }

 private:
  TShapeId FindOrAdd(TShapeId parent, TNameId name, TForm form);
  std::size_t SlotOf(TShapeId parent, TNameId name, TForm form) const noexcept;
  void Grow();

  TStableVector<TNode> nodes;
  // Open addressing; kNone where free.
  std::vector<TShapeId> slots;
};

// Cells: the 64 bits that a stored property takes, read with its form. Pure functions.

// A number's bits (as NumberFromText gives them), or the address of a stored text, 0 for null. An
// array is a stored text too: see TArrayText.
using TCell = std::uint64_t;

inline TCell CellOf(TStoredText text) noexcept { return reinterpret_cast<std::uintptr_t>(text); }
inline TStoredText TextOf(TCell cell) noexcept {
  return reinterpret_cast<TStoredText>(static_cast<std::uintptr_t>(cell));
}

// Whether cells of the form are addresses of stored texts.
constexpr bool IsStoredAsText(TForm form) noexcept { return form.isArray || IsTextType(form.type); }

// The value of a cell. Its texts and arrays are borrowed: they must outlive it.
NQRXHSK20::TCIMValue ValueOfCell(TForm form, TCell cell);

// The bytes that stand for an array: the number of its elements in four bytes, then for each a
// mark, which tells its length, and its bytes. Reused from array to array.
class TArrayText {
 public:
  void Begin();
  void AddText(std::string_view text) {
    text.copy(AddMark(text.size() + 1, text.size()), text.size());
  }
  void AddNumber(std::uint64_t bits);
  void AddNull();
  // Valid until the next Begin.
  std::string_view Finish() noexcept;

 private:
  // Adds a mark and makes room for what follows it, which the caller writes.
  char* AddMark(std::uint64_t mark, std::size_t following) {
    if (capacity - size < kLongestLength + following) Grow(kLongestLength + following);
    char* at = bytes.get() + size;
    WriteLength(at, mark);
    size = static_cast<std::size_t>(at - bytes.get()) + following;
    ++count;
    return at;
  }
  // Makes room for so many bytes more.
  void Grow(std::size_t more);

  std::unique_ptr<char[]> bytes;
  std::size_t size = 0;
  std::size_t capacity = 0;
  std::uint32_t count = 0;
};

// The elements of an array that these bytes stand for, whose texts are borrowed.
std::vector<NQRXHSK20::TCIMValue> ElementsOf(NQRXHSK20::ECIMType type, std::string_view stored);
// Adds the ToString(10) of each to `text`, and a character behind it.
void AppendElements(NQRXHSK20::ECIMType type, std::string_view stored, std::string& text,
                    char behindEach);

// A property as an in-memory namespace hands it out. Immutable while anybody else has it; may be
// used from any thread.

// The value may borrow its texts from the memory that the property keeps alive.
class TStoredProperty final : public NQRXHSK20::ICIMProperty {
 public:
  TStoredProperty(const boost::shared_ptr<TTextMemory>& texts, NQRXHSK20::TCIMValue value)
      : texts(texts), value(std::move(value)) {}
  const NQRXHSK20::TCIMValue& Value(const NQRXHSK20::CIMContext&) const override { return value; }
  bool Keeps(const boost::shared_ptr<TTextMemory>& memory) const noexcept {
    return texts == memory;
  }
  // The new value is made where the old one was. REQUIRES: nobody else has it, and a cell of the
  // memory that it keeps.
  void SetCell(TForm form, TCell cell) noexcept {
    std::destroy_at(&value);
    ::new (&value) NQRXHSK20::TCIMValue(ValueOfCell(form, cell));
  }

 private:
  boost::shared_ptr<TTextMemory> texts;
  NQRXHSK20::TCIMValue value;
};

}  // namespace svc
