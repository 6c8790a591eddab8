// Dynamic libraries that are loaded when they are needed: parts of the installation that only some
// runs use, and plug-ins. Paths are UTF-8. Any thread.
#pragma once

#include <string>
#include <utility>

#include "base/error.h"

namespace svc {

// The folder of the library, or the program, of this process that holds the code.
std::string FolderOfCode(const void* code);

// The path of a part of the installation: libNAME.so or NAME.dll in the folder.
std::string ModuleFile(const std::string& folder, const std::string& name);

// Unloaded with its holder, unless it is kept.
class TModule {
 public:
  // Takes the file of that path and looks for no other. What the library does when it is loaded
  // runs meanwhile. Throws TError: the system's reason, and on Windows its number.
  explicit TModule(const std::string& path);
  TModule(TModule&& other) noexcept
      : handle(std::exchange(other.handle, nullptr)), isKept(other.isKept) {}
  TModule& operator=(TModule&&) = delete;
  ~TModule();

  // A pointer to what the module exports under a C name; null where that is nothing.
  template <typename TPointer>
  TPointer Find(const char* name) const noexcept {
    return reinterpret_cast<TPointer>(Address(name));
  }
  // The same, with a TError where that is nothing.
  template <typename TPointer>
  TPointer Demand(const char* name) const {
    if (const auto found = Find<TPointer>(name)) return found;
    throw Missing(name);
  }

  // The system's handle, which a plug-in's entry is called with.
  void* Handle() const noexcept { return handle; }
  // Whether it stays loaded until the process ends.
  void Keep(bool keep = true) noexcept { isKept = keep; }

 private:
  void* Address(const char* name) const noexcept;
  TError Missing(const char* name) const;

  void* handle;
  bool isKept = false;
};

}  // namespace svc
