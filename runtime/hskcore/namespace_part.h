// A later part of a document, which is read into a namespace of its own while another thread reads
// what comes before it. Made and joined by the thread that uses the whole namespace.
#ifndef RUNTIME_HSKCORE_NAMESPACE_PART_H_
#define RUNTIME_HSKCORE_NAMESPACE_PART_H_

#include <boost/shared_ptr.hpp>

#include "host/hskcore/cim.h"
#include "host/hskcore/export.h"
#include "runtime/hskcore/cim_state.h"

namespace svc {

class TInMemoryNamespace;

class HSKCORE_API TNamespacePart {
 public:
  // Begins with a copy of what `whole` holds. Both may be written to from here on, each by its own
  // thread. Throws THSKException (kFailed) when `whole` is empty or no in-memory namespace.
  explicit TNamespacePart(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& whole);

  boost::shared_ptr<NQRXHSK20::ICIMNamespace> Objects() const;
  // Adds the instances that were written to the part behind those that `whole` has by now.
  // REQUIRES: nobody writes to either, and no class was declared in the part, whose end this is.
  void JoinTo(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& whole);

 private:
  boost::shared_ptr<TInMemoryNamespace> objects;
  TCimState::TExtent copied;
};

}  // namespace svc

#endif  // RUNTIME_HSKCORE_NAMESPACE_PART_H_
