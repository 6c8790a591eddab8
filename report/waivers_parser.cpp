// From the text of a waivers file to waivers, line by line: each construct of TOML that the file
// may hold ends with its line.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "base/error.h"
#include "base/shown_text.h"
#include "report/text.h"
#include "report/waivers.h"

namespace svc::report {

namespace {

constexpr std::string_view kTable = "waiver";

struct TKey {
  std::string_view name;
  std::string& (*field)(TWaiver& waiver);
  bool isDate = false;
};
constexpr std::array kKeys = {
    TKey{"type", [](TWaiver& waiver) -> std::string& { return waiver.type; }},
    TKey{"name", [](TWaiver& waiver) -> std::string& { return waiver.name; }},
    TKey{"offered", [](TWaiver& waiver) -> std::string& { return waiver.offered; }},
    TKey{"reason", [](TWaiver& waiver) -> std::string& { return waiver.acceptance.reason; }},
    TKey{"expires", [](TWaiver& waiver) -> std::string& { return waiver.acceptance.expires; },
         true}};

bool IsSpace(char c) noexcept { return c == ' ' || c == '\t'; }
bool IsOfBareKey(char c) noexcept {
  return static_cast<unsigned char>(c) < 0x80 && (IsAlphanumeric(c) || c == '_' || c == '-');
}
bool IsDay(std::string_view text) {
  constexpr std::string_view kMidnight = "T00:00:00Z";
  return SecondsOfUtcTime(std::string(text).append(kMidnight)).has_value();
}

void AppendUtf8(std::string& text, char32_t value) {
  const auto tail = [&](int shift) { return static_cast<char>(0x80 | ((value >> shift) & 0x3F)); };
  if (value < 0x80) {
    text += static_cast<char>(value);
  } else if (value < 0x800) {
    text.append({static_cast<char>(0xC0 | (value >> 6)), tail(0)});
  } else if (value < 0x10000) {
    text.append({static_cast<char>(0xE0 | (value >> 12)), tail(6), tail(0)});
  } else {
    text.append({static_cast<char>(0xF0 | (value >> 18)), tail(12), tail(6), tail(0)});
  }
}

// Reads one line from its front.
class TLine {
 public:
  TLine(std::string_view rest, std::size_t number) : rest(rest), number(number) {}

  [[noreturn]] void Fail(const std::string& text) const {
    throw TextError(static_cast<int>(number), text);
  }

  // Whether nothing but a comment is left.
  bool IsDone() {
    SkipSpace();
    return rest.empty() || rest.front() == '#';
  }
  bool IsAt(char c) {
    SkipSpace();
    return rest.starts_with(c);
  }
  bool Take(std::string_view text) {
    SkipSpace();
    if (!rest.starts_with(text)) return false;
    rest.remove_prefix(text.size());
    return true;
  }
  std::string_view TakeWhile(bool (*holds)(char)) {
    SkipSpace();
    const auto end = std::find_if_not(rest.begin(), rest.end(), holds);
    const auto word = rest.substr(0, static_cast<std::size_t>(end - rest.begin()));
    rest.remove_prefix(word.size());
    return word;
  }
  // A text in quotes, or a bare day.
  std::string TakeValue(const TKey& key);
  void End() {
    if (!IsDone()) {
      Fail(fmt::format("\"{}\" stands behind what should end the line; put a comment behind #",
                       PlainLine(rest)));
    }
  }

 private:
  void SkipSpace() noexcept {
    while (!rest.empty() && IsSpace(rest.front())) rest.remove_prefix(1);
  }
  std::string TakeLiteral();
  std::string TakeBasic();
  char32_t TakeEscape();
  char32_t TakeHexadecimal(std::size_t digits);

  std::string_view rest;
  std::size_t number;
};

std::string TLine::TakeValue(const TKey& key) {
  SkipSpace();
  if (rest.starts_with("\"\"\"") || rest.starts_with("'''")) {
    Fail("a text ends with its line here; write it between single quotation marks, \"…\"");
  }
  if (Take("\"")) return TakeBasic();
  if (Take("'")) return TakeLiteral();
  if (!key.isDate) Fail(fmt::format("{} needs a text in quotation marks, \"…\"", key.name));
  return std::string(TakeWhile([](char c) { return c != '#' && !IsSpace(c); }));
}

std::string TLine::TakeLiteral() {
  const std::size_t end = rest.find('\'');
  if (end == std::string_view::npos) Fail("the closing quotation mark ' is missing");
  std::string text(rest.substr(0, end));
  rest.remove_prefix(end + 1);
  return text;
}

std::string TLine::TakeBasic() {
  std::string text;
  while (!rest.empty()) {
    const char c = rest.front();
    rest.remove_prefix(1);
    if (c == '"') return text;
    if (c == '\\') {
      AppendUtf8(text, TakeEscape());
    } else {
      text += c;
    }
  }
  Fail("the closing quotation mark \" is missing");
}

char32_t TLine::TakeEscape() {
  struct TEscape {
    char letter;
    char32_t value;
  };
  constexpr std::array kEscapes = {TEscape{'b', '\b'}, TEscape{'t', '\t'}, TEscape{'n', '\n'},
                                   TEscape{'f', '\f'}, TEscape{'r', '\r'}, TEscape{'"', '"'},
                                   TEscape{'\\', '\\'}};
  const char letter = rest.empty() ? '\0' : rest.front();
  rest.remove_prefix(std::min<std::size_t>(rest.size(), 1));
  if (letter == 'u') return TakeHexadecimal(4);
  if (letter == 'U') return TakeHexadecimal(8);
  const auto* const found =
      std::find_if(kEscapes.begin(), kEscapes.end(),
                   [&](const TEscape& escape) { return escape.letter == letter; });
  if (found == kEscapes.end()) {
    Fail("a backslash stands before b, t, n, f, r, u, U, \" or \\; between '…' it is plain");
  }
  return found->value;
}

char32_t TLine::TakeHexadecimal(std::size_t digits) {
  const std::string_view text = rest.substr(0, digits);
  if (text.size() < digits || !std::all_of(text.begin(), text.end(), IsHexDigit)) {
    Fail(fmt::format("{} hexadecimal digits have to follow", digits));
  }
  char32_t value = 0;
  for (const char c : text) {
    value = value * 16 + static_cast<char32_t>(IsDigit(c) ? c - '0' : ToLower(c) - 'a' + 10);
  }
  rest.remove_prefix(digits);
  if (value > 0x10FFFF || (value >= 0xD800 && value < 0xE000)) Fail("there is no such character");
  return value;
}

class TParser {
 public:
  std::vector<TWaiver> Parse(std::string_view text);

 private:
  void ReadLine(std::string_view text, std::size_t number);
  void BeginWaiver(TLine& line, std::size_t number);
  void SetKey(TLine& line);
  void EndWaiver();

  std::vector<TWaiver> waivers;
  std::size_t patterns = 0;                // Of those that are whole.
  std::array<bool, kKeys.size()> isSet{};  // Of the last waiver.
};

std::vector<TWaiver> TParser::Parse(std::string_view text) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::size_t size = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, size);
    text.remove_prefix(std::min(size + 1, text.size()));
    if (line.ends_with('\r')) line.remove_suffix(1);
    ReadLine(line, number);
  }
  EndWaiver();
  return std::move(waivers);
}

void TParser::ReadLine(std::string_view text, std::size_t number) {
  TLine line(text, number);
  if (ValidUtf8(text) != text) line.Fail("the line is no UTF-8; save the file as UTF-8");
  const auto isControl = [](char c) {
    return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7F;
  };
  if (std::any_of(text.begin(), text.end(), isControl)) {
    line.Fail("the line holds a control character; remove it");
  }
  if (line.IsDone()) return;
  if (line.IsAt('[')) {
    BeginWaiver(line, number);
  } else {
    SetKey(line);
  }
  line.End();
}

void TParser::BeginWaiver(TLine& line, std::size_t number) {
  EndWaiver();
  if (!line.Take("[[") || line.TakeWhile(IsOfBareKey) != kTable || !line.Take("]]")) {
    line.Fail("a waiver begins with [[waiver]]; no other table is known");
  }
  waivers.emplace_back().line = number;
  isSet.fill(false);
}

void TParser::SetKey(TLine& line) {
  constexpr std::string_view kNames = "type, name, offered, reason, expires";
  const std::string_view name = line.TakeWhile(IsOfBareKey);
  if (name.empty() || !line.Take("=")) line.Fail("write [[waiver]], or a key as in name = \"…\"");
  const auto* const key =
      std::find_if(kKeys.begin(), kKeys.end(), [&](const TKey& row) { return row.name == name; });
  if (key == kKeys.end()) {
    line.Fail(fmt::format("unknown key \"{}\"; a waiver has {}", name, kNames));
  }
  if (waivers.empty()) line.Fail(fmt::format("\"{}\" stands before the first [[waiver]]", name));
  if (std::exchange(isSet[static_cast<std::size_t>(key - kKeys.begin())], true)) {
    line.Fail(fmt::format("\"{}\" is written twice in one waiver", name));
  }
  std::string& field = key->field(waivers.back());
  field = line.TakeValue(*key);
  if (key->isDate && !IsDay(field)) {
    line.Fail(fmt::format("\"{}\" is no date; write the last day as in expires = 2027-06-30",
                          PlainLine(field)));
  }
  if (Trim(field).empty()) line.Fail(fmt::format("{} is empty; fill it or leave it out", name));
  const bool isPattern = &field == &waivers.back().name || &field == &waivers.back().offered;
  if (isPattern && field.size() > kLongestPattern) {
    line.Fail(
        fmt::format("{} is longer than {} bytes; write * for a part of it", name, kLongestPattern));
  }
}

void TParser::EndWaiver() {
  if (waivers.empty()) return;
  const TWaiver& last = waivers.back();
  if (last.name.empty()) {
    throw TextError(static_cast<int>(last.line),
                    "the waiver has no name; write name = \"…\", * for every one");
  }
  if (last.acceptance.reason.empty()) {
    throw TextError(static_cast<int>(last.line), "the waiver has no reason; write reason = \"…\"");
  }
  if (HasWildcards(last) && ++patterns > kMostPatterns) {
    throw TextError(
        static_cast<int>(last.line),
        fmt::format("more than {} waivers have a * or ?; write whole names and versions, "
                    "of which there may be any number, or one * for several",
                    kMostPatterns));
  }
}

}  // namespace

std::vector<TWaiver> ParseWaivers(std::string_view text) { return TParser().Parse(text); }

}  // namespace svc::report
