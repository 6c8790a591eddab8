// A property as an in-memory namespace hands it out. Immutable; may be used from any thread.
#ifndef RUNTIME_HSKCORE_STORED_PROPERTY_H_
#define RUNTIME_HSKCORE_STORED_PROPERTY_H_

#include <boost/smart_ptr/shared_ptr.hpp>
#include <utility>

#include "host/hskcore/cim.h"
#include "runtime/hskcore/arena.h"

namespace svc {

// The value may borrow its texts from the arena that the property keeps alive.
class TStoredProperty final : public NQRXHSK20::ICIMProperty {
 public:
  TStoredProperty(const boost::shared_ptr<TArena>& texts, NQRXHSK20::TCIMValue value)
      : texts(texts), value(std::move(value)) {}
  const NQRXHSK20::TCIMValue& Value(const NQRXHSK20::CIMContext&) const override { return value; }

 private:
  boost::shared_ptr<TArena> texts;
  NQRXHSK20::TCIMValue value;
};

}  // namespace svc

#endif  // RUNTIME_HSKCORE_STORED_PROPERTY_H_
