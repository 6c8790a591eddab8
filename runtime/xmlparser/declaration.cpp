#include "runtime/xmlparser/declaration.h"

#include <algorithm>

#include "runtime/xmlparser/byte_scan.h"
#include "runtime/xmlparser/characters.h"

namespace svc::xml {
namespace {

constexpr std::string_view kOpening = "<?xml";

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

bool IsPlain(std::string_view value) {
  return std::all_of(value.begin(), value.end(), [](char c) {
    return IsLetter(c) || (c >= '0' && c <= '9') || c == '.' || c == '-' || c == '_';
  });
}

void CutBlanks(std::string_view& text) {
  text.remove_prefix(static_cast<std::size_t>(SkipBlanks(text.begin(), text.end()) - text.begin()));
}

// Cuts a quoted value off the front; nothing when there is none.
std::optional<std::string_view> CutQuoted(std::string_view& text) {
  if (text.empty() || (text[0] != '"' && text[0] != '\'')) return {};
  const std::size_t close = text.find(text[0], 1);
  if (close == text.npos) return {};
  const std::string_view value = text.substr(1, close - 1);
  text.remove_prefix(close + 1);
  return value;
}

}  // namespace

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
