// What drivers and the texts beside them say of versions: dkms.conf (dkms(8)) of modules that are
// built on the machine, .inf files (Microsoft's "INF Version Section") of Windows drivers, and the
// version resources of these.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>

#include "base/error.h"
#include "report/text.h"
#include "svcheck/author/update.h"

namespace svc::catalogue {

namespace {

// Takes the next line off the text, without its end.
std::string_view TakeLine(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return report::Trim(line);
}

// --- dkms.conf ---

// Reads assignments and nothing else of the shell's language, which the file is written in.
class TDkms {
 public:
  explicit TDkms(std::string_view text) {
    while (!text.empty()) Take(TakeLine(text));
  }

  std::vector<TStatedDriver> Drivers() const {
    const std::string version = Demand("PACKAGE_VERSION");
    std::vector<TStatedDriver> drivers;
    for (const auto& [name, value] : values) {
      constexpr std::string_view kBuilt = "BUILT_MODULE_NAME";
      if (!name.starts_with(kBuilt)) continue;
      const std::string number = name.substr(kBuilt.size());
      const std::string installed = Resolved(Find("DEST_MODULE_NAME" + number, value));
      if (installed.empty()) throw TError("it says no name of a module");
      drivers.push_back({installed + ".ko", version});
    }
    // Of one module the name is that of the package unless it is said.
    if (drivers.empty()) drivers.push_back({Demand("PACKAGE_NAME") + ".ko", version});
    return drivers;
  }

 private:
  void Take(std::string_view line) {
    const std::size_t equals = line.find('=');
    if (equals == line.npos || line.starts_with('#')) return;
    std::string name(line.substr(0, equals));
    if (name.ends_with("[0]")) name.resize(name.size() - 3);
    values[name] = Unquoted(line.substr(equals + 1));
  }

  static std::string Unquoted(std::string_view value) {
    if (value.starts_with('"') || value.starts_with('\'')) {
      return std::string(value.substr(1, value.find(value.front(), 1) - 1));
    }
    return std::string(value.substr(0, value.find_first_of(" \t;#")));
  }

  std::string Find(const std::string& name, const std::string& otherwise) const {
    const auto found = values.find(name);
    return found == values.end() ? otherwise : found->second;
  }

  std::string Demand(const std::string& name) const {
    const std::string value = Resolved(Find(name, ""));
    if (value.empty()) throw TError("it says no " + name);
    return value;
  }

  // With the two names that stand for something already said.
  std::string Resolved(std::string value) const {
    for (const std::string name : {"PACKAGE_NAME", "PACKAGE_VERSION"}) {
      const std::string said = Find(name, "");
      for (const std::string& form : {"${" + name + "}", "$" + name}) {
        if (Contains(said, "$")) break;
        for (auto at = value.find(form); at != value.npos; at = value.find(form, at)) {
          value.replace(at, form.size(), said);
          at += said.size();
        }
      }
    }
    if (value.find_first_of("$`#\\/ ") != value.npos) {
      throw TError("what \"" + report::PlainLine(value) +
                   "\" stands for is known to a shell alone");
    }
    return value;
  }

  std::map<std::string, std::string> values;
};

// --- .inf ---

constexpr std::string_view kUtf16Mark = "\xFF\xFE";

// UTF-16 with its mark, or one byte a character. What is not ASCII becomes a question mark: nothing
// that is looked for has it.
std::string PlainText(std::string_view bytes) {
  if (!bytes.starts_with(kUtf16Mark)) return std::string(bytes);
  std::string text;
  for (std::size_t i = kUtf16Mark.size(); i + 1 < bytes.size(); i += 2) {
    text += bytes[i + 1] == '\0' ? bytes[i] : '?';
  }
  return text;
}

struct TAssignment {
  std::string_view key;
  std::string_view value;
};

TAssignment AssignmentIn(std::string_view line) {
  line = line.substr(0, line.find(';'));
  const std::size_t equals = line.find('=');
  if (equals == line.npos) return {report::Trim(line), {}};
  return {report::Trim(line.substr(0, equals)), report::Trim(line.substr(equals + 1))};
}

// "06/21/2006, 5.1.2600.1" has a date and a version; the version may be missing.
std::string VersionIn(std::string_view value) {
  const std::size_t comma = value.find(',');
  if (comma == value.npos) return {};
  const std::string_view version = report::Trim(value.substr(comma + 1));
  const bool isVersion = std::all_of(version.begin(), version.end(),
                                     [](char c) { return report::IsDigit(c) || c == '.'; });
  return isVersion ? std::string(version) : std::string();
}

}  // namespace

std::vector<TStatedDriver> DriversOfDkms(std::string_view text) { return TDkms(text).Drivers(); }

std::vector<TStatedDriver> DriversOfInf(std::string_view bytes) {
  const std::string plain = PlainText(bytes);
  std::string_view text = plain;
  std::string section;
  std::string version;
  std::vector<TStatedDriver> drivers;
  while (!text.empty()) {
    const std::string_view line = TakeLine(text);
    const auto [key, value] = AssignmentIn(line);
    if (line.starts_with('[')) {
      section = Lowered(line.substr(1, line.find(']') - 1));
    } else if (section == "version" && EqualWords(key, "DriverVer")) {
      version = VersionIn(value);
    } else if (section.starts_with("sourcedisksfiles") && Lowered(key).ends_with(".sys")) {
      drivers.push_back({std::string(key), {}});
    }
  }
  if (version.empty()) return {};
  for (TStatedDriver& driver : drivers) driver.version = version;
  return drivers;
}

// --- Version resources ---

namespace {

// Little-endian numbers at offsets that may lie anywhere: 0 where they are outside.
class TBytes {
 public:
  explicit TBytes(std::string_view bytes) : bytes(bytes) {}

  bool Has(std::uint64_t offset, std::uint64_t size) const {
    return offset <= bytes.size() && size <= bytes.size() - offset;
  }
  std::uint32_t U16(std::uint64_t offset) const {
    return Has(offset, 2) ? At(offset) | At(offset + 1) << 8 : 0;
  }
  std::uint32_t U32(std::uint64_t offset) const { return U16(offset) | U16(offset + 2) << 16; }

 private:
  std::uint32_t At(std::uint64_t offset) const {
    return static_cast<unsigned char>(bytes[static_cast<std::size_t>(offset)]);
  }
  std::string_view bytes;
};

constexpr std::uint32_t kDosSignature = 0x5A4D;     // "MZ"
constexpr std::uint32_t kPeSignature = 0x00004550;  // "PE", 0, 0
constexpr std::uint32_t kPe32Plus = 0x20B;
constexpr std::uint32_t kVersionType = 16;  // RT_VERSION
constexpr std::uint32_t kFixedSignature = 0xFEEF04BD;
constexpr std::uint32_t kSubdirectory = 0x80000000;

class TPeFile {
 public:
  explicit TPeFile(std::string_view file) : bytes(file), header(bytes.U32(0x3C)) {}

  bool IsValid() const {
    return bytes.U16(0) == kDosSignature && bytes.U32(header) == kPeSignature;
  }

  std::string FileVersion() const {
    const std::uint64_t root = OffsetOf(ResourceAddress());
    if (root == 0) return {};
    // Three levels: type, name, language.
    const std::uint32_t names = EntryOf(root, kVersionType);
    if ((names & kSubdirectory) == 0) return {};
    const std::uint32_t languages = FirstEntry(root + (names & ~kSubdirectory));
    if ((languages & kSubdirectory) == 0) return {};
    const std::uint32_t data = FirstEntry(root + (languages & ~kSubdirectory));
    if (data == 0 || (data & kSubdirectory) != 0) return {};
    return VersionAt(OffsetOf(bytes.U32(root + data)));
  }

 private:
  std::uint64_t OptionalHeader() const { return header + 24; }

  std::uint32_t ResourceAddress() const {
    constexpr std::uint32_t kResourceDirectory = 2;
    const bool isWide = bytes.U16(OptionalHeader()) == kPe32Plus;
    const std::uint64_t directories = OptionalHeader() + (isWide ? 112 : 96);
    if (bytes.U32(directories - 4) <= kResourceDirectory) return 0;
    return bytes.U32(directories + 8 * kResourceDirectory);
  }

  // Where in the file the byte of a virtual address lies; 0 when no section holds it.
  std::uint64_t OffsetOf(std::uint32_t address) const {
    const std::uint32_t count = bytes.U16(header + 6);
    const std::uint64_t sections = OptionalHeader() + bytes.U16(header + 20);
    for (std::uint32_t i = 0; address != 0 && i < count; ++i) {
      const std::uint64_t section = sections + 40 * std::uint64_t{i};
      const std::uint32_t begin = bytes.U32(section + 12);
      const std::uint32_t size = bytes.U32(section + 16);
      if (address < begin || address - begin >= size) continue;
      return std::uint64_t{bytes.U32(section + 20)} + (address - begin);
    }
    return 0;
  }

  std::uint32_t CountEntries(std::uint64_t directory) const {
    return bytes.U16(directory + 12) + bytes.U16(directory + 14);
  }
  // 0 when there is none.
  std::uint32_t EntryOf(std::uint64_t directory, std::uint32_t id) const {
    for (std::uint32_t i = 0; i < CountEntries(directory); ++i) {
      const std::uint64_t entry = directory + 16 + 8 * std::uint64_t{i};
      if (bytes.U32(entry) == id) return bytes.U32(entry + 4);
    }
    return 0;
  }
  std::uint32_t FirstEntry(std::uint64_t directory) const {
    return CountEntries(directory) == 0 ? 0 : bytes.U32(directory + 20);
  }

  // VS_VERSIONINFO: three numbers, "VS_VERSION_INFO" in UTF-16 and its end, then, on a multiple of
  // four bytes, VS_FIXEDFILEINFO.
  std::string VersionAt(std::uint64_t information) const {
    const std::uint64_t fixed = information + 40;
    if (information == 0 || !bytes.Has(fixed, 16) || bytes.U32(fixed) != kFixedSignature) return {};
    std::string version;
    for (const std::uint64_t offset : {10, 8, 14, 12}) {
      if (!version.empty()) version += '.';
      version += std::to_string(bytes.U16(fixed + offset));
    }
    return version;
  }

  TBytes bytes;
  std::uint64_t header;
};

}  // namespace

std::optional<std::string> FileVersionOf(std::string_view bytes) {
  const TPeFile file(bytes);
  if (!file.IsValid()) return {};
  return file.FileVersion();
}

}  // namespace svc::catalogue
