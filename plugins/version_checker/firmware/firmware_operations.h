// The firmware half of a query, and how it reads the inventory's firmware classes.
#ifndef PLUGINS_VERSION_CHECKER_FIRMWARE_FIRMWARE_OPERATIONS_H_
#define PLUGINS_VERSION_CHECKER_FIRMWARE_FIRMWARE_OPERATIONS_H_

#include <string>
#include <string_view>

#include "plugins/version_checker/inventory/inventory_operations.h"

namespace svc::checker {

// An empty base of the plug-in object. On the thread of the query. Throws THSKException where the
// host fails in a way that no rule knows; the records delivered before stay.
class TFirmwareOperations {
 public:
  // Pairs installed and offered firmware; delivers a record for each pair into `inventory`.
  static void CompareFirmware(TNamespaceHandle inventory, TInstanceList updateElements,
                              std::string machineType);
  // A property of the class's last instance as text; "" without class or instances.
  static std::string getStringPropertyFromContainer(TNamespaceHandle inventory,
                                                    std::string_view className,
                                                    std::string_view property);
  // Refills the list with the class's instances.
  // Deliberate: see "A result that is always 0" in docs/one-query.md.
  static int getVersionItemFromContainer(TNamespaceHandle inventory, std::string_view className,
                                         TInstanceList& instances);

 protected:
  ~TFirmwareOperations() = default;
};

}  // namespace svc::checker

#endif  // PLUGINS_VERSION_CHECKER_FIRMWARE_FIRMWARE_OPERATIONS_H_
