// Expat with empty handlers, fed the file in pieces.
#include <expat.h>

#include <cstdio>
#include <vector>

int main(int, char** arguments) {
  std::FILE* file = arguments[1] ? std::fopen(arguments[1], "rb") : nullptr;
  if (!file) return 1;
  XML_Parser parser = XML_ParserCreate(nullptr);
  XML_SetElementHandler(
      parser, [](void*, const XML_Char*, const XML_Char**) {}, [](void*, const XML_Char*) {});
  XML_SetCharacterDataHandler(parser, [](void*, const XML_Char*, int) {});
  std::vector<char> piece(1 << 16);
  bool isGood = true;
  for (bool isLast = false; isGood && !isLast;) {
    const std::size_t read = std::fread(piece.data(), 1, piece.size(), file);
    isLast = read == 0;
    isGood = XML_Parse(parser, piece.data(), static_cast<int>(read), isLast) == XML_STATUS_OK;
  }
  XML_ParserFree(parser);
  std::fclose(file);
  return isGood ? 0 : 1;
}
