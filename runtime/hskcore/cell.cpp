#include "runtime/hskcore/cell.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace svc {

static std::uint64_t HashOf(TShapeId parent, TNameId name) noexcept {
  const std::uint64_t both = (static_cast<std::uint64_t>(parent) << 32) | name;
  return Mix(both ^ HashSeed(), kMixA);
}

TShapeTable::TShapeTable() : slots(64, kNone) {
  nodes.Append({kNone, kNone, kNone, 0, {NQRXHSK20::ECIMType::kString, false, false}});
}

TShapeId TShapeTable::FindOrAdd(TShapeId parent, TNameId name, TForm form) {
  std::size_t slot = SlotOf(parent, name, form);
  if (slots[slot] == kNone) {
    if (nodes.size() * std::size_t{4} > slots.size() * 3) {
      Grow();
      slot = SlotOf(parent, name, form);
    }
    slots[slot] = nodes.Append({parent, name, kNone, nodes[parent].depth + 1, form});
  }
  nodes[parent].likelyChild = slots[slot];
  return slots[slot];
}

// The slot that holds the shape, or the free one where it belongs.
std::size_t TShapeTable::SlotOf(TShapeId parent, TNameId name, TForm form) const noexcept {
  const std::size_t mask = slots.size() - 1;
  std::size_t at = HashOf(parent, name) & mask;
  for (; slots[at] != kNone; at = (at + 1) & mask) {
    const TNode& node = nodes[slots[at]];
    if (node.parent == parent && node.name == name && node.form == form) {
      break;
    }
  }
  return at;
}

void TShapeTable::Grow() {
  slots.assign(slots.size() * 2, kNone);
  for (TShapeId id = kEmpty + 1; id < nodes.size(); ++id) {
    slots[SlotOf(nodes[id].parent, nodes[id].name, nodes[id].form)] = id;
  }
}

using NQRXHSK20::ECIMType;
using NQRXHSK20::TCIMValue;

namespace {

// The mark before an element: 0 for null, otherwise one more than the length of a text, and
// kNumberMark before the eight bytes of a number.
constexpr std::uint64_t kNullMark = 0;
constexpr std::uint64_t kNumberMark = 1;
// A scratch buffer above this size is given back.
constexpr std::size_t kLargestKept = 1 << 20;
constexpr std::size_t kSmallest = 1024;

template <typename T>
T Take(const char*& at) noexcept {
  T value;
  std::memcpy(&value, at, sizeof value);
  at += sizeof value;
  return value;
}

TCIMValue NumberValue(ECIMType type, std::uint64_t bits) {
  switch (type) {
    case ECIMType::kBoolean:
      return TCIMValue::Boolean(bits != 0);
    case ECIMType::kReal32:
    case ECIMType::kReal64:
      return TCIMValue::Real(type, std::bit_cast<double>(bits));
    case ECIMType::kSint8:
    case ECIMType::kSint16:
    case ECIMType::kSint32:
    case ECIMType::kSint64:
      return TCIMValue::Signed(type, static_cast<std::int64_t>(bits));
    default:
      return TCIMValue::Unsigned(type, bits);
  }
}

TCIMValue TakeElement(ECIMType type, const char*& at) {
  const std::uint64_t mark = ReadLength(at);
  if (mark == kNullMark) {
    return TCIMValue::Null(type);
  }
  if (!IsTextType(type)) {
    return NumberValue(type, Take<std::uint64_t>(at));
  }
  const std::string_view text(at, mark - 1);
  at += text.size();
  return TCIMValue::BorrowedText(type, text);
}

// Becomes the next element where it is to stand: nothing is made apart and moved.
struct TNextElement {
  ECIMType type;
  const char*& at;
  operator TCIMValue() const {
    return TakeElement(type, at);
  }  // NOLINT(google-explicit-constructor)
};

// Of a text element that is copied in one block, whatever its length.
constexpr std::ptrdiff_t kBlock = 16;

}  // namespace

std::vector<TCIMValue> ElementsOf(ECIMType type, std::string_view stored) {
  const char* at = stored.data();
  const auto count = Take<std::uint32_t>(at);
  std::vector<TCIMValue> elements;
  elements.reserve(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    elements.emplace_back(TNextElement{type, at});
  }
  return elements;
}

// Texts take as many bytes as before: a mark, of one byte or more, becomes the byte behind the
// text.
static void AppendTexts(std::string_view stored, std::string& text, char behindEach) {
  const char* at = stored.data();
  const char* const end = at + stored.size();
  const auto count = Take<std::uint32_t>(at);
  const std::size_t before = text.size();
  text.resize(before + stored.size());
  char* to = text.data() + before;
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::size_t shortLength = static_cast<unsigned char>(*at) - std::size_t{1};
    if (shortLength <= kBlock && end - at > kBlock) {
      std::memcpy(to, ++at, kBlock);
      at += shortLength;
      to += shortLength;
    } else {
      const std::uint64_t mark = ReadLength(at);
      const std::size_t length = mark == kNullMark ? 0 : mark - 1;
      std::memcpy(to, at, length);
      at += length;
      to += length;
    }
    *to++ = behindEach;
  }
  text.resize(static_cast<std::size_t>(to - text.data()));
}

void AppendElements(ECIMType type, std::string_view stored, std::string& text, char behindEach) {
  if (IsTextType(type)) return AppendTexts(stored, text, behindEach);
  for (const TCIMValue& element : ElementsOf(type, stored)) {
    text += element.ToString(10);
    text += behindEach;
  }
}

TCIMValue ValueOfCell(TForm form, TCell cell) {
  if (!IsStoredAsText(form)) {
    return form.isNullNumber ? TCIMValue::Null(form.type) : NumberValue(form.type, cell);
  }
  if (cell == 0) {
    return TCIMValue::Null(form.type, form.isArray);
  }
  const std::string_view text = ViewOf(TextOf(cell));
  return form.isArray ? TCIMValue::BorrowedArray(form.type, text)
                      : TCIMValue::BorrowedText(form.type, text);
}

void TArrayText::Begin() {
  if (capacity > kLargestKept) {
    bytes.reset();
    capacity = 0;
  }
  count = 0;
  size = 0;
  if (capacity == 0) Grow(sizeof count);
  size = sizeof count;
}

void TArrayText::Grow(std::size_t more) {
  capacity = std::max(size + more, std::max(capacity * 2, kSmallest));
  auto grown = std::make_unique_for_overwrite<char[]>(capacity);
  if (size != 0) {
    std::copy_n(bytes.get(), size, grown.get());
  }
  bytes = std::move(grown);
}

void TArrayText::AddNumber(std::uint64_t bits) {
  std::memcpy(AddMark(kNumberMark, sizeof bits), &bits, sizeof bits);
}

void TArrayText::AddNull() { AddMark(kNullMark, 0); }

std::string_view TArrayText::Finish() noexcept {
  std::memcpy(bytes.get(), &count, sizeof count);
  return {bytes.get(), size};
}

}  // namespace svc
