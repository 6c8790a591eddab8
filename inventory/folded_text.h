// Texts compared without regard to case: of ASCII only, whatever the locale. May be used from any
// thread.
#ifndef INVENTORY_FOLDED_TEXT_H_
#define INVENTORY_FOLDED_TEXT_H_

#include <string>

constexpr char Folded(char character) {
  const bool isCapital = static_cast<unsigned char>(character - 'A') < 26;
  return static_cast<char>(character + (isCapital ? 32 : 0));
}

// Bytes of 128 and above stay as they are.
inline void FoldCase(std::string& text) {
  for (char& character : text) character = Folded(character);
}

#endif  // INVENTORY_FOLDED_TEXT_H_
