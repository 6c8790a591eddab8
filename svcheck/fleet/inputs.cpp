#include "svcheck/fleet/inputs.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <new>
#include <nlohmann/json.hpp>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/error.h"
#include "base/json_writer.h"
#include "base/shown_text.h"
#include "runtime/hskcore/host_setup.h"
#include "runtime/hskcore/name_table.h"
#include "svcheck/system/paths.h"

namespace fs = std::filesystem;

namespace svc::fleet {

namespace {

std::string_view WithoutCompression(std::string_view name) {
  for (const std::string_view ending : {".gz", ".zst"}) {
    if (name.ends_with(ending)) return name.substr(0, name.size() - ending.size());
  }
  return name;
}

bool HoldsLines(std::string_view name) {
  const std::string_view plain = WithoutCompression(name);
  return name == "-" || plain.ends_with(".ndjson") || plain.ends_with(".jsonl");
}

bool HoldsOneMachine(std::string_view name) { return WithoutCompression(name).ends_with(".xml"); }

std::string MachineOfFile(std::string_view name) {
  std::string_view plain = WithoutCompression(name);
  if (plain.ends_with(".xml")) plain.remove_suffix(4);
  return std::string(plain);
}

TTask WithoutInventory(std::string machine, std::string cause) {
  return {std::move(machine), TTask::EInventory::kNone, std::move(cause)};
}

// What a JSON escape of two characters stands for, by its second one; 0 for others.
constexpr auto kEscaped = [] {
  std::array<char, 256> characters{};
  constexpr std::string_view kLetters = "\"\\/bfnrt";
  constexpr std::string_view kMeant = "\"\\/\b\f\n\r\t";
  for (std::size_t i = 0; i < kLetters.size(); ++i) {
    characters[static_cast<unsigned char>(kLetters[i])] = kMeant[i];
  }
  return characters;
}();
char Unescaped(char letter) { return kEscaped[static_cast<unsigned char>(letter)]; }

bool TakePunctuation(std::string_view& rest, char wanted) {
  rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
  if (!rest.starts_with(wanted)) return false;
  rest.remove_prefix(1);
  return true;
}

bool IsPlain(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 0x20 && byte < 0x80 && c != '"' && c != '\\';
}

// Copies what JSON writes as it is and escapes of two characters, up to something else. There is
// room for as many bytes as it takes.
void CopyUsualText(std::string_view& rest, char*& target) {
  const char* from = rest.data();
  const char* const end = from + rest.size();
  char* to = target;
  while (end - from >= static_cast<std::ptrdiff_t>(sizeof(TSixteenBytes))) {
    TSixteenBytes block;
    std::memcpy(&block, from, sizeof block);
    std::memcpy(to, &block, sizeof block);
    const std::size_t plain = PlainBytes(block);
    from += plain;
    to += plain;
    if (plain == sizeof block) continue;
    const char meant = end - from >= 2 && *from == '\\' ? Unescaped(from[1]) : '\0';
    if (meant == '\0') break;
    *to++ = meant;
    from += 2;
  }
  target = to;
  rest.remove_prefix(static_cast<std::size_t>(from - rest.data()));
}

// Takes a character off a JSON string as it is written there, and writes it. False at the end, and
// for an escape of more than two characters.
bool TakeCharacter(std::string_view& rest, char*& target) {
  const TCodePoint character = FirstCodePoint(rest);
  const bool isEscape = rest[0] == '\\';
  if (rest[0] == '"' || character.value < 0x20 || !character.valid) return false;
  if (isEscape && (rest.size() < 2 || Unescaped(rest[1]) == '\0')) return false;
  if (isEscape) {
    *target++ = Unescaped(rest[1]);
  } else {
    target = std::copy_n(rest.data(), character.size, target);
  }
  rest.remove_prefix(isEscape ? 2 : character.size);
  return true;
}

// Takes a JSON string off the line. False for an unusual one, which is left to a library.
bool TakeString(std::string_view& rest, std::string& text) {
  if (!TakePunctuation(rest, '"')) return false;
  text.resize(rest.size());
  char* end = text.data();
  do {
    CopyUsualText(rest, end);
  } while (!rest.empty() && TakeCharacter(rest, end));
  text.resize(static_cast<std::size_t>(end - text.data()));
  return TakePunctuation(rest, '"');
}

// The same for a short one, which is mostly plain.
bool TakeShortString(std::string_view& rest, std::string& text) {
  std::string_view plain = rest;
  if (!TakePunctuation(plain, '"')) return false;
  const std::string_view found = plain.substr(0, plain.find('"'));
  if (!std::all_of(found.begin(), found.end(), IsPlain)) return TakeString(rest, text);
  text = found;
  rest = plain.substr(found.size());
  return TakePunctuation(rest, '"');
}

// A machine's line in the form that `svcheck collect` writes. To read the inventory in it with a
// library would take longer than to compare the machine.
std::optional<TTask> TaskOfUsualLine(std::string_view line) {
  TTask task{{}, TTask::EInventory::kDocument, {}};
  std::string key;
  const auto takeName = [&](std::string_view name) {
    return TakeShortString(line, key) && key == name && TakePunctuation(line, ':');
  };
  const bool isUsual = TakePunctuation(line, '{') && takeName("machine") &&
                       TakeShortString(line, task.machine) && TakePunctuation(line, ',') &&
                       takeName("inventory") && TakeString(line, task.text) &&
                       TakePunctuation(line, '}') && line.empty();
  if (!isUsual) return {};
  return task;
}

// Takes the two texts off a line of any form, as a reader of JSON tells what it holds. What else is
// in the line takes no memory, however much it is.
class TLineTexts : public nlohmann::json_sax<nlohmann::json> {
 public:
  bool null() override { return Take(); }
  bool boolean(bool /*value*/) override { return Take(); }
  bool number_integer(number_integer_t /*value*/) override { return Take(); }
  bool number_unsigned(number_unsigned_t /*value*/) override { return Take(); }
  bool number_float(number_float_t /*value*/, const string_t& /*text*/) override { return Take(); }
  bool binary(binary_t& /*value*/) override { return Take(); }
  bool string(string_t& text) override { return Take(&text); }
  bool start_object(std::size_t /*size*/) override {
    isObject |= depth == 0;
    return Begin();
  }
  bool start_array(std::size_t /*size*/) override { return Begin(); }
  bool end_object() override { return End(); }
  bool end_array() override { return End(); }
  bool key(string_t& name) override {
    if (depth == 1) target = name == "machine" ? &machine : name == "inventory" ? &text : nullptr;
    return true;
  }
  bool parse_error(std::size_t /*at*/, const std::string& /*token*/,
                   const nlohmann::detail::exception& /*error*/) override {
    return false;
  }

  bool IsTooDeep() const { return depth > kDeepest; }

  bool isObject = false;
  std::optional<std::string> machine;  // None where it is no text.
  std::optional<std::string> text;

 private:
  static constexpr std::size_t kDeepest = 256;

  // Of two members of a name the last one counts.
  bool Take(std::string* value = nullptr) {
    if (depth == 1 && target != nullptr) {
      target->reset();
      if (value != nullptr) *target = std::move(*value);
    }
    return depth != 0;
  }
  bool Begin() {
    Take();
    return ++depth <= kDeepest && isObject;
  }
  bool End() {
    --depth;
    return true;
  }

  std::size_t depth = 0;
  std::optional<std::string>* target = nullptr;
};

bool IsBlank(std::string_view line) {
  return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

// By the first bytes of gzip (RFC 1952) and of Zstandard (RFC 8878).
bool IsCompressedText(std::string_view line) {
  return line.starts_with("\x1F\x8B") || line.starts_with("\x28\xB5\x2F\xFD");
}

std::string CauseOfCompression(std::string_view path) {
  return path == "-" ? "standard input is compressed; unpack it on the way here, by gzip -dc or "
                       "zstd -dc"
                     : "it is compressed; let its name end in .gz or .zst";
}

std::vector<fs::path> InventoriesBelow(const fs::path& root) {
  std::vector<fs::path> paths;
  try {
    paths = FilesBelow(root);
  } catch (const std::system_error& error) {
    throw TError("cannot list the inventories below " + root.string() + ": " +
                     error.code().message() + "; give this user the right to read there",
                 EErrorKind::kCatalogue);
  }
  std::erase_if(paths, [](const fs::path& path) {
    const std::string name = path.filename().string();
    return !HoldsOneMachine(name) && !HoldsLines(name);
  });
  return paths;
}

}  // namespace

void DemandInventories(const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    if (path == "-") continue;
    const fs::path place = Absolute(path);
    std::error_code error;
    const fs::file_type type = fs::status(place, error).type();
    if (type == fs::file_type::not_found) {
      throw TError("there are no inventories at " + place.string() +
                       ", which does not exist; name a file or a folder of them with --inventories",
                   EErrorKind::kCatalogue);
    }
    if (type == fs::file_type::directory && InventoriesBelow(place).empty()) {
      throw TError("there are no inventories in " + place.string() +
                       "; name a folder of .xml, .ndjson or .jsonl files with --inventories",
                   EErrorKind::kCatalogue);
    }
  }
}

TInputs::TInputs(std::vector<std::string> paths) : paths(std::move(paths)) {}

std::optional<TTask> TInputs::Next() {
  auto task = Find();
  if (task) {
    isBarren = false;
  } else {
    EndPath();
  }
  return task;
}

void TInputs::EndPath() {
  if (std::exchange(isBarren, false)) barren.push_back(paths[next - 1]);
}

std::optional<TTask> TInputs::Find() {
  for (;;) {
    if (lines) {
      if (auto task = NextLine()) return task;
    } else if (nextFile < files.size()) {
      if (auto task = OpenFile(files[nextFile++])) return task;
    } else if (next < paths.size()) {
      OpenNextPath();
    } else {
      return {};
    }
  }
}

// None at the end of the lines.
std::optional<TTask> TInputs::NextLine() {
  try {
    while (auto line = lines->Next()) {
      ++lineNumber;
      if (!IsBlank(*line)) return NextOfLines(std::move(*line));
    }
    lines.reset();
    return {};
  } catch (const std::runtime_error& error) {
    lines.reset();
    return WithoutInventory(linesPath, error.what());
  } catch (const std::bad_alloc&) {
    lines.reset();
    return WithoutInventory(linesPath, linesPath + ":" + std::to_string(lineNumber + 1) +
                                           ": there is not enough memory for the line");
  }
}

// The machine of a file that is one's; none for a file of lines, which are read from then on.
std::optional<TTask> TInputs::OpenFile(const TPlace& place) {
  if (!HoldsLines(place.path)) {
    if (std::string why = WhyNoFile(place.path); !why.empty()) {
      return WithoutInventory(place.machine, std::move(why));
    }
    return TTask{place.machine, TTask::EInventory::kFile, place.path};
  }
  linesPath = place.path;
  lineNumber = 0;
  try {
    lines = std::make_unique<TLineReader>(OpenBytes(place.path));
    return {};
  } catch (const std::runtime_error& error) {
    return WithoutInventory(linesPath, error.what());
  }
}

void TInputs::OpenNextPath() {
  EndPath();
  const std::string& path = paths[next++];
  isBarren = path != "-";
  files.clear();
  nextFile = 0;
  std::error_code ignored;
  if (path != "-" && fs::is_directory(PathOf(path), ignored)) {
    ListFolder(path);
  } else {
    files.push_back({path == "-" ? path : Absolute(path).string(),
                     MachineOfFile(PathOf(path).filename().string())});
  }
}

// Machines below a folder are named by their way from it.
void TInputs::ListFolder(const std::string& folder) {
  const fs::path root = Absolute(folder);
  for (const fs::path& path : InventoriesBelow(root)) {
    files.push_back({path.string(), MachineOfFile(path.lexically_relative(root).generic_string())});
  }
  std::sort(files.begin(), files.end(),
            [](const TPlace& a, const TPlace& b) { return a.path < b.path; });
}

TTask TInputs::NextOfLines(std::string line) {
  if (auto task = TaskOfUsualLine(line)) return *std::move(task);
  const std::string place = linesPath + ":" + std::to_string(lineNumber);
  if (lineNumber == 1 && IsCompressedText(line)) {
    lines.reset();
    return WithoutInventory(place, place + ": " + CauseOfCompression(linesPath));
  }
  TLineTexts found;
  const bool isWhole = nlohmann::json::sax_parse(line, &found);
  if (found.IsTooDeep()) {
    return WithoutInventory(place, place + ": the line nests arrays and objects too deeply");
  }
  if (!isWhole || !found.isObject) {
    return WithoutInventory(place, place + ": the line is no JSON object");
  }
  if (!found.machine) {
    return WithoutInventory(place, place + ": the line has no text \"machine\"");
  }
  if (!found.text) {
    return WithoutInventory(*found.machine, place + ": the line has no text \"inventory\"");
  }
  return {*std::move(found.machine), TTask::EInventory::kDocument, *std::move(found.text)};
}

TShard ShardOf(const std::string& text) {
  TShard shard;
  if (text.empty()) return shard;
  const char* const end = text.data() + text.size();
  const auto first = std::from_chars(text.data(), end, shard.number);
  const bool hasSlash = first.ec == std::errc() && first.ptr != end && *first.ptr == '/';
  const auto second = std::from_chars(hasSlash ? first.ptr + 1 : end, end, shard.count);
  if (second.ec == std::errc() && second.ptr == end && shard.number >= 1 &&
      shard.number <= shard.count) {
    return shard;
  }
  throw TError("--shard " + text + " is no shard; write I/N, the first of four is 1/4",
               EErrorKind::kUsage);
}

}  // namespace svc::fleet
