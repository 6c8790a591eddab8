// The classes that catalogue files declare, and what their instances inherit. Used by one thread.
#ifndef SVCHECK_AUTHOR_CLASSES_H_
#define SVCHECK_AUTHOR_CLASSES_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "svcheck/author/elements.h"

namespace svc::catalogue {

struct TClass {
  std::string superclass;
  std::vector<std::shared_ptr<const TProperty>> properties;
};

// A line of classes may be as long as the catalogue, and each may have instances: what is asked of
// them is found in one walk over all classes, and takes memory for what they declare, not for what
// each of them inherits.
class TClasses {
 public:
  // A class that is declared again gains properties, each in place of one of its name, and a
  // superclass where it had none.
  void Add(const std::string& name, const TClass& declared);
  // Whether the class is `base` or derives from it.
  bool Derives(std::string_view name, std::string_view base) const;
  // Whether the class declares or inherits the property.
  bool Declares(std::string_view className, std::string_view property) const;
  // Gives the instance the defaults of its class for what it does not write.
  void Complete(TElement& element) const;

 private:
  struct TKnown {
    TClass declared;
    std::unordered_map<std::string, std::size_t> places;  // Of its properties, by name.
  };

  // Where a class stands in a walk that enters each class before those that derive from it, and
  // leaves it behind them.
  struct TSpan {
    std::size_t entered = 0;
    std::size_t left = 0;
  };
  // What is declared of a name from one step of the walk on: nothing, or without a default, or with
  // one.
  struct TStep {
    std::size_t step;
    bool isDeclared;
    std::shared_ptr<const TProperty> property;
  };
  struct TIndex {
    std::unordered_map<std::string, TSpan> spans;  // Also of superclasses that nobody declares.
    std::unordered_map<std::string, std::vector<TStep>> steps;  // Of properties, in their order.
    std::unordered_map<std::string, std::uint64_t> digests;     // Of all defaults of a class.
    std::unordered_map<std::string, std::shared_ptr<const TInherited>> inherited;
  };
  class TWalk;

  TIndex& Index() const;
  // Null where neither the class nor one above declares it.
  static const TStep* Find(const TIndex& index, const std::string& className,
                           const std::string& property);
  static const std::shared_ptr<const TInherited>& InheritedOf(TIndex& index,
                                                              const std::string& className);

  std::map<std::string, TKnown> classes;    // By name in lower case, like all that is below.
  mutable std::unique_ptr<TIndex> current;  // None while it has to be made again.
};

}  // namespace svc::catalogue

#endif  // SVCHECK_AUTHOR_CLASSES_H_
