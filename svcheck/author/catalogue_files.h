// The files of a catalogue as a query will see them: their instances with the lines these stand on,
// their classes with what instances inherit, and all that a check reads of a folder. One thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "rules/names.h"

namespace svc::catalogue {

// --- Instances ---

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

// --- Classes ---

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

// --- Files ---

// Walks over a document in [begin, begin + size), whose bytes it may change. Adds the classes that
// it declares.
TDocument WalkDocument(char* begin, std::size_t size, TClasses& classes);

struct TFile {
  std::string name;      // In the catalogue's folder.
  bool isLoaded = true;  // By a check; otherwise nothing but the name is known.
  std::optional<TProblem> unreadable;
  std::optional<TProblem> malformed;
  std::optional<TProblem> refused;  // Well-formed, but not what the loader takes.
  std::optional<TDialect> dialect;
  std::vector<TElement> elements;  // Update elements, with the defaults of their class.
  std::vector<TElement> others;    // Instances of other classes.
  // Where the rest of its document is, as a TDocument has it.
  std::vector<TSpan> classes;
  std::uint32_t groupEnd = 0;
  std::uint32_t rootEnd = 0;
};

struct TCatalogue {
  bool isLive = false;  // The descriptions of live checks, instead of an index.
  TClasses classes;
  std::vector<TFile> files;

  std::size_t CountElements() const;
};

// Whether a check would take the catalogue: nothing of it is used when one of its files is refused.
// The first file that is refused; null for none.
const TFile* FirstUnusable(const TCatalogue& catalogue);
// What is wrong with a file that is not used, "FILE:LINE: cause".
std::string WhyUnusable(const TFile& file);

// Reads the catalogue of a folder: its index.xml or, for live checks, every file that these load.
// `dataFolder` holds sv/sv.definitions.xml. Throws TError where there is no catalogue.
TCatalogue ReadCatalogue(const std::filesystem::path& folder, bool isLive,
                         const std::filesystem::path& dataFolder);
// The same for one document in memory, as an index.xml.
TCatalogue ReadCatalogueText(std::string text, const std::filesystem::path& dataFolder);

struct TNamedText {
  std::string name;
  std::string text;
};
// The same for several, as a live check loads them, one behind the other.
TCatalogue ReadCatalogueTexts(const std::vector<TNamedText>& texts,
                              const std::filesystem::path& dataFolder);

}  // namespace svc::catalogue
