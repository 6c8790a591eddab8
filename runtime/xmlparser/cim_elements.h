// The elements of CIM-XML (DMTF DSP0201, section 5) and what may stand below what in the documents
// that are read here. Stateless; may be used from any thread.
#ifndef RUNTIME_XMLPARSER_CIM_ELEMENTS_H_
#define RUNTIME_XMLPARSER_CIM_ELEMENTS_H_

#include <cstdint>
#include <string_view>

namespace svc::xml {

enum class EElement : std::uint8_t {
  kNone,  // Not looked up yet.
  kUnknown,
  kCim,
  kClass,
  kClassName,
  kClassPath,
  kDeclaration,
  kDeclGroup,
  kDeclGroupWithName,
  kDeclGroupWithPath,
  kError,
  kHost,
  kIMethodResponse,
  kInstance,
  kInstanceName,
  kInstancePath,
  kIReturnValue,
  kKeyBinding,
  kKeyValue,
  kLocalClassPath,
  kLocalInstancePath,
  kLocalNamespacePath,
  kMessage,
  kMethod,
  kNamespace,
  kNamespacePath,
  kParamValue,
  kProperty,
  kPropertyArray,
  kPropertyReference,
  kQualifier,
  kQualifierDeclaration,
  kSimpleRsp,
  kValue,
  kValueArray,
  kValueInstanceWithPath,
  kValueNamedInstance,
  kValueNamedObject,
  kValueNull,
  kValueObject,
  kValueObjectWithPath,
  kValueReference,
};

// kUnknown for a name that is none of the above.
EElement ElementOfName(std::string_view name);

enum class ETreatment : std::uint8_t {
  kRefuse,
  kEnter,  // A container: its children are looked at.
  kHold,   // A container of exactly one class or instance.
  kSkip,   // Carries nothing that is kept.
  kClass,
  kInstance,
  kError,  // The answer of a server that could not do what it was asked for.
};

// What is done with `child` where it stands directly below `parent`, one of the containers.
ETreatment TreatmentBelow(EElement parent, EElement child);

}  // namespace svc::xml

#endif  // RUNTIME_XMLPARSER_CIM_ELEMENTS_H_
