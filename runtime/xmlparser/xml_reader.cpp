#include "runtime/xmlparser/xml_reader.h"

#include "base/shown_text.h"
#include "runtime/xmlparser/encoding.h"

namespace svc::xml {
static bool IsAllBlank(std::string_view text) {
  return SkipBlanks(text.begin(), text.end()) == text.end();
}

static std::size_t WholeBlocks(std::size_t length) {
  return (length + kBlockSize - 1) / kBlockSize * kBlockSize;
}

TXmlReader::TXmlReader(TDocumentText& text)
    : text(text), at(text.Begin()), token(at), tagBytes(at), expected(&unknown.child) {}

TXmlReader::TMark TXmlReader::Mark() const {
  const TDocumentWindow* const window = text.Window();
  return {window == nullptr ? 0 : window->OffsetOf(at),
          depth,
          expected,
          isEmptyElement,
          hasDocumentType,
          isRootRead};
}

void TXmlReader::GoBackTo(const TMark& mark) {
  depth = mark.depth;
  expected = mark.expected;
  isEmptyElement = mark.isEmptyElement;
  hasDocumentType = mark.hasDocumentType;
  isRootRead = mark.isRootRead;
  KeepNames();
  text.Window()->Widen(mark.offset);
  BeginAnew();
}

void TXmlReader::MoveWindowOn() {
  KeepNames();
  text.Window()->MoveTo(at);
  BeginAnew();
}

void TXmlReader::BeginWithin(std::span<const std::string> names) {
  for (const std::string& openName : names) {
    open[depth++] = {openName.data(), static_cast<std::uint32_t>(openName.size()), &unknown, false};
  }
  KeepNames();
}

std::vector<std::string> TXmlReader::OpenNames() const {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < depth; ++i) names.emplace_back(open[i].name, open[i].length);
  return names;
}

void TXmlReader::KeepNames() {
  if (keptNames.empty()) keptNames.resize(kMaxDepth);
  for (std::size_t i = 0; i < depth; ++i) {
    if (!open[i].isKept) KeepName(i);
  }
}

// Names are compared in whole blocks.
void TXmlReader::KeepName(std::size_t place) {
  TOpenElement& element = open[place];
  keptNames[place].assign(element.name, element.length).append(kBlockSize, '\0');
  element.name = keptNames[place].data();
  element.isKept = true;
}

void TXmlReader::BeginAnew() {
  text.LookAnew();
  at = text.Begin();
  token = at;
  tagBytes = at;
  attributes = {};
}

EToken TXmlReader::Next() {
  if (isEmptyElement) return EndEmptyElement();
  if (depth == 0) return NextOutside();
  for (;;) {
    if (Left() < 2) text.FailAtEnd();
    if (*at == '<') {
      if (at[1] == '/') return ReadEnd();
      if (at[1] != '!' && at[1] != '?') return ReadStart();
    }
    if (ReadCharacters()) return EToken::kText;
  }
}

EToken TXmlReader::NextTagSlowly() {
  if (!isEmptyElement && depth != 0) MoveTo(SkipBlanks(at, text.End()));
  EToken next = Next();
  while (next == EToken::kText && IsAllBlank(content)) next = Next();
  return next;
}

// Before the root element and behind it.
EToken TXmlReader::NextOutside() {
  if (isRootRead) return EToken::kFinished;
  if (at == text.Begin()) ReadDeclarationAtStart();
  for (;;) {
    MoveTo(SkipBlanks(at, text.End()));
    token = at;
    if (GoesOnWith(text, at, "<?")) {
      ReadInstructionToken();
      return EToken::kInstruction;
    }
    if (GoesOnWith(text, at, "<!--")) {
      MoveTo(SkipComment(text, at));
    } else if (GoesOnWith(text, at, "<!DOCTYPE")) {
      ReadDocumentType();
    } else if (EndsWithin(text, at, "<!DOCTYPE") || EndsWithin(text, at, "<!--")) {
      text.FailAtEnd();
    } else if (GoesOnWith(text, at, "<")) {
      return ReadStart();
    } else if (at == text.End() || *at == 0) {
      text.FailAtEnd();
    } else {
      Fail("text stands before the root element");
    }
  }
}

void TXmlReader::ReadDeclarationAtStart() {
  const std::string_view document(at, Left());
  if (!BeginsWithDeclaration(document)) return;
  const std::size_t close = document.find("?>");
  if (close == document.npos) text.FailAtEnd();
  if (!ReadDeclaration(document.substr(5, close - 5))) Fail("malformed XML declaration");
  at += close + 2;
}

void TXmlReader::ReadInstructionToken() {
  const TInstruction instruction = ReadInstruction(text, at);
  name = instruction.target;
  content = instruction.contents;
  MoveTo(instruction.end);
}

void TXmlReader::ReadDocumentType() {
  if (hasDocumentType) Fail("a second DOCTYPE");
  hasDocumentType = true;
  MoveTo(SkipDocumentType(text, at));
}

void TXmlReader::CheckEpilogue() {
  for (;;) {
    MoveTo(SkipBlanks(at, text.End()));
    token = at;
    if (at == text.End()) return;
    if (GoesOnWith(text, at, "<!--"))
      MoveTo(SkipComment(text, at));
    else if (GoesOnWith(text, at, "<?"))
      MoveTo(ReadInstruction(text, at).end);
    else
      Fail("something follows the end of the root element");
  }
}

EToken TXmlReader::ReadStart() {
  token = at;
  TKnownTag* tag = *expected;
  if (!tag || !tag->Begins(at, text.End())) {
    tag = memory.Find(at, text.End());
    if (!tag) return ReadNewStart();
    *expected = tag;
  }
  return Open(*tag, tag->form, {tag->attributes, tag->attributeCount});
}

EToken TXmlReader::ReadNewStart() {
  const TTagForm form = ReadTag(text, at, readAttributes);
  TKnownTag* const remembered = memory.Add(at, form, readAttributes);
  if (remembered) *expected = remembered;
  TKnownTag& tag = remembered ? *remembered : unknown;
  tag.number = ++newTags;
  return Open(tag, form, readAttributes);
}

EToken TXmlReader::Open(TKnownTag& tag, const TTagForm& form,
                        std::span<const TAttribute> itsAttributes) {
  if (depth == kMaxDepth) Fail("elements are nested more than 256 deep");
  open[depth++] = {at + 1, form.nameLength, &tag, false};
  name = {at + 1, form.nameLength};
  tagBytes = at;
  attributes = itsAttributes;
  tagNumber = tag.number;
  expected = &tag.child;
  isEmptyElement = form.isEmpty;
  at += form.length;
  return EToken::kStart;
}

EToken TXmlReader::EndEmptyElement() {
  isEmptyElement = false;
  return Close();
}

EToken TXmlReader::ReadEnd() {
  token = at;
  const TOpenElement& top = open[depth - 1];
  if (!IsEndOf(top)) FailAtEndTag();
  at += 2 + top.length;
  if (*at != '>') MoveTo(SkipBlanks(at, text.End()));
  if (at == text.End()) text.FailAtEnd();
  if (*at != '>') FailAtEndTag();
  ++at;
  return Close();
}

bool TXmlReader::TakeLikelyLeaf(TKnownTag& leaf) {
  if (leaf.form.isEmpty) return false;
  const char* const begin = at;
  const char* const tag = SkipBlanks(at, text.End());
  if (!leaf.Begins(tag, text.End())) return false;
  const char* const words = tag + leaf.form.length;
  const char* const stop = FindTextStop(words, text.End());
  if (!leaf.IsClosedAt(stop, text.End())) return false;
  MoveTo(words);
  token = at;
  content = {words, stop};
  name = {tag + 1, leaf.form.nameLength};
  MoveTo(stop + leaf.form.nameLength + 3);
  expected = &leaf.sibling;
  leaf.wrapping.Learn({begin, words}, {stop, at});
  return true;
}

// Whether an end tag goes on with the name of the element, and with something behind it.
bool TXmlReader::IsEndOf(const TOpenElement& element) const {
  if (Left() >= 2 + WholeBlocks(element.length) + 1)
    return EqualBlocks(at + 2, element.name, element.length);
  if (Left() <= 2 + element.length) text.FailAtEnd();
  return std::string_view(at + 2, element.length) == std::string_view(element.name, element.length);
}

EToken TXmlReader::Close() {
  const TOpenElement& closed = open[--depth];
  name = {closed.name, closed.length};
  expected = &closed.tag->sibling;
  isRootRead = depth == 0;
  return EToken::kEnd;
}

void TXmlReader::FailAtEndTag() const {
  const TOpenElement& top = open[depth - 1];
  const std::string_view wanted(top.name, top.length);
  const char* const itsName = token + 2;
  const char* const itsEnd = SkipName(itsName, text.End());
  if (itsEnd == text.End()) text.FailAtEnd();
  const std::string_view found(itsName, itsEnd);
  if (found.empty() || found == wanted) Fail("malformed end tag");
  Fail("end tag \"" + CutName(found) + "\" where \"" + CutName(wanted) + "\" is open");
}

// All character data up to the next tag; false when it comes to nothing.
bool TXmlReader::ReadCharacters() {
  token = at;
  char* const stop = ScanPlainText(text, at);
  const bool isPlain = text.End() - stop > 1 && *stop == '<' && stop[1] != '!' && stop[1] != '?';
  const TTextRun run = isPlain ? TTextRun{stop, stop} : DecodeTextRun(text, stop);
  content = {token, static_cast<std::size_t>(run.end - token)};
  at = run.next;
  return !content.empty();
}

std::size_t TXmlReader::AttributeNumber(std::string_view attributeName) const {
  std::size_t number = 0;
  while (number != attributes.size() && attributes[number].Name(tagBytes) != attributeName)
    ++number;
  return number;
}

std::optional<std::string_view> TXmlReader::Attribute(std::string_view attributeName) const {
  const std::size_t number = AttributeNumber(attributeName);
  if (number == attributes.size()) return {};
  return AttributeValue(number);
}

}  // namespace svc::xml
