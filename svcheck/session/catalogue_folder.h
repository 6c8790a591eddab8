// A catalogue's folder as it is found, apart from any query: a query tells no more than that it
// could not load one. Used by one thread.
#ifndef SVCHECK_SESSION_CATALOGUE_FOLDER_H_
#define SVCHECK_SESSION_CATALOGUE_FOLDER_H_

#include <boost/shared_ptr.hpp>
#include <filesystem>
#include <string>

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

}  // namespace svc

#endif  // SVCHECK_SESSION_CATALOGUE_FOLDER_H_
