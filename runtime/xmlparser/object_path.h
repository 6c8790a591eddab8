// References to CIM objects as texts. Used from one thread at a time.
#ifndef RUNTIME_XMLPARSER_OBJECT_PATH_H_
#define RUNTIME_XMLPARSER_OBJECT_PATH_H_

#include <string>

#include "runtime/xmlparser/cim_elements.h"

namespace svc::xml {

// Reads the contents of a VALUE.REFERENCE, its end tag included, and returns the path that they
// say in the untyped form of DMTF DSP0207: [//HOST/][NAMESPACE:]CLASS[.KEY="VALUE",KEY=12,...]. A
// quoted value has '"' and '\' escaped with a '\'.
// REQUIRES: the last token was the start of a VALUE.REFERENCE.
std::string ReadReferenceValue(TCimTokens& tokens);

}  // namespace svc::xml

#endif  // RUNTIME_XMLPARSER_OBJECT_PATH_H_
