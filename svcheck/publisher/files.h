// Reading and writing a publisher's files. Any thread. Operations throw std::exception with a text
// that names the file.
#ifndef SVCHECK_PUBLISHER_FILES_H_
#define SVCHECK_PUBLISHER_FILES_H_

#include <cstdint>
#include <string>
#include <utility>

namespace svc::repository {

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

// Where the installation's own files are.

// The data folder that belongs to this library, in the build tree as where it is installed.
std::string InstalledDataFolder();

}  // namespace svc::repository

#endif  // SVCHECK_PUBLISHER_FILES_H_
