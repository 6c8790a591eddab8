// Where the program's own files lie. May be called from any thread.
#ifndef SVCHECK_SYSTEM_PATHS_H_
#define SVCHECK_SYSTEM_PATHS_H_

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

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

#endif  // SVCHECK_SYSTEM_PATHS_H_
