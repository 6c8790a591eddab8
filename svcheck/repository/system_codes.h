// The operating systems that a description may name, and the numbers that a manifest has for them.
#ifndef SVCHECK_REPOSITORY_SYSTEM_CODES_H_
#define SVCHECK_REPOSITORY_SYSTEM_CODES_H_

#include <array>
#include <cstdint>
#include <string_view>

namespace svc::repository {

struct TSystemCode {
  std::string_view code;    // As descriptions name it.
  std::int32_t os;          // OSTypeEnum
  std::int32_t arch;        // ArchTypeEnum
  std::string_view family;  // What live queries look for in descriptions.
};

// What a machine asks for, which is not always what its name says: every Windows asks for 1.
inline constexpr std::array<TSystemCode, 19> kSystemCodes = {{
    {"VMWARE3", 303, 1, "VMware"},
    {"VMWARE4", 304, 2, "VMware"},
    {"SLES9_64", 222, 2, "Linux"},
    {"SLES10_64", 223, 2, "Linux"},
    {"SLES11_64", 224, 2, "Linux"},
    {"RHEL3_64", 201, 2, "Linux"},
    {"RHEL4_64", 202, 2, "Linux"},
    {"RHEL5_64", 203, 2, "Linux"},
    {"RHEL6_64", 204, 2, "Linux"},
    {"SLES9", 222, 1, "Linux"},
    {"SLES10", 223, 1, "Linux"},
    {"SLES11", 224, 1, "Linux"},
    {"RHEL3", 201, 1, "Linux"},
    {"RHEL4", 202, 1, "Linux"},
    {"RHEL5", 203, 1, "Linux"},
    {"RHEL6", 204, 1, "Linux"},
    {"Windows 2003", 103, 1, "Windows 2003"},
    {"Windows 2000", 102, 1, "Windows 2000"},
    {"Windows 2008", 109, 1, "Windows 2008"},
}};

}  // namespace svc::repository

#endif  // SVCHECK_REPOSITORY_SYSTEM_CODES_H_
