#include "runtime/xmlparser/cim_elements.h"

#include <algorithm>
#include <iterator>

#include "base/shown_text.h"
#include "runtime/hskcore/cell.h"
#include "runtime/xmlparser/byte_scan.h"
#include "runtime/xmlparser/cim_builder.h"
#include "runtime/xmlparser/encoding.h"

namespace svc::xml {

namespace {

struct TNamed {
  std::string_view name;
  EElement element;
};

// In the order of the names' bytes, for binary search.
constexpr TNamed kNames[] = {
    {"CIM", EElement::kCim},
    {"CLASS", EElement::kClass},
    {"CLASSNAME", EElement::kClassName},
    {"CLASSPATH", EElement::kClassPath},
    {"DECLARATION", EElement::kDeclaration},
    {"DECLGROUP", EElement::kDeclGroup},
    {"DECLGROUP.WITHNAME", EElement::kDeclGroupWithName},
    {"DECLGROUP.WITHPATH", EElement::kDeclGroupWithPath},
    {"ERROR", EElement::kError},
    {"HOST", EElement::kHost},
    {"IMETHODRESPONSE", EElement::kIMethodResponse},
    {"INSTANCE", EElement::kInstance},
    {"INSTANCENAME", EElement::kInstanceName},
    {"INSTANCEPATH", EElement::kInstancePath},
    {"IRETURNVALUE", EElement::kIReturnValue},
    {"KEYBINDING", EElement::kKeyBinding},
    {"KEYVALUE", EElement::kKeyValue},
    {"LOCALCLASSPATH", EElement::kLocalClassPath},
    {"LOCALINSTANCEPATH", EElement::kLocalInstancePath},
    {"LOCALNAMESPACEPATH", EElement::kLocalNamespacePath},
    {"MESSAGE", EElement::kMessage},
    {"METHOD", EElement::kMethod},
    {"NAMESPACE", EElement::kNamespace},
    {"NAMESPACEPATH", EElement::kNamespacePath},
    {"PARAMVALUE", EElement::kParamValue},
    {"PROPERTY", EElement::kProperty},
    {"PROPERTY.ARRAY", EElement::kPropertyArray},
    {"PROPERTY.REFERENCE", EElement::kPropertyReference},
    {"QUALIFIER", EElement::kQualifier},
    {"QUALIFIER.DECLARATION", EElement::kQualifierDeclaration},
    {"SIMPLERSP", EElement::kSimpleRsp},
    {"VALUE", EElement::kValue},
    {"VALUE.ARRAY", EElement::kValueArray},
    {"VALUE.INSTANCEWITHPATH", EElement::kValueInstanceWithPath},
    {"VALUE.NAMEDINSTANCE", EElement::kValueNamedInstance},
    {"VALUE.NAMEDOBJECT", EElement::kValueNamedObject},
    {"VALUE.NULL", EElement::kValueNull},
    {"VALUE.OBJECT", EElement::kValueObject},
    {"VALUE.OBJECTWITHPATH", EElement::kValueObjectWithPath},
    {"VALUE.REFERENCE", EElement::kValueReference},
};

constexpr bool IsBefore(const TNamed& left, const TNamed& right) { return left.name < right.name; }
static_assert(std::is_sorted(std::begin(kNames), std::end(kNames), IsBefore));

// In groups: all kinds of DECLGROUP hold the same here, and so do all that wrap one object.
EElement GroupOf(EElement parent) {
  switch (parent) {
    case EElement::kDeclGroupWithName:
    case EElement::kDeclGroupWithPath:
      return EElement::kDeclGroup;
    case EElement::kValueNamedObject:
    case EElement::kValueObjectWithPath:
      return EElement::kValueObject;
    case EElement::kValueInstanceWithPath:
      return EElement::kValueNamedInstance;
    default:
      return parent;
  }
}

struct TRule {
  EElement parent;
  EElement child;
  ETreatment treatment;
};

// The most frequent first.
constexpr TRule kRules[] = {
    {EElement::kDeclGroup, EElement::kValueObject, ETreatment::kHold},
    {EElement::kValueObject, EElement::kInstance, ETreatment::kInstance},
    {EElement::kValueObject, EElement::kClass, ETreatment::kClass},
    {EElement::kDeclGroup, EElement::kValueNamedObject, ETreatment::kHold},
    {EElement::kDeclGroup, EElement::kValueObjectWithPath, ETreatment::kHold},
    {EElement::kValueObject, EElement::kInstanceName, ETreatment::kSkip},
    {EElement::kValueObject, EElement::kInstancePath, ETreatment::kSkip},
    {EElement::kValueObject, EElement::kClassPath, ETreatment::kSkip},
    {EElement::kIReturnValue, EElement::kInstance, ETreatment::kInstance},
    {EElement::kIReturnValue, EElement::kClass, ETreatment::kClass},
    {EElement::kIReturnValue, EElement::kValueNamedInstance, ETreatment::kHold},
    {EElement::kIReturnValue, EElement::kValueObjectWithPath, ETreatment::kHold},
    {EElement::kIReturnValue, EElement::kValueInstanceWithPath, ETreatment::kHold},
    {EElement::kValueNamedInstance, EElement::kInstance, ETreatment::kInstance},
    {EElement::kValueNamedInstance, EElement::kInstanceName, ETreatment::kSkip},
    {EElement::kValueNamedInstance, EElement::kInstancePath, ETreatment::kSkip},
    {EElement::kCim, EElement::kDeclaration, ETreatment::kEnter},
    {EElement::kDeclaration, EElement::kDeclGroup, ETreatment::kEnter},
    {EElement::kDeclaration, EElement::kDeclGroupWithName, ETreatment::kEnter},
    {EElement::kDeclaration, EElement::kDeclGroupWithPath, ETreatment::kEnter},
    {EElement::kDeclGroup, EElement::kQualifierDeclaration, ETreatment::kSkip},
    {EElement::kDeclGroup, EElement::kLocalNamespacePath, ETreatment::kSkip},
    {EElement::kDeclGroup, EElement::kNamespacePath, ETreatment::kSkip},
    {EElement::kCim, EElement::kMessage, ETreatment::kEnter},
    {EElement::kMessage, EElement::kSimpleRsp, ETreatment::kEnter},
    {EElement::kSimpleRsp, EElement::kIMethodResponse, ETreatment::kEnter},
    {EElement::kIMethodResponse, EElement::kIReturnValue, ETreatment::kEnter},
    {EElement::kIMethodResponse, EElement::kParamValue, ETreatment::kSkip},
    {EElement::kIMethodResponse, EElement::kError, ETreatment::kError},
};

}  // namespace

EElement ElementOfName(std::string_view name) {
  const TNamed* found = std::lower_bound(std::begin(kNames), std::end(kNames),
                                         TNamed{name, EElement::kNone}, IsBefore);
  return found != std::end(kNames) && found->name == name ? found->element : EElement::kUnknown;
}

ETreatment TreatmentBelow(EElement parent, EElement child) {
  const EElement group = GroupOf(parent);
  for (const TRule& rule : kRules)
    if (rule.parent == group && rule.child == child) return rule.treatment;
  return ETreatment::kRefuse;
}

std::string_view TCimTokens::Required(std::string_view attributeName) const {
  const std::string_view value = Optional(attributeName);
  if (value.empty())
    reader.Fail("element " + CutName(reader.Name()) + " lacks its attribute " +
                std::string(attributeName));
  return value;
}

std::string_view TCimTokens::Optional(std::string_view attributeName) const {
  return reader.Attribute(attributeName).value_or(std::string_view());
}

void TCimTokens::Skip() {
  for (std::size_t open = 1; open != 0;) {
    const EToken token = reader.Next();
    if (token == EToken::kStart) ++open;
    if (token == EToken::kEnd) --open;
  }
}

void TCimTokens::SkipEmpty() {
  if (NextChild()) RefuseElement();
}

std::string TCimTokens::TextOf() {
  std::string text;
  ReadText([&text](std::string_view read) { text = read; });
  return text;
}

void TCimTokens::RefuseElement() const {
  reader.Fail("element " + CutName(reader.Name()) + " is not expected here");
}

constexpr unsigned kMajor = 4;
constexpr unsigned kMinor = 2;
// Versions are not compared beyond this: larger numbers count as this one.
constexpr unsigned kLargest = 1000000;

static bool IsNumber(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

static unsigned NumberOf(std::string_view digits) {
  unsigned number = 0;
  for (char digit : digits)
    number = std::min(number * 10 + static_cast<unsigned>(digit - '0'), kLargest);
  return number;
}

std::string_view DialectVersion(std::string_view contents) {
  while (const auto item = CutPseudoAttribute(contents))
    if (item->name == "version") return item->value;
  return {};
}

bool IsDialect402(std::string_view version) {
  const std::size_t point = version.find('.');
  if (point == version.npos) return false;
  const std::string_view major = version.substr(0, point);
  const std::string_view minor = version.substr(point + 1);
  if (!IsNumber(major) || !IsNumber(minor)) return false;
  const unsigned number = NumberOf(major);
  return number > kMajor || (number == kMajor && NumberOf(minor) >= kMinor);
}

// Instances: their members as the plan knows them, and token by token where it does not.

void TCimBuilder::ReadInstance() {
  instanceClass = writer.BeginInstance(tokens.Required("CLASSNAME"));
  LearnGap();
  isGapUsable = !plan.Gap().IsEmpty() && tokens.Reader().Holder() == gapHolder;
  while (InWindow([&] { return ReadInstanceMembers(); })) {
  }
  writer.Finish();
}

// True where the next instance begins behind this one as ever.
bool TCimBuilder::ReadInstanceMembers() {
  writer.BeginInstance(instanceClass);
  writer.KeepPlace(tokens.Reader().Offset());
  plan.Begin();
  const bool isEmpty = tokens.Reader().IsEmptyElement();
  for (;;) {
    if (!isEmpty) TakeKnownMembers();
    if (!isEmpty && TakeGap()) return true;
    if (!ReadNewMember()) return false;
  }
}

// What is looked at behind a place at a stroke: a block of a text, and markup behind it.
constexpr auto kReach = static_cast<std::ptrdiff_t>(kBlockSize + TMarkup::kMost);
constexpr auto kRoom = static_cast<std::ptrdiff_t>(TNamespaceWriter::kRoom - kBlockSize);

// Where the text that begins at `words` ends; null, and nothing is written, where it or what stands
// behind it is not as it was. So for what follows. `last` is the last place behind which as much
// can be read as is looked at.
inline const char* TCimBuilder::TakeText(TMember& member, const char* words, const char* last) {
  char* const room = writer.RoomForText();
  const char* const stop = CopyText(words, std::min(last - words, kRoom), room);
  const bool isTaken = stop != nullptr && member.trail.StandsAt(stop) &&
                       writer.KeepText(member.step, static_cast<std::size_t>(stop - words));
  return isTaken ? stop : nullptr;
}

inline const char* TCimBuilder::TakeValue(TMember& member, const char* words, const char* last) {
  const char* const stop = FindTextStop(words, last);
  const bool isTaken = member.trail.StandsAt(stop) && writer.KeepValue(member.step, {words, stop});
  return isTaken ? stop : nullptr;
}

inline const char* TCimBuilder::TakeArray(TMember& member, const char* words, const char* last) {
  constexpr std::ptrdiff_t kLongest = 126;  // Whose mark takes one byte.
  if (!TakesAnyText(member.step.form.type)) return nullptr;
  char* const room = writer.RoomForArray();
  const char* const lastRoom = room + kRoom - kLongest - 1;
  char* to = room;
  for (std::uint32_t count = 1; to <= lastRoom && last - words >= kLongest; ++count) {
    const char* const stop = CopyText(words, kLongest, to + 1);
    if (stop == nullptr || stop - words > kLongest) return nullptr;
    *to = static_cast<char>(stop - words + 1);
    to += stop - words + 1;
    if (member.between.IsEmpty() || !member.between.StandsAt(stop)) {
      const bool isTaken =
          member.trail.StandsAt(stop) &&
          writer.KeepArray(member.step, count, static_cast<std::size_t>(to - room));
      return isTaken ? stop : nullptr;
    }
    words = stop + member.between.Length();
  }
  return nullptr;
}

inline const char* TCimBuilder::TakeMember(TMember& member, const char* words, const char* last) {
  if (words > last) return nullptr;
  if (member.step.form.isArray) return TakeArray(member, words, last);
  return TakesAnyText(member.step.form.type) ? TakeText(member, words, last)
                                             : TakeValue(member, words, last);
}

// Members that stand as they did before.
void TCimBuilder::TakeKnownMembers() {
  TXmlReader& reader = tokens.Reader();
  const char* at = reader.Here();
  const char* const end = reader.Document().End();
  const char* const last = end - std::min(kReach, end - at);
  const TMember* taken = nullptr;
  for (TMember* member; at < last && (member = plan.Take(at)) != nullptr; taken = member) {
    const char* const stop = TakeMember(*member, at + member->lead.Length(), last);
    if (stop == nullptr) {
      plan.Begin();
      break;
    }
    at = stop + member->trail.Length();
  }
  if (taken != nullptr) reader.GoOnAt(at, &taken->tag->sibling);
}

bool TCimBuilder::TakeGap() {
  TXmlReader& reader = tokens.Reader();
  const TMarkup& gap = plan.Gap();
  const std::ptrdiff_t left = reader.Document().End() - reader.Here();
  if (!isGapUsable || left < kReach || !gap.StandsAt(reader.Here())) return false;
  writer.Finish();
  reader.GoOnAt(reader.Here() + gap.Length(), &gapTag->child);
  instanceClass = gapClass;
  return true;
}

// False at the end of the instance.
bool TCimBuilder::ReadNewMember() {
  TXmlReader& reader = tokens.Reader();
  memberEnd = reader.Offset();
  newMember.reset();
  if (!ReadMember(false)) return false;
  if (!newMember) {
    plan.Begin();
    return true;
  }
  const std::size_t length = reader.Offset() - memberEnd;
  newMember->bytes = {reader.Here() - length, length};
  plan.Learn(*newMember);
  return true;
}

// Between the last member of the instance before, if it was not taken by the plan, and here, where
// another one begins.
void TCimBuilder::LearnGap() {
  TXmlReader& reader = tokens.Reader();
  const std::size_t length = reader.Offset() - memberEnd;
  const auto seen = static_cast<std::size_t>(reader.Here() - reader.Document().Begin());
  if (length > std::min(seen, TMarkup::kMost) || reader.OpenTag() == nullptr) return;
  gapTag = reader.OpenTag();
  gapHolder = reader.Holder();
  gapClass = instanceClass;
  plan.LearnGap({reader.Here() - length, length}, gapHolder, *gapTag);
}

}  // namespace svc::xml
