#include "collect/native_text_windows.h"

#include <fmt/format.h>
#include <windows.h>

#include "collect/text.h"

namespace svc::collect {

std::wstring Widen(std::string_view text) {
  const int size = static_cast<int>(text.size());
  std::wstring wide(text.size(), L'\0');
  wide.resize(static_cast<std::size_t>(
      MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), size)));
  return wide;
}

std::string Narrow(std::wstring_view text) {
  const int size = static_cast<int>(text.size());
  std::string narrow(text.size() * 3, '\0');
  narrow.resize(static_cast<std::size_t>(
      WideCharToMultiByte(CP_UTF8, 0, text.data(), size, narrow.data(),
                          static_cast<int>(narrow.size()), nullptr, nullptr)));
  return narrow;
}

std::string SystemText(unsigned long code) {
  wchar_t text[512];
  const DWORD length =
      FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0,
                     text, static_cast<DWORD>(std::size(text)), nullptr);
  std::string said = CleanText(Narrow({text, length}));
  if (said.ends_with('.')) said.pop_back();
  const std::string number =
      code > 0xFFFF ? fmt::format("error {:#x}", code) : fmt::format("error {}", code);
  return said.empty() ? number : fmt::format("{} ({})", said, number);
}

}  // namespace svc::collect
