#include "svcheck/fleet/pipe_windows.h"

#include <random>
#include <system_error>
#include <utility>

#include "svcheck/fleet/worker_process.h"

namespace svc::fleet {

namespace {

constexpr std::size_t kBlock = std::size_t{1} << 16;

[[noreturn]] void Fail(DWORD error) {
  FailWorker("reach", std::system_category().message(static_cast<int>(error)));
}

// Known to nobody before this process has both ends.
std::wstring FreshName() {
  std::random_device device;
  std::wstring name = L"\\\\.\\pipe\\svcheck-fleet";
  for (int part = 0; part < 4; ++part) name += L'-' + std::to_wstring(device());
  return name;
}

}  // namespace

TPort::TPort() : port(CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 1)) {
  if (!port) Fail(GetLastError());
}

TPort::~TPort() {
  try {
    while (begun > 0) Await();
  } catch (const std::exception&) {
    // The system tells nothing any more, nor does it write.
  }
}

void TPort::Await() {
  DWORD count = 0;
  ULONG_PTR key = 0;
  OVERLAPPED* over = nullptr;
  const BOOL hasWorked = GetQueuedCompletionStatus(port.get(), &count, &key, &over, INFINITE);
  if (over == nullptr) Fail(GetLastError());
  --begun;
  auto& operation = *static_cast<TPipe::TOperation*>(over);
  const std::shared_ptr<TPipe> pipe = std::exchange(operation.pipe, nullptr);
  pipe->End(operation, hasWorked != FALSE, count);
}

TPipe::TPipe(TPort& port, THandle end) : port(port), end(std::move(end)), block(kBlock) {}

std::shared_ptr<TPipe> TPipe::Make(TPort& port, THandle& other) {
  // A worker is to find its next task whole.
  constexpr DWORD kTasks = 1 << 20;
  const std::wstring name = FreshName();
  THandle own = Held(CreateNamedPipeW(
      name.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_FIRST_PIPE_INSTANCE | FILE_FLAG_OVERLAPPED,
      PIPE_TYPE_BYTE | PIPE_REJECT_REMOTE_CLIENTS, 1, kTasks, kTasks, 0, nullptr));
  if (!own) Fail(GetLastError());
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  other = Held(CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, &inherited, OPEN_EXISTING,
                           0, nullptr));
  if (!other || CreateIoCompletionPort(own.get(), port.port.get(), 0, 0) == nullptr) {
    Fail(GetLastError());
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
