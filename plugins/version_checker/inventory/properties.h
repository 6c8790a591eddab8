// Finding a class and its instances.
#ifndef PLUGINS_VERSION_CHECKER_INVENTORY_PROPERTIES_H_
#define PLUGINS_VERSION_CHECKER_INVENTORY_PROPERTIES_H_

#include <boost/shared_ptr.hpp>
#include <string_view>

#include "host/hskcore/cim.h"
#include "plugins/version_checker/contents/sv_plugin.h"

// The one-entry context in which inventory classes are looked up: on behalf of the plug-ins.
const NQRXHSK20::CIMContext& PluginContext();

// Fills `cimClass` and returns true; returns false when there is no such class. A lookup that
// fails in another way leaves the handle empty and returns true: the host's assertion handler is
// to see that, at the handle's next use.
bool FindClass(boost::shared_ptr<NQRXHSK20::ICIMClass>& cimClass,
               const TNamespaceHandle& cimNamespace, std::string_view className,
               const NQRXHSK20::CIMContext& context);

// Appends every instance of the class and its subclasses.
void AppendInstances(TInstanceList& instances,
                     const boost::shared_ptr<NQRXHSK20::ICIMClass>& cimClass,
                     const NQRXHSK20::CIMContext& context);

#endif  // PLUGINS_VERSION_CHECKER_INVENTORY_PROPERTIES_H_
