// Texts of Windows as UTF-8. Any thread.
#ifndef COLLECT_NATIVE_TEXT_WINDOWS_H_
#define COLLECT_NATIVE_TEXT_WINDOWS_H_

#include <string>
#include <string_view>

namespace svc::collect {

std::wstring Widen(std::string_view text);
std::string Narrow(std::wstring_view text);

// "access is denied (error 5)": what the system says of an error or result code of its own.
std::string SystemText(unsigned long code);

}  // namespace svc::collect

#endif  // COLLECT_NATIVE_TEXT_WINDOWS_H_
