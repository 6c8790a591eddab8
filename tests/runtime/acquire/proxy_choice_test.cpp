#include "runtime/acquire/address.h"

#include <gtest/gtest.h>

#include <limits>

namespace svc::acquire {
namespace {

using EKind = TProxyChoice::EKind;

TDownloadJob Job(int port, const std::string& host = "proxy") {
  TDownloadJob job;
  job.proxy = {true, host, port, "user", "secret"};
  return job;
}

// The port of the proxy that a job goes through; 0 where there can be none.
int PortOf(const TDownloadJob& job) {
  try {
    return ChooseProxy(job).port;
  } catch (const TError& failure) {
    EXPECT_EQ(OutcomeOf(failure), EOutcome::kProxyUnusable);
    return 0;
  }
}

TEST(ProxyChoice, TakesPortsThatThereAre) {
  for (const int port : {1, 2, 8080, 65534, 65535}) EXPECT_EQ(PortOf(Job(port)), port);
  for (const int port : {0, -1, 65536, 65537, 131072, std::numeric_limits<int>::max(),
                         std::numeric_limits<int>::min()})
    EXPECT_EQ(PortOf(Job(port)), 0) << port;
}

TEST(ProxyChoice, TakesHostsWithoutBlanksAndControlCharacters) {
  for (const char* host : {"proxy", "::1", "pr\xC3\xB6xy", "a!b", "a~b"})
    EXPECT_EQ(PortOf(Job(8080, host)), 8080) << host;
  for (const char* host : {"", " ", "a b", "a\n", "a\x1F", "a\x7F", "\ta"})
    EXPECT_EQ(PortOf(Job(8080, host)), 0) << host;
}

std::string TextOf(const TDownloadJob& job) {
  try {
    ChooseProxy(job);
    return "";
  } catch (const TError& failure) {
    return failure.what();
  }
}

TEST(ProxyChoice, SaysWhatIsWrong) {
  EXPECT_EQ(TextOf(Job(8080, "")), "the proxy has no host's name; give it one");
  EXPECT_EQ(TextOf(Job(65536)), "the proxy proxy has the port 65536; give it one from 1 to 65535");
}

// "kind host port user password"
std::string Whole(const TProxyChoice& choice) {
  return std::to_string(static_cast<int>(choice.kind)) + " '" + choice.host + "' " +
         std::to_string(choice.port) + " '" + choice.user + "' '" + choice.password + "'";
}

TEST(ProxyChoice, TakesNothingOfOnePlaceForAnother) {
  TDownloadJob job = Job(8080);
  EXPECT_EQ(Whole(ChooseProxy(job)), "2 'proxy' 8080 'user' 'secret'");
  job.settings.proxy = "http://own:1";
  EXPECT_EQ(Whole(ChooseProxy(job)), "2 'http://own:1' 0 '' ''");
  job.settings.proxy = "none";
  EXPECT_EQ(Whole(ChooseProxy(job)), "1 '' 0 '' ''");
  job.settings.proxy = "";
  job.proxy.enabled = false;
  EXPECT_EQ(Whole(ChooseProxy(job)), "0 '' 0 '' ''");
}

TEST(ProxyChoice, IsTheProgramsThenThePluginsThenTheEnvironments) {
  TDownloadJob job = Job(8080);
  const TProxyChoice ofPlugin = ChooseProxy(job);
  EXPECT_EQ(ofPlugin.kind, EKind::kGiven);
  EXPECT_EQ(ofPlugin.host + " " + ofPlugin.user + " " + ofPlugin.password, "proxy user secret");
  job.settings.proxy = "http://own:1";
  EXPECT_EQ(ChooseProxy(job).kind, EKind::kGiven);
  EXPECT_EQ(ChooseProxy(job).host + ChooseProxy(job).user, "http://own:1");
  job.settings.proxy = "none";
  EXPECT_EQ(ChooseProxy(job).kind, EKind::kDirect);
  job.settings.proxy = "";
  job.proxy.enabled = false;
  EXPECT_EQ(ChooseProxy(job).kind, EKind::kEnvironment);
}

}  // namespace
}  // namespace svc::acquire
