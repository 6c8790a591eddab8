// Where metadata comes from: files, compressed or not, archives of one firmware each, and
// signatures that say whose they are. Any thread.
#ifndef SVCHECK_IMPORTER_SOURCES_H_
#define SVCHECK_IMPORTER_SOURCES_H_

#include <cstddef>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "svcheck/importer/appstream.h"

namespace svc::offers {

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

#endif  // SVCHECK_IMPORTER_SOURCES_H_
