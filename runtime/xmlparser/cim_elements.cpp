#include "runtime/xmlparser/cim_elements.h"

#include <algorithm>
#include <iterator>

#include "base/shown_text.h"
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

namespace {

constexpr unsigned kMajor = 4;
constexpr unsigned kMinor = 2;
// Versions are not compared beyond this: larger numbers count as this one.
constexpr unsigned kLargest = 1000000;

bool IsNumber(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

unsigned NumberOf(std::string_view digits) {
  unsigned number = 0;
  for (char digit : digits)
    number = std::min(number * 10 + static_cast<unsigned>(digit - '0'), kLargest);
  return number;
}

}  // namespace

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

}  // namespace svc::xml
