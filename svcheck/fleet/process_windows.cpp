#include <memory>
#include <random>
#include <utility>
#include <vector>

#include "svcheck/fleet/process_windows.h"
#include "svcheck/fleet/workers.h"
#include "svcheck/system/failure.h"

namespace svc::fleet {

namespace {

[[noreturn]] void FailToStart() { FailWorker("start", static_cast<int>(GetLastError())); }

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
    FailToStart();
  }
  return job;
}

THandle OpenNothing() {
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  THandle nothing =
      Held(CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                       &inherited, OPEN_EXISTING, 0, nullptr));
  if (!nothing) FailToStart();
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
      FailToStart();
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
  FailToStart();
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
    FailToStart();
  }
  THandle process(started.hProcess);
  Let(started, job.get());
  return process;
}

constexpr std::size_t kBlock = std::size_t{1} << 16;

[[noreturn]] static void FailToReach(DWORD error) { FailWorker("reach", static_cast<int>(error)); }

// Known to nobody before this process has both ends.
static std::wstring FreshName() {
  std::random_device device;
  std::wstring name = L"\\\\.\\pipe\\svcheck-fleet";
  for (int part = 0; part < 4; ++part) name += L'-' + std::to_wstring(device());
  return name;
}

TPort::TPort() : port(CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 1)) {
  if (!port) FailToReach(GetLastError());
}

TPort::~TPort() {
  try {
    while (begun > 0) Await();
  } catch (const std::exception&) {
    // The system tells nothing any more, nor does it write.
  }
}

bool TPort::Await(std::optional<std::chrono::milliseconds> most) {
  const DWORD wait = most ? static_cast<DWORD>(most->count()) : INFINITE;
  DWORD count = 0;
  ULONG_PTR key = 0;
  OVERLAPPED* over = nullptr;
  const BOOL hasWorked = GetQueuedCompletionStatus(port.get(), &count, &key, &over, wait);
  if (over == nullptr && most && GetLastError() == WAIT_TIMEOUT) return false;
  if (over == nullptr) FailToReach(GetLastError());
  --begun;
  auto& operation = *static_cast<TPipe::TOperation*>(over);
  const std::shared_ptr<TPipe> pipe = std::exchange(operation.pipe, nullptr);
  pipe->End(operation, hasWorked != FALSE, count);
  return true;
}

TPipe::TPipe(TPort& port, THandle end) : port(port), end(std::move(end)), block(kBlock) {}

std::shared_ptr<TPipe> TPipe::Make(TPort& port, THandle& other) {
  // A worker is to find its next task whole.
  constexpr DWORD kTasks = 1 << 20;
  const std::wstring name = FreshName();
  THandle own = Held(CreateNamedPipeW(
      name.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_FIRST_PIPE_INSTANCE | FILE_FLAG_OVERLAPPED,
      PIPE_TYPE_BYTE | PIPE_REJECT_REMOTE_CLIENTS, 1, kTasks, kTasks, 0, nullptr));
  if (!own) FailToReach(GetLastError());
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  other = Held(CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, &inherited, OPEN_EXISTING,
                           0, nullptr));
  if (!other || CreateIoCompletionPort(own.get(), port.port.get(), 0, 0) == nullptr) {
    FailToReach(GetLastError());
  }
  const std::shared_ptr<TPipe> pipe(new TPipe(port, std::move(own)));
  pipe->Read();
  return pipe;
}

void TPipe::Begin(TOperation& operation, BOOL isDone) {
  if (!isDone && GetLastError() != ERROR_IO_PENDING) {
    hasEnded = true;
    return;
  }
  operation.pipe = shared_from_this();
  ++port.begun;
}

void TPipe::Read() {
  static_cast<OVERLAPPED&>(reading) = {};
  Begin(reading,
        ReadFile(end.get(), block.data(), static_cast<DWORD>(block.size()), nullptr, &reading));
}

void TPipe::Send(std::string& bytes) {
  if (!HasRoom() || bytes.empty() || hasEnded) return;
  sent = std::exchange(bytes, {});
  static_cast<OVERLAPPED&>(writing) = {};
  Begin(writing,
        WriteFile(end.get(), sent.data(), static_cast<DWORD>(sent.size()), nullptr, &writing));
}

void TPipe::End(const TOperation& operation, bool hasWorked, std::size_t count) {
  if (!hasWorked) hasEnded = true;
  if (&operation != &reading || hasEnded || !end) return;
  received.append(block.data(), count);
  Read();
}

bool TPipe::Receive(std::string& bytes) {
  if (received.empty()) return !hasEnded;
  bytes += std::exchange(received, {});
  return true;
}

void TPipe::Close() {
  CancelIoEx(end.get(), nullptr);
  end.reset();
}

}  // namespace svc::fleet
