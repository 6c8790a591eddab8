#include "plugins/version_checker/catalogue/live_acquisition.h"

#include <gtest/gtest.h>

#include "tests/support/case_name.h"

using namespace svc::checker;

namespace svc::test {
namespace {

struct TProxyText {
  const char* name;
  const char* text;
  const char* host;
  int port;
  const char* user;
  const char* password;
};
void PrintTo(const TProxyText& proxy, std::ostream* stream) { *stream << proxy.text; }

class TProxy : public testing::TestWithParam<TProxyText> {};

TEST_P(TProxy, HasFourParts) {
  const auto proxy = ParseProxy(GetParam().text);
  ASSERT_TRUE(proxy.has_value());
  EXPECT_TRUE(proxy->enabled);
  EXPECT_EQ(proxy->host, GetParam().host);
  EXPECT_EQ(proxy->port, GetParam().port);
  EXPECT_EQ(proxy->user, GetParam().user);
  EXPECT_EQ(proxy->password, GetParam().password);
}

constexpr TProxyText kProxies[] = {
    {"Whole", "{ proxyhost, 8080, user1, pw }", "proxyhost", 8080, "user1", "pw"},
    {"WithoutBlanksLosesCharacters", "{ proxyhost,8080,user1,pw }", "proxyhost", 80, "ser1", "w"},
    {"TextAround", "x{ h, 1, u, p } and more", "h", 1, "u", "p"},
    {"EmptyParts", "{ , , ,  }", "", 0, "", ""},
    {"PortIsNoNumber", "{ h, port, u, p }", "h", 0, "u", "p"},
    {"PortBeginsWithANumber", "{ h, 80a, u, p }", "h", 80, "u", "p"},
    {"CommaInThePassword", "{ h, 1, u, p, q }", "h", 1, "u", "p, q"},
    {"FirstEndCounts", "{ h, 1, u, p } q }", "h", 1, "u", "p"},
    {"BlanksOfThePassword", "{ h, 1, u,  p  }", "h", 1, "u", " p "},
};
INSTANTIATE_TEST_SUITE_P(Texts, TProxy, testing::ValuesIn(kProxies), TCaseName());

class TNoProxy : public testing::TestWithParam<const char*> {};

TEST_P(TNoProxy, WithoutEveryPart) { EXPECT_FALSE(ParseProxy(GetParam()).has_value()); }

INSTANTIATE_TEST_SUITE_P(Texts, TNoProxy,
                         testing::Values("", "{ proxyhost, 8080 }", "{ h, 1, u }", "{ h",
                                         "{ h, 1, u, p", "{ h, 1, u, p}", "h, 1, u, p }",
                                         "{h, 1, u, p }", "{ h, 1, u,"));

}  // namespace
}  // namespace svc::test
