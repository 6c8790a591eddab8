// The seam between the command line of `svcheck catalogue` and the module that does its work.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "svcheck/system/paths.h"

namespace svc::catalogue {

enum class EAction { kNone, kLint, kList, kBuild, kImport, kFetch };

// A description that was fetched.
struct TDescription {
  std::string path;  // In the repository.
  std::string file;  // Where it is now.
};

// What the command line says.
struct TCommand {
  EAction action = EAction::kNone;
  std::string folder;  // Of the catalogue.
  std::string dataFolder;
  std::string format = "table";
  std::string output = "-";
  bool isLive = false;
  bool csvRaw = false;
  // list: show only what is for these; build: whom drivers, and rows that name none, are for;
  // fetch: take only what is for these.
  std::vector<std::string> machineTypes;
  std::vector<std::string> systems;
  // build: the folder of the catalogue to add to; empty for none.
  std::string merged;
  // build: folders, packages and files of drivers; lists of firmware versions.
  std::vector<std::string> drivers;
  std::vector<std::string> firmware;
  // import: a file of metadata or a folder of archives, and who vouches for it.
  std::string metadata;
  std::string signature;
  std::string keys = "/etc/pki/fwupd-metadata";
  bool allowUnsigned = false;
  // fetch: what came of which manifest, and a line that says what was asked for.
  std::vector<TDescription> descriptions;
  std::uint64_t serial = 0;
  std::string mark;
};

// What the module needs of the program that loads it.
class IProgram {
 public:
  virtual ~IProgram() = default;
  // "-" is standard output; a file is removed when the process is interrupted before it is whole.
  // Throws TError.
  virtual std::unique_ptr<TOutput> Open(const std::string& path) const = 0;
  virtual void Report(const std::string& text) const = 0;
  // What is good to know beside a result; nobody sees it who asked for quiet.
  virtual void Note(const std::string& text) const = 0;
};

inline constexpr const char* kModule = "svcheck-catalogue";
inline constexpr const char* kModuleFunction = "SvcCatalogue";
// What imports has a module of its own, which needs other libraries.
inline constexpr const char* kImportModule = "svcheck-import";
inline constexpr const char* kImportFunction = "SvcImportOffers";

// Does it, reports a failure and returns the program's exit status.
using TModuleFunction = int (*)(const TCommand& command, const IProgram& program) noexcept;

// What each of the author's verbs does, once its command line is understood. Each returns the exit
// status and throws TError.

int LintCatalogue(const TCommand& command, const IProgram& program);
int ListCatalogue(const TCommand& command, const IProgram& program);
int BuildCatalogue(const TCommand& command, const IProgram& program);
int FetchCatalogue(const TCommand& command, const IProgram& program);

// What build and fetch share.

// Makes the folder where it is missing, and puts the text in the place of its index.xml, whole.
// Returns the path of that.
std::string WriteIndex(const std::string& folder, const std::string& text, const IProgram& program);

}  // namespace svc::catalogue
