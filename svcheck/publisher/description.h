// Which machines and systems the elements of a description are for, read as a query reads them.
// Pure functions.
#ifndef SVCHECK_PUBLISHER_DESCRIPTION_H_
#define SVCHECK_PUBLISHER_DESCRIPTION_H_

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace svc::repository {

// The two lists of one update element, and what messages call it.
struct TElement {
  std::string name;
  std::vector<std::string> machineTypes;
  std::vector<std::string> operatingSystems;
};

// What stands between "-[" and "]-" anywhere in the texts.
std::set<std::string> MachineTypesOf(const std::vector<std::string>& texts);

// Indices into rules::kSystemCodes of the codes that stand in the texts as words of their own.
std::set<std::size_t> SystemsOf(const std::vector<std::string>& texts);

// Of operating system and architecture.
using TPlatform = std::pair<std::int32_t, std::int32_t>;

// Of elements that name no operating system with numbers: live checks ask for no such pair,
// `svcheck catalogue fetch` takes it with all others.
inline constexpr TPlatform kNoPlatform = {0, 0};

// The same may be wrong in many places.
struct TWarning {
  std::string place;  // The element; empty for the whole file.
  std::string what;
};

struct TApplicability {
  std::map<TPlatform, std::set<std::string>> machineTypes;
  std::vector<TWarning> warnings;
};

// Of a description that will be downloaded under the name. The warnings say what live queries
// would pass over.
TApplicability ApplicabilityOf(std::string_view name, const std::vector<TElement>& elements);

// Reading a description as a query does: what cannot be read here, no query can load.

// The update elements of a file. `dataFolder` holds sv/sv.definitions.xml. One thread.
// Throws NQRXHSK20::THSKException or std::exception with a text that names the file.
std::vector<TElement> ReadDescription(const std::string& path, const std::string& dataFolder);

}  // namespace svc::repository

#endif  // SVCHECK_PUBLISHER_DESCRIPTION_H_
