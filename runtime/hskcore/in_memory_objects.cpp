#include "runtime/hskcore/in_memory_objects.h"

#include <algorithm>
#include <boost/make_shared.hpp>

#include "base/shown_text.h"
#include "host/hskcore/exception.h"

namespace svc {

// A longer shape gets an index when it is asked for a property.
constexpr std::uint32_t kLongestWalk = 24;
constexpr std::uint32_t kStepsBetweenMarks = 8;

static std::uint64_t HashOf(TShapeId shape, std::uint32_t other) noexcept {
  return Mix(((static_cast<std::uint64_t>(shape) << 32) | other) ^ HashSeed(), kMixA);
}

bool TPropertyFinder::Find(const TCimState& state, TRowId rowId, TNameId name, TFound& found) {
  const TRow& row = state.Row(rowId);
  if (generation != state.Generation()) {
    recent.fill({});
    inherited.clear();
    generation = state.Generation();
  }
  // Who chooses names so that they meet here only has them looked for anew.
  const std::uint64_t both = (static_cast<std::uint64_t>(row.shape) << 32) | name;
  TPlace& place = recent[(Mix(both, kMixA) ^ row.classId) % recent.size()];
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

using NQRXHSK20::CIMContext;
using NQRXHSK20::ICIMInstance;
using NQRXHSK20::ICIMProperty;
using NQRXHSK20::TCIMValue;
using NQRXHSK20::THSKException;
using NQRXHSK20::THSKStatusCode;
using NQRXHSK20::TInstanceCallback;
using NQRXHSK20::TSharedText;

[[noreturn]] static void ThrowCommitted(std::string_view className, std::string_view more = {}) {
  throw THSKException("This instance of class \"" + CutName(className) + "\" is committed already" +
                          std::string(more),
                      THSKStatusCode::kFailed);
}

// Of a value that stays where it is.
static TSharedText TextOfValue(const TCIMValue& value) {
  if (const TSharedText* const shared = value.SharedText()) return *shared;
  if (const auto view = value.TextView()) return {nullptr, *view};
  return value.ToString(10);
}

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

std::optional<std::string_view> TStoredInstance::View(std::string_view name) const {
  return owner->ViewOf(row, name);
}
std::optional<std::string> TStoredInstance::Text(std::string_view name) const {
  return owner->TextOf(row, name);
}

std::optional<TPlace> TStoredInstance::Place() const { return owner->PlaceOf(row); }

void TStoredInstance::SetPropertyValue(std::string_view name, const TCIMValue& value,
                                       const CIMContext&) {
  owner->SetProperty(row, name, value);
}

TCreatedInstance::TCreatedInstance(const boost::shared_ptr<TInMemoryNamespace>& owner,
                                   TClassId classId)
    : owner(owner), classId(classId), isSunk(owner->SinkOf(classId) != nullptr) {}

void TCreatedInstance::Commit(const CIMContext&) {
  if (isSunk) return CommitToSink();
  if (row != kNone) ThrowCommitted(owner->State().ClassName(classId));
  row = owner->Store(classId, properties);
  properties.clear();
}

void TCreatedInstance::CommitToSink() {
  IInstanceSink* const sink = isGone ? nullptr : owner->SinkOf(classId);
  if (sink == nullptr) ThrowCommitted(owner->State().ClassName(classId), ", or nobody takes it");
  sink->Take(*this);
  isGone = true;
}

const TCIMValue* TCreatedInstance::Find(std::string_view name) const {
  // Nearly always they are read in the order in which they were written.
  for (std::size_t i = 0; i < properties.size(); ++i) {
    if (next >= properties.size()) next = 0;
    const auto& [written, value] = properties[next++];
    if (SameName(written, name)) return &value;
  }
  return nullptr;
}

void TCreatedInstance::GetProperty(boost::shared_ptr<ICIMProperty>& property, std::string_view name,
                                   const CIMContext&) const {
  if (row != kNone) {
    property = owner->PropertyOf(row, name);
  } else if (const TCIMValue* const value = Find(name)) {
    property = boost::make_shared<TStoredProperty>(owner->State().Texts(), *value);
  } else {
    property = owner->DeclaredProperty(classId, name);
  }
}

void TCreatedInstance::SetPropertyValue(std::string_view name, const TCIMValue& value,
                                        const CIMContext&) {
  if (row != kNone) return owner->SetProperty(row, name, value);
  for (auto& [written, before] : properties) {
    if (!SameName(written, name)) continue;
    before = value;
    return;
  }
  constexpr std::size_t kUsual = 4;
  properties.reserve(kUsual);
  properties.emplace_back(name, value);
}

TSharedText TCreatedInstance::Text(std::string_view name) const {
  if (const TCIMValue* const value = Find(name)) return TextOfValue(*value);
  try {
    return owner->DeclaredProperty(classId, name)->Value({}).ToString(10);
  } catch (const THSKException&) {
    return {};
  }
}

}  // namespace svc
