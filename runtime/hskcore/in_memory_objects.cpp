#include "runtime/hskcore/in_memory_objects.h"

#include <boost/make_shared.hpp>
#include <string>
#include <utility>
#include <vector>

#include "host/hskcore/exception.h"
#include "runtime/hskcore/hash.h"
#include "runtime/hskcore/stored_property.h"
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
  throw THSKException("An instance of class \"" + std::string(className) + "\" has no property \"" +
                          std::string(name) + "\"",
                      THSKStatusCode::kNoSuchProperty);
}

[[noreturn]] void ThrowCommitted(std::string_view className) {
  throw THSKException(
      "This instance of class \"" + std::string(className) + "\" is committed already",
      THSKStatusCode::kFailed);
}

}  // namespace

void TInMemoryClass::CreateInstance(boost::shared_ptr<ICIMInstance>& instance, const CIMContext&) {
  instance = boost::make_shared<TCreatedInstance>(owner->shared_from_this(), id);
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

void TStoredInstance::SetPropertyValue(std::string_view name, const TCIMValue& value,
                                       const CIMContext&) {
  owner->SetProperty(row, name, value);
}

void TCreatedInstance::Commit(const CIMContext&) {
  if (row != kNone) {
    ThrowCommitted(owner->State().ClassName(classId));
  }
  row = owner->Store(classId, values);
  values.clear();
}

void TCreatedInstance::GetProperty(boost::shared_ptr<ICIMProperty>& property, std::string_view name,
                                   const CIMContext&) const {
  if (row != kNone) {
    property = owner->PropertyOf(row, name);
    return;
  }
  const auto written = values.find(owner->State().FindName(name));
  property = written == values.end()
                 ? owner->DeclaredProperty(classId, name)
                 : boost::make_shared<TStoredProperty>(nullptr, written->second);
}

void TCreatedInstance::SetPropertyValue(std::string_view name, const TCIMValue& value,
                                        const CIMContext&) {
  if (row != kNone) {
    owner->SetProperty(row, name, value);
    return;
  }
  values.insert_or_assign(owner->WritableState().FindOrAddName(name), value);
}

TInMemoryNamespace::TInMemoryNamespace() : state(boost::make_shared<TCimState>()) {}

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
  lastAskedFor = kNone;
  recent.clear();
  seenOnce.clear();
}

void TInMemoryNamespace::GetClass(boost::shared_ptr<ICIMClass>& cimClass, std::string_view name,
                                  const CIMContext&) {
  if (observer != nullptr) observer->OnGetClass(name);
  const TClassId id = state->FindClass(name);
  if (id == kNoClass) {
    throw THSKException("There is no class \"" + std::string(name) + "\"",
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
  std::vector<TRowId> rows = state->InstancesOf(id, deep);
  if (hidden && shared && hidden->state == shared) {
    std::erase_if(rows, [&isHidden = hidden->isHidden](TRowId row) {
      return row < isHidden.size() && isHidden[row];
    });
  }
  return rows;
}

void TInMemoryNamespace::Enumerate(TClassId id, bool deep, const TInstanceCallback& callback) {
  const std::vector<TRowId> rows = ShownInstancesOf(id, deep);
  while (!rows.empty() && instances.size() <= rows.back()) {
    instances.Append({this, instances.size()});
  }
  const auto self = shared_from_this();
  for (const TRowId row : rows) {
    callback(boost::shared_ptr<ICIMInstance>(self, &instances[row]));
  }
}

TNameId TInMemoryNamespace::NameAskedFor(std::string_view name) noexcept {
  if (lastAskedFor == kNone || state->NameText(lastAskedFor) != name) {
    lastAskedFor = state->FindName(name);
  }
  return lastAskedFor;
}

TInMemoryNamespace::TPropertyHandle TInMemoryNamespace::PropertyOf(TRowId row,
                                                                   std::string_view name) {
  const TNameId nameId = NameAskedFor(name);
  TPropertyFinder::TFound found;
  if (nameId == kNone || !finder.Find(*state, row, nameId, found)) {
    ThrowNoProperty(state->ClassName(state->Row(row).classId), name);
  }
  if (shared && found.place != kNone) return shared->Property(row, found, shared);
  return MakeProperty(found.form, found.cell);
}

TInMemoryNamespace::TPropertyHandle TInMemoryNamespace::DeclaredProperty(TClassId id,
                                                                         std::string_view name) {
  const TNameId nameId = state->FindName(name);
  for (TClassId at = id; nameId != kNone && at != kNoClass; at = state->SuperclassOf(at)) {
    if (const TDeclaration* declaration = state->FindDeclaration(at, nameId)) {
      return MakeProperty(declaration->form, declaration->defaultCell);
    }
  }
  ThrowNoProperty(state->ClassName(id), name);
}

TInMemoryNamespace::TPropertyHandle TInMemoryNamespace::MakeProperty(TForm form, TCell cell) {
  if (recent.empty()) {
    recent.resize(kRecent);
    seenOnce.resize(kRecent);
  }
  const std::size_t place = Mix(cell ^ HashSeed(), kMixA) % kRecent;
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

TRowId TInMemoryNamespace::Store(TClassId id, const std::map<TNameId, TCIMValue>& values) {
  WritableState();
  std::vector<TCell> cells;
  TShapeId shape = TShapeTable::kEmpty;
  for (const auto& [name, value] : values) {
    const auto [form, cell] = Encode(name, value);
    shape = state->Shapes().Extend(shape, name, form);
    cells.push_back(cell);
  }
  return state->AddRow(id, shape, cells);
}

void TInMemoryNamespace::SetProperty(TRowId row, std::string_view name, const TCIMValue& value) {
  const TNameId nameId = WritableState().FindOrAddName(name);
  const auto [form, cell] = Encode(nameId, value);
  state->SetCell(row, nameId, form, cell);
}

std::pair<TForm, TCell> TInMemoryNamespace::Encode(TNameId name, const TCIMValue& value) {
  const ECIMType type = value.Type();
  const TForm form{type, value.IsArray(), false};
  if (value.IsNull()) {
    return {{type, form.isArray, !IsStoredAsText(form)}, 0};
  }
  if (!IsStoredAsText(form)) {
    return {form, NumberFromText(type, value.ToString(10)).value()};
  }
  if (!form.isArray) {
    return {form, state->StoreTextOf(name, value.ToString(10))};
  }
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
  return {form, state->StoreTextOf(name, arrayText.Finish())};
}

}  // namespace svc
