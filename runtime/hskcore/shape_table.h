// Shapes: which properties an instance writes, in which order and form. Instances of one shape
// share it and keep only their cells. Used by one thread; const operations by several.
#ifndef RUNTIME_HSKCORE_SHAPE_TABLE_H_
#define RUNTIME_HSKCORE_SHAPE_TABLE_H_

#include <cstdint>
#include <vector>

#include "host/hskcore/value.h"
#include "runtime/hskcore/name_table.h"

namespace svc {

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
  TShapeId Extend(TShapeId parent, TNameId name, TForm form);
  TNode& operator[](TShapeId id) noexcept { return nodes[id]; }
  const TNode& operator[](TShapeId id) const noexcept { return nodes[id]; }

 private:
  std::size_t SlotOf(TShapeId parent, TNameId name, TForm form) const noexcept;
  void Grow();

  TStableVector<TNode> nodes;
  // Open addressing; kNone where free.
  std::vector<TShapeId> slots;
};

}  // namespace svc

#endif  // RUNTIME_HSKCORE_SHAPE_TABLE_H_
