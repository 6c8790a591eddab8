// Driver files, wherever an administrator has them. One thread.
#ifndef SVCHECK_AUTHOR_DRIVER_SOURCE_H_
#define SVCHECK_AUTHOR_DRIVER_SOURCE_H_

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace svc::catalogue {

enum class EPlatform { kLinux, kWindows };

struct TDriver {
  std::string file;  // Its name as it is installed, without the ending of a compression.
  std::string version;
  EPlatform platform;
  std::string origin;       // The folder or package, for people.
  std::string source = {};  // The checksum of what a module was built of, where it states one.
};

struct TDriverList {
  std::vector<TDriver> drivers;  // Of each name the latest.
  std::size_t read = 0;          // Files.
  std::size_t unversioned = 0;   // Those that state no version.
  std::vector<std::string> remarks;
};

// Reads a folder with all below it, or one file: drivers and the drivers within packages. Throws
// TError when the path cannot be read; what is broken within it becomes a remark.
void CollectDrivers(const std::filesystem::path& path, TDriverList& list);

// What a text beside drivers says of them.
struct TStatedDriver {
  std::string file;
  std::string version;
};
// Of a dkms.conf: the modules that are built of it, in the version of the package. Throws TError,
// which says why, where only a shell could tell.
std::vector<TStatedDriver> DriversOfDkms(std::string_view text);
// Of an .inf file: the .sys files that it installs, in the version of its DriverVer; none without
// one.
std::vector<TStatedDriver> DriversOfInf(std::string_view bytes);

// The version that a Windows driver states of itself. Of the bytes of a PE file (Microsoft's "PE
// Format"): the four numbers of the file version in its version resource, as "4.17.0.64". Empty
// where it has none; nothing where it is no PE file. Reads nothing outside the bytes, whatever they
// hold. Pure; any thread.
std::optional<std::string> FileVersionOf(std::string_view bytes);

// ---- What differs by platform ----

// What a driver says of itself; empty where it says nothing.
struct TStatement {
  std::string version;  // Of a kernel module that states none: the release of its kernel.
  std::string source = {};
};
// Of a kernel module. Throws TError, which says why, when the bytes are none that can be read here.
TStatement StatementOfModule(std::string_view bytes);

// Receives a file of a package.
using TTakeMember = std::function<void(const std::string& name, std::string_view bytes)>;
// Hands on every file of a .deb or .rpm package, or of a .zip, .cab or .iso archive, whose name
// `isWanted` holds for. Throws
// TError where the package cannot be read.
void ReadPackage(const std::filesystem::path& path,
                 const std::function<bool(const std::string& name)>& isWanted,
                 const TTakeMember& take);

}  // namespace svc::catalogue

#endif  // SVCHECK_AUTHOR_DRIVER_SOURCE_H_
