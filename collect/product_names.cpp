#include "collect/product_names.h"

#include "collect/text.h"

namespace svc::collect {

std::string MachineTypeOf(const std::string& product) {
  constexpr std::size_t kTypeLength = 4;
  const std::string_view marked = Trimmed(Bracketed(product));
  return marked.empty() ? product : std::string(marked.substr(0, kTypeLength));
}

TInstance SystemBios(const std::string& version) {
  const std::string_view marked = Bracketed(version);
  TInstance bios("QRXSG_SystemBIOSElement");
  bios.Set("Name", "System BIOS").Set("Version", marked.empty() ? version : marked);
  if (const std::size_t dash = marked.find('-'); dash != std::string_view::npos) {
    bios.Set("BuildNumber", marked.substr(0, dash));
  }
  return bios;
}

}  // namespace svc::collect
