// Finds an instance's property by the number of its name. Used by one thread.
#ifndef RUNTIME_HSKCORE_PROPERTY_FINDER_H_
#define RUNTIME_HSKCORE_PROPERTY_FINDER_H_

#include <array>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "runtime/hskcore/cim_state.h"
#include "runtime/hskcore/name_table.h"

namespace svc {

// Remembers what it found for a shape, a class and a name: instances come in rows of one kind.
class TPropertyFinder {
 public:
  struct TFound {
    TForm form;
    TCell cell;
    // Which of the instance's cells it is; kNone for a declared one.
    std::uint32_t place;
  };

  // What the instance writes or else what its class says of it; false when there is neither.
  // REQUIRES: the same state each time.
  bool Find(const TCimState& state, TRowId row, TNameId name, TFound& found);

 private:
  // Where a property is: the shape whose last property it is, or the declaration, or neither.
  struct TPlace {
    TShapeId shape = kNone;
    TClassId classId = kNoClass;
    TNameId name = kNone;
    TShapeId writer = kNone;
    const TDeclaration* declaration = nullptr;
  };
  struct TIndexed {
    TShapeId shape = kNone;
    TNameId name = kNone;
    TShapeId writer = kNone;
  };

  struct TMix {
    std::size_t operator()(std::uint64_t key) const noexcept {
      return Mix(key ^ HashSeed(), kMixA);
    }
  };

  TPlace Locate(const TCimState& state, const TRow& row, TNameId name);
  const TDeclaration* FindInherited(const TCimState& state, TClassId classId, TNameId name);
  TShapeId FindWriter(const TShapeTable& shapes, TShapeId shape, TNameId name);
  void Index(const TShapeTable& shapes, TShapeId shape);
  TIndexed& IndexSlot(TShapeId shape, TNameId name) noexcept;

  std::array<TPlace, 256> recent;
  std::uint32_t generation = 0;
  // What was found for some classes of a long line, by class and name.
  std::unordered_map<std::uint64_t, const TDeclaration*, TMix> inherited;
  // Open addressing; the properties of long shapes that were asked for, and each such shape itself
  // under the name kNone.
  std::vector<TIndexed> index;
  std::size_t indexed = 0;
};

}  // namespace svc

#endif  // RUNTIME_HSKCORE_PROPERTY_FINDER_H_
