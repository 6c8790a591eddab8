// What the halves of a query share: reading the inventory, delivering records, and what is said
// beside these, to the host's log and to the person who runs the host. On the thread of the query.
#pragma once

#include <boost/shared_ptr.hpp>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "host/hskcore/cim.h"
#include "host/hskcore/root_object.h"
#include "host/hskcore/shared_text.h"

namespace svc::checker {

// Each writes one log entry of the level in its name.
void LogError(std::string_view message);
void LogWarning(std::string_view message);
void LogProgress(std::string_view message);
void LogTrace(std::string_view message);
// One entry made of pieces, which are joined only when the entry is kept.
void LogJoined(int level, std::initializer_list<std::string_view> pieces);

// Writes an end of line, the text and an end of line to standard output.
void PrintMessage(std::string_view text);

// What the other folders ask of inventories and catalogues, both of which are namespaces of CIM
// instances: properties as text, the machine's operating system, which update elements apply, and
// the delivery of records.

using TInstanceHandle = boost::shared_ptr<NQRXHSK20::ICIMInstance>;
using TInstanceList = std::vector<TInstanceHandle>;
using TClassList = std::vector<boost::shared_ptr<NQRXHSK20::ICIMClass>>;
using TNamespaceHandle = boost::shared_ptr<NQRXHSK20::ICIMNamespace>;

// An empty base of the plug-in object, as there is one in each folder: all operations go by the
// object's name, while a folder sees only those of the folders below it. Handles are the host's; an
// empty one trips the host's assertion. On the thread of the query.
class TInventoryOperations {
 public:
  // Fill `output` with a property, or a value, as text and return it: null and missing read as
  // "", an array as its elements, each followed by one blank.
  static std::string& GetPropertyValue(TInstanceHandle instance, std::string_view property,
                                       std::string& output);
  static std::string& GetValue(const NQRXHSK20::TCIMValue& value, std::string& output);
  // The code of the machine's operating system, such as "RHEL5_64"; "" when it is none that
  // catalogues know. Throws THSKException when "OSType" cannot be read.
  static std::string getOSType(const TNamespaceHandle& inventory);
  // Whether the property's text contains `needle`, both folded to lower case (ASCII only).
  static bool PropertyContains(TInstanceHandle instance, std::string_view property,
                               std::string needle);
  // Those of the instances that apply to a machine type, or to the code or family of an operating
  // system, in their order.
  static TInstanceList MatchMachineInstances(const std::string& machineType,
                                             TInstanceList instances);
  static TInstanceList MatchOSInstances(const std::string& osType, TInstanceList instances);
  // Stores one QRXSG_SVResult record in `results`; logs an error where that class is missing.
  // Throws THSKException when the host cannot store it.
  static void DeliverInstance(TNamespaceHandle results, std::string type, std::string name,
                              NQRXHSK20::TSharedText installedVersion,
                              NQRXHSK20::TSharedText catalogueVersion);

 protected:
  ~TInventoryOperations() = default;
};

}  // namespace svc::checker
