// From the texts of firmware and system files to an inventory: how texts are cleaned and cut, and
// the instances of the host's inventory classes that they fill.
#pragma once

#include <cstddef>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace svc::collect {

// --- Texts. Pure functions; any thread. ---

// `bytes` as valid UTF-8 (RFC 3629) on one line: white space at both ends is cut, tabs and line
// ends within become blanks, other control characters and whatever is no character of XML 1.0
// become U+FFFD. A NUL ends the text, as it does in a firmware's fixed-length field.
std::string CleanText(std::string_view bytes);

std::string_view Trimmed(std::string_view text);
std::string_view FirstLine(std::string_view text);
// Lower case of ASCII letters only.
std::string Lowered(std::string_view text);

inline bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// The lines are parts of `text`, which must outlive them.
std::vector<std::string_view> Lines(std::string_view text);
std::vector<std::string_view> Lines(std::string&& text) = delete;
// The words of a line, which blanks and tabs part.
std::vector<std::string> Words(std::string_view line);

// The NAME=VALUE lines of a file such as os-release; a value may stand in quotes, with backslashes
// before what the shell would take otherwise (os-release(5)).
std::map<std::string, std::string> Assignments(std::string_view text);

// The text between "-[" and "]-", in which some makers put machine types and build ids; empty
// without the marks.
std::string_view Bracketed(std::string_view text);

// --- What the sources fill: instances, and notes of what is missing ---

struct TProperty {
  std::string name;
  std::string value;
  std::string_view type;
  std::vector<std::string> elements = {};  // Of an array, which has no value of its own.
};

// One instance to be. A property without a value is no property: what the machine does not tell is
// left out, never made up. Not safe for use from several threads at once.
class TInstance {
 public:
  explicit TInstance(std::string className) : className(std::move(className)) {}

  // `bytes` may be any bytes, such as a firmware's; they are kept as a clean text.
  TInstance& Set(std::string name, std::string_view bytes, std::string_view type = "string") {
    if (std::string value = CleanText(bytes); !value.empty()) {
      properties.push_back({std::move(name), std::move(value), type});
    }
    return *this;
  }

  // An array of texts, those without any left out; no property where none is left.
  TInstance& SetList(std::string name, const std::vector<std::string>& texts) {
    TProperty list{std::move(name), "", "string"};
    for (const std::string& text : texts) {
      if (std::string value = CleanText(text); !value.empty()) list.elements.push_back(value);
    }
    if (!list.elements.empty()) properties.push_back(std::move(list));
    return *this;
  }

  const std::string& ClassName() const { return className; }
  const std::vector<TProperty>& Properties() const { return properties; }

 private:
  std::string className;
  std::vector<TProperty> properties;
};

// The instances in the order in which they were found. Not safe for use from several threads.
class TInventory {
 public:
  // An instance without properties tells nothing and is dropped.
  void Add(TInstance instance);
  // From now on so many bytes of the document are left for instances. The first that does not fit
  // is left out, and so is what comes behind it; a note tells of that.
  void Limit(std::size_t bytes) { room = bytes; }
  void Replace(std::size_t number, TInstance instance) { instances[number] = std::move(instance); }
  // `text` may hold texts of the machine, of any bytes.
  void Note(std::string_view text) { notes.push_back(CleanText(text)); }

  bool Holds(std::string_view className) const {
    for (const TInstance& instance : instances) {
      if (instance.ClassName() == className) return true;
    }
    return false;
  }

  const std::vector<TInstance>& Instances() const { return instances; }
  const std::vector<std::string>& Notes() const { return notes; }

 private:
  static constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

  std::vector<TInstance> instances;
  std::vector<std::string> notes;
  std::size_t room = kNoLimit;
  bool isFull = false;
};

// One CIM-XML document (DMTF DSP0201), UTF-8, with the instances in their order. What turns the
// direction of text on a terminal stands there by its number. Pure; any thread.
std::string ToCimXml(const std::vector<TInstance>& instances);

// --- How makers write machine types and versions into the texts of their products ---

// "-[46201AB]-" holds the machine type, four characters, and the model; without the marks the
// product's name is its type.
std::string MachineTypeOf(const std::string& product);

// The BIOS with its version: one such as "-[QKL120AUS-1.10]-" is a build id and a version.
TInstance SystemBios(const std::string& version);

}  // namespace svc::collect
