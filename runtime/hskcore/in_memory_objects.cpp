#include "runtime/hskcore/in_memory_objects.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <string>

#include "base/shown_text.h"
#include "host/hskcore/exception.h"
#include "runtime/hskcore/cell.h"
#include "runtime/hskcore/name_table.h"

namespace svc {

using NQRXHSK20::CIMContext;
using NQRXHSK20::ICIMInstance;
using NQRXHSK20::ICIMProperty;
using NQRXHSK20::TCIMValue;
using NQRXHSK20::THSKException;
using NQRXHSK20::THSKStatusCode;
using NQRXHSK20::TInstanceCallback;
using NQRXHSK20::TSharedText;

namespace {

[[noreturn]] void ThrowCommitted(std::string_view className, std::string_view more = {}) {
  throw THSKException("This instance of class \"" + CutName(className) + "\" is committed already" +
                          std::string(more),
                      THSKStatusCode::kFailed);
}

// Of a value that stays where it is.
TSharedText TextOfValue(const TCIMValue& value) {
  if (const TSharedText* const shared = value.SharedText()) return *shared;
  if (const auto view = value.TextView()) return {nullptr, *view};
  return value.ToString(10);
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
  const auto found = std::find_if(properties.begin(), properties.end(), [&](const auto& property) {
    return SameName(property.first, name);
  });
  return found == properties.end() ? nullptr : &found->second;
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
