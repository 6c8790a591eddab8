#include "tests/support/fake_cim.h"

#include <algorithm>
#include <boost/make_shared.hpp>

using namespace NQRXHSK20;

namespace svc::test {

namespace {

TCIMValue UnlikelyValue() {
  return TCIMValue::Array(ECIMType::kUint8, {TCIMValue::Unsigned(ECIMType::kUint8, 7),
                                             TCIMValue::Null(ECIMType::kUint8)});
}

std::string Call(const char* operation, std::string_view subject, const CIMContext& context) {
  return std::string(operation) + " " + std::string(subject) + " " + ContextText(context);
}

}  // namespace

TFakeProperty::TFakeProperty(TCallScript& script, std::string name, TCIMValue value)
    : script(script),
      name(std::move(name)),
      value(std::move(value)),
      unlikelyValue(UnlikelyValue()) {}

const TCIMValue& TFakeProperty::Value(const CIMContext& context) const {
  return script.Enter(Call("Value", name, context)) == EFault::kUnlikelyValue ? unlikelyValue
                                                                              : value;
}

TFakeInstance::TFakeInstance(TCallScript& script, TFakeClass& cimClass, TFakeProperties properties)
    : script(script), cimClass(cimClass), properties(std::move(properties)) {}

void TFakeInstance::Commit(const CIMContext& context) {
  script.Enter(Call("Commit", cimClass.Name(), context));
  cimClass.Add(shared_from_this());
}

void TFakeInstance::GetProperty(boost::shared_ptr<ICIMProperty>& property, std::string_view name,
                                const CIMContext& context) const {
  if (script.Enter(Call("GetProperty", name, context)) == EFault::kEmptyHandle) return;
  for (const auto& [key, value] : properties) {
    if (key != name) continue;
    property = boost::make_shared<TFakeProperty>(script, key, value);
    return;
  }
  throw THSKException("no property " + std::string(name), THSKStatusCode::kNoSuchProperty);
}

void TFakeInstance::SetPropertyValue(std::string_view name, const TCIMValue& value,
                                     const CIMContext& context) {
  script.Enter(Call("SetPropertyValue", name, context));
  properties.emplace_back(std::string(name), value);
}

TFakeClass::TFakeClass(TCallScript& script, std::string name)
    : script(script), name(std::move(name)) {}

void TFakeClass::CreateInstance(boost::shared_ptr<ICIMInstance>& instance,
                                const CIMContext& context) {
  if (script.Enter(Call("CreateInstance", name, context)) == EFault::kEmptyHandle) return;
  instance = boost::make_shared<TFakeInstance>(script, *this, TFakeProperties());
}

void TFakeClass::EnumerateInstances(const TInstanceCallback& callback, bool deep,
                                    const CIMContext& context) {
  const auto fault =
      script.Enter(Call("EnumerateInstances", name + (deep ? " deep" : " shallow"), context));
  for (const boost::shared_ptr<TFakeInstance>& instance : instances) callback(instance);
  if (fault == EFault::kEmptyHandle) callback(boost::shared_ptr<ICIMInstance>());
}

boost::shared_ptr<TFakeInstance> TFakeClass::Add(TFakeProperties properties) {
  instances.push_back(boost::make_shared<TFakeInstance>(script, *this, std::move(properties)));
  return instances.back();
}

void TFakeNamespace::GetClass(boost::shared_ptr<ICIMClass>& cimClass, std::string_view name,
                              const CIMContext& context) {
  if (script.Enter(Call("GetClass", name, context)) == EFault::kEmptyHandle) return;
  cimClass = Find(name);
  if (!cimClass) {
    throw THSKException("no class " + std::string(name), THSKStatusCode::kClassNotFound);
  }
}

TFakeClass& TFakeNamespace::Class(const std::string& name) {
  if (const auto known = Find(name)) return *known;
  classes.push_back(boost::make_shared<TFakeClass>(script, name));
  return *classes.back();
}

void TFakeNamespace::Remove(const std::string& className) {
  classes.erase(
      std::remove_if(classes.begin(), classes.end(),
                     [&](const auto& candidate) { return candidate->Name() == className; }),
      classes.end());
}

boost::shared_ptr<TFakeInstance> TFakeNamespace::Add(const std::string& className,
                                                     TFakeProperties properties) {
  return Class(className).Add(std::move(properties));
}

boost::shared_ptr<TFakeClass> TFakeNamespace::Find(std::string_view name) const {
  const auto found = std::find_if(classes.begin(), classes.end(),
                                  [&](const auto& candidate) { return candidate->Name() == name; });
  return found == classes.end() ? nullptr : *found;
}

}  // namespace svc::test
