// Texts between this program and Windows: UTF-8 here, UTF-16 there. Any thread.
#ifndef RUNTIME_ACQUIRE_NATIVE_TEXT_WINDOWS_H_
#define RUNTIME_ACQUIRE_NATIVE_TEXT_WINDOWS_H_

#include <string>
#include <string_view>

namespace svc::acquire {

std::wstring Widen(std::string_view text);
std::string Narrow(std::wstring_view text);

// What the system says of an error code of its own, without a full stop.
std::string SystemText(unsigned long error);

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_NATIVE_TEXT_WINDOWS_H_
