// From the tokens of a CIM-XML document to the classes and instances of a namespace. Used from one
// thread at a time.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/hskcore/value.h"
#include "runtime/hskcore/namespace_writer.h"
#include "runtime/xmlparser/cim_elements.h"
#include "runtime/xmlparser/document_text.h"
#include "runtime/xmlparser/member_plan.h"

namespace svc::xml {

enum class EDialect : std::uint8_t { kAny, kCatalogue402 };

// Where a builder is that reads what stands in its innermost container.
struct TOutset {
  std::vector<EElement> containers;  // That are open, the root first ...
  std::vector<std::string> names;    // ... and what they are called.
  std::string child;                 // What the child is called that was read last.
  std::size_t offset = 0;            // Behind it.
};

// The parts of a document behind the one that a builder reads, which others read meanwhile. The
// builder's document is seen through a window.
class ILaterParts {
 public:
  virtual ~ILaterParts() = default;
  // The builder has read an instance, and has no more to tell of the way to the next ones. Where
  // others are to read on from somewhere, the window is limited to that place.
  virtual void Begin(const TOutset& outset) = 0;
  // The builder has come to that place just as was thought, between two children of that container.
  // Whether all that is left of the document is read; otherwise the window has no limit any more,
  // and the builder reads on.
  virtual bool Take() = 0;
};

class TCimBuilder {
 public:
  // Borrows both.
  TCimBuilder(TXmlReader& reader, TNamespaceWriter& writer) : tokens(reader), writer(writer) {}

  // Reads the document up to the end tag of its root element, of a whole file also what follows
  // it. Throws TDocumentError; what was complete before stays in the namespace. What is wrong in
  // several ways is refused for the first that the order of the text shows; where the root element
  // begins, its name is judged before the dialect, since only a CIM document has one.
  void Build(EDialect dialect, bool isWholeFile = false);
  // Borrows them. REQUIRES: nothing was read yet.
  void LeaveTo(ILaterParts& parts) { later = &parts; }
  // Reads the part of a document that begins behind this outset, up to where others do or to the
  // end. Throws as Build does.
  void BuildFrom(const TOutset& where, bool isWholeFile);
  // Whether others have read the end of the document.
  bool IsReadByOthers() const { return isReadByOthers; }
  // The classes that the document declared, in order, each once.
  const std::vector<TClassId>& Classes() const { return classes; }

 private:
  struct TProperty {
    TPropertyName name;
    NQRXHSK20::ECIMType type;
  };

  template <typename TStep>
  bool InWindow(const TStep& step);
  std::optional<std::string_view> ReadPrologue();
  void CheckDialect(std::optional<std::string_view> version);
  void ReadContainer(EElement container);
  void ReadChildren(EElement container);
  bool MeetsLaterParts();
  void ReadEpilogue(bool isWholeFile);
  void ReadChild(EElement container);
  void ReadHolder(EElement holder);
  [[noreturn]] void FailWithError();

  void ReadClass();
  void ReadInstance();
  bool ReadInstanceMembers();
  void TakeKnownMembers();
  const char* TakeMember(TMember& member, const char* words, const char* last);
  const char* TakeText(TMember& member, const char* words, const char* last);
  const char* TakeValue(TMember& member, const char* words, const char* last);
  const char* TakeArray(TMember& member, const char* words, const char* last);
  bool TakeGap();
  bool ReadNewMember();
  void LearnGap();
  bool ReadMember(bool isClass);
  void NoteMember(const TProperty& property, bool isArray);
  void ReadProperty();
  void ReadPropertyArray();
  void ReadPropertyReference();
  bool NextValue(const TProperty& property, bool hasValue);
  void ReadNull(const TProperty& property, bool isArray);
  void ReadElements(const TProperty& property);
  bool ReadElement();
  TProperty PropertyOfTag();
  void NoteProperty(TTagNote& note);
  void Collect(TClassId id);

  TCimTokens tokens;
  TNamespaceWriter& writer;
  TMemberPlan plan;
  TClassId instanceClass = kNoClass;  // Of the open instance.
  // Of the member that is read token by token: what the plan may learn.
  std::optional<TMemberPlan::TRead> newMember;
  std::size_t memberEnd = 0;  // Of the last member before it, or of the last one of all.
  // Of the instance that the gap of the plan leads to.
  TKnownTag* gapTag = nullptr;
  std::string gapHolder;
  TClassId gapClass = kNoClass;
  bool isGapUsable = false;  // Below the holder that is open.
  std::vector<TClassId> classes;
  std::vector<bool> isCollected;
  std::vector<EElement> containers;  // That are open, the root first.
  ILaterParts* later = nullptr;      // Null for none.
  TOutset outset;                    // That they begin with, once they have begun.
  bool isReadByOthers = false;
};

// Takes a step from one token to another, and takes it again where the document is seen through a
// window that ended on the way: what is half written by then is dropped. A class that was begun
// stays declared, and is declared the same again.
template <typename TStep>
bool TCimBuilder::InWindow(const TStep& step) {
  TXmlReader& reader = tokens.Reader();
  reader.MoveWindow();
  const TXmlReader::TMark mark = reader.Mark();
  for (;;) {
    try {
      return step();
    } catch (const TDocumentError& error) {
      if (!error.IsMoreWanted()) throw;
      writer.Abandon();
      reader.GoBackTo(mark);
    }
  }
}

}  // namespace svc::xml
