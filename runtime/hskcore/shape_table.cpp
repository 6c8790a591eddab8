#include "runtime/hskcore/shape_table.h"

#include "runtime/hskcore/hash.h"

namespace svc {

namespace {

std::uint64_t HashOf(TShapeId parent, TNameId name) noexcept {
  const std::uint64_t both = (static_cast<std::uint64_t>(parent) << 32) | name;
  return Mix(both ^ HashSeed(), kMixA);
}

}  // namespace

TShapeTable::TShapeTable() : slots(64, kNone) {
  nodes.Append({kNone, kNone, kNone, 0, {NQRXHSK20::ECIMType::kString, false, false}});
}

TShapeId TShapeTable::Extend(TShapeId parent, TNameId name, TForm form) {
  const TShapeId likely = nodes[parent].likelyChild;
  if (likely != kNone && nodes[likely].name == name && nodes[likely].form == form) {
    return likely;
  }
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

}  // namespace svc
