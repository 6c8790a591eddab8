// The way to a file, and who may write there.
#include "base/path_walk.h"

#include <fcntl.h>
#include <linux/posix_acl.h>
#include <linux/posix_acl_xattr.h>
#include <sys/stat.h>

#include <cerrno>
#include <optional>
#include <vector>

#include "made_folder.h"

namespace {

// What the next files have for an access list; an error where it is none.
std::optional<std::string> givenList;
int listError = ENODATA;

}  // namespace

extern "C" ssize_t __wrap_getxattr(const char* /*path*/, const char* name, void* bytes,
                                   size_t size) {
  EXPECT_STREQ(name, "system.posix_acl_access");
  errno = listError;
  if (!givenList) return -1;
  EXPECT_LE(givenList->size(), size);
  givenList->copy(static_cast<char*>(bytes), size);
  return static_cast<ssize_t>(givenList->size());
}

namespace svc::files {
namespace {

class PathWalk : public TMadeFolder {
 protected:
  std::string End(const std::string& path) {
    IWayRules all;
    return Walk(path, all).Path();
  }
};

TEST_F(PathWalk, StaysAtTheRootAboveWhichThereIsNothing) {
  EXPECT_EQ(End("/.."), "/");
  EXPECT_EQ(End("/../.." + In("new")), In("new"));
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path("/");
  EXPECT_EQ(End("../new"), "./../new");
  std::filesystem::current_path(before);
}

// The links of /proc tell their ends to the owner of the process alone.
TEST_F(PathWalk, EndsAtALinkThatCannotBeRead) {
  if (!IsRoot()) GTEST_SKIP() << "only root can be somebody else";
  const TAsSomebody somebody;
  EXPECT_EQ(ErrorOf([&] { End("/proc/1/root/file"); }), EACCES);
}

TEST_F(PathWalk, NamesAFileAFolderOrNothingByWhatIsThereAndALinkByItsOwner) {
  Put("file", "x");
  std::filesystem::create_directory(In("folder"));
  ASSERT_EQ(::mkfifo(In("pipe").c_str(), 0600), 0);
  const auto kind = [&](const std::string& name) {
    return KindOf(FindPlace(In(name), ELastLink::kKept));
  };
  EXPECT_EQ(kind("file"), ENamed::kFile);
  EXPECT_EQ(kind("missing"), ENamed::kNothing);
  EXPECT_EQ(kind("folder"), ENamed::kFolder);
  EXPECT_EQ(kind("folder/."), ENamed::kFolder);
  EXPECT_EQ(kind("pipe"), ENamed::kOther);
  std::filesystem::create_symlink(In("missing"), In("link"));
  EXPECT_EQ(kind("link"), ENamed::kOther);
  if (!IsRoot()) GTEST_SKIP() << "only root can give things away";
  for (const char* const name : {"file", "folder", "pipe", "link"}) Give(name);
  EXPECT_EQ(kind("file"), ENamed::kFile);
  EXPECT_EQ(kind("folder"), ENamed::kFolder);
  EXPECT_EQ(kind("pipe"), ENamed::kOther);
  EXPECT_EQ(kind("link"), ENamed::kFile) << "what a stranger's link is replaced by";
}

constexpr uid_t kOwner = 1000;
constexpr uid_t kTrusted = 1001;
constexpr uid_t kOther = 1002;
constexpr unsigned short kWrite = ACL_READ | ACL_WRITE;
constexpr unsigned short kRead = ACL_READ | ACL_EXECUTE;

class WritersOfAFile : public TMadeFolder {
 protected:
  ~WritersOfAFile() override {
    givenList.reset();
    listError = ENODATA;
  }

  // By a list with these entries.
  bool AreOthersBy(const std::vector<posix_acl_xattr_entry>& entries) {
    const posix_acl_xattr_header head = {POSIX_ACL_XATTR_VERSION};
    givenList.emplace(reinterpret_cast<const char*>(&head), sizeof head);
    givenList->append(reinterpret_cast<const char*>(entries.data()),
                      entries.size() * sizeof(posix_acl_xattr_entry));
    return AreOthers();
  }
  bool AreOthers() const {
    const TDescriptor file(::open(root.c_str(), O_PATH | O_CLOEXEC));
    return OthersMayWrite(file, status, [](uid_t user) { return user == kTrusted; });
  }
  static struct stat Status() {
    struct stat status {};
    status.st_mode = S_IFREG | 0660;
    status.st_uid = status.st_gid = kOwner;
    return status;
  }

  struct stat status = Status();
};

TEST_F(WritersOfAFile, AreThoseOfItsModeWithoutAList) {
  EXPECT_FALSE(AreOthers()) << "the owner's own group";
  status.st_gid = kOther;
  EXPECT_TRUE(AreOthers());
  status.st_mode = S_IFREG | 0640;
  EXPECT_FALSE(AreOthers());
  status.st_mode = S_IFREG | 0642;
  EXPECT_TRUE(AreOthers());
  status = Status();
  status.st_uid = status.st_gid = 0;
  EXPECT_TRUE(AreOthers()) << "more than root are in root's group";
}

TEST_F(WritersOfAFile, AreTheGroupsThatItsListNames) {
  EXPECT_TRUE(AreOthersBy({{ACL_GROUP, kWrite, kOther}}));
  EXPECT_FALSE(AreOthersBy({{ACL_GROUP, kRead, kOther}}));
  EXPECT_FALSE(AreOthersBy({{ACL_GROUP, kWrite, kOwner}})) << "the owner's own group";
  EXPECT_TRUE(AreOthersBy({{ACL_GROUP, kWrite, kTrusted}})) << "a group is no user";
  EXPECT_TRUE(AreOthersBy({{ACL_GROUP, kWrite, 0}}));
  EXPECT_TRUE(AreOthersBy({{ACL_GROUP, kRead, kOther}, {ACL_GROUP, kWrite, kOther}}));
  EXPECT_FALSE(AreOthersBy({{ACL_GROUP_OBJ, kWrite, 0xFFFFFFFF}}));
  status.st_gid = kOther;
  EXPECT_TRUE(AreOthersBy({{ACL_GROUP_OBJ, kWrite, 0xFFFFFFFF}}));
  EXPECT_FALSE(AreOthersBy({{ACL_GROUP_OBJ, kRead, 0xFFFFFFFF}}));
}

TEST_F(WritersOfAFile, AreTheUsersThatItsListNamesAndNobodyTrusts) {
  EXPECT_TRUE(AreOthersBy({{ACL_USER, kWrite, kOther}}));
  EXPECT_FALSE(AreOthersBy({{ACL_USER, kRead, kOther}}));
  EXPECT_FALSE(AreOthersBy({{ACL_USER, kWrite, kOwner}}));
  EXPECT_FALSE(AreOthersBy({{ACL_USER, kWrite, kTrusted}}));
  EXPECT_FALSE(AreOthersBy({{ACL_USER_OBJ, kWrite, 0xFFFFFFFF}, {ACL_MASK, kWrite, 0xFFFFFFFF}}));
}

TEST_F(WritersOfAFile, AreOthersWhereItsListCannotBeRead) {
  EXPECT_FALSE(AreOthersBy({})) << "a list that lets nobody write";
  givenList->pop_back();
  EXPECT_TRUE(AreOthers()) << "no whole list";
  givenList.reset();
  for (const auto& [error, areOthers] :
       {std::pair{EIO, true}, {ERANGE, true}, {ENODATA, false}, {EOPNOTSUPP, false}}) {
    listError = error;
    EXPECT_EQ(AreOthers(), areOthers) << error;
  }
}

}  // namespace
}  // namespace svc::files
