// A folder of one test, with files, links and other users' things in it.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "base/files.h"

namespace svc::files {

constexpr unsigned kSomebody = 65534;

// While it lives, the process does what it does as that user. Only root may.
class TAsSomebody {
 public:
  TAsSomebody() { EXPECT_EQ(::seteuid(kSomebody), 0); }
  TAsSomebody(const TAsSomebody&) = delete;
  TAsSomebody& operator=(const TAsSomebody&) = delete;
  ~TAsSomebody() { EXPECT_EQ(::seteuid(0), 0); }
};

class TMadeFolder : public ::testing::Test {
 protected:
  TMadeFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "svcheck files XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) std::abort();
    root = std::filesystem::canonical(name);
  }
  ~TMadeFolder() override { std::filesystem::remove_all(root); }

  std::string In(const std::string& name) const { return (root / name).string(); }
  void Put(const std::string& name, const std::string& text) const {
    std::ofstream(In(name), std::ios::binary) << text;
  }
  std::string Text(const std::string& name) const {
    std::ifstream file(In(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  unsigned Mode(const std::string& name) const {
    return static_cast<unsigned>(std::filesystem::status(In(name)).permissions());
  }
  std::set<std::string> Names(const std::string& folder = ".") const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(root / folder))
      names.insert(entry.path().filename().string());
    return names;
  }
  void Give(const std::string& name, unsigned user = kSomebody) const {
    ASSERT_EQ(::lchown(In(name).c_str(), user, user), 0);
  }
  bool IsRoot() const { return ::geteuid() == 0; }

  // The number of the error; 0 when there is none.
  template <typename TAction>
  int ErrorOf(const TAction& action) {
    try {
      action();
      return 0;
    } catch (const TError& error) {
      reason = error.what();
      return error.Number();
    }
  }

  std::filesystem::path root;
  std::string reason;
};

}  // namespace svc::files
