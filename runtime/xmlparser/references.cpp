#include "runtime/xmlparser/references.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "base/cut_name.h"
#include "runtime/xmlparser/characters.h"

namespace svc::xml {
namespace {

struct TEntity {
  std::string_view name;
  char character;
};

constexpr TEntity kEntities[] = {
    {"amp;", '&'}, {"lt;", '<'}, {"gt;", '>'}, {"quot;", '"'}, {"apos;", '\''},
};

// The value of a digit, or 99.
unsigned DigitValue(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A' + 10);
  return 99;
}

const char* ReadCharacterReference(const TDocumentText& text, const char* at, char*& to) {
  const char* const end = text.End();
  const char* digit = at + 2;
  const bool hexadecimal = digit != end && *digit == 'x';
  if (hexadecimal) ++digit;
  const unsigned radix = hexadecimal ? 16 : 10;
  const char* const first = digit;
  char32_t character = 0;
  for (; digit != end && DigitValue(*digit) < radix; ++digit)
    character = std::min<char32_t>(character * radix + DigitValue(*digit), 0x110000);
  if (digit == end) text.FailAtEnd();
  if (digit == first || *digit != ';') text.Fail(at, "malformed character reference");
  if (!IsXmlCharacter(character)) text.Fail(at, "reference to a character that is not allowed");
  to = EncodeUtf8(character, to);
  return digit + 1;
}

}  // namespace

const char* ReadReference(const TDocumentText& text, const char* at, char*& to) {
  const std::string_view rest(at + 1, static_cast<std::size_t>(text.End() - at - 1));
  if (rest.starts_with('#')) return ReadCharacterReference(text, at, to);
  for (const TEntity& entity : kEntities) {
    if (!rest.starts_with(entity.name)) continue;
    *to++ = entity.character;
    return at + 1 + entity.name.size();
  }
  const char* const nameEnd = SkipName(rest.begin(), rest.end());
  if (nameEnd == rest.end()) text.FailAtEnd();
  if (nameEnd == rest.begin() || *nameEnd != ';')
    text.Fail(at, "'&' begins no reference; a plain one is written &amp;");
  text.Fail(at, "unknown entity \"" + CutName({rest.begin(), nameEnd}) + "\"");
}

}  // namespace svc::xml
