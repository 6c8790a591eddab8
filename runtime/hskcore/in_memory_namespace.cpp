#include "runtime/hskcore/in_memory_namespace.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <memory>
#include <typeinfo>
#include <vector>

#include "base/shown_text.h"
#include "host/hskcore/exception.h"
#include "runtime/hskcore/cell.h"
#include "runtime/hskcore/in_memory_objects.h"
#include "runtime/hskcore/name_table.h"

namespace svc {

using NQRXHSK20::CIMContext;
using NQRXHSK20::ECIMType;
using NQRXHSK20::ICIMClass;
using NQRXHSK20::ICIMInstance;
using NQRXHSK20::ICIMNamespace;
using NQRXHSK20::TCIMValue;
using NQRXHSK20::THSKException;
using NQRXHSK20::THSKStatusCode;
using NQRXHSK20::TInstanceCallback;

[[noreturn]] static void ThrowNoProperty(std::string_view className, std::string_view name) {
  throw THSKException("An instance of class \"" + CutName(className) + "\" has no property \"" +
                          CutName(name) + "\"",
                      THSKStatusCode::kNoSuchProperty);
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

void TInMemoryNamespace::HoldCopyOf(const TInMemoryNamespace& other) {
  Hold(boost::make_shared<TCimState>(*other.state));
  keepsPlaces = other.keepsPlaces;
}

void TInMemoryNamespace::Unshare() {
  Hold(boost::make_shared<TCimState>(*state));
  shared.reset();
}

void TInMemoryNamespace::Hold(boost::shared_ptr<TCimState> newState) {
  state.swap(newState);
  finder = TPropertyFinder();
}

void TInMemoryNamespace::GetClass(boost::shared_ptr<ICIMClass>& cimClass, std::string_view name,
                                  const CIMContext&) {
  if (observer != nullptr) observer->OnGetClass(name);
  const TNameId nameId = recentNames.Find(*state, name);
  const TClassId id = nameId == kNone ? kNoClass : state->ClassOf(nameId);
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

bool TInMemoryNamespace::Find(TRowId row, std::string_view name, TPropertyFinder::TFound& found) {
  const TNameId nameId = recentNames.Find(*state, name);
  return nameId != kNone && finder.Find(*state, row, nameId, found);
}

std::optional<std::string> TInMemoryNamespace::TextOf(TRowId row, std::string_view name) {
  TPropertyFinder::TFound found;
  if (!Find(row, name, found)) return {};
  const bool isText = IsStoredAsText(found.form) && !found.form.isArray && found.cell != 0;
  return isText ? std::string(svc::ViewOf(svc::TextOf(found.cell)))
                : ValueOfCell(found.form, found.cell).ToString(10);
}

std::optional<std::string_view> TInMemoryNamespace::ViewOf(TRowId row, std::string_view name) {
  TPropertyFinder::TFound found;
  if (!Find(row, name, found)) return {};
  const bool isText = IsStoredAsText(found.form) && !found.form.isArray && found.cell != 0;
  if (!isText) return {};
  return svc::ViewOf(svc::TextOf(found.cell));
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
  const TNameId nameId = state->FindName(name);
  for (TClassId at = id; nameId != kNone && at != kNoClass; at = state->SuperclassOf(at)) {
    if (const TDeclaration* declaration = state->FindDeclaration(at, nameId)) {
      return MakeProperty(declaration->form, declaration->defaultCell);
    }
  }
  ThrowNoProperty(state->ClassName(id), name);
}

// Whoever walks over instances has given the last property back when they ask for the next one: it
// is the same object then.
TInMemoryNamespace::TPropertyHandle TInMemoryNamespace::MakeProperty(TForm form, TCell cell) {
  if (lastProperty && lastProperty.use_count() == 1 && lastProperty->Keeps(state->Texts())) {
    lastProperty->SetCell(form, cell);
  } else {
    lastProperty = boost::make_shared<TStoredProperty>(state->Texts(), ValueOfCell(form, cell));
  }
  return lastProperty;
}

TRowId TInMemoryNamespace::Store(TClassId id, const TProperties& properties) {
  std::vector<TCell> cells;
  cells.reserve(properties.size());
  TShapeId shape = TShapeTable::kEmpty;
  for (const auto& [name, value] : properties) {
    const TWrittenCell written = Write(name, value);
    shape = state->Shapes().Extend(shape, written.name, written.form);
    cells.push_back(written.cell);
  }
  return WritableState().AddRow(id, shape, cells);
}

void TInMemoryNamespace::SetProperty(TRowId row, std::string_view name, const TCIMValue& value) {
  const TWrittenCell written = Write(name, value);
  state->SetCell(row, written.name, written.form, written.cell);
}

TInMemoryNamespace::TWrittenCell TInMemoryNamespace::Write(std::string_view name,
                                                           const TCIMValue& value) {
  WritableState();
  const TNameId id = state->FindOrAddName(name);
  const ECIMType type = value.Type();
  const TForm form{type, value.IsArray(), false};
  if (value.IsNull()) {
    return {id, {type, form.isArray, !IsStoredAsText(form)}, 0};
  }
  if (form.isArray) {
    return {id, form, StoreArray(value)};
  }
  const std::string text = value.ToString(10);
  return {id, form,
          IsStoredAsText(form) ? state->StoreTextCell(text) : NumberFromText(type, text).value()};
}

TCell TInMemoryNamespace::StoreArray(const TCIMValue& value) {
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
  return state->StoreArrayCell(arrayText.Finish());
}

std::optional<TPlace> TInMemoryNamespace::PlaceOf(TRowId row) const {
  const std::uint32_t offset = state->OffsetOf(row);
  const std::vector<TRowId>& documents = state->Documents();
  const auto behind = std::upper_bound(documents.begin(), documents.end(), row);
  if (offset == 0 || behind == documents.begin()) return {};
  return TPlace{static_cast<std::size_t>(behind - documents.begin()) - 1, offset};
}

IInstanceSink* TInMemoryNamespace::SinkOf(TClassId id) const noexcept {
  if (sink == nullptr) return nullptr;
  // Nearly always it is the class itself, written just so.
  if (state->ClassName(id) == sunkClass) return sink;
  const TClassId sunk = state->FindClass(sunkClass);
  while (id != kNoClass && id != sunk) id = state->SuperclassOf(id);
  return id == kNoClass ? nullptr : sink;
}

boost::shared_ptr<TInMemoryNamespace> InMemoryOf(const boost::shared_ptr<ICIMNamespace>& target) {
  if (!target) {
    throw THSKException("There is no namespace to write to", THSKStatusCode::kFailed);
  }
  const auto found = boost::dynamic_pointer_cast<TInMemoryNamespace>(target);
  if (!found) {
    throw THSKException("Documents can be read into namespaces of the provider \"inmem\" only",
                        THSKStatusCode::kFailed);
  }
  return found;
}

void SetReadObserver(const boost::shared_ptr<ICIMNamespace>& target, IReadObserver* observer) {
  InMemoryOf(target)->SetObserver(observer);
}

void SetInstanceSink(const boost::shared_ptr<ICIMNamespace>& target, std::string_view className,
                     IInstanceSink* sink) {
  InMemoryOf(target)->SetSink(className, sink);
}

bool HasSuperclass(const boost::shared_ptr<ICIMNamespace>& source, std::string_view className) {
  const TCimState& state = InMemoryOf(source)->State();
  const TClassId id = state.FindClass(className);
  return id != kNoClass && state.SuperclassOf(id) != kNoClass;
}

std::optional<std::string_view> StoredView(const ICIMInstance& instance, std::string_view name) {
  if (typeid(instance) != typeid(TStoredInstance)) return {};
  return static_cast<const TStoredInstance&>(instance).View(name);
}

std::optional<std::string> StoredText(const ICIMInstance& instance, std::string_view name) {
  if (typeid(instance) != typeid(TStoredInstance)) return {};
  return static_cast<const TStoredInstance&>(instance).Text(name);
}

void KeepPlaces(const boost::shared_ptr<ICIMNamespace>& target) {
  InMemoryOf(target)->KeepPlaces();
}

std::optional<TPlace> PlaceOf(const ICIMInstance& instance) {
  if (typeid(instance) != typeid(TStoredInstance)) return {};
  return static_cast<const TStoredInstance&>(instance).Place();
}

TRowId NumberOf(const ICIMInstance& instance) noexcept {
  return static_cast<const TStoredInstance&>(instance).Number();
}

boost::shared_ptr<ICIMNamespace> MakeInMemoryNamespace() {
  return boost::make_shared<TInMemoryNamespace>();
}

}  // namespace svc
