// Instances that go to a sink when they are committed.
#include <algorithm>
#include <boost/make_shared.hpp>
#include <utility>

#include "base/shown_text.h"
#include "host/hskcore/exception.h"
#include "runtime/hskcore/cell.h"
#include "runtime/hskcore/in_memory_objects.h"

namespace svc {

using NQRXHSK20::CIMContext;
using NQRXHSK20::ICIMProperty;
using NQRXHSK20::TCIMValue;
using NQRXHSK20::THSKException;
using NQRXHSK20::THSKStatusCode;
using NQRXHSK20::TSharedText;

namespace {

constexpr char ToLower(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

bool IsSameName(std::string_view left, std::string_view right) noexcept {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return ToLower(a) == ToLower(b); });
}

TSharedText TextOfValue(const TCIMValue& value) {
  if (const TSharedText* const shared = value.SharedText()) return *shared;
  return value.ToString(10);
}

}  // namespace

IInstanceSink* TInMemoryNamespace::SinkOf(TClassId id) const noexcept {
  if (sink == nullptr) return nullptr;
  const TClassId sunk = state->FindClass(sunkClass);
  for (; id != kNoClass; id = state->SuperclassOf(id)) {
    if (id == sunk) return sink;
  }
  return nullptr;
}

const TCIMValue* TSunkInstance::Find(std::string_view name) const {
  const auto found = std::find_if(properties.begin(), properties.end(), [&](const auto& property) {
    return IsSameName(property.first, name);
  });
  return found == properties.end() ? nullptr : &found->second;
}

void TSunkInstance::Commit(const CIMContext&) {
  IInstanceSink* const sink = isCommitted ? nullptr : owner->SinkOf(classId);
  if (sink == nullptr) {
    throw THSKException("This instance of class \"" + CutName(owner->State().ClassName(classId)) +
                            "\" is committed already, or nobody takes it",
                        THSKStatusCode::kFailed);
  }
  sink->Take(*this);
  isCommitted = true;
}

void TSunkInstance::GetProperty(boost::shared_ptr<ICIMProperty>& property, std::string_view name,
                                const CIMContext&) const {
  if (const TCIMValue* const value = Find(name)) {
    property = boost::make_shared<TStoredProperty>(owner->State().Texts(), *value);
  } else {
    property = owner->DeclaredProperty(classId, name);
  }
}

void TSunkInstance::SetPropertyValue(std::string_view name, const TCIMValue& value,
                                     const CIMContext&) {
  for (auto& [written, before] : properties) {
    if (!IsSameName(written, name)) continue;
    before = value;
    return;
  }
  constexpr std::size_t kUsual = 4;
  properties.reserve(kUsual);
  properties.emplace_back(name, value);
}

TSharedText TSunkInstance::Text(std::string_view name) const {
  if (const TCIMValue* const value = Find(name)) return TextOfValue(*value);
  try {
    return TextOfValue(owner->DeclaredProperty(classId, name)->Value({}));
  } catch (const THSKException&) {
    return {};
  }
}

}  // namespace svc
