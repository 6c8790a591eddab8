#include "svcheck/system/process.h"

#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#include <windows.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cwchar>
#include <iterator>
#include <mutex>
#include <random>
#include <system_error>
#include <utility>
#include <vector>

#include "runtime/hskcore/host_setup.h"
#include "svcheck/system/failure.h"

namespace svc {
namespace {

constexpr int kStandardOutput = 1;

HANDLE OutputConsole() { return GetStdHandle(STD_OUTPUT_HANDLE); }

bool IsConsole(DWORD stream) {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(stream), &mode) != 0;
}

// What the system's own libraries go by: where it and its users' files lie, and where libraries are
// looked for. Wine has its own for the processes that a process starts.
constexpr const wchar_t* kOfSystem[] = {L"ALLUSERSPROFILE",
                                        L"APPDATA",
                                        L"CommonProgramFiles",
                                        L"COMPUTERNAME",
                                        L"HOMEDRIVE",
                                        L"HOMEPATH",
                                        L"LOCALAPPDATA",
                                        L"OS",
                                        L"PATH",
                                        L"ProgramData",
                                        L"ProgramFiles",
                                        L"PUBLIC",
                                        L"SystemDrive",
                                        L"SystemRoot",
                                        L"TEMP",
                                        L"TMP",
                                        L"USERDOMAIN",
                                        L"USERNAME",
                                        L"USERPROFILE",
                                        L"windir"};

bool IsOfSystem(const std::wstring& name) {
  if (_wcsnicmp(name.c_str(), L"WINE", 4) == 0) return true;
  return std::any_of(std::begin(kOfSystem), std::end(kOfSystem),
                     [&](const wchar_t* listed) { return _wcsicmp(name.c_str(), listed) == 0; });
}

// The names that are let in are ASCII; what is not becomes something else.
std::string Ascii(const std::wstring& text) {
  std::string ascii;
  for (const wchar_t c : text) ascii += c < 0x80 ? static_cast<char>(c) : '?';
  return ascii;
}

// A console belongs to others too, and gets its own code page back.
void ShowUtf8OnConsole() noexcept {
  static UINT before = 0;
  before = GetConsoleOutputCP();
  if (before == CP_UTF8 || !SetConsoleOutputCP(CP_UTF8)) return;
  std::atexit([] {
    std::fflush(nullptr);
    SetConsoleOutputCP(before);
  });
}

// The C runtime hands a console each byte alone, or makes a character of each: in blocks that are
// passed on as they are, none is torn.
void WriteInBlocks(std::FILE* stream) noexcept {
  constexpr std::size_t kBlock = std::size_t{1} << 16;
  std::setvbuf(stream, nullptr, _IOFBF, kBlock);
  _setmode(_fileno(stream), _O_BINARY);
}

// A file that the system removes with its last handle.
int OpenScratchFile() {
  wchar_t folder[MAX_PATH + 1];
  wchar_t path[MAX_PATH + 1];
  if (GetTempPathW(MAX_PATH, folder) == 0 || GetTempFileNameW(folder, L"svc", 0, path) == 0)
    return -1;
  int file = -1;
  _wsopen_s(&file, path, _O_RDWR | _O_CREAT | _O_TEMPORARY | _O_BINARY | _O_NOINHERIT, _SH_DENYRW,
            _S_IREAD | _S_IWRITE);
  return file;
}

// The system calls the handler on a thread of its own, so that it may lock and allocate.
struct TState {
  std::mutex mutex;
  std::vector<std::filesystem::path> files;  // An empty one is free.
  std::string hint;
};

TState& State() {
  static TState& state = *new TState;
  return state;
}

std::atomic<bool> polite{false};
std::atomic<bool> noted{false};

// The status with which the system itself ends an interrupted process.
constexpr UINT kInterrupted = 0xC000013A;

[[noreturn]] void EndNow() {
  RemoveTemporaryFiles();
  {
    const std::scoped_lock lock(State().mutex);
    if (!State().hint.empty()) ReportError(State().hint);
  }
  TerminateProcess(GetCurrentProcess(), kInterrupted);
  std::abort();
}

BOOL WINAPI Handle(DWORD /*event*/) {
  // Who interrupts twice wants it now.
  const bool again = noted.exchange(true);
  if (!polite || again) EndNow();
  return TRUE;
}

}  // namespace

// The folder for temporary files is the user's own.
std::filesystem::path MakeScratchFolder(const std::string& purpose) {
  const std::filesystem::path folder = std::filesystem::temp_directory_path();
  std::random_device device;
  for (int attempt = 0; attempt < 100; ++attempt) {
    const auto path = folder / ("svcheck-" + purpose + "-" + std::to_string(device()));
    if (std::filesystem::create_directory(path)) return path;
  }
  throw TError("cannot make a folder in " + folder.string() + "; remove old ones there");
}

std::FILE* OpenUnnamedFile() {
  wchar_t folder[MAX_PATH + 1];
  wchar_t name[MAX_PATH + 1];
  if (GetTempPathW(MAX_PATH + 1, folder) == 0 || GetTempFileNameW(folder, L"svc", 0, name) == 0) {
    errno = EACCES;
    return nullptr;
  }
  // Gone with its last handle.
  const int file = _wopen(name, _O_RDWR | _O_BINARY | _O_TRUNC | _O_TEMPORARY | _O_NOINHERIT);
  return file == -1 ? nullptr : _fdopen(file, "w+b");
}

bool SeekIn(std::FILE* file, std::uint64_t place) noexcept {
  return _fseeki64(file, static_cast<long long>(place), SEEK_SET) == 0;
}

char** Environment() noexcept { return _environ; }

// The C runtime leaves a closed standard stream without a number that a file could take.
void GuardStandardStreams() noexcept {
  if (IsConsole(STD_OUTPUT_HANDLE) || IsConsole(STD_ERROR_HANDLE)) ShowUtf8OnConsole();
  if (IsConsole(STD_OUTPUT_HANDLE)) WriteInBlocks(stdout);
  if (IsConsole(STD_ERROR_HANDLE)) WriteInBlocks(stderr);
}

void GuardEnvironment() {
  _wgetenv(L"SystemRoot");  // The C runtime makes the wide environment when it is first asked.
  std::vector<std::wstring> forgotten;
  for (wchar_t** entry = _wenviron; entry != nullptr && *entry != nullptr; ++entry) {
    const std::wstring text = *entry;
    const std::wstring name = text.substr(0, text.find(L'='));
    if (!IsLetIn(Ascii(text)) && !IsOfSystem(name)) forgotten.push_back(name + L'=');
  }
  for (const std::wstring& name : forgotten) _wputenv(name.c_str());
}

void GuardFileSizes() noexcept {}

// The system writes none where its administrator did not ask for them.
void ForbidCoreFiles() noexcept {}

bool StandardOutputIsTerminal() noexcept { return IsConsole(STD_OUTPUT_HANDLE); }
bool StandardErrorIsTerminal() noexcept { return IsConsole(STD_ERROR_HANDLE); }

int TerminalWidth() noexcept {
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (!GetConsoleScreenBufferInfo(OutputConsole(), &info)) return 0;
  return info.srWindow.Right - info.srWindow.Left + 1;
}

TCapturedOutput::TCapturedOutput() {
  std::fflush(stdout);
  kept = _dup(kStandardOutput);
  captured = OpenScratchFile();
  if (kept == -1 || captured == -1 || _dup2(captured, kStandardOutput) == -1) {
    const int error = errno;
    Restore();
    throw TError("cannot redirect standard output: " + std::generic_category().message(error) +
                 "; check the folder for temporary files");
  }
}

TCapturedOutput::~TCapturedOutput() { Restore(); }

bool TCapturedOutput::Restore() noexcept {
  std::fflush(stdout);
  const bool isRestored = kept == -1 || _dup2(kept, kStandardOutput) == 0;
  if (kept != -1) _close(kept);
  if (captured != -1) _close(captured);
  kept = captured = -1;
  return isRestored;
}

std::optional<std::string> TCapturedOutput::Read() {
  std::fflush(stdout);
  std::string text;
  char block[4096];
  _lseeki64(captured, 0, SEEK_SET);
  for (int count = 0; (count = _read(captured, block, sizeof block)) > 0;)
    text.append(block, static_cast<std::size_t>(count));
  return text;
}

std::string TCapturedOutput::Take() {
  auto text = Read();
  if (!Restore()) throw TError("standard output cannot be given back; start the check again");
  return *std::move(text);
}

std::string TCapturedOutput::TakeSoFar() {
  auto text = Read();
  const bool isEmptied =
      text->empty() || (_lseeki64(captured, 0, SEEK_SET) == 0 && _chsize_s(captured, 0) == 0);
  if (!isEmptied) throw TError("standard output cannot be read; start the check again");
  return *std::move(text);
}

std::string HostName(const std::filesystem::path& /*root*/) {
  std::array<char, MAX_COMPUTERNAME_LENGTH + 1> name{};
  auto size = static_cast<DWORD>(name.size());
  return GetComputerNameA(name.data(), &size) ? name.data() : "";
}

void HandleInterruption() noexcept { SetConsoleCtrlHandler(Handle, TRUE); }

void SetInterruptionHint(const std::string& text) noexcept {
  const std::scoped_lock lock(State().mutex);
  State().hint = text;
}

void RemoveTemporaryFiles() noexcept {
  const std::scoped_lock lock(State().mutex);
  for (const auto& file : State().files) {
    if (!file.empty()) _wunlink(file.c_str());
  }
}

TTemporaryFile::TTemporaryFile(const std::string& path) : path(path) {
  const std::scoped_lock lock(State().mutex);
  slot = State().files.size();
  State().files.push_back(PathOf(path));
}

TTemporaryFile::~TTemporaryFile() {
  const std::scoped_lock lock(State().mutex);
  const std::filesystem::path file = std::exchange(State().files[slot], {});
  if (!file.empty()) _wunlink(file.c_str());
}

void TTemporaryFile::Disarm() noexcept {
  const std::scoped_lock lock(State().mutex);
  State().files[slot].clear();
}

void StartPoliteStop() noexcept { polite = true; }

void EndPoliteStop() noexcept {
  polite = false;
  if (noted) EndNow();
}

bool StopRequested() noexcept { return noted; }

}  // namespace svc
