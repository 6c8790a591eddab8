#include "collect/linux/kernel_module.h"
#include "svcheck/author/driver_source.h"

namespace svc::catalogue {

std::string ModuleVersion(std::string_view bytes) {
  static const collect::TModuleReader reader;
  return reader.VersionIn(collect::FileInMemory(bytes));
}

}  // namespace svc::catalogue
