// libkmod's objects, released at the end of their scope, and what a module's file states. One
// context is used by one thread at a time.
#ifndef COLLECT_KERNEL_MODULE_H_
#define COLLECT_KERNEL_MODULE_H_

#include <libkmod.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace svc::collect {

struct TFreeContext {
  void operator()(kmod_ctx* context) const { ::kmod_unref(context); }
};
struct TFreeModule {
  void operator()(kmod_module* module) const { ::kmod_module_unref(module); }
};
using TModuleContext = std::unique_ptr<kmod_ctx, TFreeContext>;
using TModule = std::unique_ptr<kmod_module, TFreeModule>;

// What the module's file states first under the key; empty when it states nothing, none
// when it cannot be read.
inline std::optional<std::string> ModuleInformation(const kmod_module& module,
                                                    std::string_view key) {
  struct TFreeInformation {
    void operator()(kmod_list* list) const { ::kmod_module_info_free_list(list); }
  };
  kmod_list* first = nullptr;
  if (::kmod_module_get_info(&module, &first) < 0) return {};
  const std::unique_ptr<kmod_list, TFreeInformation> list(first);
  for (kmod_list* item = first; item != nullptr; item = ::kmod_list_next(first, item)) {
    if (key == ::kmod_module_info_get_key(item)) return ::kmod_module_info_get_value(item);
  }
  return std::string();
}

}  // namespace svc::collect

#endif  // COLLECT_KERNEL_MODULE_H_
