// A file read as the version checker's loader reads it: into one fresh, zeroed block.
#pragma once

#include <cstdio>
#include <cstdlib>

struct TWholeFile {
  char* bytes = nullptr;
  std::size_t size = 0;
};

// Ends the process where the file cannot be read. The caller frees the block.
inline TWholeFile ReadWholeFile(const char* path) {
  std::FILE* file = path ? std::fopen(path, "rb") : nullptr;
  if (!file || std::fseek(file, 0, SEEK_END) != 0) {
    std::perror(path ? path : "usage: PROGRAM FILE");
    std::exit(1);
  }
  TWholeFile whole;
  whole.size = static_cast<std::size_t>(std::ftell(file));
  std::rewind(file);
  whole.bytes = static_cast<char*>(std::calloc(whole.size, 1));
  if (!whole.bytes || std::fread(whole.bytes, 1, whole.size, file) != whole.size) {
    std::perror(path);
    std::exit(1);
  }
  std::fclose(file);
  return whole;
}
