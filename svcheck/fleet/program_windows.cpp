#include "svcheck/fleet/program_windows.h"

#include <array>
#include <memory>
#include <system_error>
#include <vector>

#include "svcheck/fleet/worker_process.h"
#include "svcheck/system/failure.h"

namespace svc::fleet {

namespace {

[[noreturn]] void Fail() {
  FailWorker("start", std::system_category().message(static_cast<int>(GetLastError())));
}

std::wstring OwnFile() {
  constexpr std::size_t kLongest = 32768;
  std::wstring file(kLongest, L'\0');
  file.resize(GetModuleFileNameW(nullptr, file.data(), static_cast<DWORD>(file.size())));
  return file;
}

// The system ends what is in it when its last handle is closed, and shows no window for a crash.
THandle MakeJob() {
  THandle job(CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags =
      JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_DIE_ON_UNHANDLED_EXCEPTION;
  if (!job || !SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits,
                                       sizeof limits)) {
    Fail();
  }
  return job;
}

THandle OpenNothing() {
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  THandle nothing =
      Held(CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                       &inherited, OPEN_EXISTING, 0, nullptr));
  if (!nothing) Fail();
  return nothing;
}

// Empty where this process has none.
THandle CopyOfStandardError() {
  HANDLE copy = nullptr;
  DuplicateHandle(GetCurrentProcess(), GetStdHandle(STD_ERROR_HANDLE), GetCurrentProcess(), &copy,
                  0, TRUE, DUPLICATE_SAME_ACCESS);
  return Held(copy);
}

// The handles that a new process inherits. Refers to them.
class TInherited {
 public:
  explicit TInherited(std::vector<HANDLE> given) : handles(std::move(given)) {
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    memory.resize(size);
    if (!InitializeProcThreadAttributeList(List(), 1, 0, &size) ||
        !UpdateProcThreadAttribute(List(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles.data(),
                                   handles.size() * sizeof(HANDLE), nullptr, nullptr)) {
      Fail();
    }
  }
  ~TInherited() { DeleteProcThreadAttributeList(List()); }
  TInherited(const TInherited&) = delete;
  TInherited& operator=(const TInherited&) = delete;

  LPPROC_THREAD_ATTRIBUTE_LIST List() {
    return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory.data());
  }

 private:
  std::vector<HANDLE> handles;
  std::vector<char> memory;
};

std::vector<HANDLE> Known(std::initializer_list<HANDLE> handles) {
  std::vector<HANDLE> known;
  for (const HANDLE handle : handles) {
    if (handle != nullptr) known.push_back(handle);
  }
  return known;
}

// Into the job before it runs: nothing of it is ever outside.
void Let(const PROCESS_INFORMATION& started, HANDLE job) {
  const THandle thread(started.hThread);
  if (AssignProcessToJobObject(job, started.hProcess) &&
      ResumeThread(thread.get()) != static_cast<DWORD>(-1)) {
    return;
  }
  const DWORD error = GetLastError();
  TerminateProcess(started.hProcess, kExitFailure);
  SetLastError(error);
  Fail();
}

}  // namespace

TProgramStarter::TProgramStarter()
    : program(OwnFile()), job(MakeJob()), nothing(OpenNothing()), errors(CopyOfStandardError()) {}

THandle TProgramStarter::Start(HANDLE channel) const {
  TInherited inherited(Known({channel, nothing.get(), errors.get()}));
  STARTUPINFOEXW start{};
  start.StartupInfo.cb = sizeof start;
  start.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  start.StartupInfo.hStdInput = start.StartupInfo.hStdOutput = nothing.get();
  start.StartupInfo.hStdError = errors ? errors.get() : nothing.get();
  start.lpAttributeList = inherited.List();
  std::wstring command =
      L"svcheck fleet-worker " + std::to_wstring(reinterpret_cast<std::uintptr_t>(channel));
  PROCESS_INFORMATION started{};
  if (!CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, TRUE,
                      EXTENDED_STARTUPINFO_PRESENT | CREATE_SUSPENDED, nullptr, nullptr,
                      &start.StartupInfo, &started)) {
    Fail();
  }
  THandle process(started.hProcess);
  Let(started, job.get());
  return process;
}

}  // namespace svc::fleet
