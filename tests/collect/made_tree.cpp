#include "made_tree.h"

#include <sched.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <pugixml.hpp>
#include <stdexcept>

#include "collect/linux/linux_collector.h"

namespace fs = std::filesystem;

namespace svc::collect {

std::string TReadInstance::operator[](const std::string& name) const {
  const auto found = properties.find(name);
  return found == properties.end() ? "(none)" : found->second;
}

std::vector<TReadInstance> ReadDocument(const std::string& document) {
  pugi::xml_document xml;
  const auto flags = pugi::parse_default | pugi::parse_ws_pcdata_single;
  const pugi::xml_parse_result result = xml.load_buffer(document.data(), document.size(), flags);
  if (!result) throw std::runtime_error(result.description());
  std::vector<TReadInstance> instances;
  for (const pugi::xpath_node& node :
       xml.select_nodes("/CIM/DECLARATION/DECLGROUP/VALUE.OBJECT/INSTANCE")) {
    TReadInstance instance{node.node().attribute("CLASSNAME").value(), {}};
    for (const pugi::xml_node property : node.node().children("PROPERTY")) {
      instance.properties[property.attribute("NAME").value()] = property.child_value("VALUE");
    }
    for (const pugi::xml_node property : node.node().children("PROPERTY.ARRAY")) {
      std::string& elements = instance.properties[property.attribute("NAME").value()];
      for (const pugi::xml_node value : property.child("VALUE.ARRAY").children("VALUE"))
        elements += (elements.empty() ? "" : " | ") + std::string(value.child_value());
    }
    instances.push_back(std::move(instance));
  }
  return instances;
}

TMadeTree::TMadeTree() {
  std::string name = (fs::temp_directory_path() / "svcheck-tree-XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
  root = name;
}

TMadeTree::~TMadeTree() {
  std::error_code ignored;
  fs::remove_all(root, ignored);
}

TMadeTree& TMadeTree::Write(const std::string& path, std::string_view bytes) {
  const fs::path file = root / path.substr(1);
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << bytes;
  return *this;
}

TMadeTree& TMadeTree::Link(const std::string& path, const std::string& target) {
  const fs::path link = root / path.substr(1);
  fs::create_directories(link.parent_path());
  fs::create_symlink(target, link);
  return *this;
}

Outcome TMadeTree::Collect(bool redact) const {
  return TLinuxCollector().Collect({root.string(), redact});
}

std::vector<TReadInstance> TMadeTree::Instances(const std::string& className) const {
  std::vector<TReadInstance> wanted;
  for (TReadInstance& instance : ReadDocument(Collect().document)) {
    if (instance.className == className) wanted.push_back(std::move(instance));
  }
  return wanted;
}

std::vector<std::string> TMadeTree::Notes(const std::string& part) const {
  std::vector<std::string> wanted;
  for (const std::string& note : Collect().notes) {
    if (note.find(part) != std::string::npos) wanted.push_back(note);
  }
  return wanted;
}

namespace {

constexpr int kMayNot = 77;

// Root may, and so may whoever is let to have a user namespace.
bool TakeForRoot(const fs::path& folder) {
  const auto take = [&] { return ::chroot(folder.c_str()) == 0 && ::chdir("/") == 0; };
  return take() || (::unshare(CLONE_NEWUSER) == 0 && take());
}

[[noreturn]] void RunAsSystem(const fs::path& root, const std::function<std::string()>& function,
                              int output) {
  if (!TakeForRoot(root)) ::_exit(kMayNot);
  try {
    const std::string text = function();
    const bool isWhole = ::write(output, text.data(), text.size()) == ssize_t(text.size());
    ::_exit(isWhole ? 0 : 1);
  } catch (...) {
    ::_exit(1);
  }
}

std::string AllOf(int file) {
  std::string text;
  std::array<char, 4096> part;
  for (ssize_t size = 0; (size = ::read(file, part.data(), part.size())) > 0;)
    text.append(part.data(), static_cast<std::size_t>(size));
  ::close(file);
  return text;
}

}  // namespace

std::optional<std::string> WithRoot(const fs::path& folder,
                                    const std::function<std::string()>& function) {
  int ends[2];
  if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
  const pid_t process = ::fork();
  if (process == 0) RunAsSystem(folder, function, ends[1]);
  ::close(ends[1]);
  std::string text = AllOf(ends[0]);
  int status = 0;
  if (::waitpid(process, &status, 0) != process) throw std::runtime_error("no process");
  if (WIFEXITED(status) && WEXITSTATUS(status) == kMayNot) return {};
  if (status != 0) throw std::runtime_error("the process failed");
  return text;
}

std::string SmbiosStructure(unsigned type, std::string_view formatted,
                            const std::vector<std::string>& strings) {
  std::string bytes{static_cast<char>(type), static_cast<char>(4 + formatted.size()), 1, 0};
  bytes += formatted;
  for (const std::string& text : strings) bytes += text + '\0';
  return bytes + (strings.empty() ? std::string(2, '\0') : std::string(1, '\0'));
}

}  // namespace svc::collect
