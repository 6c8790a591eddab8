// Characters above 0x7F in names. Stateless; may be used from any thread.
#ifndef RUNTIME_XMLPARSER_NAME_RANGES_H_
#define RUNTIME_XMLPARSER_NAME_RANGES_H_

namespace svc::xml {

// Letters and ideographs, which may start a name (XML 1.0 fourth edition, appendix B).
bool IsNameStart(char32_t character);
// Combining characters, digits and extenders, which may stand in a name but not start it.
bool IsNameExtra(char32_t character);

}  // namespace svc::xml

#endif  // RUNTIME_XMLPARSER_NAME_RANGES_H_
