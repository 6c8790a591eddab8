// Where the program's own files lie, and where a verb's result goes. May be called from any thread;
// an output is used by one.
#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "report/model.h"

namespace svc {

// The folder of the running program.
std::filesystem::path ProgramFolder();
// Definitions, header and sample: ../share/svcheck beside the program's folder.
std::filesystem::path DefaultDataFolder();
// The plug-in as it is built and installed with the program.
std::filesystem::path DefaultPlugin();
// The one beside it, for catalogues of public firmware.
std::filesystem::path PublicFirmwarePlugin();
// Seen from the folder in which the program was started, without "." and "..".
// Throws TError for an empty one.
std::filesystem::path Absolute(const std::string& path);
// The folder for a user's or (for root) the system's files of a kind: what the environment variable
// of the XDG Base Directory Specification names, or the default below the user's home.
std::filesystem::path StateFolder();
std::filesystem::path ConfigFolder();
// Where the plug-in has the descriptions of a live query downloaded to.
std::filesystem::path DownloadFolder();
// The folder for the whole machine's configuration.
std::filesystem::path SystemConfigFolder();
// Whether somebody else than root and the user may change the file that is open.
bool OthersMayWrite(std::FILE* file);
// Whether the user may make files in the folder.
bool MayWriteTo(const std::filesystem::path& folder);

}  // namespace svc

namespace svc::fleet {

// What lies below a folder. Any thread.

// The paths of all that is no folder, in no order, those of folders within the folder among them;
// links to folders are not followed. Throws std::system_error.
std::vector<std::filesystem::path> FilesBelow(const std::filesystem::path& folder);

}  // namespace svc::fleet

namespace svc {

// Where a verb's result goes: standard output, or a file that is there whole or not at all. Used by
// one thread.

class TOutput : public report::IOutput {
 public:
  ~TOutput() override = default;
  // Throws TError when it cannot be written.
  void Write(std::string_view text) override = 0;
  // Makes the result visible. Throws TError when any of it was lost. Without a call of it a file
  // is left as it was.
  virtual void Commit() = 0;
};

// "-" is standard output. A file is written beside its place and renamed by Commit, on stable
// storage; a link to it is followed where it belongs to root or the user, another's is replaced.
// What is no regular file (a pipe, a device) is written in place. Throws TError when it cannot be
// made.
std::unique_ptr<TOutput> OpenOutput(const std::string& path);

// Hands to the system what the process wrote to standard output. Throws TError when any of it was
// lost.
void FlushStandardOutput();

}  // namespace svc
