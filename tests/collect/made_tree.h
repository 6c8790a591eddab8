// A system tree made for one test, and the inventory read from it. One thread.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "collect/collector.h"

namespace svc::collect {

// A class name and the properties of one instance, as an independent XML reader finds them;
// elements of an array are parted by " | ".
struct TReadInstance {
  std::string className;
  std::map<std::string, std::string> properties;

  std::string operator[](const std::string& name) const;
};

// Throws std::runtime_error where the document is not well-formed.
std::vector<TReadInstance> ReadDocument(const std::string& document);

// What the function gives in a process whose root that folder is; nothing where the process may not
// be given one.
std::optional<std::string> WithRoot(const std::filesystem::path& folder,
                                    const std::function<std::string()>& function);

// A folder of its own, removed at the end of the test.
class TMadeTree {
 public:
  TMadeTree();
  TMadeTree(const TMadeTree&) = delete;
  TMadeTree& operator=(const TMadeTree&) = delete;
  ~TMadeTree();

  const std::filesystem::path& Root() const { return root; }
  // `path` is absolute in the tree.
  TMadeTree& Write(const std::string& path, std::string_view bytes);
  TMadeTree& Link(const std::string& path, const std::string& target);

  Outcome Collect(bool redact = false) const;
  // The instances of one class, in their order.
  std::vector<TReadInstance> Instances(const std::string& className) const;
  // The notes that hold `part`.
  std::vector<std::string> Notes(const std::string& part) const;

  // What the function gives in a process for which this tree is the running system, with its
  // devices; nothing where the process may not be given one.
  std::optional<std::string> AsRunning(const std::function<std::string()>& function) const {
    return WithRoot(root, function);
  }

 private:
  std::filesystem::path root;
};

// The bytes of one SMBIOS structure: type and formatted area behind the header, and its strings.
std::string SmbiosStructure(unsigned type, std::string_view formatted,
                            const std::vector<std::string>& strings);

}  // namespace svc::collect
