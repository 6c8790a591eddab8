// Runs a fuzz target on each file of the folders that are named: the seeds must stay good.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "tests/fuzz/fuzz_support.h"

namespace {

int Replay(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
  std::printf("%s\n", file.filename().string().c_str());
  std::fflush(stdout);
  return LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int argumentCount, char** arguments) {
  int count = 0;
  for (int index = 1; index < argumentCount; ++index) {
    for (const auto& entry : std::filesystem::directory_iterator(arguments[index])) {
      Replay(entry.path());
      ++count;
    }
  }
  std::printf("%d seeds\n", count);
  return count > 0 ? 0 : 1;
}
