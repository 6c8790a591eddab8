// Configuration files.
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "svcheck/cli/command_line.h"
#include "svcheck/system/failure.h"
#include "tests/fuzz/fuzz_support.h"

using svc::fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const int file = memfd_create("settings", 0);
  Require(fchmod(file, 0600) == 0 && write(file, data, size) == static_cast<ssize_t>(size),
          "a file can be made");
  const std::string path = "/proc/self/fd/" + std::to_string(file);
  try {
    for (const svc::TSetting& setting : svc::ReadSettingsFile(path, svc::ELayer::kUserFile)) {
      Require(setting.isArray || setting.values.size() == 1, "a key has a value");
      Require(setting.line > 0 && setting.file == path, "a setting has a place");
    }
  } catch (const svc::TError& failure) {
    Require(svc::StatusOf(failure) == svc::kExitUsage, "a mistake in a file is one of its author");
    Require(std::string_view(failure.what()).starts_with(path + ':'), "a refusal has a place");
  }
  close(file);
  return 0;
}
