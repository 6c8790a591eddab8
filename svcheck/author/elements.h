// The instances of catalogue files with the lines they stand on, as a query will see them.
#ifndef SVCHECK_AUTHOR_ELEMENTS_H_
#define SVCHECK_AUTHOR_ELEMENTS_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace svc::catalogue {

// Lines count from 1.
struct TProperty {
  std::string name;
  std::string type;
  std::size_t line = 0;
  bool isArray = false;
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

struct TElement {
  std::string className;
  std::size_t line = 0;
  // Those of the class are shared by all its instances.
  std::vector<std::shared_ptr<const TProperty>> properties;
  // How many of them the instance writes itself; they come first.
  std::size_t written = 0;

  // Without regard to ASCII case. Null when there is none.
  const TProperty* Find(std::string_view name) const;
  // Empty for a property that is missing or null.
  std::string_view Text(std::string_view name) const;
};

struct TClass {
  std::string superclass;
  std::vector<std::shared_ptr<const TProperty>> properties;
};

// By name in lower case.
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
  std::vector<std::string> PropertiesOf(std::string_view className) const;

 private:
  const TClass* Find(std::string_view name) const;
  std::vector<const TClass*> ChainOf(std::string_view name) const;

  std::map<std::string, TClass, std::less<>> classes;
};

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
};

// Walks over a document in [begin, begin + size), whose bytes it may change. Adds the classes that
// it declares.
TDocument WalkDocument(char* begin, std::size_t size, TClasses& classes);

}  // namespace svc::catalogue

#endif  // SVCHECK_AUTHOR_ELEMENTS_H_
