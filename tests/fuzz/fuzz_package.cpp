// Packages of drivers: the first byte tells a .deb from an .rpm.
#include <sys/resource.h>
#include <array>

#include <filesystem>
#include <stdexcept>

#include "svcheck/author/update.h"
#include "tests/fuzz/fuzz_support.h"

using namespace svc::fuzz;

namespace {

// What a package of these bytes may become.
std::size_t ShareOf(std::size_t size) { return (std::size_t{64} << 20U) + 64 * size; }

// Those that are waited for leave something behind in the account of this process.
bool HasStartedProcesses() {
  rusage children{};
  return ::getrusage(RUSAGE_CHILDREN, &children) != 0 || children.ru_maxrss != 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const TScratchFolder folder;
  if (size == 0) return 0;
  constexpr std::array kArchives = {"archive.zip", "archive.cab", "archive.iso"};
  const char* const package = data[0] % 2 == 0 ? "package.deb" : "package.rpm";
  const char* const name = data[0] < 0x80 ? package : kArchives[data[0] % kArchives.size()];
  folder.Write(name, AsText(data + 1, size - 1));
  std::size_t taken = 0;
  try {
    svc::catalogue::ReadPackage(
        folder.Root() / name, [](const std::string& member) { return member.size() % 2 == 0; },
        [&](const std::string& member, std::string_view bytes) {
          Require(member.size() % 2 == 0, "what is not wanted is not handed on");
          taken += bytes.size();
        });
  } catch (const std::runtime_error& error) {
    Require(*error.what() != '\0', "a refusal has a cause");
  }
  Require(!HasStartedProcesses(), "no bytes of a package start a program");
  Require(taken <= ShareOf(size), "a package becomes its share at most");
  return 0;
}
