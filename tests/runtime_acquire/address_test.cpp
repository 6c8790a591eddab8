#include "runtime/acquire/address.h"

#include <gtest/gtest.h>

#include "runtime/acquire/outcome.h"

namespace svc::acquire {
namespace {

TEST(Address, OfARepositoryIsThatOfItsFolder) {
  for (const char* text : {"http://server/sv", "http://server/sv/", " http://server/sv// ",
                           "http://server/sv/sv-repository.json"})
    EXPECT_EQ(RepositoryAddress(text), "http://server/sv") << text;
  EXPECT_EQ(RepositoryAddress("HTTPS://[::1]:8443"), "HTTPS://[::1]:8443");
}

TEST(Address, IsHttpAndNothingElse) {
  for (const char* text : {"", "server/sv", "ftp://server/", "file:///etc", "http://", "http:///sv",
                           "http://server/a b", "http://server/?q", "http://server/#f"})
    EXPECT_THROW(RepositoryAddress(text), TFailure) << text;
}

TEST(Address, OfAFileHoldsPlainCharactersOnly) {
  EXPECT_EQ(FileAddress("http://s", "files/a-b_c~d.xml"), "http://s/files/a-b_c~d.xml");
  EXPECT_EQ(FileAddress("http://s", "a b%c#d?e+ä"), "http://s/a%20b%25c%23d%3Fe%2B%C3%A4");
}

TEST(Address, IsShownWithoutUserAndPassword) {
  EXPECT_EQ(ShownAddress("http://me:se@cret@server/a@b"), "http://server/a@b");
  EXPECT_EQ(ShownAddress("http://server/a@b"), "http://server/a@b");
  EXPECT_EQ(ShownAddress("server"), "server");
  EXPECT_EQ(ShownAddress("me:secret@server/a@b"), "server/a@b");
}

TEST(Address, TellsServersApart) {
  EXPECT_TRUE(IsSameServer("http://server/a", "HTTP://SERVER:80/b"));
  EXPECT_TRUE(IsSameServer("https://me:pw@server/a", "https://server:443/"));
  for (const char* other : {"https://server/a", "http://server:8080/a", "http://server.org/a",
                            "http://server@elsewhere/a", "http://elsewhere/http://server/a", ""})
    EXPECT_FALSE(IsSameServer("http://server/a", other)) << other;
}

}  // namespace
}  // namespace svc::acquire
