// A POSIX access list that lets one more user or group do what the mode does not. Any thread.
#pragma once

#include <linux/posix_acl.h>
#include <linux/posix_acl_xattr.h>
#include <sys/xattr.h>

#include <filesystem>
#include <string>
#include <vector>

namespace svc {

// Sets the list rwx for the owner, r-x for everybody, `rights` for the named one and r-x for the
// owner's group, or `rights` for that group (ACL_GROUP_OBJ), and the bound `mask`. False where the
// file system knows no such lists.
inline bool SetAccessList(const std::filesystem::path& file, unsigned short tag, unsigned id,
                          unsigned short rights, unsigned short mask) {
  const posix_acl_xattr_header head = {POSIX_ACL_XATTR_VERSION};
  std::vector<posix_acl_xattr_entry> entries = {{ACL_USER_OBJ, 7, 0xFFFFFFFF},
                                                {ACL_GROUP_OBJ, 5, 0xFFFFFFFF},
                                                {ACL_MASK, mask, 0xFFFFFFFF},
                                                {ACL_OTHER, 5, 0xFFFFFFFF}};
  if (tag == ACL_GROUP_OBJ) {
    entries[1].e_perm = rights;
  } else {
    entries.insert(entries.begin() + (tag == ACL_USER ? 1 : 2), {tag, rights, id});
  }
  std::string bytes(reinterpret_cast<const char*>(&head), sizeof head);
  bytes.append(reinterpret_cast<const char*>(entries.data()),
               entries.size() * sizeof(posix_acl_xattr_entry));
  return ::setxattr(file.c_str(), "system.posix_acl_access", bytes.data(), bytes.size(), 0) == 0;
}

}  // namespace svc
