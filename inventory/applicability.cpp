// Which update elements apply to this machine.
#include <algorithm>
#include <utility>

#include "inventory/trace.h"
#include "plugin/contents/sv_plugin.h"

namespace {

// ASCII only, whatever the locale: bytes of 128 and above stay as they are.
void FoldCase(std::string& text) {
  for (char& character : text) {
    const bool isCapital = static_cast<unsigned char>(character - 'A') < 26;
    character = static_cast<char>(character + (isCapital ? 32 : 0));
  }
}

TInstanceList Select(const TInstanceList& instances, std::string_view property,
                     const std::string& needle) {
  TInstanceList selected;
  std::copy_if(instances.begin(), instances.end(), std::back_inserter(selected),
               [&](const TInstanceHandle& instance) {
                 return TSVPluginCallbacks::PropertyContains(instance, property, needle);
               });
  return selected;
}

}  // namespace

bool TSVPluginCallbacks::PropertyContains(TInstanceHandle instance, std::string_view property,
                                          std::string needle) {
  LogTrace("In PropertyContains");
  std::string text;
  FoldCase(GetPropertyValue(std::move(instance), property, text));
  FoldCase(needle);
  return text.find(needle) != std::string::npos;
}

TInstanceList TSVPluginCallbacks::MatchMachineInstances(const std::string& machineType,
                                                        TInstanceList instances) {
  LogTrace("In MatchMachineInstances");
  // The marks keep a type from matching a longer one that contains it.
  return Select(instances, "applicableMachineTypes", "-[" + machineType + "]-");
}

TInstanceList TSVPluginCallbacks::MatchOSInstances(const std::string& osType,
                                                   TInstanceList instances) {
  LogTrace("In MatchOSInstances");
  return Select(instances, "applicableOperatingSystems", osType);
}
