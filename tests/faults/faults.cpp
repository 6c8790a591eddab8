// Preloaded into a program, makes one of its calls of the C library fail: the one with a number,
// counted from 1 over all calls that the program and its libraries make.
//
// FAULT_WHAT    "calls", or "memory" for allocations
// FAULT_AT      the number of the call that fails; none does when it is 0
// FAULT_KIND    "short" (a transfer of half its bytes), or the number of an error
// FAULT_LOG     a file that gets the name of each call; of the failing one alone when one fails
// FAULT_TRACE   a file that gets, in order, what becomes of files: "write PATH", "sync PATH", "mode
//               PATH", "cut PATH", "move FROM<tab>TO", "remove PATH", with the paths of that moment
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
}

namespace {

constexpr int kShort = -1;

bool ofMemory = false;
long failingCall = 0;
int kind = EIO;
int logFile = -1;
int traceFile = -1;
std::atomic<bool> isArmed{false};
std::atomic<long> callCount{0};

void Note(const char* name) {
  if (logFile < 0) return;
  char line[64];
  const int length = snprintf(line, sizeof line, "%s\n", name);
  (void)!syscall(SYS_write, logFile, line, static_cast<size_t>(length));
}

// The path of an open file; of a name in an open folder.
struct TPathOf {
  explicit TPathOf(int file, const char* name = nullptr) {
    char link[32];
    snprintf(link, sizeof link, "/proc/self/fd/%d", file);
    ssize_t size = 0;
    if (name == nullptr || (name[0] != '/' && file != AT_FDCWD))
      size = syscall(SYS_readlinkat, AT_FDCWD, link, text, sizeof text - 1);
    if (size < 0) size = 0;
    if (name != nullptr) snprintf(text + size, sizeof text - size, size > 0 ? "/%s" : "%s", name);
    if (name == nullptr) text[size] = 0;
  }
  char text[4096] = "";
};

void Trace(const char* what, const char* path, const char* target = "") {
  if (!isArmed || traceFile < 0) return;
  char line[9000];
  const int length =
      snprintf(line, sizeof line, "%s %s%s%s\n", what, path, target[0] == 0 ? "" : "\t", target);
  (void)!syscall(SYS_write, traceFile, line, static_cast<size_t>(length));
}

// While libgcrypt looks at it, as it is loaded: it ends the process when it cannot, and nobody can
// tell it to do otherwise.
constexpr char kBeyondHelp[] = "/proc/sys/crypto/fips_enabled";
[[gnu::tls_model("initial-exec")]] thread_local bool isBeyondHelp = false;

bool IsThisOne(const char* name) {
  if (!isArmed || isBeyondHelp) return false;
  const long number = ++callCount;
  if (failingCall == 0 || number == failingCall) Note(name);
  return number == failingCall;
}

// Whether this call is the one that fails; then errno says how.
bool Fails(const char* name) {
  if (ofMemory || !IsThisOne(name)) return false;
  if (kind == kShort) return false;
  errno = kind;
  return true;
}

enum class ETransfer { kWhole, kShort, kFails };

ETransfer TransferOf(const char* name) {
  if (ofMemory || !IsThisOne(name)) return ETransfer::kWhole;
  if (kind == kShort) return ETransfer::kShort;
  errno = kind;
  return ETransfer::kFails;
}

bool IsMemoryGone() {
  if (!ofMemory || !IsThisOne("allocation")) return false;
  errno = ENOMEM;
  return true;
}

template <typename TFunction>
TFunction* Next(TFunction*, const char* name) {
  return reinterpret_cast<TFunction*>(dlsym(RTLD_NEXT, name));
}

// When main begins: what fails before it, no program can tell of.
void Arm() {
  const char* const what = getenv("FAULT_WHAT");
  const char* const log = getenv("FAULT_LOG");
  const char* const trace = getenv("FAULT_TRACE");
  if (what == nullptr) return;
  ofMemory = strcmp(what, "memory") == 0;
  failingCall = atol(getenv("FAULT_AT"));
  kind = strcmp(getenv("FAULT_KIND"), "short") == 0 ? kShort : atoi(getenv("FAULT_KIND"));
  if (log != nullptr)
    logFile = static_cast<int>(
        syscall(SYS_openat, AT_FDCWD, log, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
  if (trace != nullptr)
    traceFile = static_cast<int>(
        syscall(SYS_openat, AT_FDCWD, trace, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
  unsetenv("LD_PRELOAD");  // Of this program alone.
  isArmed = true;
}

// What stdio keeps for ferror.
void MarkStream(FILE* stream) { stream->_flags |= 0x20; }

mode_t ModeOf(int flags, va_list list) {
  return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(list, mode_t) : 0;
}

using TMain = int(int, char**, char**);
TMain* realMain = nullptr;

int ArmedMain(int count, char** arguments, char** environment) {
  Arm();
  return realMain(count, arguments, environment);
}

}  // namespace

#define NEXT(name) static auto* const next = Next(&name, #name)

// A call with a result that says failure by `failure`.
#define FAULTY(result, name, parameters, arguments, failure) \
  result name parameters {                                   \
    NEXT(name);                                              \
    if (Fails(#name)) return failure;                        \
    return next arguments;                                   \
  }

// As open: the mode is there only with some flags.
#define FAULTY_OPEN(name, parameters, arguments) \
  int name parameters {                          \
    NEXT(name);                                  \
    va_list list;                                \
    va_start(list, flags);                       \
    const mode_t mode = ModeOf(flags, list);     \
    va_end(list);                                \
    if (Fails(#name)) return -1;                 \
    return next arguments;                       \
  }

// As read: gives the number of bytes.
#define FAULTY_TRANSFER(name, parameters, arguments)          \
  ssize_t name parameters {                                   \
    NEXT(name);                                               \
    const ETransfer transfer = TransferOf(#name);             \
    if (transfer == ETransfer::kFails) return -1;             \
    if (transfer == ETransfer::kShort && size > 1) size /= 2; \
    return next arguments;                                    \
  }

extern "C" {

// Calls main, once the constructors of all libraries have run.
int __libc_start_main(TMain* main, int count, char** arguments, void (*init)(), void (*fini)(),
                      void (*end)(), void* stack) {
  NEXT(__libc_start_main);
  realMain = main;
  return next(ArmedMain, count, arguments, init, fini, end, stack);
}

void* malloc(size_t size) { return IsMemoryGone() ? nullptr : __libc_malloc(size); }
void* calloc(size_t count, size_t size) {
  return IsMemoryGone() ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) {
  return IsMemoryGone() ? nullptr : __libc_realloc(block, size);
}

FAULTY_OPEN(open, (const char* path, int flags, ...), (path, flags, mode))
FAULTY_OPEN(open64, (const char* path, int flags, ...), (path, flags, mode))
FAULTY_OPEN(openat, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))
FAULTY(FILE*, fopen64, (const char* path, const char* mode), (path, mode), nullptr)
FAULTY(DIR*, opendir, (const char* path), (path), nullptr)
FAULTY(DIR*, fdopendir, (int folder), (folder), nullptr)
FAULTY(dirent*, readdir, (DIR * folder), (folder), nullptr)
FAULTY(int, stat, (const char* path, struct stat* status), (path, status), -1)
FAULTY(int, fstat, (int file, struct stat* status), (file, status), -1)
FAULTY(int, lstat, (const char* path, struct stat* status), (path, status), -1)
FAULTY(int, mkdir, (const char* path, mode_t mode), (path, mode), -1)
FAULTY(int, chdir, (const char* path), (path), -1)
FAULTY(char*, getcwd, (char* path, size_t size), (path, size), nullptr)
FAULTY(char*, realpath, (const char* path, char* real), (path, real), nullptr)
FAULTY(ssize_t, readlink, (const char* path, char* text, size_t size), (path, text, size), -1)
FAULTY(int, fchmodat, (int folder, const char* path, mode_t mode, int flags),
       (folder, path, mode, flags), -1)
FAULTY(int, fstatat, (int folder, const char* path, struct stat* status, int flags),
       (folder, path, status, flags), -1)
FAULTY(int, fstatfs, (int file, struct statfs* status), (file, status), -1)
FAULTY(ssize_t, readlinkat, (int folder, const char* path, char* text, size_t size),
       (folder, path, text, size), -1)
FAULTY(ssize_t, getrandom, (void* bytes, size_t size, unsigned flags), (bytes, size, flags), -1)
FAULTY(FILE*, fdopen, (int file, const char* mode), (file, mode), nullptr)
FAULTY(char*, mkdtemp, (char* path), (path), nullptr)
FAULTY(off_t, lseek, (int file, off_t offset, int from), (file, offset, from), -1)
FAULTY(int, flock, (int file, int operation), (file, operation), -1)
FAULTY(int, dup2, (int from, int to), (from, to), -1)
FAULTY(int, memfd_create, (const char* name, unsigned flags), (name, flags), -1)
FAULTY(int, socket, (int domain, int type, int protocol), (domain, type, protocol), -1)
FAULTY(int, connect, (int socket, const sockaddr* address, socklen_t length),
       (socket, address, length), -1)
FAULTY(int, poll, (pollfd * files, nfds_t count, int limit), (files, count, limit), -1)
FAULTY_TRANSFER(read, (int file, void* bytes, size_t size), (file, bytes, size))
FAULTY_TRANSFER(pread, (int file, void* bytes, size_t size, off_t at), (file, bytes, size, at))
FAULTY_TRANSFER(send, (int socket, const void* bytes, size_t size, int flags),
                (socket, bytes, size, flags))
FAULTY_TRANSFER(recv, (int socket, void* bytes, size_t size, int flags),
                (socket, bytes, size, flags))

ssize_t write(int file, const void* bytes, size_t size) {
  NEXT(write);
  const ETransfer transfer = TransferOf("write");
  if (transfer == ETransfer::kFails) return -1;
  if (transfer == ETransfer::kShort && size > 1) size /= 2;
  Trace("write", TPathOf(file).text);
  return next(file, bytes, size);
}

int fsync(int file) {
  NEXT(fsync);
  if (Fails("fsync")) return -1;
  Trace("sync", TPathOf(file).text);
  return next(file);
}

int fchmod(int file, mode_t mode) {
  NEXT(fchmod);
  if (Fails("fchmod")) return -1;
  Trace("mode", TPathOf(file).text);
  return next(file, mode);
}

int ftruncate(int file, off_t size) {
  NEXT(ftruncate);
  if (Fails("ftruncate")) return -1;
  Trace("cut", TPathOf(file).text);
  return next(file, size);
}

int rename(const char* from, const char* to) {
  NEXT(rename);
  if (Fails("rename")) return -1;
  Trace("move", from, to);
  return next(from, to);
}

int renameat(int from, const char* name, int to, const char* target) {
  NEXT(renameat);
  if (Fails("renameat")) return -1;
  Trace("move", TPathOf(from, name).text, TPathOf(to, target).text);
  return next(from, name, to, target);
}

int renameat2(int from, const char* name, int to, const char* target, unsigned flags) {
  NEXT(renameat2);
  if (Fails("renameat2")) return -1;
  Trace("move", TPathOf(from, name).text, TPathOf(to, target).text);
  return next(from, name, to, target, flags);
}

int unlinkat(int folder, const char* name, int flags) {
  NEXT(unlinkat);
  Trace("remove", TPathOf(folder, name).text);
  return next(folder, name, flags);
}

FILE* fopen(const char* path, const char* mode) {
  NEXT(fopen);
  isBeyondHelp = strcmp(path, kBeyondHelp) == 0;
  FILE* const file = Fails("fopen") ? nullptr : next(path, mode);
  isBeyondHelp = false;
  return file;
}

// What failed to close is closed all the same, as on Linux.
int close(int file) {
  NEXT(close);
  const bool fails = Fails("close");
  const int error = errno;
  const int result = next(file);
  if (fails) errno = error;
  return fails ? -1 : result;
}

int fclose(FILE* stream) {
  NEXT(fclose);
  const bool fails = Fails("fclose");
  const int error = errno;
  const int result = next(stream);
  if (fails) errno = error;
  return fails ? EOF : result;
}

int fflush(FILE* stream) {
  NEXT(fflush);
  if (!Fails("fflush")) return next(stream);
  if (stream != nullptr) MarkStream(stream);
  return EOF;
}

size_t fread(void* bytes, size_t size, size_t count, FILE* stream) {
  NEXT(fread);
  const ETransfer transfer = TransferOf("fread");
  if (transfer == ETransfer::kWhole) return next(bytes, size, count, stream);
  if (transfer == ETransfer::kShort) return next(bytes, size, count / 2, stream);
  MarkStream(stream);
  return 0;
}

size_t fwrite(const void* bytes, size_t size, size_t count, FILE* stream) {
  NEXT(fwrite);
  Trace("write", TPathOf(fileno(stream)).text);
  const ETransfer transfer = TransferOf("fwrite");
  if (transfer == ETransfer::kWhole) return next(bytes, size, count, stream);
  if (transfer == ETransfer::kShort) count /= 2;
  const size_t written = transfer == ETransfer::kShort ? next(bytes, size, count, stream) : 0;
  errno = kind == kShort ? ENOSPC : kind;
  MarkStream(stream);
  return written;
}

// The dynamic linker then says why.
void* dlopen(const char* path, int flags) {
  NEXT(dlopen);
  return next(Fails("dlopen") ? "/missing-library" : path, flags);
}

}  // extern "C"
