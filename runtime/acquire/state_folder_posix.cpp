#include <unistd.h>

#include <cstdlib>
#include <string>

#include "runtime/acquire/serial_store.h"

namespace svc::acquire {
namespace {

// An absolute path, or nothing: a relative one is to be ignored.
std::string FolderVariable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr && value[0] == '/' ? value : "";
}

}  // namespace

std::string DefaultStateFolder() {
  if (geteuid() == 0) return "/var/lib/svcheck";
  if (const std::string state = FolderVariable("XDG_STATE_HOME"); !state.empty())
    return state + "/svcheck";
  return FolderVariable("HOME") + "/.local/state/svcheck";
}

}  // namespace svc::acquire
