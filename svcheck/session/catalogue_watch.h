// Sees the catalogue that a query loads: the query makes its namespace by the host's provider, and
// drops it at its end.
#ifndef SVCHECK_SESSION_CATALOGUE_WATCH_H_
#define SVCHECK_SESSION_CATALOGUE_WATCH_H_

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <optional>

#include "host/hskcore/cim.h"
#include "runtime/hskcore/namespace_watch.h"
#include "runtime/hskcore/shared_state.h"

namespace svc {

class TWatchingProvider;

// While it lives, the last namespace that somebody made by the host's "inmem" provider is kept.
// Used by one thread.
class TCatalogueWatch {
 public:
  // `observer`, where there is one, sees what is read of each such namespace; `hidden`, where there
  // are any, cannot be seen in it.
  explicit TCatalogueWatch(IReadObserver* observer = nullptr,
                           const THiddenInstancesHandle& hidden = {});
  ~TCatalogueWatch();
  TCatalogueWatch(const TCatalogueWatch&) = delete;
  TCatalogueWatch& operator=(const TCatalogueWatch&) = delete;

  // Empty when no catalogue was made.
  const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& Catalogue() const;
  // The update elements of the catalogue; none when no catalogue was made.
  std::optional<std::uint64_t> CountElements() const;

 private:
  boost::shared_ptr<TWatchingProvider> provider;
};

}  // namespace svc

#endif  // SVCHECK_SESSION_CATALOGUE_WATCH_H_
