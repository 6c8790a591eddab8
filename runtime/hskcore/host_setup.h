// Setting up the process's host: what TRootObject and TOSSpecific hand to everybody. Called by the
// program while no plug-in runs; what is replaced is released.
#ifndef RUNTIME_HSKCORE_HOST_SETUP_H_
#define RUNTIME_HSKCORE_HOST_SETUP_H_

#include <boost/shared_ptr.hpp>
#include <filesystem>
#include <string>

#include "host/hskcore/cim.h"
#include "host/hskcore/export.h"
#include "host/hskcore/root_object.h"

namespace svc {

// From here on everybody logs to this logger; an empty handle brings back the one that drops
// everything, which is there from the start.
HSKCORE_API void InstallLogger(const boost::shared_ptr<NQRXHSK20::ILogger>& logger);

// Empty from the start. An empty handle releases the manager, and with it its plug-ins.
HSKCORE_API void InstallPluginManager(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& manager);

// A manager that knows the provider "inmem". May be used from any thread.
HSKCORE_API boost::shared_ptr<NQRXHSK20::INamespaceProviderManager> MakeNamespaceProviderManager();

// From the start, and after an empty handle, there is such a manager.
HSKCORE_API void InstallNamespaceProviderManager(
    const boost::shared_ptr<NQRXHSK20::INamespaceProviderManager>& manager);

// The folder below which drive letters lie: "C:\a" is <folder>/c/a. An empty text brings back the
// default: $XDG_STATE_HOME/svcheck/drives, or /var/lib/svcheck/drives for root. No effect on
// Windows.
HSKCORE_API void SetDriveRoot(const std::string& folder);
HSKCORE_API std::string DriveRoot();

// Files that are made ready for who sizes, opens and reads them by the paths of the host, and that
// gets others in their place; messages keep the path.
class IFilePreparer {
 public:
  virtual ~IFilePreparer() = default;
  // Somebody is about to ask for the size of a file; `native` is its path on this system.
  virtual void Prepare(const std::string& path, const std::string& native) noexcept = 0;
  // The file of the system's that is sized and opened in place of the one at `path`; empty for that
  // one itself.
  virtual std::string InPlaceOf(const std::string& path) const = 0;
};

// Null for none, as from the start; returns the one before. The caller keeps it. No effect on
// Windows, where plug-ins open files by names of the system's own.
HSKCORE_API IFilePreparer* SetFilePreparer(IFilePreparer* preparer) noexcept;

// A path of a text as programs pass it on: UTF-8, whatever the system's own encoding. Any thread.

// The constructor of a path takes a text of char for one of the C locale, which on Windows turns
// each byte into a character.
inline std::filesystem::path PathOf(const std::string& utf8) {
  return std::u8string(utf8.begin(), utf8.end());
}

}  // namespace svc

#endif  // RUNTIME_HSKCORE_HOST_SETUP_H_
