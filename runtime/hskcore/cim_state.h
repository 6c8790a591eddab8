// What an in-memory namespace holds: classes, the properties they declare, and instances; and how
// several namespaces share it. Plain data that knows of no handles, so that it can be kept apart
// from them. Changed by one thread at a time; const operations may run in several when nobody
// changes it.
#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "host/hskcore/cim.h"
#include "host/hskcore/export.h"
#include "runtime/hskcore/cell.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/hskcore/name_table.h"

namespace svc {

struct TRow {
  // One for each property of the shape.
  TCell* cells;
  TShapeId shape;
  TClassId classId;
  // The class's next instance.
  TRowId nextOfClass;
};

struct TClassEntry {
  TNameId name;
  TClassId superclass;
  // A class above this one, nearer to the top as it is asked for; this class when it has none.
  TClassId above;
  TClassId firstSubclass;
  TClassId nextSibling;
  TRowId firstInstance;
  TRowId lastInstance;
};

struct TDeclaration {
  TClassId classId;
  TNameId name;
  TForm form;
  TCell defaultCell;
};

class TCimState {
 public:
  TCimState();
  // Shares with the other one nothing that may still change.
  TCimState(const TCimState& other);
  TCimState& operator=(const TCimState&) = delete;

  // kNoClass when there is none.
  TClassId FindClass(std::string_view name) const noexcept;
  TClassId ClassOf(TNameId name) const noexcept { return names[name].classId; }
  // Adds the class, or its superclass where it had none. Throws THSKException (kFailed).
  TClassId DeclareClass(std::string_view name, std::string_view superclass);
  // Adds a property to a class, or replaces its declaration.
  void Declare(const TDeclaration& declaration);
  // The class's own declaration of a property; null when there is none.
  const TDeclaration* FindDeclaration(TClassId classId, TNameId name) const noexcept;
  // kNoClass when there is none.
  TClassId SuperclassOf(TClassId id) const noexcept { return classes[id].superclass; }
  // Whether nothing was ever written to it.
  bool IsUntouched() const noexcept { return classes.size() == 0 && names.size() == 0; }
  // How much a copy of it takes: an instance with its cells about eight times as much as a name.
  std::size_t Weight() const noexcept {
    return rows.size() * std::size_t{8} + classes.size() + declarations.size() + names.size();
  }
  // Changes whenever a class or a declaration does.
  std::uint32_t Generation() const noexcept { return generation; }

  // The cell of a text, and of an array's text.
  TCell StoreTextCell(std::string_view text) { return CellOf(StoreText(texts->single, text)); }
  TCell StoreArrayCell(std::string_view text) { return CellOf(StoreText(texts->arrays, text)); }
  // Stores a new instance, which takes a copy of the cells.
  // REQUIRES: as many cells as the shape has properties.
  TRowId AddRow(TClassId classId, TShapeId shape, std::span<const TCell> cells);
  // How much a state holds of what is only ever added.
  struct TExtent {
    TRowId rows;
    std::uint32_t names;
    std::uint32_t shapes;
  };
  TExtent Extent() const noexcept { return {rows.size(), names.size(), shapes.size()}; }
  // Adds the instances that `copy`, a copy of this state, got since it had this extent, and takes
  // over its memory; it may only be destroyed then. REQUIRES: no class was declared in it, and no
  // older instance changed.
  void TakeOver(TCimState& copy, const TExtent& copied);
  // What is added from here on is of another document.
  void BeginDocument() { documents.push_back(rows.size()); }
  // Where in its document an instance stands; 0 where nobody kept it.
  void SetOffset(TRowId row, std::uint32_t offset);
  std::uint32_t OffsetOf(TRowId row) const noexcept {
    return row < offsets.size() ? offsets[row] : 0;
  }
  // The first row of each document, or of one behind it.
  const std::vector<TRowId>& Documents() const noexcept { return documents; }
  // Writes a property of a stored instance, which may change its shape.
  void SetCell(TRowId row, TNameId name, TForm form, TCell cell);
  // In order of creation.
  std::vector<TRowId> InstancesOf(TClassId classId, bool deep) const;

  TNameId FindOrAddName(std::string_view name) { return names.FindOrAdd(name, texts->single); }
  TNameId FindName(std::string_view name) const noexcept { return names.Find(name); }
  TNameTable::TEntry& Name(TNameId id) noexcept { return names[id]; }
  // Numbers one more class or instance that is being written.
  std::uint32_t NextWritten() noexcept { return ++written; }
  std::string_view NameText(TNameId id) const noexcept { return ViewOf(names[id].text); }
  std::string_view ClassName(TClassId id) const noexcept { return NameText(classes[id].name); }
  TShapeTable& Shapes() noexcept { return shapes; }
  const TShapeTable& Shapes() const noexcept { return shapes; }
  const TRow& Row(TRowId id) const noexcept { return rows[id]; }
  TRowId RowCount() const noexcept { return rows.size(); }
  // The memory of every text, which lives as long as a holder.
  const boost::shared_ptr<TTextMemory>& Texts() const noexcept { return texts; }

 private:
  TClassId AddClass(TNameId name);
  TClassId TopOf(TClassId classId) noexcept;
  void Derive(TClassId classId, TClassId superclass);
  std::size_t DeclarationSlot(TClassId classId, TNameId name) const noexcept;
  void GrowDeclarations();
  TCell* StoreCells(std::span<const TCell> cells);
  TRowId Append(const TRow& row);

  boost::shared_ptr<TTextMemory> texts;
  // Holds multiples of a cell only, so that each is aligned.
  TArena cellMemory;
  TNameTable names;
  TShapeTable shapes;
  TStableVector<TClassEntry> classes;
  TStableVector<TDeclaration> declarations;
  std::vector<std::uint32_t> declarationSlots;
  TStableVector<TRow> rows;
  std::vector<std::uint32_t> offsets;  // By row; shorter where nobody keeps them.
  std::vector<TRowId> documents;
  std::uint32_t generation = 0;
  std::uint32_t written = 0;
};

// What several in-memory namespaces hold in common, as the machines of a fleet do a catalogue: it
// is loaded once, and each namespace copies it before it is written to. The handles may be used
// from any thread, a namespace from one at a time.

// What a namespace holds, to be shared with others.
class TSharedState;
using TSharedStateHandle = boost::shared_ptr<const TSharedState>;

// All functions on namespaces throw THSKException (kFailed) when the namespace is empty or no
// in-memory one.
//
// From here on `source` shares what it holds with whoever adopts it.
HSKCORE_API TSharedStateHandle
ShareState(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& source);
// From here on `target` holds what `state` does, instead of what it held. No class or instance of
// it may have been handed out.
HSKCORE_API void AdoptState(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target,
                            const TSharedStateHandle& state);
// What `target` shares; null when it was written to since, or never shared anything.
HSKCORE_API TSharedStateHandle
SharedStateOf(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target);
// Whether it holds nothing but what it shares.
HSKCORE_API bool TakesSharedStates(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target);

// How much a copy of it takes, in its instances, classes and names, an instance counted for more.
HSKCORE_API std::size_t WeightOf(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target);

// Instances of one shared state that readers can do without.
class THiddenInstances;
using THiddenInstancesHandle = boost::shared_ptr<const THiddenInstances>;

// `isHidden` tells by the instance's number; instances behind its last are not. REQUIRES: a state.
HSKCORE_API THiddenInstancesHandle MakeHiddenInstances(const TSharedStateHandle& state,
                                                       std::vector<bool> isHidden);
// From here on enumerations of `target` leave these out, whenever it holds that state and nothing
// else; empty for none.
HSKCORE_API void HideInstances(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target,
                               const THiddenInstancesHandle& hidden);

}  // namespace svc
