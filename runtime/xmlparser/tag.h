// One start tag: its name and attributes. Stateless; may be used from any thread.
#ifndef RUNTIME_XMLPARSER_TAG_H_
#define RUNTIME_XMLPARSER_TAG_H_

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "runtime/xmlparser/document_text.h"

namespace svc::xml {

// Places are counted in bytes from the tag's '<'.
struct TAttribute {
  std::uint32_t name;
  std::uint32_t nameLength;
  std::uint32_t value;
  std::uint32_t valueLength;

  std::string_view Name(const char* tag) const { return {tag + name, nameLength}; }
  std::string_view Value(const char* tag) const { return {tag + value, valueLength}; }
};

// The form of a tag, without its bytes.
struct TTagForm {
  std::uint32_t length;  // From '<' to '>', both included.
  std::uint32_t nameLength;
  bool isEmpty;    // "<X/>"
  bool isWritten;  // The values stand as they were written: nothing in the tag was rewritten.
};

// Reads the start tag at `at` and fills `attributes` with its attributes, their values decoded in
// place. Throws TDocumentError for a malformed tag, also when it has an attribute twice.
// REQUIRES: the text goes on with '<'.
TTagForm ReadTag(TDocumentText& text, char* at, std::vector<TAttribute>& attributes);

// An attribute whose name one before it has as well, or null. Takes time in proportion to their
// number.
const TAttribute* FindDuplicate(std::span<const TAttribute> attributes, const char* tag);

}  // namespace svc::xml

#endif  // RUNTIME_XMLPARSER_TAG_H_
