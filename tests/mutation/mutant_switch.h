#ifndef TESTS_MUTATION_MUTANT_SWITCH_H
#define TESTS_MUTATION_MUTANT_SWITCH_H

// Which mutant of a mutated source is active, and which ones a test has reached.
//
// Included as the first line of each mutated source. The number comes from the variable SVC_MUTANT
// (0: none) of the process as it was started, or of its nearest ancestor that has it: a process
// that clears its environment, a library that it loads later and a child that is started with a
// clean environment all get it. SVC_MUTANT_REACHED names a file with one byte for each mutant,
// which is mapped into memory, so that what is reached is known even of a process that is killed.
//
// System calls are made directly: tests that count or fail calls of the C library must see those of
// the program under test alone. Nothing here allocates. Runs before main and before constructors.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <type_traits>

namespace svc_mutant {

constexpr std::size_t kMost = 1 << 16;
inline volatile unsigned char nowhere[kMost];
inline volatile unsigned char* reached = nowhere;
inline int active = 0;
inline bool isStarted = false;
inline char environment[1 << 18];

// How much of a file there is, read into a buffer; 0 without the file.
inline std::size_t ReadAll(const char* path, char* to, std::size_t most) noexcept {
  const long file = ::syscall(SYS_openat, AT_FDCWD, path, O_RDONLY | O_CLOEXEC);
  if (file < 0) return 0;
  std::size_t size = 0;
  long count = 0;
  while (size < most && (count = ::syscall(SYS_read, file, to + size, most - size)) > 0)
    size += static_cast<std::size_t>(count);
  ::syscall(SYS_close, file);
  return size;
}

// The value of a variable in "NAME=VALUE\0..."; null when it is not there.
inline const char* Find(const char* name, const char* from, const char* end) noexcept {
  const std::size_t length = std::strlen(name);
  for (; from < end; from += std::strlen(from) + 1)
    if (std::strncmp(from, name, length) == 0 && from[length] == '=') return from + length + 1;
  return nullptr;
}

inline int ToNumber(const char* text) noexcept {
  int number = 0;
  for (; *text >= '0' && *text <= '9'; ++text) number = number * 10 + (*text - '0');
  return number;
}

// "/proc/NUMBER/NAME"
inline void ProcPath(char (&path)[64], int process, const char* name) noexcept {
  char digits[16];
  std::size_t count = 0;
  for (; process > 0; process /= 10) digits[count++] = static_cast<char>('0' + process % 10);
  std::strcpy(path, "/proc/");
  char* end = path + std::strlen(path);
  while (count > 0) *end++ = digits[--count];
  *end++ = '/';
  std::strcpy(end, name);
}

// The parent's number: the second field after the program's name, which is in parentheses.
inline int ParentOf(int process) noexcept {
  char path[64];
  char text[1024];
  ProcPath(path, process, "stat");
  const std::size_t size = ReadAll(path, text, sizeof text - 1);
  text[size] = 0;
  const char* name = std::strrchr(text, ')');
  return name == nullptr || std::strlen(name) < 5 ? 0 : ToNumber(name + 4);
}

inline void MapReached(const char* path) noexcept {
  const long file = ::syscall(SYS_openat, AT_FDCWD, path, O_RDWR | O_CLOEXEC);
  if (file < 0) return;
  const long at = ::syscall(SYS_mmap, nullptr, kMost, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0L);
  ::syscall(SYS_close, file);
  if (at > 0) reached = reinterpret_cast<volatile unsigned char*>(at);
}

inline void Start() noexcept {
  if (isStarted) return;
  isStarted = true;
  char path[64];
  for (int process = static_cast<int>(::syscall(SYS_getpid)); process > 1;
       process = ParentOf(process)) {
    ProcPath(path, process, "environ");
    const std::size_t size = ReadAll(path, environment, sizeof environment - 1);
    environment[size] = 0;
    const char* number = Find("SVC_MUTANT", environment, environment + size);
    if (number == nullptr) continue;
    active = ToNumber(number);
    const char* file = Find("SVC_MUTANT_REACHED", environment, environment + size);
    if (file != nullptr) MapReached(file);
    return;
  }
}

[[gnu::constructor(101)]] static void StartBeforeAll() noexcept { Start(); }

// Whether the mutant with this number is the active one; notes that it was reached.
inline bool Is(int number) noexcept {
  reached[number] = 1;
  return active == number;
}

// The same in a function that the compiler may run itself: there no mutant is active.
constexpr bool IsAtRunTime(int number) noexcept {
  return !std::is_constant_evaluated() && Is(number);
}

}  // namespace svc_mutant

#endif
