// Reading properties as text: the one way in which the plug-in reads inventory and catalogue.
#include "plugins/version_checker/inventory/properties.h"

#include <boost/make_shared.hpp>

#include "host/hskcore/root_object.h"
#include "host/hskcore/schema_helper.h"
#include "rules/log_texts.h"

using namespace NQRXHSK20;

namespace svc::checker {

// An array's text that is shorter costs less to put together anew than to keep.
constexpr std::size_t kKept = 64;

// Hands the value of a property to `take`, with the handle that keeps it, which may be taken away,
// unless it is missing or null.
template <typename TTake>
static void ReadValue(const TInstanceHandle& instance, std::string_view property, bool isTraced,
                      const TTake& take) {
  static const CIMContext none;
  if (isTraced) LogTrace(rules::kReads);
  try {
    boost::shared_ptr<ICIMProperty> handle;
    instance->GetProperty(handle, property, none);
    // Deliberate: see "A value is asked for twice" in docs/one-query.md.
    if (!handle->Value(none).IsNull()) take(handle, handle->Value(none));
  } catch (const THSKException&) {
    // Deliberate: see "An unreadable property is no error" in docs/one-query.md.
    LogTrace("SV: Exception caught in GetPropertyValue.");
    boost::shared_ptr<ICIMProperty> nothing;
    take(nothing, TCIMValue());
  }
}

// Deliberate: see "A blank ends an array, too" in docs/one-query.md.
static void AppendArray(const TCIMValue& value, std::string& text) {
  value.AppendElements(text, ' ');
}

std::string& TInventoryOperations::GetPropertyValue(TInstanceHandle instance,
                                                    std::string_view property,
                                                    std::string& output) {
  output.clear();
  ReadValue(instance, property, true, [&](const auto& handle, const TCIMValue& value) {
    if (handle) {
      GetValue(value, output);
    } else {
      output.clear();
    }
  });
  return output;
}

TPropertyReader::TPropertyReader() : isTraced(TRootObject::GetCoreLogger().IsLogged(kLogTrace)) {}

TSharedText TPropertyReader::Read(const TInstanceHandle& instance, std::string_view property) {
  TSharedText text;
  ReadValue(instance, property, isTraced, [&](auto& handle, const TCIMValue& value) {
    text = handle ? TextOf(handle, value) : TSharedText();
  });
  return text;
}

TSharedText TPropertyReader::Look(const TInstanceHandle& instance, std::string_view property) {
  TSharedText text;
  ReadValue(instance, property, isTraced, [&](auto& handle, const TCIMValue& value) {
    text = handle ? LookAt(handle, value) : TSharedText();
  });
  return text;
}

TSharedText TPropertyReader::LookAt(boost::shared_ptr<ICIMProperty>& handle,
                                    const TCIMValue& value) {
  if (!value.IsArray() || lastArray == handle) return TextOf(handle, value);
  if (isTraced) LogTrace("In GetValue");
  looked.clear();
  AppendArray(value, looked);
  if (looked.size() < kLongText) return {nullptr, looked};
  return Keep(handle, std::move(looked));
}

// An array that is long is kept, for who reads it again.
TSharedText TPropertyReader::Keep(const boost::shared_ptr<ICIMProperty>& handle, std::string text) {
  const auto kept = boost::make_shared<const std::string>(std::move(text));
  lastArray = handle;
  return lastText = TSharedText(kept, *kept);
}

TSharedText TPropertyReader::TextOf(boost::shared_ptr<ICIMProperty>& handle,
                                    const TCIMValue& value) {
  if (const auto view = value.TextView()) {
    LogTrace("In GetValue");
    return {std::move(handle), *view};
  }
  if (lastArray == handle) {
    LogTrace("In GetValue");
    return lastText;
  }
  std::string text;
  TInventoryOperations::GetValue(value, text);
  if (!value.IsArray() || text.size() < kKept) return text;
  return Keep(handle, std::move(text));
}

std::string& TInventoryOperations::GetValue(const TCIMValue& value, std::string& output) {
  LogTrace("In GetValue");
  output.clear();
  if (value.IsNull()) return output;
  if (!value.IsArray()) {
    std::string text = value.ToString(10);
    output.swap(text);
    return output;
  }
  AppendArray(value, output);
  return output;
}

const CIMContext& PluginContext() {
  static const CIMContext context = {
      {TCIMSchemaHelper::kContextName, TCIMValue(TCIMSchemaHelper::kPluginNSPName)}};
  return context;
}

bool FindClass(boost::shared_ptr<ICIMClass>& cimClass, const TNamespaceHandle& cimNamespace,
               std::string_view className, const CIMContext& context) {
  try {
    cimNamespace->GetClass(cimClass, className, context);
  } catch (const THSKException& exception) {
    return exception.GetStatusCode() != THSKStatusCode::kClassNotFound;
  }
  return true;
}

void AppendInstances(TInstanceList& instances, const boost::shared_ptr<ICIMClass>& cimClass,
                     const CIMContext& context) {
  cimClass->EnumerateInstances(TAddToVectorCallback<ICIMInstance>(instances), true, context);
}

}  // namespace svc::checker
