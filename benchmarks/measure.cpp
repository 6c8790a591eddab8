// Runs one program and says what it took: a JSON object on standard output. Its own memory is
// small, which matters, since the kernel counts what a process had before it became the program.
//
//   measure PROGRAM [ARGUMENT]...
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

namespace {

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// The program's output is of no interest here.
[[noreturn]] void Become(char** command) {
  const int nothing = open("/dev/null", O_WRONLY);
  dup2(nothing, STDOUT_FILENO);
  execvp(command[0], command);
  std::perror(command[0]);
  _exit(127);
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 2) return 64;
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = vfork();
  if (child == 0) Become(arguments + 1);
  int status = 0;
  rusage used{};
  if (child < 0 || wait4(child, &status, 0, &used) != child) return 1;
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
  std::printf(
      "{\"seconds\": %.6f, \"user\": %.6f, \"system\": %.6f, \"peak\": %ld, \"exit\": %d}\n",
      wall.count(), Seconds(used.ru_utime), Seconds(used.ru_stime), used.ru_maxrss * 1024L,
      WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
  return 0;
}
