// The seam between the command line of `svcheck repository` and the module that does its work; and
// the making of a manifest of a folder of descriptions: which machines and systems their elements
// are for, read as a query reads them, and what is published of it. One thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "runtime/acquire/crypto.h"
#include "runtime/acquire/manifest.h"

namespace svc::repository {

// --- Descriptions ---

// The two lists of one update element, and what messages call it.
struct TElement {
  std::string name;
  std::vector<std::string> machineTypes;
  std::vector<std::string> operatingSystems;
};

// What stands between "-[" and "]-" anywhere in the texts.
std::set<std::string> MachineTypesOf(const std::vector<std::string>& texts);

// Indices into rules::kSystemCodes of the codes that stand in the texts as words of their own.
std::set<std::size_t> SystemsOf(const std::vector<std::string>& texts);

// Of operating system and architecture.
using TPlatform = std::pair<std::int32_t, std::int32_t>;

// Of elements that name no operating system with numbers: live checks ask for no such pair,
// `svcheck catalogue fetch` takes it with all others.
inline constexpr TPlatform kNoPlatform = {0, 0};

// What live queries would pass over. The same may be wrong with each of a million elements: of
// every such thing the first places are kept, and how many there are. One thread.
class TWarnings {
 public:
  // `place` goes before what is wrong there: "a.xml: element "e1000e" ".
  void Add(const std::string& place, const std::string& what);
  // Those of a file, whose name goes before their places.
  void Add(const std::string& file, const TWarnings& warnings);
  // A line for each place that was kept and, behind those of a thing, one that counts the others.
  std::vector<std::string> Lines() const;

 private:
  struct TThing {
    std::string what;
    std::vector<std::string> places;
    std::size_t count = 0;
  };
  TThing& Find(const std::string& what);

  std::vector<TThing> things;  // In the order in which they came up; there are few.
};

struct TApplicability {
  std::map<TPlatform, std::set<std::string>> machineTypes;
  TWarnings warnings;
};

using TTakeElement = std::function<void(const TElement&)>;
// Hands over each element of a description; what is handed over lives for the call alone.
using TForEachElement = std::function<void(const TTakeElement&)>;

// Of a description that will be downloaded under the name.
TApplicability ApplicabilityOf(std::string_view name, const TForEachElement& elements);

// Reads a description as a query does: what cannot be read here, no query can load. Hands over the
// update elements of a file one by one, for many may share a long list that their class declares.
// `dataFolder` holds sv/sv.definitions.xml. One thread. Throws NQRXHSK20::THSKException or
// std::exception with a text that names the file.
void ReadDescription(const std::string& path, const std::string& dataFolder,
                     const TTakeElement& take);

// --- The manifest ---

struct TBuildOptions {
  std::string folder;
  std::string dataFolder;
  std::optional<std::uint64_t> serial;  // Otherwise one more than the last.
  std::chrono::sys_seconds expires;
};

struct TBuildResult {
  acquire::TManifest manifest;
  TWarnings warnings;
};

// Reads every description below the folder and writes the manifest into it. An older manifest
// there gives the serial to count on from, what is superseded, and the payloads, which are
// described nowhere else. Throws std::exception with a text for people; then nothing is changed.
TBuildResult Build(const TBuildOptions& options);

// A manifest as the text that is published: JSON, indented; ParseManifest reads it back the same.
std::string ManifestText(const acquire::TManifest& manifest);

// Whether a folder would be taken as a repository by those who download from it: checks the
// signature (with a key), the manifest, its date and every file. Returns the manifest;
// throws TError or std::exception at the first fault.
acquire::TManifest Verify(const std::string& folder, const std::optional<acquire::TPublicKey>& key,
                          std::chrono::sys_seconds now);

// --- A publisher's files ---
// Any thread. Operations throw std::exception with a text that names the file.

std::string ReadText(const std::string& path);

// In bytes, and SHA-256 in hexadecimal.
std::pair<std::uint64_t, std::string> SizeAndHash(const std::string& path);

// Puts the text in the file's place whole, on stable storage.
void WriteText(const std::string& path, const std::string& text);

// Makes a file that only its owner may read, whole and on stable storage. Throws where there is one
// already.
void WriteSecret(const std::string& path, const std::string& text);

// A password for the purpose, from the terminal without showing it; where standard input is no
// terminal, its next line.
std::string AskPassword(const std::string& purpose);
// Whether a person types what AskPassword returns, without seeing it.
bool IsTypedBlindly();

// The data folder that belongs to this library, in the build tree as where it is installed.
std::string InstalledDataFolder();

// The seam between the command line of "svcheck repository" and the module that does its work.

enum class EAction { kNone, kKeygen, kBuild, kSign, kVerify };

// What the command line says.
struct TCommand {
  EAction action = EAction::kNone;
  std::string folder;
  std::string dataFolder;  // Empty: the installed one.
  std::optional<std::uint64_t> serial;
  std::string expires;  // Empty: so many days from now.
  int days = 180;
  std::string publicKeyFile;
  std::string secretKeyFile;
  std::string comment;
  bool allowUnsigned = false;
  bool noPassword = false;
  bool isQuiet = false;  // Nothing is told on standard error but what went wrong.
};

inline constexpr const char* kModule = "svcheck-repository";
inline constexpr const char* kModuleFunction = "SvcRepository";

// Does it, tells a failure on standard error and returns the program's exit status.
using TModuleFunction = int (*)(const TCommand& command) noexcept;

}  // namespace svc::repository
