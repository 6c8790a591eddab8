#include "runtime/xmlparser/document_text.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "base/shown_text.h"
#include "runtime/xmlparser/encoding.h"

namespace svc::xml {

namespace {

constexpr std::string_view kCdataOpening = "<![CDATA[";

bool EndsWith(const char* begin, const char* end, char c) {
  return end - begin >= 2 && end[-1] == c && end[-2] == c;
}

class TRunDecoder {
 public:
  TRunDecoder(TDocumentText& text, char* plainEnd)
      : text(text), rewrite(plainEnd), in(rewrite.in), out(rewrite.out) {}

  TTextRun Decode() {
    text.Open(rewrite);
    while (Step()) Keep(ScanPlainText(text, in));
    text.Close();
    return {out, in};
  }

 private:
  // Takes the source up to `to` over as it is.
  void Keep(char* to) {
    const auto length = static_cast<std::size_t>(to - in);
    rewrite.lineEnds += CountLineEnds(in, to);
    std::memmove(out, in, length);
    out += length;
    in = to;
  }

  // Leaves the source up to `to` out.
  void Drop(const char* to) {
    rewrite.lineEnds += CountLineEnds(in, to);
    in += to - in;
  }

  // Handles what is not plain at `in`; false at a start or end tag.
  bool Step() {
    if (in == text.End()) text.FailAtEnd();
    if (*in == '\r') {
      TakeLineEnd();
    } else if (*in == '&') {
      TakeReference();
    } else if (GoesOnWith(text, in, kCdataOpening)) {
      TakeCdata();
    } else if (GoesOnWith(text, in, "<!--")) {
      Drop(SkipComment(text, in));
    } else if (GoesOnWith(text, in, "<?")) {
      Drop(ReadInstruction(text, in).end);
    } else if (EndsWithin(text, in, kCdataOpening) || EndsWithin(text, in, "<!--")) {
      text.FailAtEnd();
    } else if (GoesOnWith(text, in, "<!")) {
      text.Fail(in, "malformed comment or CDATA section");
    } else {
      return false;
    }
    return true;
  }

  void TakeLineEnd() {
    const bool isPair = text.End() - in > 1 && in[1] == '\n';
    *out++ = '\n';
    in += isPair ? 2 : 1;
    ++rewrite.lineEnds;
  }

  void TakeReference() { in += ReadReference(text, in, out) - in; }

  void TakeCdata() {
    in += kCdataOpening.size();
    for (char* at = in;;) {  // [in, at) is checked and not yet taken over.
      at += FindTextStop(at, text.End()) - at;
      if (at == text.End()) text.FailAtEnd();
      if (*at == '>' && EndsWith(in, at, ']')) {
        Keep(at - 2);
        in = at + 1;
        return;
      }
      if (*at == '\r') {
        Keep(at);
        TakeLineEnd();
        at = in;
      } else {
        at += SkipStop(text, at, text.End()) - at;
      }
    }
  }

  TDocumentText& text;
  TRewrite rewrite;
  char*& in;
  char*& out;
};

}  // namespace

char* ScanPlainTextFrom(const TDocumentText& text, char* begin, char* stop) {
  char* const end = text.End();
  while (stop != end && *stop != '<' && *stop != '&' && *stop != '\r') {
    if (*stop == '>' && EndsWith(begin, stop, ']'))
      text.Fail(stop, "\"]]>\" is not allowed in a text");
    stop += SkipStop(text, stop, end) - stop;
    stop += FindTextStop(stop, end) - stop;
  }
  return stop;
}

TTextRun DecodeTextRun(TDocumentText& text, char* plainEnd) {
  return TRunDecoder(text, plainEnd).Decode();
}

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

static std::string_view From(const TDocumentText& text, const char* at) {
  return {at, static_cast<std::size_t>(text.End() - at)};
}

// The place of `word` at or behind `at`.
static const char* Find(const TDocumentText& text, const char* at, std::string_view word) {
  const std::size_t place = From(text, at).find(word);
  if (place == std::string_view::npos) {
    CheckCharacters(text, at, text.End());
    text.FailAtEnd();
  }
  return at + place;
}

static char At(const TDocumentText& text, const char* at) {
  if (at == text.End()) text.FailAtEnd();
  return *at;
}

// Skips white space, of which there must be some.
static const char* SkipSpace(const TDocumentText& text, const char* at) {
  if (!IsBlank(At(text, at))) text.Fail(at, "white space is missing in the DOCTYPE");
  return SkipBlanks(at, text.End());
}

// Skips a quoted text; `isAllowed` judges its bytes.
template <typename TTest>
static const char* SkipLiteral(const TDocumentText& text, const char* at, TTest isAllowed) {
  const char quote = At(text, at);
  if (quote != '"' && quote != '\'') text.Fail(at, "the DOCTYPE lacks a quoted identifier");
  const char* const close = Find(text, at + 1, std::string_view(&quote, 1));
  CheckCharacters(text, at + 1, close);
  if (!std::all_of(at + 1, close, isAllowed))
    text.Fail(at, "the public identifier of the DOCTYPE holds a character that is not allowed");
  return close + 1;
}

// XML 1.0, production 13.
static bool IsPublicIdByte(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view(" \r\n-'()+,./:=?;!*#@$_%").find(c) != std::string_view::npos;
}

// Skips "SYSTEM 'x'" or "PUBLIC 'x' 'y'" when there is one.
static const char* SkipExternalId(const TDocumentText& text, const char* at) {
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

static bool IsXmlTarget(std::string_view target) {
  return target.size() == 3 && (target[0] | 32) == 'x' && (target[1] | 32) == 'm' &&
         (target[2] | 32) == 'l';
}

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
