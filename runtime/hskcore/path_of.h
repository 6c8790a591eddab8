// A path of a text as programs pass it on: UTF-8, whatever the system's own encoding. Any thread.
#ifndef RUNTIME_HSKCORE_PATH_OF_H_
#define RUNTIME_HSKCORE_PATH_OF_H_

#include <filesystem>
#include <string>

namespace svc {

// The constructor of a path takes a text of char for one of the C locale, which on Windows turns
// each byte into a character.
inline std::filesystem::path PathOf(const std::string& utf8) {
  return std::u8string(utf8.begin(), utf8.end());
}

}  // namespace svc

#endif  // RUNTIME_HSKCORE_PATH_OF_H_
