// Who else reads XML: the accept or reject of expat, and of the reader alone.
#ifndef TESTS_RUNTIME_XMLPARSER_JUDGES_H_
#define TESTS_RUNTIME_XMLPARSER_JUDGES_H_

#include <string>
#include <string_view>

namespace svc::xml {

// Empty for a well-formed document, otherwise why it is none.
std::string JudgeByExpat(std::string_view document);
std::string JudgeByReader(std::string_view document);

}  // namespace svc::xml

#endif  // TESTS_RUNTIME_XMLPARSER_JUDGES_H_
