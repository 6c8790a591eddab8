#include "collect/windows/windows_machine.h"

#include <fmt/format.h>
#include <windows.h>
#include <array>

#include "base/utf16.h"
#include "collect/text.h"
#include "collect/windows/windows_sources.h"
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

std::string SystemProblem(unsigned long code) {
  const std::string said = CleanText(SystemMessage(code));
  const std::string number =
      code > 0xFFFF ? fmt::format("error {:#x}", code) : fmt::format("error {}", code);
  return said.empty() ? number : fmt::format("{} ({})", said, number);
}

namespace {

constexpr const char* kMendService =
    "start the service Winmgmt; where it runs, mend what it knows: winmgmt /salvagerepository";

struct TAsked {
  const char* subject;
  const char* space;
  const char* className;
  const char* advice;
  bool isOnEveryMachine;
};
constexpr std::array kAsked = {
    TAsked{"machine type", kCimSpace, "Win32_ComputerSystem", kMendService, true},
    TAsked{"machine UUID", kCimSpace, "Win32_ComputerSystemProduct", kMendService, true},
    TAsked{"system firmware", kCimSpace, "Win32_BIOS", kMendService, true},
    TAsked{"operating system", kCimSpace, "Win32_OperatingSystem", kMendService, true},
    TAsked{"management controller", kDriverSpace, "Microsoft_IPMI",
           "run svcheck as an administrator; where the machine has one, start its driver: sc start "
           "IPMIDRV",
           false},
    TAsked{
        "storage adapters", kDriverSpace, "MS_SM_AdapterInformationQuery",
        "run svcheck as an administrator; where the machine has one, its driver may tell nothing "
        "of its firmware",
        false},
};

SourceState Try(const IWindowsMachine& machine, const TAsked& asked) {
  const auto answer = machine.Instances(asked.space, asked.className);
  SourceState state{
      asked.subject, std::string(asked.className) + " in " + asked.space, answer.problem, {}};
  if (answer.value.empty() && state.problem.empty()) {
    if (asked.isOnEveryMachine) {
      state.problem = "the machine tells nothing";
    } else {
      state.place += ", which tells of none";
    }
  }
  if (!state.problem.empty()) state.advice = asked.advice;
  return state;
}

}  // namespace

std::vector<SourceState> TryWindowsSources(const IWindowsMachine& machine) {
  std::vector<SourceState> states;
  for (const TAsked& asked : kAsked) states.push_back(Try(machine, asked));
  const std::string problem = machine.Drivers().problem;
  states.push_back({"drivers", "service control manager", problem,
                    problem.empty() ? "" : "run svcheck as an administrator"});
  return states;
}

}  // namespace svc::collect
