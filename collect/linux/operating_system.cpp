// The operating system: os-release(5), the release files from before its time, and uname(2).
#include "collect/linux/operating_system.h"

#include <sys/utsname.h>
#include <array>
#include <cctype>

#include "collect/linux/linux_collector.h"
#include "collect/text.h"

namespace svc::collect {

namespace {

constexpr unsigned kLinux = 36;
constexpr unsigned kEsx3 = 78;
constexpr unsigned kEsx4 = 81;

std::string ValueOf(const std::map<std::string, std::string>& values, const std::string& name) {
  const auto found = values.find(name);
  return found == values.end() ? std::string() : found->second;
}

bool IsRedHatFamily(const TReleaseTexts& texts) {
  const std::string ids =
      ' ' + ValueOf(texts.osRelease, "ID") + ' ' + ValueOf(texts.osRelease, "ID_LIKE") + ' ';
  const bool named =
      Contains(ids, " rhel ") || Contains(ids, " fedora ") || Contains(ids, " centos ");
  return named || (texts.osRelease.empty() && !texts.redHat.empty());
}

// "Red Hat Enterprise Linux 8.6 (Ootpa)" becomes "Red Hat Enterprise Linux release 8.6 (Ootpa)",
// as the older release files have it.
std::string RedHatBuildId(const TReleaseTexts& texts) {
  std::string name = ValueOf(texts.osRelease, "PRETTY_NAME");
  if (name.empty()) name = FirstLine(texts.redHat);
  const std::string version = ValueOf(texts.osRelease, "VERSION_ID");
  if (Contains(name, "release ") || version.empty()) return name;
  const std::size_t at = name.find(version);
  return at == std::string::npos ? name + " release " + version : name.insert(at, "release ");
}

// The release of SUSE that is found in a text: the first of these numbers that is in it anywhere.
std::string_view SuseRelease(std::string_view text) {
  for (const std::string_view release : {"9", "10", "11"}) {
    if (Contains(text, release)) return release;
  }
  return {};
}

std::string WithServicePack(const std::string& name, const std::string& level) {
  if (level.empty() || level == "0") return name;
  const std::string whole = name + " SP" + level;
  return SuseRelease(whole) == SuseRelease(name) ? whole : name;
}

// "SUSE Linux Enterprise Server 10 (s390x)", then lines such as "PATCHLEVEL = 2".
std::string SuseBuildId(const std::string& release) {
  const std::string_view first = FirstLine(release);
  const std::string name(Trimmed(first.substr(0, first.find('('))));
  return WithServicePack(name, ValueOf(Assignments(release), "PATCHLEVEL"));
}

// "SUSE Linux Enterprise Server 11 SP4".
std::string SuseBuildIdOfPrettyName(const std::string& pretty) {
  const std::string name(Trimmed(std::string_view(pretty).substr(0, pretty.find('('))));
  const std::size_t pack = name.rfind(" SP");
  if (pack == std::string::npos) return name;
  return WithServicePack(name.substr(0, pack), name.substr(pack + 3));
}

std::string Caption(const TReleaseTexts& texts) {
  const std::string pretty = ValueOf(texts.osRelease, "PRETTY_NAME");
  for (const std::string* text : {&texts.vmware, &pretty, &texts.redHat, &texts.suse}) {
    if (const std::string_view line = FirstLine(*text); !line.empty()) return std::string(line);
  }
  return {};
}

TReleaseTexts ReadReleaseTexts(const TTree& tree) {
  TRead osRelease = tree.Read("/etc/os-release");
  if (!osRelease) osRelease = tree.Read("/usr/lib/os-release");
  return {Assignments(osRelease.bytes), tree.Read("/etc/redhat-release").bytes,
          tree.Read("/etc/SuSE-release").bytes, tree.Read("/etc/vmware-release").bytes};
}

std::string HardwarePlatform(const TTree& tree, const std::string& kernelRelease) {
  utsname names{};
  const std::string told = tree.ReadLine(kArchitecture);
  if (!told.empty()) return told;
  if (tree.IsLive() && ::uname(&names) == 0) return names.machine;
  return PlatformOfRelease(kernelRelease);
}

}  // namespace

std::string BuildId(const TReleaseTexts& texts) {
  if (!texts.vmware.empty()) return std::string(FirstLine(texts.vmware));
  if (!texts.suse.empty()) return SuseBuildId(texts.suse);
  if (IsRedHatFamily(texts)) return RedHatBuildId(texts);
  const std::string caption = Caption(texts);
  return Contains(caption, "SUSE") ? SuseBuildIdOfPrettyName(caption) : caption;
}

unsigned OsType(const TReleaseTexts& texts) {
  const std::size_t product = texts.vmware.find("ESX");
  if (product == std::string::npos) return kLinux;
  const std::size_t release = texts.vmware.find_first_of("0123456789", product);
  if (release == std::string::npos) return kLinux;
  const bool oneDigit = release + 1 >= texts.vmware.size() ||
                        std::isdigit(static_cast<unsigned char>(texts.vmware[release + 1])) == 0;
  if (oneDigit && texts.vmware[release] == '3') return kEsx3;
  return oneDigit && texts.vmware[release] == '4' ? kEsx4 : kLinux;
}

std::string PlatformOfRelease(std::string_view kernelRelease) {
  constexpr std::array<std::string_view, 11> kPlatforms = {"x86_64", "amd64",   "i686", "i586",
                                                           "i386",   "686-pae", "686",  "aarch64",
                                                           "arm64",  "ppc64le", "s390x"};
  for (const std::string_view platform : kPlatforms) {
    if (!kernelRelease.ends_with(platform)) continue;
    if (platform == "amd64") return "x86_64";
    if (platform.starts_with("686")) return "i686";
    return platform == "arm64" ? "aarch64" : std::string(platform);
  }
  return {};
}

void ReadOperatingSystem(const TMachine& machine, TInventory& inventory) {
  const TReleaseTexts texts = ReadReleaseTexts(machine.tree);
  const std::string kernel = machine.tree.ReadLine("/proc/sys/kernel/osrelease");
  const std::string platform = HardwarePlatform(machine.tree, kernel);
  if (Caption(texts).empty()) inventory.Note("/etc/os-release: no name of the operating system");
  if (platform.empty()) {
    inventory.Note(std::string(kArchitecture) + ": no hardware platform, nor in the kernel's name");
  }
  inventory.Add(TInstance("QRXSG_OperatingSystem")
                    .Set("Version", kernel)
                    .Set("OSType", std::to_string(OsType(texts)), "uint16")
                    .Set("BuildID", BuildId(texts))
                    .Set("HardwarePlatform", platform)
                    .Set("Caption", Caption(texts)));
}

}  // namespace svc::collect
