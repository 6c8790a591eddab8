// A pull reader for XML 1.0 documents without a document type: from text to tokens, in one pass.
// Keeps no tree, allocates nothing for an element, and works in the caller's bytes. Used from one
// thread at a time.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/xmlparser/byte_scan.h"
#include "runtime/xmlparser/document_text.h"
#include "runtime/xmlparser/member_plan.h"

namespace svc::xml {

enum class EToken : std::uint8_t {
  kInstruction,  // Before the root element only; later ones are passed over.
  kStart,        // Of an element; "<X/>" is a start and an end.
  kText,         // All character data between two tags; never empty.
  kEnd,
  kFinished  // Behind the root element's end.
};

// What it hands out views the document's bytes, where a later token does not change them: a text
// or an attribute stays valid as long as the bytes do. Every operation throws TDocumentError where
// the document is not well-formed.
class TXmlReader {
 public:
  static constexpr std::size_t kMaxDepth = 256;

  // Borrows `text`, UTF-8 without byte order mark.
  explicit TXmlReader(TDocumentText& text);

  EToken Next();
  // As Next, but passes over a text of nothing but white space.
  EToken NextTag() {
    if (depth == 0 || isEmptyElement) return NextTagSlowly();
    MoveTo(SkipBlanks(at, text.End()));
    if (Left() < TKnownTag::kMaxLength || *at != '<') return NextTagSlowly();
    if (at[1] == '/') return ReadEnd();
    return at[1] != '!' && at[1] != '?' ? ReadStart() : NextTagSlowly();
  }
  // Reads the next element whole where it is a leaf, which holds nothing but plain text, and begins
  // with the tag that came here last: Text() is what it holds. `isWanted` is asked first, with the
  // tag's number. False, and nothing is read, where it cannot be read at a stroke.
  template <typename TTest>
  bool TakeLeaf(const TTest& isWanted);
  // Where a document that is seen through a window can be read again from: before a token.
  struct TMark {
    std::size_t offset;
    std::size_t depth;
    TKnownTag** expected;
    bool isEmptyElement;
    bool hasDocumentType;
    bool isRootRead;
  };
  TMark Mark() const;
  // Moves the window on where little is left in it. What was handed out is no longer valid.
  void MoveWindow() {
    if (text.Window() != nullptr && text.Window()->IsLow(at)) MoveWindowOn();
  }
  // Reads on from the mark, and sees more than the last time. REQUIRES: a window.
  void GoBackTo(const TMark& mark);
  // The names of the open elements, the root's first.
  std::vector<std::string> OpenNames() const;
  // For a document that is read from its middle: these elements are open, the root first.
  // REQUIRES: nothing was read yet.
  void BeginWithin(std::span<const std::string> names);
  // Checks what follows the root element: white space, comments, processing instructions.
  // REQUIRES: the last token was kFinished.
  void CheckEpilogue();

  // Of an element, or of an instruction its target.
  std::string_view Name() const { return name; }
  // A text, or what follows an instruction's target.
  std::string_view Text() const { return content; }
  // REQUIRES: the last token was kStart; so for all that follow.
  std::optional<std::string_view> Attribute(std::string_view attributeName) const;
  // The same in two steps: the attribute's number, which holds for all tags of the same bytes (none
  // counts as the number of attributes), and the value of the attribute of that number.
  std::size_t AttributeNumber(std::string_view attributeName) const;
  std::string_view AttributeValue(std::size_t number) const {
    return attributes[number].Value(tagBytes);
  }
  // The last tag's number. Tags of the same bytes have the same one as long as the reader remembers
  // them, tags of other bytes never: what a caller finds out about a tag it may keep by this.
  std::uint32_t Tag() const { return tagNumber; }

  TDocumentText& Document() { return text; }
  // Where reading goes on; the same as a number, which stays the same when the window moves.
  char* Here() const { return at; }
  std::size_t Offset() const {
    return text.Window() == nullptr ? static_cast<std::size_t>(at - text.Begin())
                                    : text.Window()->OffsetOf(at);
  }
  // Whether the open element is an empty one, whose end comes next.
  bool IsEmptyElement() const { return isEmptyElement; }
  // The tag of the open element, or null where it is none that is remembered; the name of the
  // element around it, empty where that is the root or none.
  TKnownTag* OpenTag() {
    TKnownTag* const tag = open[depth - 1].tag;
    return tag == &unknown ? nullptr : tag;
  }
  std::string_view Holder() const {
    return depth < 3 ? std::string_view()
                     : std::string_view(open[depth - 2].name, open[depth - 2].length);
  }
  // For who reads what it knows by its markup. Goes on behind that, where `next` remembers what
  // comes; the last token is then at `place`.
  void GoOnAt(const char* behind, TKnownTag** next) {
    MoveTo(behind);
    expected = next;
  }
  void PutTokenAt(const char* place) { token = at + (place - at); }
  // Where the last token begins; behind an empty element's end, where the element does.
  const char* Place() const { return token; }
  // Fails where the last token begins.
  [[noreturn]] void Fail(std::string cause, NQRXHSK20::THSKStatusCode status =
                                                NQRXHSK20::THSKStatusCode::kFailed) const {
    text.Fail(token, std::move(cause), status);
  }

 private:
  struct TOpenElement {
    const char* name;
    std::uint32_t length;
    TKnownTag* tag;
    bool isKept;  // The name is one of `keptNames`.
  };

  void MoveWindowOn();
  void KeepName(std::size_t place);
  void KeepNames();
  void BeginAnew();
  EToken NextTagSlowly();
  EToken NextOutside();
  EToken EndEmptyElement();
  EToken ReadStart();
  EToken ReadEnd();
  bool ReadCharacters();
  void ReadInstructionToken();
  void ReadDeclarationAtStart();
  void ReadDocumentType();
  EToken ReadNewStart();
  EToken Open(TKnownTag& tag, const TTagForm& form, std::span<const TAttribute> itsAttributes);
  EToken Close();
  bool TakeWrapped(TKnownTag& tag);
  bool TakeLikelyLeaf(TKnownTag& leaf);
  [[noreturn]] void FailAtEndTag() const;
  bool IsEndOf(const TOpenElement& element) const;
  std::size_t Left() const { return static_cast<std::size_t>(text.End() - at); }
  // Moves on to a place that a function on constant bytes found.
  void MoveTo(const char* place) { at += place - at; }

  TDocumentText& text;
  char* at;
  char* token;
  std::string_view name;
  std::string_view content;
  const char* tagBytes;  // What the places of the attributes count from.
  std::span<const TAttribute> attributes;
  std::uint32_t tagNumber = 0;
  std::uint32_t newTags = 0;  // How many were read, not remembered.

  std::size_t depth = 0;
  bool isEmptyElement = false;
  bool isRootRead = false;
  bool hasDocumentType = false;
  std::array<TOpenElement, kMaxDepth> open;
  // Of open elements whose tags the window no longer shows, by their depth.
  std::vector<std::string> keptNames;

  TTagMemory memory;
  TKnownTag unknown{};   // Stands for every tag that is not remembered.
  TKnownTag** expected;  // Where the tag is remembered that came here last; never null.
  std::vector<TAttribute> readAttributes;
};

// An element with the text in it, where all the markup stands as it did before.
inline bool TXmlReader::TakeWrapped(TKnownTag& tag) {
  const TWrapping& known = tag.wrapping;
  if (known.leadLength == 0 || !known.BeginsAt(at, text.End())) return false;
  char* const words = at + known.leadLength;
  const char* const stop = FindTextStop(words, text.End());
  if (!known.EndsAt(stop, text.End())) return false;
  token = words;
  content = {words, stop};
  name = {tag.bytes + 1, tag.form.nameLength};
  MoveTo(stop + known.trailLength);
  expected = &tag.sibling;
  return true;
}

template <typename TTest>
bool TXmlReader::TakeLeaf(const TTest& isWanted) {
  TKnownTag* const leaf = *expected;
  if (!leaf || isEmptyElement || depth == kMaxDepth || !isWanted(leaf->number)) return false;
  return TakeWrapped(*leaf) || TakeLikelyLeaf(*leaf);
}

}  // namespace svc::xml
