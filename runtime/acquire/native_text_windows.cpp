#include "runtime/acquire/native_text_windows.h"

#include <windows.h>

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/trim.hpp>

namespace svc::acquire {

std::wstring Widen(std::string_view text) {
  const int size = static_cast<int>(text.size());
  const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), length);
  return wide;
}

std::string Narrow(std::wstring_view text) {
  const int size = static_cast<int>(text.size());
  const int length =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<std::size_t>(length), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), size, narrow.data(), length, nullptr, nullptr);
  return narrow;
}

std::string SystemText(unsigned long error) {
  wchar_t text[512];
  const DWORD length =
      FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0,
                     text, static_cast<DWORD>(std::size(text)), nullptr);
  if (length == 0) return "error " + std::to_string(error);
  return boost::trim_right_copy_if(Narrow({text, length}), boost::is_any_of(" .\r\n"));
}

}  // namespace svc::acquire
