#include "runtime/hskcore/property_finder.h"

#include <algorithm>

#include "runtime/hskcore/name_table.h"

namespace svc {

namespace {

// A longer shape gets an index when it is asked for a property.
constexpr std::uint32_t kLongestWalk = 24;
constexpr std::uint32_t kStepsBetweenMarks = 8;

std::uint64_t HashOf(TShapeId shape, std::uint32_t other) noexcept {
  return Mix(((static_cast<std::uint64_t>(shape) << 32) | other) ^ HashSeed(), kMixA);
}

}  // namespace

bool TPropertyFinder::Find(const TCimState& state, TRowId rowId, TNameId name, TFound& found) {
  const TRow& row = state.Row(rowId);
  if (generation != state.Generation()) {
    recent.fill({});
    inherited.clear();
    generation = state.Generation();
  }
  TPlace& place = recent[(HashOf(row.shape, name) ^ row.classId) % recent.size()];
  if (place.shape != row.shape || place.name != name || place.classId != row.classId) {
    place = Locate(state, row, name);
  }
  if (place.writer != kNone) {
    const TShapeTable::TNode& node = state.Shapes()[place.writer];
    found = {node.form, row.cells[node.depth - 1], node.depth - 1};
    return true;
  }
  if (place.declaration == nullptr) {
    return false;
  }
  found = {place.declaration->form, place.declaration->defaultCell, kNone};
  return true;
}

TPropertyFinder::TPlace TPropertyFinder::Locate(const TCimState& state, const TRow& row,
                                                TNameId name) {
  const TShapeId writer = FindWriter(state.Shapes(), row.shape, name);
  const TDeclaration* declaration =
      writer == kNone ? FindInherited(state, row.classId, name) : nullptr;
  return {row.shape, row.classId, name, writer, declaration};
}

// The declaration of the class or else of the nearest class above. Leaves what it found at every
// few classes of the way, so that no later search from below walks it again.
const TDeclaration* TPropertyFinder::FindInherited(const TCimState& state, TClassId classId,
                                                   TNameId name) {
  const auto keyOf = [name](TClassId id) { return (static_cast<std::uint64_t>(id) << 32) | name; };
  std::vector<std::uint64_t> marks;
  const TDeclaration* found = nullptr;
  for (std::uint32_t steps = 1; classId != kNoClass && found == nullptr; ++steps) {
    found = state.FindDeclaration(classId, name);
    if (steps % kStepsBetweenMarks == 0) {
      marks.push_back(keyOf(classId));
    }
    if (const auto known = inherited.find(keyOf(classId)); known != inherited.end()) {
      found = known->second;
      break;
    }
    classId = state.SuperclassOf(classId);
  }
  for (const std::uint64_t mark : marks) {
    inherited.emplace(mark, found);
  }
  return found;
}

TShapeId TPropertyFinder::FindWriter(const TShapeTable& shapes, TShapeId shape, TNameId name) {
  if (shapes[shape].depth > kLongestWalk) {
    Index(shapes, shape);
    return IndexSlot(shape, name).writer;
  }
  for (; shape != TShapeTable::kEmpty; shape = shapes[shape].parent) {
    if (shapes[shape].name == name) {
      return shape;
    }
  }
  return kNone;
}

void TPropertyFinder::Index(const TShapeTable& shapes, TShapeId shape) {
  if (!index.empty() && IndexSlot(shape, kNone).shape != kNone) {
    return;
  }
  const std::size_t needed = indexed + shapes[shape].depth + 1;
  if (needed * 4 > index.size() * 3) {
    std::vector<TIndexed> old(std::max<std::size_t>(64, index.size()));
    while (needed * 4 > old.size() * 3) {
      old.resize(old.size() * 2);
    }
    old.swap(index);
    for (const TIndexed& entry : old) {
      if (entry.shape != kNone) {
        IndexSlot(entry.shape, entry.name) = entry;
      }
    }
  }
  IndexSlot(shape, kNone) = {shape, kNone, kNone};
  for (TShapeId at = shape; at != TShapeTable::kEmpty; at = shapes[at].parent) {
    IndexSlot(shape, shapes[at].name) = {shape, shapes[at].name, at};
  }
  indexed = needed;
}

// The slot of a shape's name, or the free one where it belongs.
TPropertyFinder::TIndexed& TPropertyFinder::IndexSlot(TShapeId shape, TNameId name) noexcept {
  const std::size_t mask = index.size() - 1;
  std::size_t at = HashOf(shape, name) & mask;
  while (index[at].shape != kNone && (index[at].shape != shape || index[at].name != name)) {
    at = (at + 1) & mask;
  }
  return index[at];
}

}  // namespace svc
