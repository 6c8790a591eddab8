// The plug-in's library, loaded by the system's loader into a host of its own.
#pragma once

#include <windows.h>

#include <boost/make_shared.hpp>
#include <filesystem>

#include "host/plugin.nsp/plugin_manager.h"
#include "runtime/hskcore/host_setup.h"

namespace svc::testing {

inline std::filesystem::path PluginFile() {
  std::wstring program(32768, L'\0');
  program.resize(GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size())));
  return std::filesystem::path(program).parent_path() / PLUGIN_FILE;
}

// A manager that no test tears down: the objects in it may be those of a library that is gone.
inline NQRXHSK20::TPluginManagerNamespace& InstallNewManager() {
  auto* const manager = new boost::shared_ptr<NQRXHSK20::TPluginManagerNamespace>(
      boost::make_shared<NQRXHSK20::TPluginManagerNamespace>());
  InstallPluginManager(*manager);
  return **manager;
}

}  // namespace svc::testing
