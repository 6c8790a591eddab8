// A controller on this machine, asked from the address to the inventory, and the places of its
// resources.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "base/error.h"
#include "collect/collector.h"
#include "collect/redfish/redfish.h"
#include "tests/support/listening_server.h"

extern "C" void SvcheckCollectRedfish(const svc::collect::ServiceOptions& options,
                                      svc::collect::Outcome& outcome);

namespace {

bool isSentBeforeVerified = false;  // As where a system verifies only what a request went to.

}  // namespace

// acquire::VerifiesBeforeSending, by the name that the linker knows.
extern "C" bool __wrap__ZN3svc7acquire21VerifiesBeforeSendingERKNS0_17TTransportOptionsE(
    const svc::acquire::TTransportOptions& /*options*/) {
  return !isSentBeforeVerified;
}

namespace svc::collect {
namespace {

using TTexts = std::vector<std::string>;

// Answers what it knows, and keeps what it was asked.
class TController {
 public:
  // By "METHOD PLACE": headers with their line ends, an empty line, and the content.
  explicit TController(std::map<std::string, std::string> answers)
      : answers(std::move(answers)), server([this](const auto& request) { return To(request); }) {}

  std::string Address() const { return server.Address(); }

  // "METHOD PLACE CREDENTIALS CONTENT" of each request; it answers none from then on.
  TTexts Stop() {
    server.Stop();
    return asked;
  }

 private:
  std::string To(const test::THttpRequest& request) {
    asked.push_back(request.what + " " + request.ValueOf("X-Auth-Token") +
                    request.ValueOf("Authorization") + " " + request.content);
    const auto found = answers.find(request.what);
    return found == answers.end() ? "HTTP/1.1 404 None\r\nConnection: close\r\n\r\n"
                                  : found->second;
  }

  std::map<std::string, std::string> answers;
  TTexts asked;
  test::TListeningServer server;  // The last, for its thread uses the others.
};

std::string Found(const std::string& json) {
  return "HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + json;
}

// Sets variables for as long as it lives.
class TEnvironment {
 public:
  explicit TEnvironment(TTexts names, const char* value) : names(std::move(names)) {
    for (const std::string& name : this->names) ::setenv(name.c_str(), value, 1);
  }
  ~TEnvironment() {
    for (const std::string& name : names) ::unsetenv(name.c_str());
  }
  TEnvironment(const TEnvironment&) = delete;
  TEnvironment& operator=(const TEnvironment&) = delete;

 private:
  TTexts names;
};

TEST(Controller, OfThisMachineIsAskedByNoProxyInASessionOfTheUserThatEnds) {
  TController controller(
      {{"GET /redfish/v1/", Found(R"({"Systems":{"@odata.id":"/systems"},"Links":{"Sessions":)"
                                  R"({"@odata.id":"/sessions"}}})")},
       {"POST /sessions",
        "HTTP/1.1 201 Made\r\nX-Auth-Token: token\r\nLocation: /sessions/1\r\n"
        "Connection: close\r\n\r\n{}"},
       {"DELETE /sessions/1", "HTTP/1.1 204 Gone\r\nConnection: close\r\n\r\n"},
       {"GET /systems", Found(R"({"Members":[{"@odata.id":"/systems/1"}]})")},
       {"GET /systems/1", Found(R"({"Model":"M","BiosVersion":"1.0","SerialNumber":"S"})")}});
  const TEnvironment proxies({"http_proxy", "all_proxy"}, "http://127.0.0.1:1");
  ServiceOptions options;
  options.url = controller.Address() + "/redfish/v1";
  options.user = "root";
  options.password = "secret";
  options.redact = true;
  options.devices = {{"Dock", "", "3", "", {"D"}, "told"}};
  options.stopRequested = [] { return false; };
  Outcome outcome;
  SvcheckCollectRedfish(options, outcome);
  EXPECT_EQ(
      controller.Stop(),
      (TTexts{"GET /redfish/v1/  ", R"(POST /sessions  {"Password":"secret","UserName":"root"})",
              "GET /systems token ", "GET /systems/1 token ", "DELETE /sessions/1 token "}));
  EXPECT_EQ(outcome.notes, TTexts{});
  EXPECT_NE(outcome.document.find("<VALUE>M</VALUE>"), std::string::npos) << outcome.document;
  EXPECT_EQ(outcome.document.find("<VALUE>S</VALUE>"), std::string::npos) << "it is redacted";
  EXPECT_NE(outcome.document.find("<VALUE>Dock</VALUE>"), std::string::npos) << "as it was told";
}

TEST(Controller, IsSentNoPasswordWhereItWouldBeVerifiedOnlyAfterThat) {
  TController controller({});
  ServiceOptions options;
  options.url = controller.Address();
  options.stopRequested = [] { return false; };
  const auto failure = [&options] {
    Outcome outcome;
    try {
      SvcheckCollectRedfish(options, outcome);
    } catch (const TError& error) {
      return std::to_string(static_cast<int>(error.Kind())) + " " + error.what();
    }
    return std::string("none");
  };
  const auto as = [](EErrorKind kind) { return std::to_string(static_cast<int>(kind)) + " "; };
  const std::string none = options.url + "/redfish/v1/: the server answered with status 404";
  isSentBeforeVerified = true;
  EXPECT_EQ(failure(), as(EErrorKind::kFailure) + none) << "nobody's password is sent";
  options.user = "root";
  EXPECT_EQ(failure(),
            as(EErrorKind::kUsage) +
                "on this system a password is not sent to a server that --ca-file vouches for; "
                "add the authority to the system's certificates instead");
  isSentBeforeVerified = false;
  EXPECT_EQ(failure(), as(EErrorKind::kFailure) + none);
  EXPECT_EQ(controller.Stop(), (TTexts{"GET /redfish/v1/  ", "GET /redfish/v1/  "}));
}

TEST(Places, AreWithinAResourceWithWhatIsBelowIt) {
  for (const char* place : {"/s/1", "/s/1/", "/s/1/Bios", "/s/1#/Fans/0"}) {
    EXPECT_TRUE(IsWithin(place, "/s/1")) << place;
    EXPECT_TRUE(IsWithin(place, "/s/1//")) << place;
  }
  for (const char* place : {"", "/s", "/s/", "/s/10", "/s/1x", "s/1", "/S/1"})
    EXPECT_FALSE(IsWithin(place, "/s/1")) << place;
  EXPECT_FALSE(IsWithin("/s/1", ""));
  EXPECT_FALSE(IsWithin("/s/1", "/")) << "else everything would be";
  EXPECT_EQ(LastName("/s/1"), "1");
  EXPECT_EQ(LastName("/s/1//"), "1");
  EXPECT_EQ(LastName("1"), "1");
  EXPECT_EQ(LastName("/"), "");
}

TEST(Texts, OfMoreThan4096BytesAreNotSaid) {
  for (const std::size_t size : {4095, 4096, 4097}) {
    const std::string text(size, 't');
    EXPECT_EQ(TextOf({{"Name", text}}, "Name"), size > 4096 ? "" : text) << size;
  }
}

// Where nobody is asked, a message shall show where that would have been.
TEST(Places, ThatAreTooLongAreCutWhereTheyStillAre) {
  for (const std::size_t size : {2047, 2048, 2049, 2050, 50'000}) {
    const std::string place = "/" + std::string(size - 1, 'p');
    for (const char* name : {"@odata.id", "Members@odata.nextLink"})
      EXPECT_EQ(PlaceOf({{name, place}}, name), place.substr(0, 2049)) << size;
    EXPECT_EQ(PlacesOf({{"List", {{{"@odata.id", place}}}}}, "List"),
              TTexts{place.substr(0, 2049)});
  }
}

TEST(Lists, AreReadUpToTwoThousandElements) {
  for (const std::size_t count : {1999, 2000, 2001}) {
    TJson resource = {{"List", TJson::array()}};
    for (std::size_t i = 0; i < count; ++i) resource["List"].push_back({{"@odata.id", "/x"}});
    EXPECT_EQ(ListOf(resource, "List").size(), std::min<std::size_t>(count, 2000));
    EXPECT_EQ(PlacesOf(resource, "List").size(), std::min<std::size_t>(count, 2000));
  }
  const TJson odd = TJson::parse(R"({"List":[{"@odata.id":"/x"},{},7,null,{"@odata.id":7}]})");
  EXPECT_EQ(PlacesOf(odd, "List"), TTexts{"/x"});
  EXPECT_TRUE(ListOf(odd, "None").empty());
  EXPECT_TRUE(PlacesOf(TJson::parse(R"({"List":{"a":1}})"), "List").empty());
}

}  // namespace
}  // namespace svc::collect
