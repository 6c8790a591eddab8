// The operating systems that catalogues know: the code of each, how the plug-in finds the code of
// the machine it runs on, what a live query asks a repository for, and which of the files that it
// gets are loaded.
//
// Codes are what update elements name; a repository's manifest has numbers. Of a code that was
// asked for only its family is left for the rest of a query. The author's and the publisher's verbs
// read and check descriptions by the same table. Pure; any thread.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace svc::rules {

struct TSystemCode {
  std::string_view code;    // As descriptions name it.
  std::int32_t os;          // OSTypeEnum
  std::int32_t arch;        // ArchTypeEnum
  std::string_view family;  // What live queries look for in descriptions.
};

inline constexpr std::string_view kLinux = "Linux";
inline constexpr std::string_view kVMware = "VMware";
// Families of Windows begin with it: each is the code itself.
inline constexpr std::string_view kWindows = "Windows";

// What a machine asks for, which is not always what its name says: Windows descriptions are all
// filed under the 32-bit architecture.
// Deliberate: see "What is asked for is not what a name says" in docs/one-query.md.
inline constexpr std::array kSystemCodes = {TSystemCode{"VMWARE3", 303, 1, kVMware},
                                            TSystemCode{"VMWARE4", 304, 2, kVMware},
                                            TSystemCode{"SLES9_64", 222, 2, kLinux},
                                            TSystemCode{"SLES10_64", 223, 2, kLinux},
                                            TSystemCode{"SLES11_64", 224, 2, kLinux},
                                            TSystemCode{"RHEL3_64", 201, 2, kLinux},
                                            TSystemCode{"RHEL4_64", 202, 2, kLinux},
                                            TSystemCode{"RHEL5_64", 203, 2, kLinux},
                                            TSystemCode{"RHEL6_64", 204, 2, kLinux},
                                            TSystemCode{"SLES9", 222, 1, kLinux},
                                            TSystemCode{"SLES10", 223, 1, kLinux},
                                            TSystemCode{"SLES11", 224, 1, kLinux},
                                            TSystemCode{"RHEL3", 201, 1, kLinux},
                                            TSystemCode{"RHEL4", 202, 1, kLinux},
                                            TSystemCode{"RHEL5", 203, 1, kLinux},
                                            TSystemCode{"RHEL6", 204, 1, kLinux},
                                            TSystemCode{"Windows 2003", 103, 1, "Windows 2003"},
                                            TSystemCode{"Windows 2000", 102, 1, "Windows 2000"},
                                            TSystemCode{"Windows 2008", 109, 1, "Windows 2008"}};
static_assert(kSystemCodes.size() == 19);

// Null when no repository is asked for such a system.
constexpr const TSystemCode* FindSystem(std::string_view code) {
  const auto row = std::find_if(kSystemCodes.begin(), kSystemCodes.end(),
                                [&](const TSystemCode& entry) { return entry.code == code; });
  return row == kSystemCodes.end() ? nullptr : &*row;
}

// --- The code of a machine ---

// What the inventory says of the operating system. The numbers of `type` are those of OSType in
// the DMTF's CIM_OperatingSystem.
struct TOperatingSystem {
  std::string version;
  std::uint16_t type = 0;
  std::string buildID;
  std::string hardwarePlatform;
};

inline constexpr std::uint16_t kLinuxType = 36;
inline constexpr std::uint16_t kVMware3Type = 78;
inline constexpr std::uint16_t kVMware4Type = 81;

struct TCodeMark {
  std::string_view mark;
  std::string_view code;
};

// The first mark found in "BuildID" decides, so the order of the rows is part of the rule: a 9
// anywhere, as in a kernel's version, makes SLES 10 and 11 a SLES 9.
// Deliberate: see "A nine anywhere is SLES 9" in docs/one-query.md.
inline constexpr std::string_view kRedHatMark = "Red Hat Enterprise Linux";
inline constexpr std::array kRedHatReleases = {
    TCodeMark{"release 4", "RHEL4"}, TCodeMark{"release 5", "RHEL5"},
    TCodeMark{"release 3", "RHEL3"}, TCodeMark{"release 6", "RHEL6"}};
static_assert(kRedHatReleases.size() == 4);
inline constexpr std::string_view kSuseMark = "SUSE";
inline constexpr std::array kSuseReleases = {TCodeMark{"9", "SLES9"}, TCodeMark{"10", "SLES10"},
                                             TCodeMark{"11", "SLES11"}};
static_assert(kSuseReleases.size() == 3);
// Here the mark is the whole "Version". 64-bit Windows is not told apart.
inline constexpr std::array kWindowsVersions = {
    TCodeMark{"5.2", "Windows 2003"}, TCodeMark{"5.0", "Windows 2000"},
    TCodeMark{"6.0", "Windows 2008"}, TCodeMark{"6.1", "Windows 2008"}};
static_assert(kWindowsVersions.size() == 4);

template <std::size_t N>
std::string LinuxCode(const TOperatingSystem& system, const std::array<TCodeMark, N>& releases) {
  for (const TCodeMark& release : releases) {
    if (system.buildID.find(release.mark) == std::string::npos) continue;
    const bool has64Bits = system.hardwarePlatform.find("64") != std::string::npos;
    return std::string(release.code) + (has64Bits ? "_64" : "");
  }
  return "";
}

// The code of the system; "" when it is none that catalogues know. Every test for an operating
// system holds then, for its text is part of any other.
inline std::string CodeOf(const TOperatingSystem& system) {
  if (system.type == kVMware3Type) return "VMWARE3";
  if (system.type == kVMware4Type) return "VMWARE4";
  if (system.type == kLinuxType) {
    const auto has = [&](std::string_view mark) {
      return system.buildID.find(mark) != std::string::npos;
    };
    if (has(kRedHatMark)) return LinuxCode(system, kRedHatReleases);
    return has(kSuseMark) ? LinuxCode(system, kSuseReleases) : "";
  }
  for (const TCodeMark& row : kWindowsVersions) {
    if (system.version == row.mark) return std::string(row.code);
  }
  return "";
}

// --- The files of a live query ---

// Which files of a live query's download folder are loaded. The plug-in loads them; the author's
// and the publisher's verbs tell of descriptions that would be passed over.
//
// Names decide, not contents: a description for another family would be read for nothing. The
// names are searched in exactly these letters.
// Deliberate: see "A mark counts anywhere in a name" in docs/one-query.md.

// The folder that receives the descriptions. Files stay in it from one query to the next.
inline constexpr const char* kDownloadFolder = "C:\\QRX_Support\\SV";

// A file is loaded when its name holds this anywhere: "readme.xml.txt" too, "README.XML" not.
inline constexpr std::string_view kDescriptionMark = "xml";
constexpr bool IsDescription(std::string_view name) {
  return name.find(kDescriptionMark) != std::string_view::npos;
}

// What a name says of whom the file is for. Both stand anywhere in it: a "darwin.xml" is passed
// over on Linux.
inline constexpr std::string_view kForLinuxMark = "linux";
inline constexpr std::string_view kForWindowsMark = "win";

// A file whose path contains `mark` is for others than the family.
struct TPassedOver {
  std::string_view family;
  std::string_view mark;
  std::string_view message;  // What the log says of it.
};
inline constexpr std::array kPassedOver = {
    TPassedOver{"Windows 2003", kForLinuxMark, "Skip linux xml on windows"},
    TPassedOver{"Windows 2000", kForLinuxMark, "Skip linux xml on windows"},
    TPassedOver{"Windows 2008", kForLinuxMark, "Skip linux xml on windows"},
    TPassedOver{kLinux, kForWindowsMark, "Skip windows xml on linux"}};
static_assert(kPassedOver.size() == 4);

// Why a file is passed over on systems of the family; null when it is loaded. The family VMware
// loads all.
constexpr const TPassedOver* WhyPassedOver(std::string_view path, std::string_view family) {
  const auto row =
      std::find_if(kPassedOver.begin(), kPassedOver.end(), [&](const TPassedOver& candidate) {
        return candidate.family == family && path.find(candidate.mark) != std::string_view::npos;
      });
  return row == kPassedOver.end() ? nullptr : &*row;
}

// The plug-in tests whole paths. The folder has neither mark, so that this comes to the same as
// testing the names.
static_assert(WhyPassedOver(kDownloadFolder, kLinux) == nullptr &&
              WhyPassedOver(kDownloadFolder, "Windows 2008") == nullptr);

}  // namespace svc::rules
