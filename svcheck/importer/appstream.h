// The metadata of public firmware services (AppStream 1.0, "component type=firmware"): the files
// that it comes in, its components one by one, and the instances of a catalogue that its releases
// become.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace svc::offers {

// A checksum of a file that an archive holds.
struct TContentHash {
  std::string kind;  // "sha256"
  std::string value;
  std::string file;
  auto operator<=>(const TContentHash&) const = default;
};

// A release as the metadata tells it; what is not told is empty.
struct TRelease {
  std::string version;
  std::string urgency;  // "low", "medium", "high", "critical"
  std::string date;     // 2027-06-30
  std::string size;     // Of the archive, in bytes.
  std::string location;
  std::string description;          // Plain text: a line for each paragraph and item.
  std::vector<std::string> hashes;  // Of the archive: "sha256:…"
  std::vector<std::string> issues;  // What it mends: "CVE-2027-1234"
  std::vector<TContentHash> contents;
};

struct TComponent {
  std::string id;
  std::string name;
  std::string vendor;
  std::string branch;
  std::string protocol;
  std::string versionFormat;
  std::vector<std::string> identifiers;
  // Each an element, a comparison, a version and what it is about, with blanks between; "-" for
  // what is not given: "firmware ge 1.0.5", "hardware - - GUID|GUID".
  std::vector<std::string> requirements;
  std::vector<TRelease> releases;
};

// What a component may hold at most: far more than any that is published, and no more than can be
// kept while it is read.
inline constexpr std::size_t kMostItems = 4096;
inline constexpr std::size_t kLongestText = 4096;
inline constexpr std::size_t kLongestDescription = 64U << 10U;

using TTakeComponent = std::function<void(const TComponent& component)>;

// Used from one thread. Hands over each component of type firmware, in order. `begin` is one
// document, which reading rewrites. A component without identifiers or releases is for nobody and
// passed over. Entities beyond those of XML itself, and more than is reasonable of anything, are
// refused. Throws TError (kText) with the line, and what `take` throws.
void ReadAppStream(char* begin, std::size_t size, const TTakeComponent& take);

// --- Releases as the instances of a catalogue. Pure functions; any thread. ---

// The file of a catalogue's folder that holds them, beside the index of update elements.
inline constexpr const char* kOfferFile = "firmware.xml";

// What a file of offers begins with, the class SVC_FirmwareOffer among it, and what it ends with.
std::string_view FileBegin();
std::string_view FileEnd();
// One instance.
std::string InstanceText(const TComponent& component, const TRelease& release);

// Where metadata comes from: files, compressed or not, archives of one firmware each, and
// signatures that say whose they are. Any thread.

// The largest metadata that is taken, unpacked.
inline constexpr std::size_t kMostUnpacked = 512U << 20U;

// The contents of a file's bytes, which may be compressed once by gzip, xz or zstd. What grows out
// of all proportion, or beyond `most`, is refused. Throws TError.
std::string Unpacked(std::string_view bytes, std::size_t most);

// Calls `take` with the contents of each metadata file (NAME.metainfo.xml) in a cabinet archive, in
// the archive's order. Nothing is written anywhere, and no name within is used as a path.
// Throws TError.
void ReadCabinet(const std::filesystem::path& path,
                 const std::function<void(std::string metadata)>& take);

// The checksums of the files that these name, each where the archive has the file and the kind is
// known ("sha1", "sha256", "sha512"); none where it has the name twice. A file is known by the last
// part of its path. Throws TError, also for an archive that holds more than kMostUnpacked.
std::set<TContentHash> HashesIn(const std::filesystem::path& path,
                                const std::vector<TContentHash>& asked);

// Demands that a signature file (.jcat) has a checksum of these bytes and a PKCS #7 or Ed25519
// signature upon them, each of them right, by a certificate or key of the folder. `name` is what
// the file of these bytes is called. Other kinds of signature are passed over. Throws TError
// (kCatalogue).
void DemandSignature(std::string_view bytes, const std::string& name,
                     const std::string& signatureFile, const std::string& keyFolder);

}  // namespace svc::offers
