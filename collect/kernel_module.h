// libkmod's objects, released at the end of their scope, and what a module's file states. One
// context is used by one thread at a time.
#ifndef COLLECT_KERNEL_MODULE_H_
#define COLLECT_KERNEL_MODULE_H_

#include <libkmod.h>

#include <array>
#include <cstddef>
#include <fstream>
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

// Whether an ELF file's header names a section of its own for the names of sections: libkmod ends
// the process otherwise. True for all other files, which it refuses or unpacks.
inline bool NamesItsSections(const char* path) {
  std::array<char, 64> head{};
  std::ifstream(path, std::ios::binary).read(head.data(), head.size());
  if (!std::string_view(head.data(), head.size()).starts_with("\177ELF")) return true;
  const bool isLittle = head[5] == 1;
  const auto number = [&](std::size_t at) {
    const auto byte = [&](std::size_t index) { return static_cast<unsigned char>(head[index]); };
    return isLittle ? byte(at) + 256 * byte(at + 1) : 256 * byte(at) + byte(at + 1);
  };
  const std::size_t count = head[4] == 2 ? 60 : 48;  // Where e_shnum is; e_shstrndx follows.
  return number(count + 2) > 0 && number(count + 2) < number(count);
}

// What the module's file states first under the key; empty when it states nothing, none
// when it cannot be read.
inline std::optional<std::string> ModuleInformation(const kmod_module& module,
                                                    std::string_view key) {
  struct TFreeInformation {
    void operator()(kmod_list* list) const { ::kmod_module_info_free_list(list); }
  };
  const char* const path = ::kmod_module_get_path(&module);
  if (path == nullptr || !NamesItsSections(path)) return {};
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
