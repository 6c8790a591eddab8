// The instances of catalogue files with the lines they stand on, as a query will see them.
#ifndef SVCHECK_AUTHOR_ELEMENTS_H_
#define SVCHECK_AUTHOR_ELEMENTS_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "rules/names.h"

namespace svc::catalogue {

// Bytes of a document in UTF-8 without byte order mark, [begin, end); none where both are 0.
struct TSpan {
  std::uint32_t begin = 0;
  std::uint32_t end = 0;
};

// Lines count from 1.
struct TProperty {
  std::string name;
  std::string type;
  std::size_t line = 0;
  bool isArray = false;
  TSpan span;   // Of its element.
  TSpan value;  // Of what a scalar's VALUE holds.
  // Empty for null; a scalar has one. A null among an array's is an empty text.
  std::vector<std::string> values;

  // As a query reads it: of an array each element with a blank behind it.
  std::string_view Text() const;
  // Of name, in small letters, and text: two properties that share it are alike.
  std::uint64_t Digest() const;

 private:
  mutable std::optional<std::string> joined;  // Of an array whose text was asked for.
  mutable std::optional<std::uint64_t> digest;
};

// The defaults of a class for the properties that a query reads, rules::kUpdateProperties; null
// where it has none.
using TInherited = std::array<std::shared_ptr<const TProperty>, rules::kUpdateProperties.size()>;

struct TElement {
  std::string className;
  std::size_t line = 0;
  std::vector<std::shared_ptr<const TProperty>> properties;  // That the instance writes itself.
  // The class's, where the instance is an update element. They count for what it does not write.
  std::shared_ptr<const TInherited> inherited;
  // The sum of the digests of all defaults that it has of its class.
  std::uint64_t inheritedDigest = 0;
  TSpan span = {};  // Of INSTANCE.

  // Without regard to ASCII case. Null when there is none. Of what is inherited only what a query
  // reads is found.
  const TProperty* Find(std::string_view name) const;
  // Empty for a property that is missing or null.
  std::string_view Text(std::string_view name) const;
};

class TClasses;

struct TProblem {
  std::size_t line = 0;
  std::string cause;
};

struct TDialect {
  std::size_t line = 0;
  std::string version;  // Empty when it cannot be read.
};

// What a document holds, up to the place where it stops being well-formed.
struct TDocument {
  std::optional<TDialect> dialect;
  std::optional<TProblem> malformed;
  std::vector<TElement> elements;
  std::vector<TSpan> classes;  // The declarations.
  // Where the end tags of the last group and of the root begin; 0 where there is none.
  std::uint32_t groupEnd = 0;
  std::uint32_t rootEnd = 0;
};

// Walks over a document in [begin, begin + size), whose bytes it may change. Adds the classes that
// it declares.
TDocument WalkDocument(char* begin, std::size_t size, TClasses& classes);

}  // namespace svc::catalogue

#endif  // SVCHECK_AUTHOR_ELEMENTS_H_
