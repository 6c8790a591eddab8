// Seeing what goes out of an in-memory namespace and into it: an observer is told of reads, a sink
// takes the instances that are committed. Neither is owned: the caller keeps it alive until it is
// replaced. Both are called on the thread that uses the namespace.
#ifndef RUNTIME_HSKCORE_NAMESPACE_WATCH_H_
#define RUNTIME_HSKCORE_NAMESPACE_WATCH_H_

#include <boost/shared_ptr.hpp>
#include <string_view>

#include "host/hskcore/cim.h"
#include "host/hskcore/export.h"
#include "host/hskcore/value.h"
#include "runtime/hskcore/in_memory_namespace.h"

namespace svc {

// Sees what is read of a namespace, before the reader gets it; also what turns out not to be there.
class HOST_INTERFACE IReadObserver {
 public:
  virtual ~IReadObserver() = default;
  virtual void OnGetClass(std::string_view className) = 0;
  // Of an instance that the namespace holds, which stays where it is as long as the namespace
  // lives.
  virtual void OnGetProperty(const NQRXHSK20::ICIMInstance& instance, std::string_view name) = 0;
};

// From here on `observer` sees every read; null for none. Throws THSKException (kFailed) when
// `target` is empty or no in-memory namespace; so does SetInstanceSink.
HSKCORE_API void SetReadObserver(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target,
                                 IReadObserver* observer);

// The number of an instance that an observer was told of.
HSKCORE_API TRowId NumberOf(const NQRXHSK20::ICIMInstance& instance) noexcept;

// An instance that is committed, on its way to a sink.
class HOST_INTERFACE IWrittenInstance {
 public:
  virtual ~IWrittenInstance() = default;
  // A property as its value's ToString(10) gives it, with the class's default where it is not
  // written. Empty when there is no such property. Where the writer shared it, its owner keeps
  // it; a text without an owner is valid until the instance goes or is written to.
  virtual NQRXHSK20::TSharedText Text(std::string_view name) const = 0;
};

// Takes committed instances instead of the namespace, which then takes no memory for them.
class HOST_INTERFACE IInstanceSink {
 public:
  virtual ~IInstanceSink() = default;
  // What it throws reaches the committer.
  virtual void Take(const IWrittenInstance& instance) = 0;
};

// From here on instances of the class and of those that derive from it, which are created and
// committed to `target`, go to the sink; null for none.
HSKCORE_API void SetInstanceSink(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target,
                                 std::string_view className, IInstanceSink* sink);

}  // namespace svc

#endif  // RUNTIME_HSKCORE_NAMESPACE_WATCH_H_
