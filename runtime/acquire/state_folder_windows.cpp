#include <cstdlib>
#include <string>

#include "runtime/acquire/native_text_windows.h"
#include "runtime/acquire/serial_store.h"

namespace svc::acquire {
namespace {

std::string FolderVariable(const wchar_t* name) {
  const wchar_t* value = _wgetenv(name);
  return value != nullptr ? Narrow(value) : "";
}

}  // namespace

// The user's own programs' data of this machine; services without a profile share the machine's.
std::string DefaultStateFolder() {
  if (const std::string own = FolderVariable(L"LOCALAPPDATA"); !own.empty())
    return own + "\\svcheck";
  return FolderVariable(L"ProgramData") + "\\svcheck";
}

}  // namespace svc::acquire
