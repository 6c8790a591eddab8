#include <windows.h>

#include <iterator>

#include "base/shown_text.h"

namespace svc {

// A character takes no more units than it has bytes, and a unit no more than three bytes.
std::wstring Widen(std::string_view text) {
  const int size = static_cast<int>(text.size());
  std::wstring wide(text.size(), L'\0');
  wide.resize(static_cast<std::size_t>(
      MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), size)));
  return wide;
}

std::string Narrow(std::wstring_view text) {
  std::string narrow(text.size() * 3, '\0');
  narrow.resize(static_cast<std::size_t>(
      WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), narrow.data(),
                          static_cast<int>(narrow.size()), nullptr, nullptr)));
  return narrow;
}

std::string SystemMessage(unsigned long code) {
  wchar_t text[512];
  const DWORD length =
      FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0,
                     text, static_cast<DWORD>(std::size(text)), nullptr);
  const std::wstring_view said(text, length);
  return Narrow(said.substr(0, said.find_last_not_of(L" .\r\n") + 1));
}

std::string SystemText(unsigned long code) {
  const std::string said = SystemMessage(code);
  return said.empty() ? "error " + std::to_string(code) : said;
}

}  // namespace svc
