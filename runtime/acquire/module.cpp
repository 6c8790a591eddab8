#include "runtime/acquire/module.h"

#include "base/module.h"
#include "runtime/acquire/outcome.h"

namespace svc::acquire {

void* AddressInModule(const std::string& module, const char* name) {
  try {
    const std::string folder = FolderOfCode(reinterpret_cast<const void*>(&AddressInModule));
    TModule loaded(ModuleFile(folder, module));
    void* const address = loaded.Demand<void*>(name);
    loaded.Keep();
    return address;
  } catch (const TError& error) {
    throw DownloadError(EOutcome::kIncomplete,
                        std::string("part of the installation cannot be loaded: ") + error.what() +
                            "; install the program again, with its libraries");
  }
}

}  // namespace svc::acquire
