#include "runtime/xmlparser/markup.h"

#include <algorithm>
#include <string>

#include "runtime/xmlparser/byte_scan.h"
#include "runtime/xmlparser/characters.h"

namespace svc::xml {
namespace {

std::string_view From(const TDocumentText& text, const char* at) {
  return {at, static_cast<std::size_t>(text.End() - at)};
}

// The place of `word` at or behind `at`.
const char* Find(const TDocumentText& text, const char* at, std::string_view word) {
  const std::size_t place = From(text, at).find(word);
  if (place == std::string_view::npos) {
    CheckCharacters(text, at, text.End());
    text.FailAtEnd();
  }
  return at + place;
}

char At(const TDocumentText& text, const char* at) {
  if (at == text.End()) text.FailAtEnd();
  return *at;
}

// Skips white space, of which there must be some.
const char* SkipSpace(const TDocumentText& text, const char* at) {
  if (!IsBlank(At(text, at))) text.Fail(at, "white space is missing in the DOCTYPE");
  return SkipBlanks(at, text.End());
}

// Skips a quoted text; `isAllowed` judges its bytes.
template <typename TTest>
const char* SkipLiteral(const TDocumentText& text, const char* at, TTest isAllowed) {
  const char quote = At(text, at);
  if (quote != '"' && quote != '\'') text.Fail(at, "the DOCTYPE lacks a quoted identifier");
  const char* const close = Find(text, at + 1, std::string_view(&quote, 1));
  CheckCharacters(text, at + 1, close);
  if (!std::all_of(at + 1, close, isAllowed))
    text.Fail(at, "the public identifier of the DOCTYPE holds a character that is not allowed");
  return close + 1;
}

// XML 1.0, production 13.
bool IsPublicIdByte(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view(" \r\n-'()+,./:=?;!*#@$_%").find(c) != std::string_view::npos;
}

// Skips "SYSTEM 'x'" or "PUBLIC 'x' 'y'" when there is one.
const char* SkipExternalId(const TDocumentText& text, const char* at) {
  if (GoesOnWith(text, at, "PUBLIC")) {
    at = SkipLiteral(text, SkipSpace(text, at + 6), IsPublicIdByte);
    at = SkipSpace(text, at);
  } else if (GoesOnWith(text, at, "SYSTEM")) {
    at = SkipSpace(text, at + 6);
  } else {
    return at;
  }
  return SkipLiteral(text, at, [](char) { return true; });
}

bool IsXmlTarget(std::string_view target) {
  return target.size() == 3 && (target[0] | 32) == 'x' && (target[1] | 32) == 'm' &&
         (target[2] | 32) == 'l';
}

}  // namespace

bool GoesOnWith(const TDocumentText& text, const char* at, std::string_view word) {
  return From(text, at).starts_with(word);
}

bool EndsWithin(const TDocumentText& text, const char* at, std::string_view word) {
  const std::string_view rest = From(text, at);
  return rest.size() < word.size() && word.starts_with(rest);
}

const char* SkipStop(const TDocumentText& text, const char* at, const char* end) {
  if (*at == '<' || *at == '&' || *at == '>' || *at == '\r') return at + 1;
  const char* const next = SkipUtf8(at, end);
  if (next == at) text.FailAtByte(at);
  return next;
}

void CheckCharacters(const TDocumentText& text, const char* at, const char* end) {
  for (at = FindTextStop(at, end); at != end; at = FindTextStop(at, end))
    at = SkipStop(text, at, end);
}

const char* SkipComment(const TDocumentText& text, const char* at) {
  const char* const dashes = Find(text, at + 4, "--");
  CheckCharacters(text, at + 4, dashes);
  if (At(text, dashes + 2) != '>') text.Fail(dashes, "\"--\" is not allowed in a comment");
  return dashes + 3;
}

TInstruction ReadInstruction(const TDocumentText& text, const char* at) {
  const char* const name = at + 2;
  const char* const nameEnd = SkipName(name, text.End());
  if (nameEnd == text.End()) text.FailAtEnd();
  const std::string_view target(name, static_cast<std::size_t>(nameEnd - name));
  if (target.empty()) text.Fail(at, "a processing instruction lacks its name");
  if (IsXmlTarget(target)) text.Fail(at, "an XML declaration stands only at the very beginning");
  const char* const close = Find(text, nameEnd, "?>");
  if (close != nameEnd && !IsBlank(*nameEnd))
    text.Fail(at, "malformed name of a processing instruction");
  CheckCharacters(text, nameEnd, close);
  return {target, {nameEnd, static_cast<std::size_t>(close - nameEnd)}, close + 2};
}

const char* SkipDocumentType(const TDocumentText& text, const char* at) {
  const char* const name = SkipSpace(text, at + 9);
  const char* next = SkipName(name, text.End());
  if (next == name) text.Fail(at, "the DOCTYPE lacks the name of the root element");
  const char* const afterName = SkipBlanks(next, text.End());
  if (afterName != next) next = SkipExternalId(text, afterName);
  next = SkipBlanks(next, text.End());
  if (At(text, next) == '[') text.Fail(next, "a DOCTYPE with an internal subset is refused");
  if (*next != '>') text.Fail(next, "malformed DOCTYPE");
  return next + 1;
}

}  // namespace svc::xml
