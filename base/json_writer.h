// Writes JSON (RFC 8259) as it goes: behind what a text of the caller's holds, who may take that
// away at any time. Keeps nothing but how deep it is, so that a long document takes no memory in
// proportion. Used by one thread.
#ifndef BASE_JSON_WRITER_H_
#define BASE_JSON_WRITER_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace svc {

// How the items of an object or a list stand: what is written between a name and its value, before
// the first item, before each further one, behind the last one, and where there is none.
struct TJsonLayout {
  std::string_view colon = ":";
  std::string_view first = "";
  std::string_view next = ",";
  std::string_view last = "";
  std::string_view none = "";
};
inline constexpr TJsonLayout kJsonTight;
inline constexpr TJsonLayout kJsonSpaced = {": ", "", ", ", "", ""};
// A document for programs that a person looks at as well: one member a line, and the rows of its
// lists one a line each.
inline constexpr TJsonLayout kJsonDocument = {": ", "\n  ", ",\n  ", "\n", ""};
inline constexpr TJsonLayout kJsonRows = {":", "\n    ", ",\n    ", "\n  ", ""};
// The rows of a list in an object that is tight.
inline constexpr TJsonLayout kJsonLines = {":", "\n", ",\n", "\n", "\n"};

class TJsonWriter {
 public:
  // Borrows the text.
  explicit TJsonWriter(std::string& text) : text(text) {}

  // The name of the next value, in an object. What needs escapes is an AnyName.
  TJsonWriter& Name(std::string_view name);
  TJsonWriter& AnyName(std::string_view name);

  // The next value.
  TJsonWriter& Object(const TJsonLayout& layout = kJsonTight) { return Open('{', '}', layout); }
  TJsonWriter& List(const TJsonLayout& layout = kJsonTight) { return Open('[', ']', layout); }
  TJsonWriter& Text(std::string_view value);
  TJsonWriter& Number(std::uint64_t value);
  TJsonWriter& Null() { return Written("null"); }
  // As it stands, such as "true" or a number with a fraction.
  TJsonWriter& Written(std::string_view json);
  // The end of the innermost object or list.
  TJsonWriter& End();

  // The same with their names.
  TJsonWriter& Object(std::string_view name, const TJsonLayout& layout = kJsonTight) {
    return Name(name).Object(layout);
  }
  TJsonWriter& List(std::string_view name, const TJsonLayout& layout = kJsonTight) {
    return Name(name).List(layout);
  }
  TJsonWriter& Text(std::string_view name, std::string_view value) {
    return Name(name).Text(value);
  }
  TJsonWriter& TextIfAny(std::string_view name, std::string_view value) {
    return value.empty() ? *this : Text(name, value);
  }
  TJsonWriter& TextOrNull(std::string_view name, std::string_view value) {
    return value.empty() ? Name(name).Null() : Text(name, value);
  }
  TJsonWriter& Number(std::string_view name, std::uint64_t value) {
    return Name(name).Number(value);
  }
  TJsonWriter& Texts(std::string_view name, const std::vector<std::string>& values,
                     const TJsonLayout& layout = kJsonTight);

 private:
  struct TLevel {
    const TJsonLayout* layout;
    char end;
    bool hasItems;
  };

  TJsonWriter& Open(char begin, char end, const TJsonLayout& layout);
  void BeginItem();
  void BeginValue();
  void AppendText(std::string_view value);

  std::string& text;
  bool isNamed = false;
  std::size_t depth = 0;
  std::array<TLevel, 12> levels{};  // Documents are not deeper.
};

}  // namespace svc

#endif  // BASE_JSON_WRITER_H_
