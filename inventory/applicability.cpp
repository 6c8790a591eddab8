// Which update elements apply to this machine.
#include <algorithm>
#include <utility>

#include "inventory/folded_text.h"
#include "inventory/trace.h"
#include "plugin/contents/sv_plugin.h"

namespace {

// As text.find(needle), but looks for the character in the middle of the needle: the marks at its
// ends stand all over a list of types.
bool Contains(std::string_view text, std::string_view needle) {
  if (needle.empty()) return true;
  const std::size_t middle = needle.size() / 2;
  for (std::size_t at = text.find(needle[middle], middle); at != std::string_view::npos;
       at = text.find(needle[middle], at + 1)) {
    if (text.substr(at - middle).starts_with(needle)) return true;
  }
  return false;
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
  return Contains(text, needle);
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
