// The firmware half of a query: the run over a catalogue's firmware, and how it reads the
// inventory's firmware classes. On the thread of the query.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "plugins/version_checker/inventory/inventory_operations.h"
#include "rules/components.h"
#include "rules/names.h"

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

// The walk over the update elements that pairs their firmware with what is installed.
//
// compare_firmware.cpp holds the walk and its dispatch chain; systems.cpp and adapters.cpp hold the
// branches that the chain picks.

// The state of one walk. Used on the thread of the query.
class TFirmwareRun {
 public:
  TFirmwareRun(TNamespaceHandle inventory, std::string machineType);

  // Runs the branch of a component that the tests picked.
  void CompareComponent(const TInstanceHandle& element, rules::EComponent component);
  // Logs which components no element was found for.
  void ReportMissing() const;

  // --- Branches: each delivers the records of one update element ---
  // systems.cpp
  void CompareBIOS(const TInstanceHandle& element);
  void CompareUEFI(const TInstanceHandle& element);
  void CompareDiagnostics(const TInstanceHandle& element);
  void CompareRemoteWatchAdapter(const TInstanceHandle& element, rules::EComponent component);
  void CompareISCP(const TInstanceHandle& element);
  void CompareBMCOrH8(const TInstanceHandle& element);
  // adapters.cpp
  void CompareBroadcom(const TInstanceHandle& element);
  void CompareMegaRAID(const TInstanceHandle& element);
  void CompareIntegratedRAID(const TInstanceHandle& element);

 private:
  void CompareSystemFirmware(const TInstanceHandle& element, std::string_view message,
                             rules::EComponent component);
  void CompareH8(const std::string& offered);
  void CompareBMC(const std::string& offered);
  void CompareIntegratedRAIDFirmware(const TInstanceHandle& element, std::string& offered);
  void CompareIntegratedRAIDBIOS(const TInstanceHandle& element, std::string& offered);
  // One record for each instance of the class that has a version.
  void DeliverIntegratedRAID(std::string_view className, std::string_view message,
                             const std::string& offered, bool useInstalled);

  // Inventory: a property of a class's last instance; the list of its instances.
  std::string Installed(std::string_view className, std::string_view property) const;
  const TInstanceList& InstalledInstances(std::string_view className);
  void Deliver(std::string name, std::string installed, std::string offered) const;
  void SetFound(rules::EComponent component) { found[static_cast<std::size_t>(component)] = true; }

  TNamespaceHandle inventory;
  std::string machineType;
  std::array<bool, rules::kComponentCount> found{};
  TInstanceList instances;
};

// A property as text.
std::string TextOf(const TInstanceHandle& instance, std::string_view property);
// The version between the marks of an update element's property.
std::string OfferedVersion(const TInstanceHandle& element,
                           std::string_view property = rules::kUpdateVersion);

}  // namespace svc::checker
