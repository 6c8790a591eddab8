// Reading properties as text: the one way in which the plug-in reads inventory and catalogue.
#include "inventory/trace.h"
#include "plugin/contents/sv_plugin.h"
#include "rules/log_texts.h"

using namespace NQRXHSK20;

std::string& TSVPluginCallbacks::GetPropertyValue(TInstanceHandle instance,
                                                  std::string_view property, std::string& output) {
  LogTrace(svc::rules::kReads);
  output.clear();
  const CIMContext none;
  try {
    boost::shared_ptr<ICIMProperty> handle;
    instance->GetProperty(handle, property, none);
    if (!handle->Value(none).IsNull()) GetValue(handle->Value(none), output);
  } catch (const THSKException&) {
    // Elements and inventories leave properties out as they please: that is no error.
    LogTrace("SV: Exception caught in GetPropertyValue.");
    output.clear();
  }
  return output;
}

std::string& TSVPluginCallbacks::GetValue(const TCIMValue& value, std::string& output) {
  LogTrace("In GetValue");
  output.clear();
  if (value.IsNull()) return output;
  if (!value.IsArray()) {
    std::string text = value.ToString(10);
    output.swap(text);
    return output;
  }
  const auto& elements = static_cast<const std::vector<TCIMValue>&>(value);
  constexpr std::size_t kUsualLength = 16;
  output.reserve(elements.size() * kUsualLength);
  for (const TCIMValue& element : elements) {
    output += element.ToString(10);
    output += ' ';
  }
  return output;
}
