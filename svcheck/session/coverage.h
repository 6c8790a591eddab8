// What a comparison covers, beside its records: whether catalogues know the operating system, for
// which machine types a catalogue is, and what of the installed has no record, and why. Used by one
// thread.
#ifndef SVCHECK_SESSION_COVERAGE_H_
#define SVCHECK_SESSION_COVERAGE_H_

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/hskcore/cim.h"
#include "report/records.h"

namespace svc {

// The code by which catalogues know the system of an inventory, empty where they have none. None
// for an inventory whose system cannot be read, which ends a query.
std::optional<std::string> SystemCodeIn(
    const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& inventory);

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

struct TCompared {
  const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& inventory;
  const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& catalogue;  // Empty for none.
  const report::IRecordSource& records;                          // All that the query added.
  std::string machineType;
  std::string systemCode;
  bool isLive = false;
  bool withoutDrivers = false;  // Their records are left out.
};

// Which installed pieces have no record. A piece is an instance of a class that the comparison
// reads, or that is told for the record alone.
report::TCoverage CoverageOf(const TCompared& compared);

}  // namespace svc

#endif  // SVCHECK_SESSION_COVERAGE_H_
