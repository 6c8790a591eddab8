// How the operating system's own texts become the inventory's. Pure; any thread.
#ifndef COLLECT_LINUX_OPERATING_SYSTEM_H_
#define COLLECT_LINUX_OPERATING_SYSTEM_H_

#include <map>
#include <string>
#include <string_view>

namespace svc::collect {

// What a distribution says of itself, each as its file holds it, empty where there is none.
struct TReleaseTexts {
  std::map<std::string, std::string> osRelease;  // os-release(5)
  std::string redHat;                            // /etc/redhat-release
  std::string suse;                              // /etc/SuSE-release
  std::string vmware;                            // /etc/vmware-release
};

// The text in which a release is looked for: a Red Hat release has "release N" in it; a SUSE text
// names its own release alone, and neither a service pack nor a platform (such as s390x) that
// could be taken for another.
std::string BuildId(const TReleaseTexts& texts);

// OSType as the inventory numbers it: 36 for every Linux distribution, 78 and 81 for ESX 3 and 4.
unsigned OsType(const TReleaseTexts& texts);

// The name of a hardware platform at the end of a kernel release such as "2.6.32-71.el6.x86_64" or
// "6.1.0-18-amd64"; empty where there is none.
std::string PlatformOfRelease(std::string_view kernelRelease);

}  // namespace svc::collect

#endif  // COLLECT_LINUX_OPERATING_SYSTEM_H_
