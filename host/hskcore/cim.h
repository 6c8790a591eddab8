// The host's object model: namespaces hold classes, classes hold instances, instances hold
// properties (DMTF DSP0004). All names compare without regard to ASCII case.
//
// Objects are held through boost::shared_ptr with atomic counts and live as long as a holder; a
// handle keeps alive whatever it was reached through. Dereferencing an empty handle trips the
// assertion "px != 0", which the host's assertion handler turns into TAssertionFailed. Objects of
// one namespace are used from one thread at a time; different namespaces are independent.
#ifndef HOST_HSKCORE_CIM_H_
#define HOST_HSKCORE_CIM_H_

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>
#include <string_view>
#include <vector>

#include "host/hskcore/exception.h"
#include "host/hskcore/export.h"
#include "host/hskcore/value.h"

namespace NQRXHSK20 {

class ICIMInstance;

// Receives each enumerated instance, in order of creation.
using TInstanceCallback = boost::function<void(const boost::shared_ptr<ICIMInstance>&)>;

class HOST_INTERFACE ICIMProperty {
 public:
  virtual ~ICIMProperty() = default;
  // Valid while this property's handle is held.
  virtual const TCIMValue& Value(const CIMContext& context) const = 0;
};

class HOST_INTERFACE ICIMInstance {
 public:
  virtual ~ICIMInstance() = default;
  // Stores a newly created instance in its class's namespace. Throws THSKException (kFailed) for
  // one that is stored already.
  virtual void Commit(const CIMContext& context) = 0;
  // Fills the handle. Throws THSKException (kNoSuchProperty) when the instance has no such
  // property; a property that it has is never an empty handle.
  virtual void GetProperty(boost::shared_ptr<ICIMProperty>& property, std::string_view name,
                           const CIMContext& context) const = 0;
  // Replaces the property's value by a copy of this one, or adds the property, declared or not;
  // before Commit and after it.
  virtual void SetPropertyValue(std::string_view name, const TCIMValue& value,
                                const CIMContext& context) = 0;
};

class HOST_INTERFACE ICIMClass {
 public:
  virtual ~ICIMClass() = default;
  // Fills the handle with a new, empty instance, which the namespace does not hold until Commit.
  virtual void CreateInstance(boost::shared_ptr<ICIMInstance>& instance,
                              const CIMContext& context) = 0;
  // Hands every instance to the callback; with `deep` those of subclasses too.
  virtual void EnumerateInstances(const TInstanceCallback& callback, bool deep,
                                  const CIMContext& context) = 0;
};

class HOST_INTERFACE ICIMNamespace {
 public:
  virtual ~ICIMNamespace() = default;
  // Fills the handle. Throws THSKException (kClassNotFound) when there is no such class.
  virtual void GetClass(boost::shared_ptr<ICIMClass>& cimClass, std::string_view name,
                        const CIMContext& context) = 0;
};

// An enumeration callback that appends each object to a vector, which it borrows.
template <typename T>
class TAddToVectorCallback {
 public:
  explicit TAddToVectorCallback(std::vector<boost::shared_ptr<T>>& target) : target(&target) {}
  void operator()(const boost::shared_ptr<T>& object) const { target->push_back(object); }

 private:
  std::vector<boost::shared_ptr<T>>* target;
};

}  // namespace NQRXHSK20

#endif  // HOST_HSKCORE_CIM_H_
