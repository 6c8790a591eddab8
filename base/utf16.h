// Texts between this program, which has UTF-8, and Windows, which has UTF-16. What is no text of
// the one becomes U+FFFD in the other. Windows alone. Any thread.
#ifndef BASE_UTF16_H_
#define BASE_UTF16_H_

#include <string>
#include <string_view>

namespace svc {

std::wstring Widen(std::string_view text);
std::string Narrow(std::wstring_view text);

// What the system says of an error or result code of its own, without a full stop; empty where it
// knows none.
std::string SystemMessage(unsigned long code);
// The same, or "error 5".
std::string SystemText(unsigned long code);

}  // namespace svc

#endif  // BASE_UTF16_H_
