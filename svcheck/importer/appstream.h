// The metadata of public firmware services (AppStream 1.0, "component type=firmware"), component by
// component, and the instances of a catalogue that its releases become.
#ifndef SVCHECK_IMPORTER_APPSTREAM_H_
#define SVCHECK_IMPORTER_APPSTREAM_H_

#include <cstddef>
#include <functional>
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

}  // namespace svc::offers

#endif  // SVCHECK_IMPORTER_APPSTREAM_H_
