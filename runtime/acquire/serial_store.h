// The serial of the manifest that was accepted last from each repository: an older one, though
// signed, is somebody's attempt to bring back what was mended.
#ifndef RUNTIME_ACQUIRE_SERIAL_STORE_H_
#define RUNTIME_ACQUIRE_SERIAL_STORE_H_

#include <cstdint>
#include <string>
#include <vector>

namespace svc::acquire {

// One small file for each repository, in the folder "repositories" of the state folder, named after
// the one form of its address. Files of other forms, which were once kept for each spelling, count
// as well until a manifest is accepted; then the one file takes their place. One thread; several
// processes may use the folder. Operations throw TError (kStateUnusable, kDiskFull).
class TSerialStore {
 public:
  // REQUIRES: the address is in the form that messages show it in.
  TSerialStore(const std::string& stateFolder, const std::string& address);

  // The highest; 0 where none was accepted yet.
  std::uint64_t Last() const;
  void Accept(std::uint64_t serial);

 private:
  // Of this repository, under names that are not its own any more.
  std::vector<std::string> FormerNotes() const;

  std::string folder;
  std::string repository;
  std::string path;
  std::string formerPath;  // Of the address as it is written.
};

// Where the user's programs keep what they have to remember: of the XDG Base Directory
// Specification's kind, or below /var/lib for the system's administrator.
std::string DefaultStateFolder();

}  // namespace svc::acquire

#endif  // RUNTIME_ACQUIRE_SERIAL_STORE_H_
