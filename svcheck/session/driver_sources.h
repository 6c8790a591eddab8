// Which drivers are built of the same source as those that a catalogue offers. The records do not
// say it: the inventory and the catalogue state it beside what a query compares. Used by one
// thread.
#ifndef SVCHECK_SESSION_DRIVER_SOURCES_H_
#define SVCHECK_SESSION_DRIVER_SOURCES_H_

#include <boost/shared_ptr.hpp>
#include <memory>

#include "host/hskcore/cim.h"
#include "report/records.h"

namespace svc {

// The same records; those of drivers whose source the inventory and the catalogue both state, and
// state alike, are marked (hasSameSource) and current, whatever their versions are. Where one side
// states two sources for one driver and version, nothing is known of it. The catalogue may be
// empty.
std::shared_ptr<const report::IRecordSource> WithSources(
    std::shared_ptr<const report::IRecordSource> records,
    const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& inventory,
    const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& catalogue);

}  // namespace svc

#endif  // SVCHECK_SESSION_DRIVER_SOURCES_H_
