#include <linux/capability.h>
#include <linux/posix_acl.h>
#include <linux/posix_acl_xattr.h>
#include <sys/auxv.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <vector>

#include "base/rights.h"

namespace svc::files {

namespace {

constexpr std::size_t kLargestList = std::size_t{1} << 16;  // XATTR_SIZE_MAX

using TEntry = posix_acl_xattr_entry;

bool IsPrivate(gid_t group, uid_t owner) { return group != 0 && group == owner; }

// None where there is no list. An unreadable one is told by an entry for everybody.
std::optional<std::vector<TEntry>> AccessListOf(const TDescriptor& file) {
  // By its name below /proc, since fgetxattr(2) takes no descriptor that was opened to look only.
  std::vector<char> bytes(kLargestList);
  const ssize_t size =
      ::getxattr(file.Path().c_str(), "system.posix_acl_access", bytes.data(), bytes.size());
  if (size < 0 && (errno == ENODATA || errno == EOPNOTSUPP)) return {};
  constexpr auto kHead = static_cast<ssize_t>(sizeof(posix_acl_xattr_header));
  if (size < kHead) return std::vector{TEntry{ACL_GROUP, ACL_WRITE, 0}};
  std::vector<TEntry> entries(static_cast<std::size_t>(size - kHead) / sizeof(TEntry));
  std::memcpy(entries.data(), bytes.data() + kHead, entries.size() * sizeof(TEntry));
  return entries;
}

bool LetsOthersWrite(const TEntry& entry, const struct stat& status, TIsTrusted* isTrusted) {
  if ((entry.e_perm & ACL_WRITE) == 0) return false;
  switch (entry.e_tag) {
    case ACL_USER:
      return entry.e_id != status.st_uid && !isTrusted(entry.e_id);
    case ACL_GROUP_OBJ:
      return !IsPrivate(status.st_gid, status.st_uid);
    case ACL_GROUP:
      return !IsPrivate(entry.e_id, status.st_uid);
    default:
      return false;
  }
}

bool HasCapabilities() {
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
  return ::syscall(SYS_capget, &header, data) != 0 || data[0].permitted != 0 ||
         data[1].permitted != 0;
}

}  // namespace

bool OthersMayWrite(const TDescriptor& file, const struct stat& status, TIsTrusted* isTrusted) {
  if ((status.st_mode & S_IWOTH) != 0) return true;
  // Where there is an access list, this bit is the bound of what its entries give.
  if ((status.st_mode & S_IWGRP) == 0) return false;
  const auto list = AccessListOf(file);
  if (!list) return !IsPrivate(status.st_gid, status.st_uid);
  for (const TEntry& entry : *list) {
    if (LetsOthersWrite(entry, status, isTrusted)) return true;
  }
  return false;
}

bool HasMoreRightsThanItsUser() {
  return ::geteuid() != 0 && (::getauxval(AT_SECURE) != 0 || HasCapabilities());
}

}  // namespace svc::files
