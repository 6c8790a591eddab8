// Drivers, installed and offered, and the driver half of a query.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/hskcore/shared_text.h"
#include "plugins/version_checker/inventory/inventory_operations.h"

namespace svc::checker {

// An installed driver. An offered one is an entry of a list of driver files, and is cut out of it
// when it is compared: lists that instances share would otherwise be stored for each of them.
struct DriverRecord {
  NQRXHSK20::TSharedText fileName;  // The last component of `path`.
  NQRXHSK20::TSharedText path;
  NQRXHSK20::TSharedText version;
  bool running = false;
};
using TDriverList = std::vector<DriverRecord>;  // In the order in which they were found.
// The "driverFiles" texts of update elements, in their order; none is empty.
using TDriverFiles = std::vector<NQRXHSK20::TSharedText>;

// An empty base of the plug-in object. On the thread of the query. Throws THSKException where the
// host fails in a way that no rule knows; the records delivered before stay.
class TDriverOperations {
 public:
  // Appends what the elements for `osType` offer.
  static void CollectCatalogueDrivers(TDriverFiles& lists, const TInstanceList& updateElements,
                                      const std::string& osType);
  // Whether an element for these systems, an array as text, is one for `osType`.
  static bool AppliesToOS(std::string_view systems, std::string_view osType);
  // Appends the inventory's drivers, running or not.
  static void CollectInstalledDrivers(TDriverList& list, const TNamespaceHandle& inventory);
  // By what the inventory says of a driver's state, which is logged.
  static void SetRunningState(DriverRecord& record, const std::string& stateText);
  // Delivers a record for each pair of an offered and a running installed driver of one name.
  static void CompareDrivers(const TDriverFiles& offered, const TDriverList& installed,
                             const TNamespaceHandle& results);

 protected:
  ~TDriverOperations() = default;
};

// What every offered driver is marked with: an installed one of exactly that name matches it.
// Deliberate: see "A driver of one name matches every offer" in docs/one-query.md.
inline constexpr std::string_view kOfferedMarker = "NaN";

// The text after the last backslash of a path; the whole text when it has none.
std::string_view FileNameOfPath(std::string_view pathText);

}  // namespace svc::checker
