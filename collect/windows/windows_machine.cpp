#include "collect/windows/windows_machine.h"

#include <windows.h>

#include "collect/native_text_windows.h"
#include "collect/windows/services.h"
#include "collect/windows/wmi.h"

namespace svc::collect {
namespace {

class TThisWindowsMachine : public IWindowsMachine {
 public:
  TAnswer<std::vector<TRow>> Instances(const std::string& space,
                                       const std::string& className) const override {
    return wmi.Instances(space, className);
  }
  TAnswer<std::string> AskController(std::uint8_t function, std::uint8_t command) const override {
    return wmi.AskController(function, command);
  }
  TAnswer<std::vector<TDriverService>> Drivers() const override { return DriverServices(); }
  std::string FileVersion(const std::string& path) const override { return VersionOfFile(path); }

  std::string SystemRoot() const override {
    std::wstring folder(GetSystemWindowsDirectoryW(nullptr, 0), L'\0');
    folder.resize(GetSystemWindowsDirectoryW(folder.data(), static_cast<UINT>(folder.size())));
    return Narrow(folder);
  }

 private:
  TWmi wmi;
};

}  // namespace

std::unique_ptr<IWindowsMachine> ThisWindowsMachine() {
  return std::make_unique<TThisWindowsMachine>();
}

}  // namespace svc::collect
