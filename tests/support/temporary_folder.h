// A folder that lives as long as a test; it is the current directory and the root of drive letters
// meanwhile.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "runtime/hskcore/host_setup.h"

namespace svc::test {

class TTemporaryFolder {
 public:
  TTemporaryFolder() : before(std::filesystem::current_path()) {
    std::string name = (std::filesystem::temp_directory_path() / "svcheck-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) std::abort();
    folder = name;
    std::filesystem::current_path(folder);
    SetDriveRoot(folder.string());
  }
  ~TTemporaryFolder() {
    SetDriveRoot("");
    std::filesystem::current_path(before);
    std::filesystem::remove_all(folder);
  }
  TTemporaryFolder(const TTemporaryFolder&) = delete;
  TTemporaryFolder& operator=(const TTemporaryFolder&) = delete;

  // Without a separator at its end.
  std::string Path() const { return folder.string(); }
  void Write(const std::string& name, const std::string& text) const {
    const std::filesystem::path file = folder / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
  }
  bool Holds(const std::string& name) const { return std::filesystem::exists(folder / name); }

 private:
  std::filesystem::path before;
  std::filesystem::path folder;
};

}  // namespace svc::test
