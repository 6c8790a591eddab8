#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "runtime/xmlparser/cim_elements.h"

namespace svc::xml {
namespace {

// Each level of references in keys may double the length of what is below it.
constexpr std::size_t kMaxLevels = 3;
// Of a path with references in its keys: longer than any that somebody needs, and short enough for
// the doubling to take no memory to speak of.
constexpr std::size_t kMaxNested = 1 << 20;

// What a character that is quoted becomes when it is within so many quotes.
template <std::size_t N>
consteval auto EscapedTo(char c) {
  std::array<char, std::size_t{1} << N> text{};
  text[0] = c;
  for (std::size_t size = 1; size < text.size(); size *= 2) {
    for (std::size_t i = size; i-- > 0;) {
      text[2 * i + 1] = text[i];
      text[2 * i] = '\\';
    }
  }
  return text;
}
constexpr auto kQuote = EscapedTo<kMaxLevels>('"');
constexpr auto kBackslash = EscapedTo<kMaxLevels>('\\');

// Writes a path into one text, whatever stands in how many quotes.
class TPathReader {
 public:
  explicit TPathReader(TCimTokens& tokens) : tokens(tokens) {}

  std::string Read() {
    ReadReference();
    return std::move(path);
  }

 private:
  void ReadReference() {
    if (++level > kMaxLevels) tokens.Reader().Fail("references in keys are nested too deep");
    if (!tokens.NextChild()) tokens.Reader().Fail("VALUE.REFERENCE is empty");
    ReadObject();
    if (tokens.NextChild()) tokens.RefuseElement();
    --level;
  }

  void Append(std::string_view text) {
    for (const char c : text) {
      if (quotes != 0 && (c == '"' || c == '\\')) {
        AppendEscaped(c);
      } else {
        path += c;
      }
    }
    if (level > 1 && path.size() > kMaxNested) {
      tokens.Reader().Fail("the reference in a key is longer than 1048576 bytes");
    }
  }

  // The last characters of the longest form.
  void AppendEscaped(char c) {
    const auto& longest = c == '"' ? kQuote : kBackslash;
    const std::size_t size = std::size_t{1} << quotes;
    path.append(longest.data() + longest.size() - size, size);
  }

  template <typename TWrite>
  void InQuotes(TWrite write) {
    Append("\"");
    ++quotes;
    write();
    --quotes;
    Append("\"");
  }

  void ReadObject() {
    switch (tokens.Element()) {
      case EElement::kClassPath:
      case EElement::kLocalClassPath:
      case EElement::kInstancePath:
      case EElement::kLocalInstancePath:
        return ReadParts();
      default:
        return ReadPart();
    }
  }

  void ReadParts() {
    while (tokens.NextChild()) ReadPart();
  }

  void ReadPart() {
    switch (tokens.Element()) {
      case EElement::kNamespacePath:
        return ReadParts();
      case EElement::kHost:
        Append("//");
        Append(tokens.TextOf());
        return Append("/");
      case EElement::kLocalNamespacePath:
        return ReadNamespace();
      case EElement::kClassName:
        Append(tokens.Required("NAME"));
        return tokens.SkipEmpty();
      case EElement::kInstanceName:
        return ReadInstanceName();
      default:
        tokens.RefuseElement();
    }
  }

  void ReadNamespace() {
    for (const char* separator = ""; tokens.NextChild(); separator = "/") {
      if (tokens.Element() != EElement::kNamespace) tokens.RefuseElement();
      Append(separator);
      Append(tokens.Required("NAME"));
      tokens.SkipEmpty();
    }
    Append(":");
  }

  void ReadInstanceName() {
    Append(tokens.Required("CLASSNAME"));
    for (const char* separator = "."; tokens.NextChild(); separator = ",") {
      Append(separator);
      if (tokens.Element() == EElement::kKeyBinding) {
        ReadKeyBinding();
      } else {
        ReadKey();
      }
    }
  }

  void ReadKeyBinding() {
    Append(tokens.Required("NAME"));
    Append("=");
    if (!tokens.NextChild()) tokens.Reader().Fail("KEYBINDING lacks its value");
    ReadKey();
    if (tokens.NextChild()) tokens.RefuseElement();
  }

  void ReadKey() {
    if (tokens.Element() == EElement::kValueReference) {
      InQuotes([&] { ReadReference(); });
    } else if (tokens.Element() == EElement::kKeyValue) {
      const std::string_view type = tokens.Optional("VALUETYPE");
      if (type.empty() || type == "string") {
        InQuotes([&] { Append(tokens.TextOf()); });
      } else {
        Append(tokens.TextOf());
      }
    } else {
      tokens.RefuseElement();
    }
  }

  TCimTokens& tokens;
  std::string path;
  std::size_t level = 0;
  std::size_t quotes = 0;  // In how many the path goes on.
};

}  // namespace

std::string ReadReferenceValue(TCimTokens& tokens) { return TPathReader(tokens).Read(); }

}  // namespace svc::xml
