// What the program itself reads of an inventory or a catalogue. Used by one thread.
#ifndef SVCHECK_SESSION_INSTANCES_H_
#define SVCHECK_SESSION_INSTANCES_H_

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/hskcore/cim.h"
#include "report/model.h"

namespace svc {

// Reads a CIM-XML document in memory into the namespace; a catalogue's is refused where it is of an
// older dialect, as a query refuses it. Throws THSKException.
enum class EDocument { kInventory, kCatalogue };
void ParseDocument(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target,
                   const std::string& document, EDocument kind = EDocument::kInventory);

// Every instance of a class, subclasses included, in order of creation; none when there is no such
// class.
std::vector<boost::shared_ptr<NQRXHSK20::ICIMInstance>> InstancesOf(
    const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& source, std::string_view className);
// A property as text; empty when it is missing or null.
std::string TextOf(const NQRXHSK20::ICIMInstance& instance, std::string_view property);

// The machine of an inventory: the first that tells its type, or else the last. Its host name may
// be told by the operating system alone.
report::TMachine MachineIn(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& inventory);
// From here on the inventory's machine is of this type. Throws THSKException.
void SetMachineType(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& inventory,
                    const std::string& type);
// Its operating system.
report::TOperatingSystem SystemIn(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& inventory);
// The code by which catalogues know the system of an inventory, empty where they have none. None
// for an inventory whose system cannot be read, which ends a query.
std::optional<std::string> SystemCodeIn(
    const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& inventory);
// Why it has no machine type, and what to do, in a sentence.
std::string WhyNoMachineType(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& inventory);

// Seconds since 1970 at which a file was written; none when it cannot be told.
std::optional<std::int64_t> TimeOf(const std::filesystem::path& file);
// What is to be said of a catalogue's folder without reading it.
report::TCatalogue CatalogueIn(const std::filesystem::path& folder);

}  // namespace svc

#endif  // SVCHECK_SESSION_INSTANCES_H_
