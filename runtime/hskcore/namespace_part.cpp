#include "runtime/hskcore/namespace_part.h"

#include <boost/make_shared.hpp>

#include "runtime/hskcore/in_memory_objects.h"

namespace svc {

using NQRXHSK20::ICIMNamespace;

TNamespacePart::TNamespacePart(const boost::shared_ptr<ICIMNamespace>& whole)
    : objects(boost::make_shared<TInMemoryNamespace>()) {
  const auto source = InMemoryOf(whole);
  objects->HoldCopyOf(*source);
  copied = source->State().Extent();
}

boost::shared_ptr<ICIMNamespace> TNamespacePart::Objects() const { return objects; }

void TNamespacePart::JoinTo(const boost::shared_ptr<ICIMNamespace>& whole) {
  InMemoryOf(whole)->WritableState().TakeOver(objects->WritableState(), copied);
}

}  // namespace svc
