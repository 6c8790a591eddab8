#include "runtime/hskcore/in_memory_objects.h"

#include <algorithm>
#include <bit>
#include <boost/make_shared.hpp>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/shown_text.h"
#include "host/hskcore/exception.h"
#include "runtime/hskcore/cell.h"
#include "runtime/hskcore/name_table.h"
#include "runtime/hskcore/value_text.h"

namespace svc {

using NQRXHSK20::CIMContext;
using NQRXHSK20::ECIMType;
using NQRXHSK20::ICIMClass;
using NQRXHSK20::ICIMInstance;
using NQRXHSK20::ICIMProperty;
using NQRXHSK20::TCIMValue;
using NQRXHSK20::THSKException;
using NQRXHSK20::THSKStatusCode;
using NQRXHSK20::TInstanceCallback;

namespace {

[[noreturn]] void ThrowNoProperty(std::string_view className, std::string_view name) {
  throw THSKException("An instance of class \"" + CutName(className) + "\" has no property \"" +
                          CutName(name) + "\"",
                      THSKStatusCode::kNoSuchProperty);
}

[[noreturn]] void ThrowCommitted(std::string_view className) {
  throw THSKException("This instance of class \"" + CutName(className) + "\" is committed already",
                      THSKStatusCode::kFailed);
}

}  // namespace

void TInMemoryClass::CreateInstance(boost::shared_ptr<ICIMInstance>& instance, const CIMContext&) {
  if (owner->SinkOf(id) != nullptr) {
    instance = boost::make_shared<TSunkInstance>(owner->shared_from_this(), id);
  } else {
    instance = boost::make_shared<TCreatedInstance>(owner->shared_from_this(), id);
  }
}

void TInMemoryClass::EnumerateInstances(const TInstanceCallback& callback, bool deep,
                                        const CIMContext&) {
  owner->Enumerate(id, deep, callback);
}

void TStoredInstance::Commit(const CIMContext&) {
  ThrowCommitted(owner->State().ClassName(owner->State().Row(row).classId));
}

void TStoredInstance::GetProperty(boost::shared_ptr<ICIMProperty>& property, std::string_view name,
                                  const CIMContext&) const {
  if (IReadObserver* const observer = owner->Observer()) observer->OnGetProperty(*this, name);
  property = owner->PropertyOf(row, name);
}

std::optional<std::string> TStoredInstance::Text(std::string_view name) const {
  return owner->TextOf(row, name);
}

void TStoredInstance::SetPropertyValue(std::string_view name, const TCIMValue& value,
                                       const CIMContext&) {
  owner->SetProperty(row, name, value);
}

void TCreatedInstance::Commit(const CIMContext&) {
  if (row != kNone) {
    ThrowCommitted(owner->State().ClassName(classId));
  }
  row = owner->Store(classId, cells);
  cells.clear();
}

void TCreatedInstance::GetProperty(boost::shared_ptr<ICIMProperty>& property, std::string_view name,
                                   const CIMContext&) const {
  if (row != kNone) {
    property = owner->PropertyOf(row, name);
    return;
  }
  const TNameId id = owner->State().FindName(name);
  const auto written = std::find_if(cells.begin(), cells.end(),
                                    [id](const TWrittenCell& cell) { return cell.name == id; });
  property = written == cells.end() ? owner->DeclaredProperty(classId, name)
                                    : owner->MakeProperty(written->form, written->cell);
}

void TCreatedInstance::SetPropertyValue(std::string_view name, const TCIMValue& value,
                                        const CIMContext&) {
  if (row != kNone) {
    owner->SetProperty(row, name, value);
    return;
  }
  constexpr std::size_t kUsual = 4;
  cells.reserve(kUsual);
  const TWrittenCell written = owner->Write(name, value);
  const auto before = std::find_if(cells.begin(), cells.end(), [&](const TWrittenCell& cell) {
    return cell.name == written.name;
  });
  if (before == cells.end()) {
    cells.push_back(written);
  } else {
    *before = written;
  }
}

TInMemoryNamespace::TInMemoryNamespace() : state(boost::make_shared<TCimState>()) {
  likelyNames.fill(kNone);
}

TSharedStateHandle TInMemoryNamespace::Share() {
  if (!shared) shared = boost::make_shared<const TSharedState>(state);
  return shared;
}

void TInMemoryNamespace::Adopt(const TSharedStateHandle& other) {
  Hold(other->State());
  shared = other;
}

void TInMemoryNamespace::Unshare() {
  Hold(boost::make_shared<TCimState>(*state));
  shared.reset();
}

void TInMemoryNamespace::Hold(boost::shared_ptr<TCimState> newState) {
  state.swap(newState);
  finder = TPropertyFinder();
  likelyNames.fill(kNone);
  recent.clear();
  seenOnce.clear();
}

void TInMemoryNamespace::GetClass(boost::shared_ptr<ICIMClass>& cimClass, std::string_view name,
                                  const CIMContext&) {
  if (observer != nullptr) observer->OnGetClass(name);
  const TClassId id = state->FindClass(name);
  if (id == kNoClass) {
    throw THSKException("There is no class \"" + CutName(name) + "\"",
                        THSKStatusCode::kClassNotFound);
  }
  cimClass = ClassHandle(id);
}

boost::shared_ptr<ICIMClass> TInMemoryNamespace::ClassHandle(TClassId id) {
  while (classes.size() <= id) {
    classes.Append({this, classes.size()});
  }
  return {shared_from_this(), &classes[id]};
}

std::vector<TRowId> TInMemoryNamespace::ShownInstancesOf(TClassId id, bool deep) const {
  if (!shared) return state->InstancesOf(id, deep);
  const bool isShortened = hidden && hidden->State() == shared;
  return isShortened ? hidden->ShownInstancesOf(id, deep) : shared->InstancesOf(id, deep);
}

void TInMemoryNamespace::Enumerate(TClassId id, bool deep, const TInstanceCallback& callback) {
  const std::vector<TRowId> rows = ShownInstancesOf(id, deep);
  const auto self = shared_from_this();
  for (const TRowId row : rows) {
    callback(boost::shared_ptr<ICIMInstance>(self, &InstanceAt(row)));
  }
}

TStoredInstance& TInMemoryNamespace::InstanceAt(TRowId row) {
  constexpr std::size_t kBlock = std::tuple_size_v<TInstanceBlock>;
  if (instances.size() <= row / kBlock) instances.resize(row / kBlock + 1);
  std::unique_ptr<TInstanceBlock>& block = instances[row / kBlock];
  if (!block) {
    block = std::make_unique<TInstanceBlock>();
    for (TRowId i = 0; i < kBlock; ++i) {
      (*block)[i] = {this, static_cast<TRowId>(row - row % kBlock + i)};
    }
  }
  return (*block)[row % kBlock];
}

TNameId TInMemoryNamespace::FindName(std::string_view name) {
  if (name.empty()) return state->FindName(name);
  const auto byteAt = [&](std::size_t at) { return static_cast<unsigned char>(name[at]); };
  const std::size_t seen = name.size() * 5 + byteAt(0) + byteAt(name.size() - 1) * std::size_t{3};
  TNameId& likely = likelyNames[seen % likelyNames.size()];
  if (likely == kNone || state->NameText(likely) != name) likely = state->FindName(name);
  return likely;
}

bool TInMemoryNamespace::Find(TRowId row, std::string_view name, TPropertyFinder::TFound& found) {
  const TNameId nameId = FindName(name);
  if (nameId == kNone || !finder.Find(*state, row, nameId, found)) return false;
  // Where some are hidden, the next ones are seldom read.
  if (!hidden) TPropertyFinder::FetchNext(*state, row, found);
  return true;
}

std::optional<std::string> TInMemoryNamespace::TextOf(TRowId row, std::string_view name) {
  TPropertyFinder::TFound found;
  if (!Find(row, name, found)) return {};
  const bool isText = IsStoredAsText(found.form) && !found.form.isArray && found.cell != 0;
  return isText ? std::string(ViewOf(svc::TextOf(found.cell)))
                : ValueOfCell(found.form, found.cell).ToString(10);
}

TInMemoryNamespace::TPropertyHandle TInMemoryNamespace::PropertyOf(TRowId row,
                                                                   std::string_view name) {
  TPropertyFinder::TFound found;
  if (!Find(row, name, found)) ThrowNoProperty(state->ClassName(state->Row(row).classId), name);
  if (shared && found.place != kNone) return shared->Property(row, found, shared);
  return MakeProperty(found.form, found.cell);
}

TInMemoryNamespace::TPropertyHandle TInMemoryNamespace::DeclaredProperty(TClassId id,
                                                                         std::string_view name) {
  const TNameId nameId = FindName(name);
  for (TClassId at = id; nameId != kNone && at != kNoClass; at = state->SuperclassOf(at)) {
    if (const TDeclaration* declaration = state->FindDeclaration(at, nameId)) {
      return MakeProperty(declaration->form, declaration->defaultCell);
    }
  }
  ThrowNoProperty(state->ClassName(id), name);
}

TInMemoryNamespace::TPropertyHandle TInMemoryNamespace::MakeProperty(TForm form, TCell cell) {
  if (recent.empty()) {
    // Of what is shared only the classes' own properties are made here.
    const std::size_t rows = shared ? 0 : state->RowCount();
    const std::size_t size = std::bit_ceil(std::clamp(rows, kFewestRecent, kMostRecent));
    recent.resize(size);
    seenOnce.resize(size);
  }
  const std::size_t place = Mix(cell ^ HashSeed(), kMixA) & (recent.size() - 1);
  auto& [first, second] = recent[place];
  if (first.Holds(form, cell)) {
    return first.property;
  }
  if (!second.Holds(form, cell)) {
    if (std::exchange(seenOnce[place], cell) != cell) {
      return NewProperty(form, cell);
    }
    second = {form, cell, NewProperty(form, cell)};
  }
  std::swap(first, second);
  return first.property;
}

TInMemoryNamespace::TPropertyHandle TInMemoryNamespace::NewProperty(TForm form, TCell cell) const {
  return boost::make_shared<TStoredProperty>(state->Texts(), ValueOfCell(form, cell));
}

TRowId TInMemoryNamespace::Store(TClassId id, const std::vector<TWrittenCell>& written) {
  WritableState();
  std::vector<TCell> cells;
  cells.reserve(written.size());
  TShapeId shape = TShapeTable::kEmpty;
  for (const auto& [name, form, cell] : written) {
    shape = state->Shapes().Extend(shape, name, form);
    cells.push_back(cell);
  }
  return state->AddRow(id, shape, cells);
}

void TInMemoryNamespace::SetProperty(TRowId row, std::string_view name, const TCIMValue& value) {
  const TWrittenCell written = Write(name, value);
  state->SetCell(row, written.name, written.form, written.cell);
}

TWrittenCell TInMemoryNamespace::Write(std::string_view name, const TCIMValue& value) {
  WritableState();
  const TNameId known = FindName(name);
  const TNameId id = known == kNone ? state->FindOrAddName(name) : known;
  const ECIMType type = value.Type();
  const TForm form{type, value.IsArray(), false};
  if (value.IsNull()) {
    return {id, {type, form.isArray, !IsStoredAsText(form)}, 0};
  }
  if (form.isArray) {
    return {id, form, StoreArray(id, value)};
  }
  const std::string text = value.ToString(10);
  return {id, form,
          IsStoredAsText(form) ? state->StoreTextOf(id, text) : NumberFromText(type, text).value()};
}

TCell TInMemoryNamespace::StoreArray(TNameId name, const TCIMValue& value) {
  const ECIMType type = value.Type();
  arrayText.Begin();
  for (const TCIMValue& element : static_cast<const std::vector<TCIMValue>&>(value)) {
    if (element.IsNull()) {
      arrayText.AddNull();
    } else if (IsTextType(type)) {
      arrayText.AddText(element.ToString(10));
    } else {
      arrayText.AddNumber(NumberFromText(type, element.ToString(10)).value());
    }
  }
  return state->StoreTextOf(name, arrayText.Finish());
}

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

}  // namespace svc
