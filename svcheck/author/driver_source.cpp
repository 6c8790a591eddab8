#include "svcheck/author/update.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <set>
#include <system_error>

#include "base/error.h"
#include "base/files.h"
#include "report/text.h"
#include "report/version.h"
#include "svcheck/system/failure.h"

namespace fs = std::filesystem;

namespace svc::catalogue {

namespace {

struct TEnding {
  std::string_view text;
  EPlatform platform;
  std::string_view compression;  // Part of `text` that the installed name does not have.
};
constexpr std::array<TEnding, 5> kEndings = {{{".ko", EPlatform::kLinux, ""},
                                              {".ko.xz", EPlatform::kLinux, ".xz"},
                                              {".ko.zst", EPlatform::kLinux, ".zst"},
                                              {".ko.gz", EPlatform::kLinux, ".gz"},
                                              {".sys", EPlatform::kWindows, ""}}};

// Larger than any driver.
constexpr std::uintmax_t kMaxDriverSize = 256u << 20;

// Windows, and the archives that are made there, do not tell "X.SYS" from "x.sys".
const TEnding* EndingOf(const std::string& name) {
  const std::string lowered = Lowered(name);
  const auto found = std::find_if(kEndings.begin(), kEndings.end(), [&](const TEnding& ending) {
    const std::string& text = ending.platform == EPlatform::kWindows ? lowered : name;
    return text.size() > ending.text.size() && text.ends_with(ending.text);
  });
  return found == kEndings.end() ? nullptr : &*found;
}

bool IsDriver(const std::string& name) { return EndingOf(name) != nullptr; }
bool IsPackage(const std::string& name) {
  constexpr std::array<std::string_view, 5> kPackages = {".deb", ".rpm", ".zip", ".cab", ".iso"};
  const std::string lowered = Lowered(name);
  return std::any_of(kPackages.begin(), kPackages.end(),
                     [&](std::string_view ending) { return lowered.ends_with(ending); });
}

// An installer of Windows holds its files in a database of its own; libarchive does not read it.
bool IsInstaller(const std::string& name) { return Lowered(name).ends_with(".msi"); }
constexpr const char* kOnInstallers =
    "an installer is not read; unpack it first, with msiexec /a or msiextract, and give the folder";

std::string FileName(const std::string& path) { return path.substr(path.find_last_of('/') + 1); }

bool IsDkms(const std::string& name) { return name == "dkms.conf"; }
bool IsInf(const std::string& name) { return Lowered(name).ends_with(".inf"); }
bool IsRead(const std::string& path) {
  const std::string name = FileName(path);
  return IsDriver(name) || IsDkms(name) || IsInf(name);
}

// Throws TError, which says why, when the driver cannot be read.
TStatement StatementOf(const TEnding& ending, std::string_view bytes) {
  if (ending.platform == EPlatform::kLinux) return StatementOfModule(bytes);
  const std::optional<std::string> stated = FileVersionOf(bytes);
  if (!stated) throw TError("it is no PE file");
  return {*stated};
}

std::string ReadBytes(const fs::path& path) {
  std::error_code unknown;
  const std::uintmax_t size = fs::file_size(path, unknown);
  if (unknown) throw TError("it cannot be read");
  if (size > kMaxDriverSize) throw TError("too large");
  const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(
      files::OpenToRead(path.string(), files::EPipes::kNone), &std::fclose);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  if (std::fread(bytes.data(), 1, bytes.size(), file.get()) != bytes.size()) {
    throw TError("it cannot be read");
  }
  return bytes;
}

class TCollecting {
 public:
  explicit TCollecting(TDriverList& list) : list(list) {}

  void AddFile(const fs::path& path, const std::string& origin) {
    const std::string name = path.filename().string();
    OrRemark(path.string(), [&] {
      if (IsPackage(name)) {
        ReadPackage(path, IsRead, [&](const std::string& member, std::string_view bytes) {
          Add(FileName(member), bytes, name);
        });
      } else if (IsRead(name)) {
        Add(name, ReadBytes(path), origin);
      } else if (IsInstaller(name)) {
        Remark(path.string() + ": " + kOnInstallers);
      }
    });
  }

  // What an .inf file says counts for drivers that say nothing of themselves.
  void AddStated() {
    for (const TDriver& driver : stated) {
      if (std::none_of(list.drivers.begin(), list.drivers.end(),
                       [&](const TDriver& other) { return AreOne(other, driver); })) {
        list.unversioned -= silent.erase(ComparedName(driver.file));
        KeepUsable(driver);
      }
    }
  }

 private:
  static bool AreOne(const TDriver& one, const TDriver& other) {
    return one.platform == other.platform && ComparedName(one.file) == ComparedName(other.file);
  }

  void Add(const std::string& name, std::string_view bytes, const std::string& origin) {
    if (IsDriver(name)) return AddDriver(name, bytes, origin);
    if (IsInf(name)) {
      for (const TStatedDriver& driver : DriversOfInf(bytes)) {
        stated.push_back({driver.file, driver.version, EPlatform::kWindows, origin});
      }
      return;
    }
    OrRemark(fmt::format("{}: {} cannot be used", origin, name), [&] {
      for (const TStatedDriver& driver : DriversOfDkms(bytes)) {
        ++list.read;
        AddStatement(driver.file, *EndingOf(driver.file), {driver.version}, origin);
      }
    });
  }

  void Remark(std::string text) { list.remarks.push_back(std::move(text)); }

  // Of what fails, why it does stands behind what is said of it.
  template <typename TAction>
  void OrRemark(const std::string& said, const TAction& action) {
    try {
      action();
    } catch (const std::runtime_error& error) {
      Remark(said + ": " + error.what());
    }
  }

  void AddDriver(const std::string& name, std::string_view bytes, const std::string& origin) {
    ++list.read;
    const TEnding& ending = *EndingOf(name);
    OrRemark(fmt::format("{}: {} is no driver that can be read", origin, name),
             [&] { AddStatement(name, ending, StatementOf(ending, bytes), origin); });
  }

  void AddStatement(const std::string& name, const TEnding& ending, const TStatement& stated,
                    const std::string& origin) {
    const std::string line = report::PlainLine(stated.version);
    const std::string version(report::Trim(line));
    if (version.empty()) {
      ++list.unversioned;
      if (ending.platform == EPlatform::kWindows) silent.insert(ComparedName(name));
      return;
    }
    const std::string file = name.substr(0, name.size() - ending.compression.size());
    KeepUsable({file, version, ending.platform, origin, UsableSource(stated.source)});
  }

  // A checksum of another form than the kernel's build writes is none.
  static std::string UsableSource(const std::string& source) {
    return report::All<report::IsHexDigit>(source) ? source : std::string();
  }

  // Where name and version can stand in a catalogue.
  void KeepUsable(const TDriver& driver) {
    const auto& [file, version, platform, origin, source] = driver;
    if (version.find("-#") != version.npos || file.find("-#") != file.npos ||
        report::PlainLine(file) != file || report::Trim(file) != file) {
      return Remark(fmt::format("{}: {} {} cannot stand in a catalogue", origin,
                                report::PlainLine(file), version));
    }
    Keep(driver);
  }

  // Of two drivers of one name the later one.
  void Keep(TDriver driver) {
    const auto known = std::find_if(list.drivers.begin(), list.drivers.end(),
                                    [&](const TDriver& other) { return AreOne(other, driver); });
    if (known == list.drivers.end()) return list.drivers.push_back(std::move(driver));
    const auto order = report::CompareVersions(known->version, driver.version);
    if (!order) {
      return Remark(fmt::format("{}: {} is passed over, since it has no order with {} of {}",
                                driver.origin, driver.file + " " + driver.version, known->version,
                                known->origin));
    }
    if (*order < 0) *known = std::move(driver);
  }

  TDriverList& list;
  std::vector<TDriver> stated;        // By .inf files.
  std::multiset<std::string> silent;  // Drivers of Windows that state no version.
};

std::vector<fs::path> FilesBelow(const fs::path& folder) {
  std::vector<fs::path> files;
  const auto options = fs::directory_options::skip_permission_denied;
  for (const auto& entry : fs::recursive_directory_iterator(folder, options)) {
    std::error_code ignored;
    if (entry.is_regular_file(ignored)) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace

void CollectDrivers(const fs::path& path, TDriverList& list) {
  TCollecting collecting(list);
  std::error_code error;
  if (fs::is_directory(path, error)) {
    for (const fs::path& file : FilesBelow(path)) collecting.AddFile(file, path.string());
    return collecting.AddStated();
  }
  if (!fs::is_regular_file(path, error)) {
    throw TError(path.string() + " is no file and no folder; give drivers or packages");
  }
  const std::string name = path.filename().string();
  if (IsInstaller(name)) throw TError(path.string() + ": " + kOnInstallers);
  if (!IsRead(name) && !IsPackage(name)) {
    throw TError(path.string() +
                 " is no driver and no package by its name; these end in .ko, .ko.xz, .ko.zst, "
                 ".sys, .inf, .deb, .rpm, .zip, .cab or .iso, or are called dkms.conf");
  }
  collecting.AddFile(path, name);
  collecting.AddStated();
}

}  // namespace svc::catalogue
