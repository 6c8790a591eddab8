// The floor: a file read into memory, and nothing else.
#include "whole_file.h"

int main(int, char** arguments) {
  const TWholeFile file = ReadWholeFile(arguments[1]);
  std::printf("%zu bytes\n", file.size);
  std::free(file.bytes);
}
