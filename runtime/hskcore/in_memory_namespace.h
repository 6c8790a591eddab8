// In-memory namespaces: how one is made, what can be asked of one beside what every namespace
// answers, and who is told what a query reads of it. The caller owns what is made; a namespace is
// used from one thread at a time.
#pragma once

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "host/hskcore/cim.h"
#include "host/hskcore/export.h"
#include "host/hskcore/value.h"

namespace svc {

// Numbers a class of one namespace, from 0 in order of declaration.
using TClassId = std::uint32_t;
inline constexpr TClassId kNoClass = std::numeric_limits<TClassId>::max();

// Numbers an instance, from 0 in order of creation over the whole namespace.
using TRowId = std::uint32_t;

// A new, empty in-memory namespace.
HSKCORE_API boost::shared_ptr<NQRXHSK20::ICIMNamespace> MakeInMemoryNamespace();

// Declares the classes that every inventory has, adding to those that are there already. Throws
// THSKException (kFailed) when `target` is empty or no in-memory namespace.
HSKCORE_API void DeclareBuiltinClasses(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target);

// Whether the instances of the class are those of another class as well, whose enumerations show
// them. False where there is no such class. Throws as DeclareBuiltinClasses does.
HSKCORE_API bool HasSuperclass(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& source,
                               std::string_view className);

// The text of a property, as its value's ToString(10) gives it, read without a handle and seen by
// no observer. None when the instance has no such property, or is stored in no in-memory namespace.
HSKCORE_API std::optional<std::string> StoredText(const NQRXHSK20::ICIMInstance& instance,
                                                  std::string_view name);
// The same without a copy, of what is stored as a text and is no array: the same place for a text
// that many instances inherit. Valid until the instance is written to.
HSKCORE_API std::optional<std::string_view> StoredView(const NQRXHSK20::ICIMInstance& instance,
                                                       std::string_view name);

// Where an instance stands in the documents that its namespace was read from.
struct TPlace {
  std::size_t document;  // Its number, from 0 in the order in which they were read.
  std::size_t offset;    // Behind the instance's start tag, in bytes of UTF-8 without its mark.
};

// Of the documents that are read from here on, instances know their places, for which a query has
// no use. Throws as DeclareBuiltinClasses does.
HSKCORE_API void KeepPlaces(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target);
// None for an instance whose place is not kept, or that is stored in no in-memory namespace.
HSKCORE_API std::optional<TPlace> PlaceOf(const NQRXHSK20::ICIMInstance& instance);

// Seeing what goes out of an in-memory namespace and into it: an observer is told of reads, a sink
// takes the instances that are committed. Neither is owned: the caller keeps it alive until it is
// replaced. Both are called on the thread that uses the namespace.

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
