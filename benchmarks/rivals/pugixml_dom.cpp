// Bare pugixml: the file read and parsed in place with the default flags, and nothing done with it.
#include <pugixml.hpp>

#include "whole_file.h"

int main(int, char** arguments) {
  const TWholeFile file = ReadWholeFile(arguments[1]);
  pugi::xml_document document;
  const pugi::xml_parse_result result = document.load_buffer_inplace(file.bytes, file.size);
  std::printf("%s\n", result.description());
  document.reset();
  std::free(file.bytes);
  return result ? 0 : 1;
}
