// Which update elements the plug-in passes over for a machine type. It decides so by the type alone
// and by what machine types an element names: what it passed over for one machine it need not see
// for the next one of that type. Used by one thread.
#ifndef SVCHECK_FLEET_PASSED_OVER_H_
#define SVCHECK_FLEET_PASSED_OVER_H_

#include <boost/shared_ptr.hpp>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "host/hskcore/cim.h"
#include "runtime/hskcore/in_memory_namespace.h"

namespace svc::fleet {

// What one query reads of the update elements.
class TElementReads : public IReadObserver {
 public:
  void OnGetClass(std::string_view /*className*/) override {}
  void OnGetProperty(const NQRXHSK20::ICIMInstance& instance, std::string_view name) override;

  // Those of which the query wanted to know nothing but their machine types. One of them is left
  // to be seen, since a catalogue without elements has another outcome. REQUIRES: the query came to
  // its end.
  std::vector<bool> PassedOver() const;

 private:
  enum class ERead : char { kNothing, kMachineTypes, kMore };
  std::vector<ERead> reads;  // By the number of the instance.
};

class TPassedOver {
 public:
  // Empty when nothing is known of the type.
  boost::shared_ptr<const THiddenInstances> Of(const std::string& machineType) const;
  // Takes what a query for the type read of the catalogue.
  void Learn(const std::string& machineType, const TElementReads& reads,
             const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& catalogue);

 private:
  std::map<std::string, boost::shared_ptr<const THiddenInstances>> types;
};

}  // namespace svc::fleet

#endif  // SVCHECK_FLEET_PASSED_OVER_H_
