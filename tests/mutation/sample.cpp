// A small program with something for each operator of the mutation tests (test_mutation.py).
#include <spawn.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <optional>
#include <string>
#include <string_view>

namespace {

enum class EKind { kSmall, kLarge };

constexpr int kBound = 10;
constexpr int Twice(int value) { return value * 2; }
static_assert(Twice(2) == 4);

#define IS_ODD(value) ((value) % 2 == 1)

EKind KindOf(int value) {
  if (value < kBound) return EKind::kSmall;
  return EKind::kLarge;
}

bool IsSpecial(int value) { return value == 12 || value == 13; }

std::optional<int> Half(int value) {
  if (IS_ODD(value)) return {};
  return value / 2;
}

std::string Join(std::string_view left, std::string_view right, char between) {
  std::array<char, 4> unused{};
  std::string result(left);
  result += between;
  result.append(right);
  return result + "." + std::string(unused.data());
}

std::string Describe(int value) {
  bool isKnown = false;
  std::string left("of");
  if (const auto half = Half(value)) left = std::to_string(*half);
  switch (value) {
    case 3:
      isKnown = true;
      break;
    default:
      break;
  }
  const auto word = [&](bool large) { return large ? "large" : "small"; };
  return Join(left, word(KindOf(value) == EKind::kLarge), isKnown ? '!' : '-');
}

// The answer of a child whose environment is empty.
int AskChild(const char* program) {
  std::array<char*, 3> arguments{const_cast<char*>(program), const_cast<char*>("special"), nullptr};
  std::array<char*, 1> environment{};
  pid_t child = 0;
  int status = 0;
  if (::posix_spawn(&child, program, nullptr, nullptr, arguments.data(), environment.data()) != 0)
    return 100;
  while (::waitpid(child, &status, 0) == -1 && errno == EINTR) {
  }
  return WEXITSTATUS(status);
}

bool Passes(std::string_view test, const char* program) {
  if (test == "kinds") return KindOf(9) == EKind::kSmall && KindOf(10) == EKind::kLarge;
  if (test == "special") return IsSpecial(12) && !IsSpecial(14);
  if (test == "twice") return Twice(std::stoi("3")) == 6;
  if (test == "text") return Describe(3) == "of!small." && Describe(14) == "7-large.";
  return test == "child" && AskChild(program) == 0;
}

}  // namespace

int main(int count, char** words) { return count == 2 && Passes(words[1], words[0]) ? 0 : 1; }
