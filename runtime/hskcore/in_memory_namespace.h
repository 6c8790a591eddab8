// In-memory namespaces: how one is made, and what can be asked of one beside what every namespace
// answers. The caller owns what is made; a namespace is used from one thread at a time.
#ifndef RUNTIME_HSKCORE_IN_MEMORY_NAMESPACE_H_
#define RUNTIME_HSKCORE_IN_MEMORY_NAMESPACE_H_

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "host/hskcore/cim.h"
#include "host/hskcore/export.h"

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

}  // namespace svc

#endif  // RUNTIME_HSKCORE_IN_MEMORY_NAMESPACE_H_
