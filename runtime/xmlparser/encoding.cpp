#include "runtime/xmlparser/encoding.h"

#include <algorithm>
#include <string>

#include "base/shown_text.h"
#include "runtime/xmlparser/byte_scan.h"
#include "runtime/xmlparser/document_text.h"

namespace svc::xml {

namespace {

// Stands for what the source's encoding does not have; no byte of UTF-8.
constexpr char kNoCharacter = '\xFF';

enum class EByteOrder { kLittle, kBig };

bool EqualsIgnoringCase(std::string_view left, std::string_view upper) {
  const auto up = [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; };
  return left.size() == upper.size() && std::equal(left.begin(), left.end(), upper.begin(),
                                                   [up](char l, char u) { return up(l) == u; });
}

[[noreturn]] void Refuse(std::string cause) {
  throw TDocumentError(1, std::move(cause), NQRXHSK20::THSKStatusCode::kFailed);
}

// The encoding that the document's declaration names. Empty without one; also for a malformed
// declaration, which is left to the reader to refuse.
std::string_view DeclaredEncoding(const char* begin, const char* end) {
  const std::string_view document(begin, static_cast<std::size_t>(end - begin));
  if (!BeginsWithDeclaration(document)) return {};
  const std::size_t close = document.find("?>");
  if (close == document.npos) return {};
  const auto declaration = ReadDeclaration(document.substr(5, close - 5));
  return declaration ? declaration->encoding : std::string_view();
}

// Walks the characters of a UTF-16 text.
class TUtf16Units {
 public:
  TUtf16Units(const char* begin, const char* end, EByteOrder order)
      : at(begin), end(end), order(order) {}

  bool AtEnd() const { return at == end; }
  // The next character; kBroken for half a surrogate pair or half a unit.
  static constexpr char32_t kBroken = 0xFFFFFFFF;
  char32_t Next() {
    const char32_t high = Unit();
    if (high < 0xD800 || high > 0xDFFF || high == kBroken) return high;
    const char32_t low = high < 0xDC00 && !AtEnd() ? Unit() : kBroken;
    if (low < 0xDC00 || low > 0xDFFF) return kBroken;
    return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
  }

 private:
  char32_t Unit() {
    if (end - at < 2) {
      at = end;
      return kBroken;
    }
    const auto first = static_cast<unsigned char>(at[0]);
    const auto second = static_cast<unsigned char>(at[1]);
    at += 2;
    return static_cast<char32_t>(order == EByteOrder::kLittle ? second << 8 | first
                                                              : first << 8 | second);
  }
  const char* at;
  const char* end;
  EByteOrder order;
};

std::size_t Utf8Size(TUtf16Units units) {
  std::size_t size = 0;
  char bytes[4];
  while (!units.AtEnd()) {
    const char32_t c = units.Next();
    size += c == TUtf16Units::kBroken ? 1 : static_cast<std::size_t>(EncodeUtf8(c, bytes) - bytes);
  }
  return size;
}

TUtf8Document CopyOfSize(std::size_t size) {
  TUtf8Document document;
  document.copy.reset(new char[size ? size : 1]);
  document.begin = document.end = document.copy.get();
  return document;
}

TUtf8Document FromUtf16(const char* begin, const char* end, EByteOrder order) {
  TUtf8Document document = CopyOfSize(Utf8Size({begin, end, order}));
  for (TUtf16Units units(begin, end, order); !units.AtEnd();) {
    const char32_t c = units.Next();
    if (c == TUtf16Units::kBroken)
      *document.end++ = kNoCharacter;
    else
      document.end = EncodeUtf8(c, document.end);
  }
  const std::string_view name = DeclaredEncoding(document.begin, document.end);
  const char* ordered = order == EByteOrder::kLittle ? "UTF-16LE" : "UTF-16BE";
  if (!name.empty() && !EqualsIgnoringCase(name, "UTF-16") && !EqualsIgnoringCase(name, ordered))
    Refuse("the document is UTF-16, but its declaration says \"" + CutName(name) + "\"");
  return document;
}

TUtf8Document FromLatin1(const char* begin, const char* end) {
  const auto isHigh = [](char c) { return static_cast<unsigned char>(c) > 0x7F; };
  const auto high = static_cast<std::size_t>(std::count_if(begin, end, isHigh));
  TUtf8Document document = CopyOfSize(static_cast<std::size_t>(end - begin) + high);
  for (const char* at = begin; at != end; ++at)
    document.end = EncodeUtf8(static_cast<unsigned char>(*at), document.end);
  return document;
}

TUtf8Document FromAscii(char* begin, char* end) {
  const auto isHigh = [](char c) { return static_cast<unsigned char>(c) > 0x7F; };
  std::replace_if(begin, end, isHigh, kNoCharacter);
  return {nullptr, begin, end};
}

bool StartsWith(const char* begin, const char* end, std::string_view bytes) {
  return std::string_view(begin, static_cast<std::size_t>(end - begin)).starts_with(bytes);
}

// A '<' and zeros alone are the beginning of a text, cut in a zeroed block.
bool IsUnmarkedUtf16(const char* begin, const char* end) {
  const bool isLittle = StartsWith(begin, end, {"<\0", 2}) && end - begin > 2 && begin[2] != 0;
  return isLittle || StartsWith(begin, end, {"\0<", 2});
}

}  // namespace

TUtf8Document ToUtf8(char* begin, char* end) {
  if (StartsWith(begin, end, "\xFF\xFE")) return FromUtf16(begin + 2, end, EByteOrder::kLittle);
  if (StartsWith(begin, end, "\xFE\xFF")) return FromUtf16(begin + 2, end, EByteOrder::kBig);
  if (IsUnmarkedUtf16(begin, end)) Refuse("UTF-16 without a byte order mark is not supported");
  if (StartsWith(begin, end, "\xEF\xBB\xBF")) begin += 3;
  const std::string_view name = DeclaredEncoding(begin, end);
  if (name.empty() || EqualsIgnoringCase(name, "UTF-8")) return {nullptr, begin, end};
  if (EqualsIgnoringCase(name, "ISO-8859-1")) return FromLatin1(begin, end);
  if (EqualsIgnoringCase(name, "US-ASCII")) return FromAscii(begin, end);
  Refuse("the encoding \"" + CutName(name) + "\" is not supported; save the document as UTF-8");
}

bool IsPlainUtf8(std::string_view head) {
  const char* const begin = head.data();
  const char* const end = begin + head.size();
  for (const std::string_view mark : {"\xFF\xFE", "\xFE\xFF", "\xEF\xBB\xBF"}) {
    if (head.starts_with(mark)) return false;
  }
  if (IsUnmarkedUtf16(begin, end)) return false;
  if (!BeginsWithDeclaration(head)) return true;
  const std::string_view name = DeclaredEncoding(begin, end);
  return head.find("?>") != head.npos && (name.empty() || EqualsIgnoringCase(name, "UTF-8"));
}

constexpr std::string_view kOpening = "<?xml";

static bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

static bool IsPlain(std::string_view value) {
  return std::all_of(value.begin(), value.end(), [](char c) {
    return IsLetter(c) || (c >= '0' && c <= '9') || c == '.' || c == '-' || c == '_';
  });
}

static void CutBlanks(std::string_view& text) {
  text.remove_prefix(static_cast<std::size_t>(SkipBlanks(text.begin(), text.end()) - text.begin()));
}

// Cuts a quoted value off the front; nothing when there is none.
static std::optional<std::string_view> CutQuoted(std::string_view& text) {
  if (text.empty() || (text[0] != '"' && text[0] != '\'')) return {};
  const std::size_t close = text.find(text[0], 1);
  if (close == text.npos) return {};
  const std::string_view value = text.substr(1, close - 1);
  text.remove_prefix(close + 1);
  return value;
}

std::optional<TPseudoAttribute> CutPseudoAttribute(std::string_view& text) {
  std::string_view rest = text;
  CutBlanks(rest);
  if (rest.size() == text.size()) return {};
  const std::string_view name(rest.begin(), SkipName(rest.begin(), rest.end()));
  if (name.empty()) return {};
  rest.remove_prefix(name.size());
  CutBlanks(rest);
  if (rest.empty() || rest[0] != '=') return {};
  rest.remove_prefix(1);
  CutBlanks(rest);
  const auto value = CutQuoted(rest);
  if (!value) return {};
  text = rest;
  return TPseudoAttribute{name, *value};
}

bool BeginsWithDeclaration(std::string_view document) {
  return document.size() > kOpening.size() && document.starts_with(kOpening) &&
         (IsBlank(document[kOpening.size()]) || document[kOpening.size()] == '?');
}

std::optional<TDeclaration> ReadDeclaration(std::string_view contents) {
  TDeclaration declaration;
  auto item = CutPseudoAttribute(contents);
  if (!item || item->name != "version" || !IsPlain(item->value)) return {};
  item = CutPseudoAttribute(contents);
  if (item && item->name == "encoding") {
    if (item->value.empty() || !IsLetter(item->value[0]) || !IsPlain(item->value)) return {};
    declaration.encoding = item->value;
    item = CutPseudoAttribute(contents);
  }
  if (item && (item->name != "standalone" || (item->value != "yes" && item->value != "no")))
    return {};
  CutBlanks(contents);
  if (!contents.empty()) return {};
  return declaration;
}

}  // namespace svc::xml
