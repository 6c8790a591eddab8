// Which update elements the plug-in passes over. It chooses them by what they say of themselves, by
// the machine's type and by its operating system, and of each that it takes up it reads what is
// offered. What it passed over for one machine it need not see for the next one of that kind. Used
// by one thread.
#ifndef SVCHECK_FLEET_PASSED_OVER_H_
#define SVCHECK_FLEET_PASSED_OVER_H_

#include <boost/shared_ptr.hpp>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/hskcore/cim.h"
#include "runtime/hskcore/namespace_watch.h"
#include "runtime/hskcore/shared_state.h"

namespace svc::fleet {

// All of an inventory that elements are chosen by, as one text: the same for machines of one kind.
// None when it is told in a form that texts do not tell apart.
std::optional<std::string> KindOf(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& inventory);

// What one query reads of the update elements.
class TElementReads : public IReadObserver {
 public:
  void OnGetClass(std::string_view /*className*/) override {}
  void OnGetProperty(const NQRXHSK20::ICIMInstance& instance, std::string_view name) override;

  // By number, those of which the query read nothing that is offered. One that is for other
  // machine types and one that is for this one are left to be seen: a query ends in another way
  // where there are none. REQUIRES: the query came to its end.
  std::vector<bool> PassedOver() const;

 private:
  // How far the query went with an element.
  enum class ERead : char { kNothing, kMachineTypes, kChoice, kOffer };
  static ERead ReadOf(std::string_view property);

  std::vector<ERead> reads;  // By the number of the instance.
};

class TPassedOver {
 public:
  // Empty when nothing is known of the kind.
  THiddenInstancesHandle Of(const std::string& kind) const;
  // Takes what a query for a machine of the kind read of the catalogue.
  void Learn(const std::string& kind, const TElementReads& reads,
             const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& catalogue);

 private:
  std::map<std::string, THiddenInstancesHandle> kinds;
};

}  // namespace svc::fleet

#endif  // SVCHECK_FLEET_PASSED_OVER_H_
