// A catalogue apart from any query: its folder as it is found, of which a query tells no more than
// that it could not load one, for which machine types it is, and of when. Used by one thread.
#ifndef SVCHECK_SESSION_CATALOGUE_H_
#define SVCHECK_SESSION_CATALOGUE_H_

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/hskcore/cim.h"
#include "report/model.h"

namespace svc {

// Whether the folder seems to hold an index: also where nobody may look, which is no reason to say
// that there is none.
bool HasIndex(const std::filesystem::path& folder) noexcept;

struct TCatalogueFolder {
  // How a query of it would end: kDone, kNoCatalogue, kUnsupportedCatalogue, kUnreadableCatalogue,
  // or kNoDefinitions where its index was not looked into.
  report::EOutcome outcome = report::EOutcome::kDone;
  std::string cause;                                     // Names the file; empty with kDone.
  boost::shared_ptr<NQRXHSK20::ICIMNamespace> elements;  // With kDone alone.
};

// Loads it as a query does; `dataFolder` holds sv/.
TCatalogueFolder LoadCatalogueFolder(const std::filesystem::path& folder,
                                     const std::filesystem::path& dataFolder);

// For a report of a check that failed for a cause of its own: where the catalogue of the folder is
// of no use either, that becomes the outcome, and its cause the first error. Returns whether it is;
// of a folder for public firmware alone it is not.
bool TellOfCatalogueToo(const std::filesystem::path& folder,
                        const std::filesystem::path& dataFolder, report::TReport& report);

// Those that a catalogue's update elements name, each once, in the order of their first elements.
std::vector<std::string> MachineTypesIn(
    const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& catalogue);

// The catalogue's own date: the newest `ReleaseDate` of its elements that is not after `now`, both
// in seconds since 1970. None where no element tells one.
std::optional<std::int64_t> DateOf(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& catalogue,
                                   std::int64_t now);

// Why nothing applies to a machine, of a catalogue for these types: none of its elements is for the
// machine's, and which ones are nearest, or none of those is for its system.
std::string WhyNothingApplies(const report::TReport& report, const std::vector<std::string>& types);

}  // namespace svc

#endif  // SVCHECK_SESSION_CATALOGUE_H_
