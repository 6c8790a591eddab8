#include "runtime/hskcore/cim_state.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>
#include <utility>

#include "base/shown_text.h"
#include "host/hskcore/exception.h"
#include "runtime/hskcore/in_memory_objects.h"

namespace svc {

using NQRXHSK20::THSKException;
using NQRXHSK20::THSKStatusCode;

[[noreturn]] static void Refuse(const std::string& cause) {
  throw THSKException(cause, THSKStatusCode::kFailed);
}

static std::string Quoted(std::string_view text) { return "\"" + CutName(text) + "\""; }

TCimState::TCimState() : texts(boost::make_shared<TTextMemory>()), declarationSlots(64, kNone) {}

// Texts never change, so that those of the other are shared; cells do.
TCimState::TCimState(const TCimState& other)
    : texts(boost::make_shared<TTextMemory>(other.texts)),
      names(other.names),
      shapes(other.shapes),
      classes(other.classes),
      declarations(other.declarations),
      declarationSlots(other.declarationSlots),
      rows(other.rows),
      offsets(other.offsets),
      documents(other.documents),
      generation(other.generation),
      written(other.written) {
  for (TRowId row = 0; row < rows.size(); ++row) {
    rows[row].cells = StoreCells({rows[row].cells, shapes[rows[row].shape].depth});
  }
}

TClassId TCimState::FindClass(std::string_view name) const noexcept {
  const TNameId id = names.Find(name);
  return id == kNone ? kNoClass : names[id].classId;
}

TClassId TCimState::DeclareClass(std::string_view name, std::string_view superclass) {
  const TClassId above = superclass.empty() ? kNoClass : FindClass(superclass);
  if (!superclass.empty() && above == kNoClass) {
    Refuse("CLASS " + Quoted(name) + ": its superclass " + Quoted(superclass) +
           " is not declared before it");
  }
  const TNameId nameId = FindOrAddName(name);
  TClassId classId = names[nameId].classId;
  if (classId == kNoClass) {
    classId = AddClass(nameId);
  }
  if (above != kNoClass && above != classes[classId].superclass) {
    Derive(classId, above);
  }
  return classId;
}

TClassId TCimState::AddClass(TNameId name) {
  const TClassId id = classes.size();
  classes.Append({name, kNoClass, id, kNoClass, kNoClass, kNone, kNone});
  names[name].classId = id;
  ++generation;
  return id;
}

// Halves the way up each time it is walked, so that a long line of classes costs no more than its
// length.
TClassId TCimState::TopOf(TClassId classId) noexcept {
  while (classes[classId].above != classId) {
    classes[classId].above = classes[classes[classId].above].above;
    classId = classes[classId].above;
  }
  return classId;
}

void TCimState::Derive(TClassId classId, TClassId superclass) {
  TClassEntry& derived = classes[classId];
  if (derived.superclass != kNoClass) {
    Refuse("CLASS " + Quoted(ClassName(classId)) + " has two superclasses: " +
           Quoted(ClassName(derived.superclass)) + " and " + Quoted(ClassName(superclass)));
  }
  if (TopOf(superclass) == classId) {
    Refuse("CLASS " + Quoted(ClassName(classId)) + ": its superclass " +
           Quoted(ClassName(superclass)) + " derives from it");
  }
  derived.superclass = superclass;
  derived.above = superclass;
  derived.nextSibling = classes[superclass].firstSubclass;
  classes[superclass].firstSubclass = classId;
  ++generation;
}

std::size_t TCimState::DeclarationSlot(TClassId classId, TNameId name) const noexcept {
  const std::uint64_t both = (static_cast<std::uint64_t>(classId) << 32) | name;
  const std::size_t mask = declarationSlots.size() - 1;
  std::size_t at = Mix(both ^ HashSeed(), kMixB) & mask;
  for (; declarationSlots[at] != kNone; at = (at + 1) & mask) {
    const TDeclaration& known = declarations[declarationSlots[at]];
    if (known.classId == classId && known.name == name) {
      break;
    }
  }
  return at;
}

void TCimState::Declare(const TDeclaration& declaration) {
  ++generation;
  std::size_t slot = DeclarationSlot(declaration.classId, declaration.name);
  if (declarationSlots[slot] != kNone) {
    declarations[declarationSlots[slot]] = declaration;
    return;
  }
  if ((declarations.size() + 1) * std::size_t{4} > declarationSlots.size() * 3) {
    GrowDeclarations();
    slot = DeclarationSlot(declaration.classId, declaration.name);
  }
  declarationSlots[slot] = declarations.Append(declaration);
}

void TCimState::GrowDeclarations() {
  declarationSlots.assign(declarationSlots.size() * 2, kNone);
  for (std::uint32_t id = 0; id < declarations.size(); ++id) {
    declarationSlots[DeclarationSlot(declarations[id].classId, declarations[id].name)] = id;
  }
}

const TDeclaration* TCimState::FindDeclaration(TClassId classId, TNameId name) const noexcept {
  const std::uint32_t found = declarationSlots[DeclarationSlot(classId, name)];
  return found == kNone ? nullptr : &declarations[found];
}

TCell* TCimState::StoreCells(std::span<const TCell> cells) {
  auto* stored = reinterpret_cast<TCell*>(cellMemory.Allocate(cells.size_bytes()));
  std::copy(cells.begin(), cells.end(), stored);
  return stored;
}

TRowId TCimState::AddRow(TClassId classId, TShapeId shape, std::span<const TCell> cells) {
  return Append({StoreCells(cells), shape, classId, kNone});
}

TRowId TCimState::Append(const TRow& row) {
  const TRowId id = rows.Append(row);
  TClassEntry& owner = classes[row.classId];
  (owner.firstInstance == kNone ? owner.firstInstance : rows[owner.lastInstance].nextOfClass) = id;
  owner.lastInstance = id;
  return id;
}

// Names and shapes that both have got since may have other numbers here.
void TCimState::TakeOver(TCimState& copy, const TExtent& copied) {
  std::vector<TNameId> namesHere(copy.names.size());
  std::vector<TShapeId> shapesHere(copy.shapes.size());
  for (TNameId id = 0; id < namesHere.size(); ++id) {
    namesHere[id] = id < copied.names ? id : FindOrAddName(copy.NameText(id));
  }
  for (TShapeId id = 0; id < shapesHere.size(); ++id) {
    const TShapeTable::TNode& node = copy.shapes[id];
    shapesHere[id] = id < copied.shapes
                         ? id
                         : shapes.Extend(shapesHere[node.parent], namesHere[node.name], node.form);
  }
  for (TRowId id = copied.rows; id < copy.rows.size(); ++id) {
    const TRow& row = copy.rows[id];
    const TRowId here = Append({row.cells, shapesHere[row.shape], row.classId, kNone});
    if (const std::uint32_t offset = copy.OffsetOf(id)) SetOffset(here, offset);
  }
  texts->TakeOver(*copy.texts);
  cellMemory.TakeOver(copy.cellMemory);
}

void TCimState::SetOffset(TRowId row, std::uint32_t offset) {
  if (offsets.size() <= row) offsets.resize(row + std::size_t{1});
  offsets[row] = offset;
}

// Writes the instance anew with the property's form changed, or with the property added, unless
// its cell can simply be overwritten.
void TCimState::SetCell(TRowId rowId, TNameId name, TForm form, TCell cell) {
  TRow& row = rows[rowId];
  std::vector<TShapeId> path;
  for (TShapeId at = row.shape; at != TShapeTable::kEmpty; at = shapes[at].parent) {
    path.push_back(at);
    if (shapes[at].name == name && shapes[at].form == form) {
      row.cells[shapes[at].depth - 1] = cell;
      return;
    }
  }
  std::vector<TCell> cells(row.cells, row.cells + path.size());
  TShapeId shape = TShapeTable::kEmpty;
  bool isWritten = false;
  for (auto step = path.rbegin(); step != path.rend(); ++step) {
    const TShapeTable::TNode node = shapes[*step];
    const bool isChanged = node.name == name;
    shape = shapes.Extend(shape, node.name, isChanged ? form : node.form);
    if (isChanged) {
      cells[node.depth - 1] = cell;
      isWritten = true;
    }
  }
  if (!isWritten) {
    shape = shapes.Extend(shape, name, form);
    cells.push_back(cell);
  }
  row.cells = StoreCells(cells);
  row.shape = shape;
}

std::vector<TRowId> TCimState::InstancesOf(TClassId classId, bool deep) const {
  std::vector<TRowId> found;
  std::vector<TClassId> open{classId};
  while (!open.empty()) {
    const TClassEntry& entry = classes[open.back()];
    open.pop_back();
    for (TRowId row = entry.firstInstance; row != kNone; row = rows[row].nextOfClass) {
      found.push_back(row);
    }
    for (TClassId child = deep ? entry.firstSubclass : kNoClass; child != kNoClass;
         child = classes[child].nextSibling) {
      open.push_back(child);
    }
  }
  if (!std::is_sorted(found.begin(), found.end())) {
    std::sort(found.begin(), found.end());
  }
  return found;
}

using NQRXHSK20::ICIMNamespace;

TSharedState::TSharedState(boost::shared_ptr<TCimState> stateToShare)
    : state(std::move(stateToShare)) {
  firstCells.reserve(state->RowCount());
  std::uint64_t cells = 0;
  for (TRowId row = 0; row < state->RowCount(); ++row) {
    firstCells.push_back(cells);
    cells += state->Shapes()[state->Row(row).shape].depth;
  }
  properties = std::vector<std::atomic<TStoredProperty*>>(cells);
}

TSharedState::~TSharedState() {
  for (const auto& property : properties) delete property.load(std::memory_order_relaxed);
}

boost::shared_ptr<NQRXHSK20::ICIMProperty> TSharedState::Property(
    TRowId row, const TPropertyFinder::TFound& found,
    const boost::shared_ptr<const TSharedState>& self) const {
  std::atomic<TStoredProperty*>& slot = properties[firstCells[row] + found.place];
  TStoredProperty* property = slot.load(std::memory_order_acquire);
  if (property == nullptr) {
    auto made = std::make_unique<TStoredProperty>(nullptr, ValueOfCell(found.form, found.cell));
    // Another thread may have been faster: its property is taken then.
    if (slot.compare_exchange_strong(property, made.get(), std::memory_order_acq_rel)) {
      property = made.release();
    }
  }
  return {self, property};
}

const std::vector<TRowId>& TSharedState::InstancesOf(TClassId classId, bool deep) const {
  return instances.Of(classId, deep, [&] { return state->InstancesOf(classId, deep); });
}

const std::vector<TRowId>& THiddenInstances::ShownInstancesOf(TClassId classId, bool deep) const {
  return shown.Of(classId, deep, [&] {
    const std::vector<TRowId>& all = state->InstancesOf(classId, deep);
    std::vector<TRowId> rows;
    std::copy_if(all.begin(), all.end(), std::back_inserter(rows),
                 [&](TRowId row) { return row >= isHidden.size() || !isHidden[row]; });
    return rows;
  });
}

THiddenInstancesHandle MakeHiddenInstances(const TSharedStateHandle& state,
                                           std::vector<bool> isHidden) {
  return boost::make_shared<const THiddenInstances>(state, std::move(isHidden));
}

void HideInstances(const boost::shared_ptr<ICIMNamespace>& target,
                   const THiddenInstancesHandle& hidden) {
  InMemoryOf(target)->Hide(hidden);
}

TSharedStateHandle ShareState(const boost::shared_ptr<ICIMNamespace>& source) {
  return InMemoryOf(source)->Share();
}

void AdoptState(const boost::shared_ptr<ICIMNamespace>& target, const TSharedStateHandle& state) {
  InMemoryOf(target)->Adopt(state);
}

bool TakesSharedStates(const boost::shared_ptr<ICIMNamespace>& target) {
  return InMemoryOf(target)->TakesSharedStates();
}

std::size_t WeightOf(const boost::shared_ptr<ICIMNamespace>& target) {
  return InMemoryOf(target)->State().Weight();
}

TSharedStateHandle SharedStateOf(const boost::shared_ptr<ICIMNamespace>& target) {
  return InMemoryOf(target)->SharedState();
}

}  // namespace svc
