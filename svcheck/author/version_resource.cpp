#include "svcheck/author/driver_source.h"

#include <cstddef>
#include <cstdint>

namespace svc::catalogue {

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
