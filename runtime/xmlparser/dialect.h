// The dialect of a catalogue, from the processing instruction before its root element. Stateless;
// may be used from any thread.
#ifndef RUNTIME_XMLPARSER_DIALECT_H_
#define RUNTIME_XMLPARSER_DIALECT_H_

#include <string_view>

namespace svc::xml {

inline constexpr std::string_view kDialectTarget = "sv-catalogue";

// The version that the instruction's contents name; empty when they name none.
std::string_view DialectVersion(std::string_view contents);

// Whether a version "MAJOR.MINOR" is 4.02 or later: compared as two integers, major first. False
// for a text that is no version.
bool IsDialect402(std::string_view version);

}  // namespace svc::xml

#endif  // RUNTIME_XMLPARSER_DIALECT_H_
