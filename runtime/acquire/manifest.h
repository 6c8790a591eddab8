// The manifest: what a repository offers, for which machines. Values and pure functions.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/acquire/crypto.h"
#include "runtime/acquire/settings.h"

namespace svc::acquire {

inline constexpr const char* kManifestName = "sv-repository.json";
inline constexpr const char* kSignatureSuffix = ".minisig";
inline constexpr int kManifestSchema = 1;

struct TManifestFile {
  std::string name;  // In the download folder: one plain file name.
  std::string path;  // Below the repository's address.
  std::uint64_t size = 0;
  std::string sha256;  // Lower-case hexadecimal.
  std::vector<std::string> machineTypes;
  std::int32_t os = 0;    // OSTypeEnum
  std::int32_t arch = 0;  // ArchTypeEnum
  bool latest = false;
  bool payload = false;
};

struct TManifest {
  std::uint64_t serial = 0;
  std::chrono::sys_seconds expires;
  std::vector<TManifestFile> files;
};

// Throws TError (kBadManifest) that names the member at fault. Members that are not known are
// passed over.
TManifest ParseManifest(std::string_view text);

// "2027-06-30T00:00:00Z" (RFC 3339, UTC, whole seconds). ParseTime throws std::invalid_argument.
std::chrono::sys_seconds ParseTime(std::string_view text);
std::string FormatTime(std::chrono::sys_seconds time);

struct TSelection {
  std::vector<std::string> machineTypes;
  std::vector<std::pair<std::int32_t, std::int32_t>>
      systems;  // Of operating system and architecture.
  bool latestOnly = false;
  bool payloads = false;
};

bool IsSelected(const TManifestFile& file, const TSelection& selection);

// The files to have, each once, in the manifest's order. Throws TError (kBadManifest) where two
// different files would have one name, on a system that does not tell "A" from "a" either.
std::vector<TManifestFile> Select(const TManifest& manifest, const TSelection& selection);

// The latest descriptions for any of the machine types, whatever their systems (for every type
// where none is named; letters match in either case, as in a query): each content once, in the
// manifest's order, and under a name that is its hash.
std::vector<TManifestFile> SelectDescriptions(const TManifest& manifest,
                                              const std::vector<std::string>& machineTypes);

// Which manifest is good enough to go by.

// Reads a file of one public key. Throws TError (kKeyUnusable).
TPublicKey ReadPublicKey(const std::string& path);

// Throws TError (kExpired, kTooLarge) for a manifest that is past its date or has a file beyond
// the limits.
void CheckManifest(const TManifest& manifest, std::chrono::sys_seconds now, const TLimits& limits);

// Throws TError (kRolledBack).
void CheckSerial(const TManifest& manifest, std::uint64_t last);

// Which names from outside may become names of files. Pure functions.

// Why the name is not one plain file name on every system, in words that follow "because it";
// empty when it is one. The rules for Windows are those of "Naming Files, Paths, and Namespaces"
// (Microsoft Learn).
std::string_view WhyUnsafeName(std::string_view name);

// The same for a path below the repository's address: plain names joined by slashes.
std::string_view WhyUnsafePath(std::string_view path);

}  // namespace svc::acquire
